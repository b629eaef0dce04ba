#include "PMutualInformation.h"

#include <limits>
#include <vector>

#include "algorithms/Histogram.h"
#include "support/InputChecks.h"

namespace ORVA {

void CPMutualInformation::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "MutualInformation");
    doc.Brief("Mutual information of two images.",
              "Counts the joint histogram of the value pairs at equal positions exactly as "
              "Histogram2d does (bin_count bins per image over range_min to range_max; pairs "
              "with a value outside the range are not counted, NaN counts in the first bin) and "
              "computes from it the mutual "
              "information I(A; B) = H(A) + H(B) - H(A, B) in bits, where H(A) and H(B) are the "
              "entropies of the two marginal histograms and H(A, B) that of the joint one. With "
              "normalized the result is instead (H(A) + H(B)) / H(A, B), which is 1 for "
              "independent and 2 for identical images; when every counted pair lies in one bin "
              "it is 2. An empty histogram gives 0 either way.");
    doc.Input(0, "First image of type IMAGE_GREY_8 or IMAGE_GREY_F.");
    doc.Input(1, "Second image of the type and size of the first.");
    doc.Output(0, "Mutual information in bits, or the normalized mutual information (double).",
               CSetupDocument::PIN_DOUBLE)
        .Label("Mutual information");
    doc.Output(1,
               "Joint histogram of counts, IMAGE_GREY_F of bin_count x bin_count: the column is "
               "the bin of the first image's value, the row that of the second's.");
    // Every long up to MAX_BINS is taken, those below 1 as 256.
    m_bins.DeclareBins(doc, SHistogramParameters::DOUBLE_OR_LONG)
        .Range(std::numeric_limits<int32_t>::min(), MAX_BINS);
    // Shown in place 0, which it takes from range_min: the form has always shown it so.
    doc.Parameter("normalized", m_normalized,
                  "output (H(A) + H(B)) / H(A, B) instead of the mutual information")
        .Toggle()
        .Order(0);
    doc.Keywords(
        {"mutual information", "entropy", "joint histogram", "registration", "similarity"});
    doc.SeeAlso("Histogram2d");
}

void CPMutualInformation::NodeInit() {
    CPNode::NodeInit();
    m_bins.FixBinCount();
}

void CPMutualInformation::Run() {
    const char* where = "(utility plugins) MutualInformation::Run";
    const CImage* first = InputImage(0, NumberedInput(where));
    const CImage* second = InputImage(1, NumberedInput(where));
    RequireType(*first, 0, {IMAGE_GREY_8, IMAGE_GREY_F}, where);
    RequireType(*second, 1, {first->Type()}, where);
    RequireSizeOfFirst(*second, 1, first->Size(), where);
    const SHistogramParameters& s = m_bins;
    if (!(s.rangeMin < s.rangeMax))
        throw CException(where, CString("range_min (%1) must be less than range_max (%2)")
                                    .Arg(s.rangeMin)
                                    .Arg(s.rangeMax));
    if (s.binCount > MAX_BINS)
        throw CException(
            where, CString("bin_count %1 is too large (at most %2)").Arg(s.binCount).Arg(MAX_BINS));

    const int64_t bins = s.binCount;
    CheckMemory(uint64_t(bins * bins) * (sizeof(uint64_t) + sizeof(float)), where,
                CString("a joint histogram of %1 x %1 bins").Arg(bins));
    std::vector<uint64_t> counts(static_cast<size_t>(bins * bins), 0);
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        first->Type(), [&]<class T>(std::type_identity<T>) {
            CountJointHistogram(first->Data<T>(), first->Size(), second->Data<T>(), second->Size(),
                                s.rangeMin, s.rangeMax, bins, counts.data());
        });
    const SEntropies h = JointEntropies(counts.data(), bins);
    const double result = m_normalized ? h.Normalized() : h.mutual;

    std::unique_ptr<CImage> histogram;
    if (HasStackOutput(1)) {
        histogram = std::make_unique<CImage>(IMAGE_GREY_F, CSize(bins, bins, 1), CSize(0, 0, 0),
                                             CImage::NoInit{});
        CountsToFloat(counts.data(), bins * bins, histogram->Data<float>());
    }
    SetStackOutput(0, std::make_unique<CValueDouble>(result));
    if (histogram) SetStackOutput(1, OwnedImage(std::move(histogram)));
}

}  // namespace ORVA
