#pragma once

// The frame of every separable filter: each source row is extended by the border rule and
// filtered horizontally once into a ring of cached rows of type M; each output row then
// combines the cached rows of its window vertically. The ring holds as many rows as the window,
// so memory stays at a few rows whatever the image.
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

// Window of a separable filter around the output pixel: `left` samples before it and `right`
// after along a row, `top` rows above and `bottom` below.
struct SWindow {
    int64_t left, right, top, bottom;
};

// horizontal(const T* ext, M* out, int64_t width): ext[left + x] is sample x of the row.
// vertical(const M* const* rows, O* out, int64_t width): rows[0] is the top row of the window.
// With GROUP > 1, vertical(const M* const* rows, O* const* outs, int64_t count, int64_t width)
// makes `count` (up to GROUP) output rows, row g from rows[g] on: the rows they share are read
// from the cache closest to the processor.
// With `stream` the output rows go around the caches (see StreamRow).
template <class T, class M, int GROUP = 1, class O, class H, class V>
void Separable(SPlane<const T> src, SPlane<O> dst, SWindow window, EnBorder border, T constant,
               H horizontal, V vertical, bool stream = false) {
    CheckSameSize(src, dst, "Filters::Separable");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    const int64_t k = window.top + window.bottom + 1, slots = k + GROUP - 1;
    std::vector<T> ext(static_cast<size_t>(w + window.left + window.right));
    std::vector<M> ring(static_cast<size_t>(slots * w)), constantRow;
    std::vector<int64_t> held(static_cast<size_t>(slots), -1);
    std::vector<const M*> rows(static_cast<size_t>(slots));
    std::vector<O> line(stream ? static_cast<size_t>(GROUP * w) : 0);
    O* outs[GROUP];
    if (border == EnBorder::CONSTANT) {
        std::fill(ext.begin(), ext.end(), constant);
        constantRow.resize(static_cast<size_t>(w));
        horizontal(ext.data(), constantRow.data(), w);
    }
    for (int64_t y = 0; y < h; y += GROUP) {
        const int64_t count = std::min<int64_t>(GROUP, h - y);
        for (int64_t i = 0; i < k + count - 1; ++i) {
            const int64_t j = BorderIndex(y - window.top + i, h, border);
            if (j < 0) {
                rows[size_t(i)] = constantRow.data();
                continue;
            }
            M* slot = ring.data() + (j % slots) * w;
            if (held[size_t(j % slots)] != j) {
                ExtendRow(src, j, window.left, window.right, border, constant, ext.data());
                horizontal(ext.data(), slot, w);
                held[size_t(j % slots)] = j;
            }
            rows[size_t(i)] = slot;
        }
        for (int64_t g = 0; g < count; ++g)
            outs[g] = stream ? line.data() + g * w : dst.Row(y + g);
        if constexpr (GROUP == 1)
            vertical(rows.data(), outs[0], w);
        else
            vertical(rows.data(), static_cast<O* const*>(outs), count, w);
        for (int64_t g = 0; stream && g < count; ++g)
            StreamRow(dst.Row(y + g), outs[g], static_cast<size_t>(w) * sizeof(O));
    }
    Fence();
}

}  // namespace ORVA::Filters
