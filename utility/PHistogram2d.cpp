#include "PHistogram2d.h"

namespace ORVA {

void CPHistogram2d::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Histogram2d");
    doc.Brief("Computes the joint histogram of two images.",
              "For every position of the first image whose pair of values, first and second "
              "image, lies between range_min and range_max, adds 1 to the output pixel whose "
              "column is the bin of the first value and whose row is the bin of the second. "
              "Positions beyond the end of the second image are skipped.");
    doc.Input(0, "First input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Input(1, "Second input image of the type of the first.");
    doc.Output(0, "Joint histogram of type IMAGE_GREY_F, bin_count x bin_count.");
    m_settings.Declare(doc);
    doc.Keywords({"histogram"});
    doc.WriteTo(setup);
}

void CPHistogram2d::NodeInit() {
    m_settings.Read(Parameters());
    if (m_settings.rangeMin >= m_settings.rangeMax)
        throw CException("(utility plugins) Histogram2d", "range_min >= m_range_max!");
    m_settings.FixBinCount();
}

namespace {

// The bin of a value scaled in float: truncated toward zero, negatives and NaN to 0, at most
// binCount - 1.
inline int64_t Bin(float scaled, int64_t binCount) {
    if (!(scaled > 0.0f)) return 0;
    if (scaled >= 9.2e18f) return binCount - 1;
    return std::min<int64_t>(static_cast<int64_t>(scaled), binCount - 1);
}

// The bin of a value along one axis, -1 outside the range. Scale and offset are taken in single
// precision; bytes look their bins up in a table made by the same rule.
template <class T>
class CAxisBins {
  public:
    CAxisBins(double rangeMin, double rangeMax, int64_t binCount)
        : m_min(rangeMin),
          m_max(rangeMax),
          m_binCount(binCount),
          m_scale(static_cast<float>(binCount) / static_cast<float>(rangeMax - rangeMin)),
          m_offset(static_cast<float>(static_cast<double>(m_scale) * rangeMin)) {
        if constexpr (std::is_same_v<T, uint8_t>)
            for (int v = 0; v < 256; ++v)
                m_table[v] = Compute(static_cast<uint8_t>(v));
    }

    int64_t operator()(T value) const {
        if constexpr (std::is_same_v<T, uint8_t>)
            return m_table[value];
        else
            return Compute(value);
    }

  private:
    int64_t Compute(T value) const {
        const float v = static_cast<float>(value);
        if (v < m_min || v > m_max) return -1;  // NaN is in range
        return Bin(v * m_scale - m_offset, m_binCount);
    }

    double m_min, m_max;
    int64_t m_binCount;
    float m_scale, m_offset;
    int64_t m_table[std::is_same_v<T, uint8_t> ? 256 : 1];
};

}  // namespace

template <class T, class C>
void CPHistogram2d::Count(const T* first, const CSize& firstSize, const T* second,
                          const CSize& secondSize, double rangeMin, double rangeMax,
                          int64_t binCount, C* out) {
    const CAxisBins<T> bins(rangeMin, rangeMax, binCount);
    auto add = [&](T a, T b) {
        const int64_t column = bins(a), row = bins(b);
        if ((column | row) >= 0) out[row * binCount + column] += C(1);
    };
    if (firstSize == secondSize) {
        const int64_t n = firstSize.Elements();
        for (int64_t i = 0; i < n; ++i)
            add(first[i], second[i]);
        return;
    }
    const int64_t secondPixels = secondSize.Elements();
    int64_t i = 0;
    for (int64_t z = 0; z < firstSize.z; ++z) {
        for (int64_t y = 0; y < firstSize.y; ++y) {
            for (int64_t x = 0; x < firstSize.x; ++x, ++i) {
                // The second image's own extents still count as positions.
                if (x > secondSize.x || y > secondSize.y || z > secondSize.z) continue;
                const int64_t j = (z * secondSize.y + y) * secondSize.x + x;
                if (j >= secondPixels) continue;
                add(first[i], second[j]);
            }
        }
    }
}

// Float counters for this node, exact 64-bit ones for MutualInformation.
template void CPHistogram2d::Count(const uint8_t*, const CSize&, const uint8_t*, const CSize&,
                                   double, double, int64_t, float*);
template void CPHistogram2d::Count(const float*, const CSize&, const float*, const CSize&, double,
                                   double, int64_t, float*);
template void CPHistogram2d::Count(const uint8_t*, const CSize&, const uint8_t*, const CSize&,
                                   double, double, int64_t, uint64_t*);
template void CPHistogram2d::Count(const float*, const CSize&, const float*, const CSize&, double,
                                   double, int64_t, uint64_t*);

void CPHistogram2d::Run() {
    const char* where = "(utility plugins) Histogram2d";
    CValue* value0 = GetStackInput(0, false);
    CValue* value1 = GetStackInput(1, false);
    if (!value0 || !value1) throw CException(where, "One Input slot has no data!");
    if (!HoldsType<CImage>(value0)) throw CException(where, "Data on slot 0 is not an image.");
    if (!HoldsType<CImage>(value1)) throw CException(where, "Data on slot 1 is not an image.");
    const CImage* first = UnwrapPointer<CImage>(value0, where);
    const CImage* second = UnwrapPointer<CImage>(value1, where);
    if (!first) throw CException(where, "Null image on slot 0.");
    if (!second) throw CException(where, "Null image on slot 1.");
    if (first->Type() != IMAGE_GREY_F && first->Type() != IMAGE_GREY_8)
        throw CException(where, "first input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    if (second->Type() != IMAGE_GREY_F && second->Type() != IMAGE_GREY_8)
        throw CException(where, "second input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    if (first->Type() != second->Type())
        throw CException(where, "both input images must have the same type");

    const SHistogramSettings& s = m_settings;
    // A NodeInit that failed on the range has not yet corrected the bin count.
    const int64_t bins = s.binCount < 1 ? 256 : s.binCount;
    CImage::CheckMemory(IMAGE_GREY_F, CSize(bins, bins, 1), where);
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(bins, bins, 1));
    float* out = output->Data<float>();
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        first->Type(), [&]<class T>(std::type_identity<T>) {
            Count(first->Data<T>(), first->Size(), second->Data<T>(), second->Size(), s.rangeMin,
                  s.rangeMax, bins, out);
        });
    if (s.normalize) {
        double sum = 0.0;
        for (int64_t i = 0; i < output->Pixels(); ++i)
            sum += out[i];
        if (sum != 0.0) {
            const float divisor = static_cast<float>(sum);
            for (int64_t i = 0; i < output->Pixels(); ++i)
                out[i] /= divisor;
        }
    }
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
