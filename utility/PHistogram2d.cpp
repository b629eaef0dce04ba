#include "PHistogram2d.h"

#include "algorithms/Histogram.h"

namespace ORVA {

void CPHistogram2d::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Histogram2d");
    doc.Brief("Computes the joint histogram of two images.",
              "For every position of the first image whose pair of values, first and second "
              "image, lies between range_min and range_max, adds 1 to the output pixel whose "
              "column is the bin of the first value and whose row is the bin of the second. "
              "Positions beyond the end of the second image are skipped.");
    doc.Input(0, "First input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Input(1, "Second input image of the type of the first.");
    doc.Output(0, "Joint histogram of type IMAGE_GREY_F, bin_count x bin_count.");
    m_bins.Declare(doc);
    doc.Keywords({"histogram"});
}

void CPHistogram2d::NodeInit() {
    CPNode::NodeInit();
    if (m_bins.rangeMin >= m_bins.rangeMax)
        throw CException("(utility plugins) Histogram2d", "range_min >= m_range_max!");
    m_bins.FixBinCount();
}

void CPHistogram2d::Run() {
    const char* where = "(utility plugins) Histogram2d";
    if (!HasStackInput(0) || !HasStackInput(1))
        throw CException(where, "One Input slot has no data!");
    // Both values are checked for images before either for a null image.
    const CImage* first = InputImage(
        0, {.where = where, .notImage = "Data on slot 0 is not an image.", .optional = true});
    const CImage* second = InputImage(
        1, {.where = where, .notImage = "Data on slot 1 is not an image.", .optional = true});
    if (!first) throw CException(where, "Null image on slot 0.");
    if (!second) throw CException(where, "Null image on slot 1.");
    if (first->Type() != IMAGE_GREY_F && first->Type() != IMAGE_GREY_8)
        throw CException(where, "first input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    if (second->Type() != IMAGE_GREY_F && second->Type() != IMAGE_GREY_8)
        throw CException(where, "second input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    if (first->Type() != second->Type())
        throw CException(where, "both input images must have the same type");

    const SHistogramParameters& s = m_bins;
    // A NodeInit that failed on the range has not yet corrected the bin count.
    const int64_t bins = s.binCount < 1 ? 256 : s.binCount;
    CImage::CheckMemory(IMAGE_GREY_F, CSize(bins, bins, 1), where);
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(bins, bins, 1));
    float* out = output->Data<float>();
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        first->Type(), [&]<class T>(std::type_identity<T>) {
            CountJointHistogram(first->Data<T>(), first->Size(), second->Data<T>(), second->Size(),
                                s.rangeMin, s.rangeMax, bins, out);
        });
    if (s.normalize) NormalizeBins(out, output->Pixels());
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
