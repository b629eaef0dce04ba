#pragma once

// Correlation of a plane with a kernel, as OpenCV's cv::filter2D: the output at (x, y) is the
// sum over kernel cells (i, j) of k(i, j) * src(x + i - ax, y + j - ay), anchor (ax, ay) =
// (kw / 2, kh / 2). With `flip` the kernel is turned by 180 degrees first, which makes it a
// convolution. Sums start at 0 and add the non-zero cells in row-major order in the output's
// floating type (float or double); OpenCV fuses the multiply-adds in its vector code and uses
// the DFT from 11 x 11 on, so float results differ in the last bits.
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

namespace Detail {

template <class W>
ORVA_FILTERS_CLONES void MultiplyAdd(W* acc, const W* in, W k, int64_t w) {
    for (int64_t x = 0; x < w; ++x)
        acc[x] += k * in[x];
}

}  // namespace Detail

template <class T, class O>
void Convolve(SPlane<const T> src, SPlane<O> dst, SPlane<const float> kernel,
              EnBorder border = EnBorder::REFLECT_101, bool flip = false) {
    static_assert(std::is_floating_point_v<O>);
    CheckSameSize(src, dst, "Filters::Convolve");
    CheckPlane(kernel, "Filters::Convolve");
    if (kernel.width < 1 || kernel.height < 1)
        throw CException("Filters::Convolve", "the kernel is empty");
    const int64_t w = src.width, h = src.height, kw = kernel.width, kh = kernel.height;
    if (w == 0 || h == 0) return;
    struct SCell {
        int64_t i, j;
        O k;
    };
    std::vector<SCell> cells;
    for (int64_t j = 0; j < kh; ++j)
        for (int64_t i = 0; i < kw; ++i) {
            float k = flip ? kernel.At(kw - 1 - i, kh - 1 - j) : kernel.At(i, j);
            if (k != 0.0f) cells.push_back({i, j, static_cast<O>(k)});
        }
    const int64_t left = kw / 2, top = kh / 2, ew = w + kw - 1;
    std::vector<O> ring(static_cast<size_t>(kh * ew)), constantRow(static_cast<size_t>(ew), O(0));
    std::vector<int64_t> held(static_cast<size_t>(kh), -1);
    std::vector<const O*> rows(static_cast<size_t>(kh));
    for (int64_t y = 0; y < h; ++y) {
        for (int64_t j = 0; j < kh; ++j) {
            const int64_t s = BorderIndex(y - top + j, h, border);
            if (s < 0) {
                rows[size_t(j)] = constantRow.data();
                continue;
            }
            O* slot = ring.data() + (s % kh) * ew;
            if (held[size_t(s % kh)] != s) {
                ExtendRow(src, s, left, kw - 1 - left, border, O(0), slot);
                held[size_t(s % kh)] = s;
            }
            rows[size_t(j)] = slot;
        }
        O* acc = dst.Row(y);
        std::fill(acc, acc + w, O(0));
        for (const SCell& c : cells)
            Detail::MultiplyAdd(acc, rows[size_t(c.j)] + c.i, c.k, w);
    }
}

}  // namespace ORVA::Filters
