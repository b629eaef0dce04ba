#include "PMerge.h"

#include <algorithm>

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) Merge::Run";
}  // namespace

void CPMerge::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Merge");
    doc.RawDescription("BRIEF\nComputes the arithmetic average of two images, deprecated.\n\n\n");
    doc.Parameter("number", int32_t(0), "not used");
    doc.Input(0, "First input image of type IMAGE_GREY_F.");
    doc.Input(1,
              "Second input image of type IMAGE_GREY_F, at least as large as the first plane "
              "of the first.");
    doc.Output(0, "Average of the first plane of both images, of the size of the first image.");
    doc.WriteTo(setup);
}

void CPMerge::Run() {
    const CValue* first = GetStackInput(0, false);
    const CValue* second = GetStackInput(1, false);
    if (!first || !second) throw CException(WHERE, "input image is NULL");
    const CImage* image0 = UnwrapPointer<CImage>(first, WHERE);
    const CImage* image1 = UnwrapPointer<CImage>(second, WHERE);
    if (!image0 || !image1) throw CException(WHERE, "input image is NULL");
    if (image0->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F");
    if (image1->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F");

    auto result = std::make_unique<CImage>(IMAGE_GREY_F, image0->Size(), CSize(0, 0, 0));
    // Width times height in 32 bits: only the first plane is averaged. A first image without
    // planes has nothing to average.
    const uint32_t plane =
        static_cast<uint32_t>(image0->Size().x) * static_cast<uint32_t>(image0->Size().y);
    const int64_t n = std::min<int64_t>(plane, result->Pixels());
    if (image1->Pixels() < n)
        throw CException(WHERE, CString("second input image of size %1 has fewer pixels than "
                                        "the first plane of the first input image of size %2")
                                    .Arg(image1->Size().ToString())
                                    .Arg(image0->Size().ToString()));
    MergeKernel::Average(image0->Data<float>(), image1->Data<float>(), result->Data<float>(), n);
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
