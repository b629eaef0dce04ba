#include "PMerge.h"

#include <algorithm>
#include <cstdint>

#include "algorithms/Averaging.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) Merge::Run";
}  // namespace

void CPMerge::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Merge");
    doc.RawDescription("BRIEF\nComputes the arithmetic average of two images, deprecated.\n\n\n");
    doc.ParameterNeverRead("number", int32_t(0), "not used");
    doc.Input(0, "First input image of type IMAGE_GREY_F.");
    doc.Input(1,
              "Second input image of type IMAGE_GREY_F, at least as large as the first plane "
              "of the first.");
    doc.Output(0, "Average of the first plane of both images, of the size of the first image.");
}

void CPMerge::Run() {
    if (!HasStackInput(0) || !HasStackInput(1)) throw CException(WHERE, "input image is NULL");
    // Both values must hold images before a null image is reported.
    const CImage* image0 = InputImage(0, {.where = WHERE, .optional = true});
    const CImage* image1 = InputImage(1, {.where = WHERE, .optional = true});
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
    Averaging::Average(image0->Data<float>(), image1->Data<float>(), result->Data<float>(), n);
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
