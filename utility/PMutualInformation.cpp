#include "PMutualInformation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "InputChecks.h"
#include "PHistogram2d.h"

namespace ORVA {

void CPMutualInformation::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "MutualInformation");
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
    m_bins.DeclareBins(doc, "double or long");
    doc.Parameter("normalized", m_normalized,
                  "output (H(A) + H(B)) / H(A, B) instead of the mutual information")
        .Toggle();
    doc.Keywords(
        {"mutual information", "entropy", "joint histogram", "registration", "similarity"});
    doc.SeeAlso("Histogram2d");
    doc.WriteTo(setup);
}

void CPMutualInformation::NodeInit() {
    const CValueMap& parameters = Parameters();
    ReadDoubleOrLong(parameters, "range_min", m_bins.rangeMin);
    ReadDoubleOrLong(parameters, "range_max", m_bins.rangeMax);
    m_bins.binCount = parameters.EntryLong("bin_count", static_cast<int32_t>(m_bins.binCount));
    m_bins.FixBinCount();
    m_normalized = parameters.EntryBool("normalized", m_normalized);
}

CPMutualInformation::SEntropies CPMutualInformation::Entropies(const uint64_t* counts,
                                                               int64_t bins) {
    std::vector<uint64_t> first(static_cast<size_t>(bins), 0), second(static_cast<size_t>(bins), 0);
    uint64_t total = 0;
    for (int64_t j = 0; j < bins; ++j)
        for (int64_t i = 0; i < bins; ++i) {
            const uint64_t c = counts[j * bins + i];
            first[static_cast<size_t>(i)] += c;
            second[static_cast<size_t>(j)] += c;
            total += c;
        }
    SEntropies h;
    h.pairs = total;
    if (total == 0) return h;
    // H = log2(N) - sum(c log2 c) / N for each histogram.
    const double n = static_cast<double>(total), log2n = std::log2(n);
    auto entropy = [&](const std::vector<uint64_t>& marginal) {
        double s = 0.0;
        for (uint64_t c : marginal)
            if (c) s += static_cast<double>(c) * std::log2(static_cast<double>(c));
        return log2n - s / n;
    };
    h.first = entropy(first);
    h.second = entropy(second);
    std::vector<double> log2First(first.size()), log2Second(second.size());
    for (size_t k = 0; k < first.size(); ++k) {
        log2First[k] = first[k] ? std::log2(static_cast<double>(first[k])) : 0.0;
        log2Second[k] = second[k] ? std::log2(static_cast<double>(second[k])) : 0.0;
    }
    // I = sum(c log2(c N / (a b))) / N, cell by cell, so that nearly independent images do
    // not lose it to cancellation.
    double joint = 0.0, mutual = 0.0;
    for (int64_t j = 0; j < bins; ++j)
        for (int64_t i = 0; i < bins; ++i) {
            const uint64_t c = counts[j * bins + i];
            if (!c) continue;
            const double count = static_cast<double>(c), log2c = std::log2(count);
            joint += count * log2c;
            mutual += count * (log2c + log2n - log2First[static_cast<size_t>(i)] -
                               log2Second[static_cast<size_t>(j)]);
        }
    h.joint = log2n - joint / n;
    h.mutual = std::max(0.0, mutual / n);
    return h;
}

void CPMutualInformation::Run() {
    const char* where = "(utility plugins) MutualInformation::Run";
    const CImage* first = ImageOnPin(*this, 0, where);
    const CImage* second = ImageOnPin(*this, 1, where);
    RequireType(*first, 0, {IMAGE_GREY_8, IMAGE_GREY_F}, where);
    RequireType(*second, 1, {first->Type()}, where);
    RequireSizeOfFirst(*second, 1, first->Size(), where);
    const SHistogramSettings& s = m_bins;
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
            CPHistogram2d::Count(first->Data<T>(), first->Size(), second->Data<T>(), second->Size(),
                                 s.rangeMin, s.rangeMax, bins, counts.data());
        });
    const SEntropies h = Entropies(counts.data(), bins);
    const double result = m_normalized ? h.Normalized() : h.mutual;

    std::unique_ptr<CImage> histogram;
    if (HasStackOutput(1)) {
        histogram = std::make_unique<CImage>(IMAGE_GREY_F, CSize(bins, bins, 1), CSize(0, 0, 0),
                                             CImage::NoInit{});
        float* out = histogram->Data<float>();
        for (size_t k = 0; k < counts.size(); ++k)
            out[k] = static_cast<float>(counts[k]);
    }
    SetStackOutput(0, std::make_unique<CValueDouble>(result));
    if (histogram) SetStackOutput(1, OwnedImage(std::move(histogram)));
}

}  // namespace ORVA
