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

namespace {

// floor(sqrt(n)) and ceil(sqrt(n)) for 0 <= n < 2^62, exact.
int64_t FloorSqrt(int64_t n) {
    auto s = static_cast<int64_t>(std::sqrt(static_cast<double>(n)));
    while (s * s > n)
        --s;
    while ((s + 1) * (s + 1) <= n)
        ++s;
    return s;
}

int64_t CeilSqrt(int64_t n) {
    const int64_t s = FloorSqrt(n);
    return s * s == n ? s : s + 1;
}

// The column of the octant from the top of the circle at height x: the integer nearest to
// sqrt(r^2 - x^2). The midpoint test keeps y while the midpoint (x, y - 1/2) lies inside the
// circle, which picks that integer; r^2 - x^2 is never exactly halfway, (k + 1/2)^2 not being an
// integer.
int64_t OctantY(int64_t r, int64_t x) {
    const int64_t n = r * r - x * x;
    const int64_t k = FloorSqrt(n);
    return n - k * k > k ? k + 1 : k;
}

}  // namespace

// The algorithm plots, in the octant from the top of the circle, (x, Y(x)) for x = 0, 1, ...
// while x <= Y(x), Y(x) the integer nearest sqrt(r^2 - x^2), and mirrors them into the other
// seven octants. In the row t of the right half this gives the octant's points with Y(x) = t
// (x <= t) and the mirrored point (Y(t), t) where t <= Y(t).
SCircleRow CircleRow(int64_t r, int64_t t) {
    SCircleRow row{1, 0, -1, 0};
    if (t == 0) {
        row.single = r;
        row.extent = r;
        return row;
    }
    // Y(x) = t for t >= 1: (t - 1/2)^2 < r^2 - x^2 < (t + 1/2)^2, that is
    // r^2 - t^2 - t <= x^2 <= r^2 - t^2 + t - 1 in integers.
    const int64_t low = r * r - t * t - t;
    const int64_t high = r * r - t * t + t - 1;
    if (high >= 0) {
        row.spanFirst = low > 0 ? CeilSqrt(low) : 0;
        row.spanLast = std::min(FloorSqrt(high), t);
        if (row.spanFirst <= row.spanLast) row.extent = row.spanLast;
    }
    const int64_t y = OctantY(r, t);
    if (t <= y) {
        row.single = y;
        row.extent = std::max(row.extent, y);
    }
    return row;
}

}  // namespace ORVA
