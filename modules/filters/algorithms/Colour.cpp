#include "Colour.h"

#include <cmath>

namespace ORVA::Filters {

namespace {

uint8_t Level(double v) {
    v = std::min(1.0, std::max(0.0, v));
    return static_cast<uint8_t>(RoundEven(v * 255.0));
}

}  // namespace

std::array<std::array<uint8_t, 3>, 256> ColourMap(EnColourMap map) {
    std::array<std::array<uint8_t, 3>, 256> table{};
    for (int i = 0; i < 256; ++i) {
        const double t = i / 255.0;
        switch (map) {
            case EnColourMap::GREY:
                table[size_t(i)] = {uint8_t(i), uint8_t(i), uint8_t(i)};
                break;
            case EnColourMap::JET:
                table[size_t(i)] = {Level(1.5 - std::abs(4 * t - 3)),
                                    Level(1.5 - std::abs(4 * t - 2)),
                                    Level(1.5 - std::abs(4 * t - 1))};
                break;
            case EnColourMap::HOT:
                table[size_t(i)] = {Level(3 * t), Level(3 * t - 1), Level(3 * t - 2)};
                break;
        }
    }
    return table;
}

void GreyToColour(SPlane<const uint8_t> src, SPlane<uint8_t> r, SPlane<uint8_t> g,
                  SPlane<uint8_t> b, EnColourMap map) {
    CheckSameSize(src, r, "Filters::GreyToColour");
    CheckSameSize(src, g, "Filters::GreyToColour");
    CheckSameSize(src, b, "Filters::GreyToColour");
    const auto table = ColourMap(map);
    for (int64_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        uint8_t *pr = r.Row(y), *pg = g.Row(y), *pb = b.Row(y);
        for (int64_t x = 0; x < src.width; ++x) {
            const auto& c = table[in[x]];
            pr[x] = c[0];
            pg[x] = c[1];
            pb[x] = c[2];
        }
    }
}

void GreyToInterleaved(SPlane<const uint8_t> src, SPlane<uint8_t> rgb, EnColourMap map) {
    CheckPlane(src, "Filters::GreyToInterleaved");
    CheckPlane(rgb, "Filters::GreyToInterleaved");
    if (rgb.width != 3 * src.width || rgb.height != src.height)
        throw CException("Filters::GreyToInterleaved", "the colour plane must be 3 x as wide");
    const auto table = ColourMap(map);
    for (int64_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        uint8_t* out = rgb.Row(y);
        for (int64_t x = 0; x < src.width; ++x)
            for (int c = 0; c < 3; ++c)
                out[3 * x + c] = table[in[x]][size_t(c)];
    }
}

}  // namespace ORVA::Filters
