#include "Drawing.h"

#include <cmath>

namespace ORVA {

template <class T>
T PixelValue(double value, IImage::CType type) {
    // One pixel through the framework's conversion, so that drawing writes exactly what
    // ConvertType would make of the value.
    CImage source(IMAGE_GREY_D, CSize(1, 1));
    source.Data<double>()[0] = value;
    CImage target(type, CSize(1, 1));
    CImageConversion::FastConvert(target, source, false);
    return target.Data<T>()[0];
}

template uint8_t PixelValue<uint8_t>(double, IImage::CType);
template uint16_t PixelValue<uint16_t>(double, IImage::CType);
template uint32_t PixelValue<uint32_t>(double, IImage::CType);
template uint64_t PixelValue<uint64_t>(double, IImage::CType);
template float PixelValue<float>(double, IImage::CType);
template double PixelValue<double>(double, IImage::CType);

int64_t NearestPixel(double v) {
    constexpr double LIMIT = 1099511627776.0;  // 2^40
    const double nearest = std::floor(v + 0.5);
    if (!(nearest == nearest)) return 0;
    return static_cast<int64_t>(std::clamp(nearest, -LIMIT, LIMIT));
}

}  // namespace ORVA
