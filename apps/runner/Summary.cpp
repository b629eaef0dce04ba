#include "Summary.h"

#include <cmath>
#include <limits>

namespace orva {

using namespace ORVA;

namespace {

// One sample into one lane. With CHECK, NaN and the infinities are left out and counted, by
// selects rather than branches.
template <bool CHECK, class T>
inline void Add(T v, T& minimum, T& maximum, double& sum, double& nonFinite) {
    if constexpr (CHECK) {
        constexpr T INF = std::numeric_limits<T>::infinity();
        const bool finite = v - v == T(0);  // false for NaN and the infinities
        const T low = finite ? v : INF;
        const T high = finite ? v : -INF;
        minimum = low < minimum ? low : minimum;
        maximum = high > maximum ? high : maximum;
        sum += finite ? static_cast<double>(v) : 0.0;
        nonFinite += finite ? 0.0 : 1.0;
    } else {
        minimum = v < minimum ? v : minimum;
        maximum = v > maximum ? v : maximum;
        sum += static_cast<double>(v);
    }
}

// Independent lanes, combined at the end, so that no lane waits for another; the sum's order is
// fixed (lane by lane, then the lanes in order). Extremes are kept in the sample type, which
// holds them exactly. False when CHECK is off and a sample was not finite.
template <bool CHECK, class T>
bool Lanes(const T* data, int64_t count, SImageSummary& summary) {
    constexpr int LANES = 8;
    using Limits = std::numeric_limits<T>;
    constexpr bool FLOATING = std::is_floating_point_v<T>;
    T minimum[LANES], maximum[LANES];
    double sum[LANES], nonFinite[LANES];  // counted in double: exact far beyond any image
    for (int k = 0; k < LANES; ++k) {
        minimum[k] = FLOATING ? Limits::infinity() : Limits::max();
        maximum[k] = FLOATING ? -Limits::infinity() : Limits::lowest();
        sum[k] = nonFinite[k] = 0.0;
    }
    int64_t i = 0;
    for (; i + LANES <= count; i += LANES) {
#pragma GCC unroll 8
        for (int k = 0; k < LANES; ++k)
            Add<CHECK>(data[i + k], minimum[k], maximum[k], sum[k], nonFinite[k]);
    }
    for (int k = 0; k < LANES && i < count; ++i, ++k)
        Add<CHECK>(data[i], minimum[k], maximum[k], sum[k], nonFinite[k]);
    for (int k = 1; k < LANES; ++k) {
        minimum[0] = minimum[k] < minimum[0] ? minimum[k] : minimum[0];
        maximum[0] = maximum[k] > maximum[0] ? maximum[k] : maximum[0];
        sum[0] += sum[k];
        nonFinite[0] += nonFinite[k];
    }
    // A NaN or infinity on the way leaves the sum or an extreme not finite.
    if constexpr (FLOATING && !CHECK) {
        if (!std::isfinite(sum[0]) || !std::isfinite(minimum[0]) || !std::isfinite(maximum[0]))
            return false;
    }
    summary.nonFinite = static_cast<int64_t>(nonFinite[0]);
    const int64_t finite = count - summary.nonFinite;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    summary.minimum = finite ? static_cast<double>(minimum[0]) : nan;
    summary.maximum = finite ? static_cast<double>(maximum[0]) : nan;
    summary.mean = finite ? sum[0] / static_cast<double>(finite) : nan;
    return true;
}

// Every sample finite is the common case: one pass without the checks, and a second with them
// when it met another. Both add in the same order, so the results agree.
template <class T>
void Accumulate(const T* data, int64_t count, SImageSummary& summary) {
    if (!Lanes<false>(data, count, summary)) Lanes<true>(data, count, summary);
}

// A count as a long where it fits 32 bits, else as a double.
CValue* Count(int64_t count) {
    if (count >= INT32_MIN && count <= INT32_MAX)
        return new CValueLong(static_cast<int32_t>(count));
    return new CValueDouble(static_cast<double>(count));
}

}  // namespace

SImageSummary Summarize(const CImage& image) {
    SImageSummary summary{image.Type(), image.Size(), 0.0, 0.0, 0.0, 0};
    using T = IImage::CType;
    DispatchType<T::GREY_8, T::GREY_16, T::GREY_32, T::GREY_64, T::GREY_F, T::GREY_D, T::RGB_8,
                 T::RGB_8I, T::RGB_FI, T::BINARY_FG, T::BINARY_BG>(
        image.Type(), [&]<class E>(std::type_identity<E>) {
            Accumulate(image.Data<E>(), image.Samples(), summary);
        });
    return summary;
}

std::unique_ptr<CValueMap> SummaryValue(const CImage& image) {
    const SImageSummary summary = Summarize(image);
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("type", new CValueString(image.Type().Name()));
    auto size = std::make_unique<CValueVector>();
    for (int64_t extent : {summary.size.x, summary.size.y, summary.size.z})
        size->PushBack(Count(extent));
    map->SetEntry("size", std::move(size));
    map->SetEntry("min", new CValueDouble(summary.minimum));
    map->SetEntry("max", new CValueDouble(summary.maximum));
    map->SetEntry("mean", new CValueDouble(summary.mean));
    map->SetEntry("nonfinite", Count(summary.nonFinite));
    if (!image.Attributes().IsEmpty())
        map->SetEntry("attributes", new CValueMap(image.Attributes()));
    return map;
}

std::unique_ptr<CValue> Summarized(const CValue* value) {
    if (!value) return std::make_unique<CValueNull>();
    if (!HoldsType<CImage>(value)) return value->CloneUnique(OWNERSHIP_SHALLOW);
    auto wrapper = std::make_unique<CValueMap>();
    const CImage* image = UnwrapPointer<CImage>(value);
    if (image)
        wrapper->SetEntry("image", SummaryValue(*image));
    else
        wrapper->SetEntry("image", new CValueNull());
    return wrapper;
}

}  // namespace orva
