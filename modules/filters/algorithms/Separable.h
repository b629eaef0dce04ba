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
template <class T, class M, class O, class H, class V>
void Separable(SPlane<const T> src, SPlane<O> dst, SWindow window, EnBorder border, T constant,
               H horizontal, V vertical) {
    CheckSameSize(src, dst, "Filters::Separable");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    const int64_t k = window.top + window.bottom + 1;
    std::vector<T> ext(static_cast<size_t>(w + window.left + window.right));
    std::vector<M> ring(static_cast<size_t>(k * w)), constantRow;
    std::vector<int64_t> held(static_cast<size_t>(k), -1);
    std::vector<const M*> rows(static_cast<size_t>(k));
    if (border == EnBorder::CONSTANT) {
        std::fill(ext.begin(), ext.end(), constant);
        constantRow.resize(static_cast<size_t>(w));
        horizontal(ext.data(), constantRow.data(), w);
    }
    for (int64_t y = 0; y < h; ++y) {
        for (int64_t i = 0; i < k; ++i) {
            const int64_t j = BorderIndex(y - window.top + i, h, border);
            if (j < 0) {
                rows[size_t(i)] = constantRow.data();
                continue;
            }
            M* slot = ring.data() + (j % k) * w;
            if (held[size_t(j % k)] != j) {
                ExtendRow(src, j, window.left, window.right, border, constant, ext.data());
                horizontal(ext.data(), slot, w);
                held[size_t(j % k)] = j;
            }
            rows[size_t(i)] = slot;
        }
        vertical(rows.data(), dst.Row(y), w);
    }
}

}  // namespace ORVA::Filters
