#include "algorithms/Rectangles.h"

#include "algorithms/Threshold.h"
#include "image/Image.h"

namespace ORVA {

SRectangle SearchAbove(const CImage& image, double threshold) {
    const CSize& size = image.Size();
    const int64_t width = size.z > 0 ? size.x : 0, height = size.z > 0 ? size.y : 0;
    SRectangle found;
    const bool grey = DispatchGrey(image.Type(), [&]<class T>(std::type_identity<T>) {
        const T* data = image.Data<T>();
        const CAbove<T> above(threshold);
        found = Bounds(width, height, [&](int64_t i) {
            const T v = data[i];
            return above(v) || v != v;
        });
    });
    if (grey) return found;
    // Colour: channel c of pixel i at data[i * step + c * offset].
    const int64_t pixels = image.Pixels();
    auto colour = [&]<class T>(const T* data, int64_t step, int64_t offset) {
        return Bounds(width, height, [&](int64_t i) {
            const T* p = data + i * step;
            const double mean = (static_cast<double>(p[0]) + static_cast<double>(p[offset]) +
                                 static_cast<double>(p[2 * offset])) /
                                3;
            return !(mean <= threshold);
        });
    };
    if (image.Type() == IMAGE_RGB_8) return colour(image.Data<uint8_t>(), 1, pixels);
    if (image.Type() == IMAGE_RGB_8I) return colour(image.Data<uint8_t>(), 3, 1);
    return colour(image.Data<float>(), 3, 1);
}

}  // namespace ORVA
