#pragma once

// Colour to grey and grey to false colour.
//
// ColourToGrey: y = wr r + wg g + wb b per pixel. With the usual luma weights (0.299, 0.587,
// 0.114) it is OpenCV's cv::cvtColor(RGB2GRAY): bytes and 16-bit samples in 14-bit fixed point,
// (r 4899 + g 9617 + b 1868 + 2^13) >> 14; floats r * 0.299f + g * 0.587f + b * 0.114f in float
// in that order; other samples and other weights in double, rounded half to even and saturated
// for integers. Channel(c) picks one channel.
//
// Channels come as three planes (planar images) or as one plane of interleaved triples
// (width 3 * pixels).
//
// GreyToColour: byte samples through a 256-entry map of RGB triples: GREY (v, v, v); JET
// (r, g, b) = clamp(1.5 - |4t - 3|, |4t - 2|, |4t - 1|) and HOT (clamp(3t), clamp(3t - 1),
// clamp(3t - 2)) with t = v / 255, scaled by 255 and rounded half to even. (OpenCV's own maps
// are tables of their own; these follow the usual formulas.)
#include <array>
#include <cstdint>

#include "Plane.h"

namespace ORVA::Filters {

struct SLuma {
    double r = 0.299, g = 0.587, b = 0.114;
    bool IsUsual() const { return r == 0.299 && g == 0.587 && b == 0.114; }
};

namespace Detail {

template <class T>
void GreyRow(const T* r, const T* g, const T* b, int64_t step, T* out, int64_t n, SLuma luma) {
    if constexpr (std::is_same_v<T, uint8_t> || std::is_same_v<T, uint16_t>) {
        if (luma.IsUsual()) {
            for (int64_t x = 0; x < n; ++x)
                out[x] = static_cast<T>((r[x * step] * 4899u + g[x * step] * 9617u +
                                         b[x * step] * 1868u + (1u << 13)) >>
                                        14);
            return;
        }
    } else if constexpr (std::is_same_v<T, float>) {
        if (luma.IsUsual()) {
            for (int64_t x = 0; x < n; ++x)
                out[x] = r[x * step] * 0.299f + g[x * step] * 0.587f + b[x * step] * 0.114f;
            return;
        }
    }
    for (int64_t x = 0; x < n; ++x)
        out[x] = SaturateCast<T>(luma.r * static_cast<double>(r[x * step]) +
                                 luma.g * static_cast<double>(g[x * step]) +
                                 luma.b * static_cast<double>(b[x * step]));
}

}  // namespace Detail

template <class T>
void ColourToGrey(SPlane<const T> r, SPlane<const T> g, SPlane<const T> b, SPlane<T> dst,
                  SLuma luma = {}) {
    CheckSameSize(r, g, "Filters::ColourToGrey");
    CheckSameSize(r, b, "Filters::ColourToGrey");
    CheckSameSize(r, dst, "Filters::ColourToGrey");
    for (int64_t y = 0; y < dst.height; ++y)
        Detail::GreyRow(r.Row(y), g.Row(y), b.Row(y), 1, dst.Row(y), dst.width, luma);
}

template <class T>
void InterleavedToGrey(SPlane<const T> rgb, SPlane<T> dst, SLuma luma = {}) {
    CheckPlane(rgb, "Filters::InterleavedToGrey");
    CheckPlane(dst, "Filters::InterleavedToGrey");
    if (rgb.width != 3 * dst.width || rgb.height != dst.height)
        throw CException("Filters::InterleavedToGrey", "the colour plane must be 3 x as wide");
    for (int64_t y = 0; y < dst.height; ++y) {
        const T* p = rgb.Row(y);
        Detail::GreyRow(p, p + 1, p + 2, 3, dst.Row(y), dst.width, luma);
    }
}

enum class EnColourMap { GREY, JET, HOT };

std::array<std::array<uint8_t, 3>, 256> ColourMap(EnColourMap map);

// Maps bytes to three planes (or, with `interleaved`, to one plane of triples in r).
void GreyToColour(SPlane<const uint8_t> src, SPlane<uint8_t> r, SPlane<uint8_t> g,
                  SPlane<uint8_t> b, EnColourMap map);
void GreyToInterleaved(SPlane<const uint8_t> src, SPlane<uint8_t> rgb, EnColourMap map);

}  // namespace ORVA::Filters
