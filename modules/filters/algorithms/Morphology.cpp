#include "Morphology.h"

#include <cmath>

namespace ORVA::Filters {

bool SStructure::IsRectangle() const {
    return std::all_of(mask.begin(), mask.end(), [](uint8_t m) { return m != 0; });
}

SStructure StructuringElement(EnShape shape, int64_t width, int64_t height) {
    if (width < 1 || height < 1 || width > (1 << 16) || height > (1 << 16))
        throw CException("Filters::StructuringElement", "the element must be 1 x 1 to 65536");
    SStructure se{width, height, std::vector<uint8_t>(static_cast<size_t>(width * height), 0)};
    const int64_t r = height / 2, c = width / 2;
    const double inverse = r ? 1.0 / (static_cast<double>(r) * static_cast<double>(r)) : 0;
    for (int64_t i = 0; i < height; ++i) {
        int64_t from = 0, to = 0;
        if (shape == EnShape::RECTANGLE || (shape == EnShape::CROSS && i == r)) {
            to = width;
        } else if (shape == EnShape::CROSS) {
            from = c;
            to = c + 1;
        } else {
            const int64_t dy = i - r;
            const double d = c * std::sqrt(static_cast<double>(r * r - dy * dy) * inverse);
            const int64_t dx = RoundEven(d);
            from = std::max<int64_t>(c - dx, 0);
            to = std::min(c + dx + 1, width);
        }
        std::fill(se.mask.begin() + i * width + from, se.mask.begin() + i * width + to, 1);
    }
    return se;
}

}  // namespace ORVA::Filters
