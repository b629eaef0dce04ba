#include "Summary.h"

#include <cmath>
#include <limits>

namespace orva {

using namespace ORVA;

namespace {

template <class T>
void Accumulate(const T* data, int64_t count, SImageSummary& summary) {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -minimum;
    double sum = 0.0;
    int64_t finite = 0;
    for (int64_t i = 0; i < count; ++i) {
        const double v = static_cast<double>(data[i]);
        if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(v)) continue;
        }
        minimum = v < minimum ? v : minimum;
        maximum = v > maximum ? v : maximum;
        sum += v;
        ++finite;
    }
    summary.nonFinite = count - finite;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    summary.minimum = finite ? minimum : nan;
    summary.maximum = finite ? maximum : nan;
    summary.mean = finite ? sum / static_cast<double>(finite) : nan;
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
