#pragma once

// Grey-level morphology with a structuring element, as OpenCV's cv::erode, cv::dilate and
// cv::morphologyEx with their default border (samples outside the plane never win).
//
// - Erode: the minimum over the element placed with its anchor on the pixel; dilate: the
//   maximum. Anchor (width / 2, height / 2).
// - Elements as cv::getStructuringElement: RECTANGLE full; CROSS the anchor's row and column;
//   ELLIPSE row i (dy = i - height/2, r = height/2, c = width/2) covers c +- dx with
//   dx = round_half_even(c * sqrt((r^2 - dy^2) / r^2)), clipped to the width.
// - OPEN = dilate(erode), CLOSE = erode(dilate), GRADIENT = dilate - erode, TOPHAT =
//   src - open, BLACKHAT = close - src; `iterations` repeats each erosion and dilation.
// - Rectangles are separable: a row pass then a column pass, each a running extremum in
//   O(1) per pixel (van Herk / Gil-Werman) for long windows and log2(k) + 1 vector passes for
//   windows up to 32 (doubled extrema, two overlapping pieces per window); n iterations of a k-wide
//   rectangle are one pass of width n (k - 1)
//   + 1. Other elements take the row extrema of each element row's run and combine the rows.
// Results are exact, so they equal OpenCV's for every sample type.
#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

enum class EnShape { RECTANGLE, ELLIPSE, CROSS };
enum class EnMorphology { ERODE, DILATE, OPEN, CLOSE, GRADIENT, TOPHAT, BLACKHAT };

struct SStructure {
    int64_t width = 0, height = 0;
    std::vector<uint8_t> mask;  // height rows of width, 1 inside
    bool IsRectangle() const;
};

SStructure StructuringElement(EnShape shape, int64_t width, int64_t height);

namespace Detail {

template <class T, bool MIN>
struct SExtreme {
    static T Pick(T a, T b) {
        if constexpr (MIN)
            return b < a ? b : a;
        else
            return a < b ? b : a;
    }
    // The value that never wins.
    static T Neutral() {
        if constexpr (std::is_floating_point_v<T>)
            return MIN ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity();
        else
            return MIN ? std::numeric_limits<T>::max() : std::numeric_limits<T>::lowest();
    }
};

template <bool MIN, class T>
ORVA_FILTERS_CLONES void PickRows(T* acc, const T* in, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        acc[i] = SExtreme<T, MIN>::Pick(acc[i], in[i]);
}

// out[x] = the extremum of in[0][x], ..., in[K - 1][x], picked in that order: one pass over
// all K rows, vectorised.
template <bool MIN, int K, class T>
ORVA_FILTERS_CLONES void FoldRows(const T* const* in, T* __restrict out, int64_t n) {
    const T* p[K];
    for (int i = 0; i < K; ++i)
        p[i] = in[i];
    for (int64_t x = 0; x < n; ++x) {
        T v = p[0][x];
        for (int i = 1; i < K; ++i)
            v = SExtreme<T, MIN>::Pick(v, p[i][x]);
        out[x] = v;
    }
}

// FoldRows for 1 to FOLD_MOST rows.
inline constexpr int64_t FOLD_MOST = 8;
template <bool MIN, class T>
void Fold(const T* const* in, int64_t count, T* out, int64_t n) {
    if (!WithCount(count, [&]<int K>() { FoldRows<MIN, K>(in, out, n); }))
        throw CException("Filters::Morphology", "too many rows to fold");
}

// out[x] = the extremum of row[x - ax .. x - ax + k - 1] within [0, w), k <= FOLD_MOST: the
// interior as k shifted copies of the row, the ends sample by sample.
template <bool MIN, class T>
void RowWindow(const T* row, T* out, int64_t w, int64_t k, int64_t ax) {
    using E = SExtreme<T, MIN>;
    const int64_t lo = std::min(ax, w), hi = std::max(lo, w - (k - 1 - ax));
    const T* shifted[FOLD_MOST];
    for (int64_t i = 0; i < k; ++i)
        shifted[i] = row + lo - ax + i;
    if (hi > lo) Fold<MIN>(shifted, k, out + lo, hi - lo);
    auto edge = [&](int64_t x) {
        T v = E::Neutral();
        for (int64_t i = std::max<int64_t>(0, ax - x); i < k && x - ax + i < w; ++i)
            v = E::Pick(v, row[x - ax + i]);
        out[x] = v;
    };
    for (int64_t x = 0; x < lo; ++x)
        edge(x);
    for (int64_t x = hi; x < w; ++x)
        edge(x);
}

// out[x] = extremum of e[x .. x + k - 1] for x < n; `work` holds n + k samples.
template <bool MIN, class T>
ORVA_FILTERS_CLONES void RunExtremum(const T* e, T* out, int64_t n, int64_t k, T* work) {
    using E = SExtreme<T, MIN>;
    if (k == 1) {
        std::memcpy(out, e, static_cast<size_t>(n) * sizeof(T));
        return;
    }
    if (k <= 32) {
        // Doubling: work[x] covers s = 2, 4, ... samples from x; as extrema may overlap, the
        // window is the two pieces of the largest s <= k that start at x and at x + k - s.
        const int64_t m = n + k - 1;
        for (int64_t x = 0; x + 1 < m; ++x)
            work[x] = E::Pick(e[x], e[x + 1]);
        int64_t span = 2;
        for (; 2 * span <= k; span *= 2)
            for (int64_t x = 0; x + span < m - span + 1; ++x)
                work[x] = E::Pick(work[x], work[x + span]);
        const T* tail = work + (k - span);
        for (int64_t x = 0; x < n; ++x)
            out[x] = E::Pick(work[x], tail[x]);
        return;
    }
    // van Herk / Gil-Werman: blocks of k; the suffix from x and the prefix to x + k - 1 meet.
    const int64_t m = n + k - 1;
    T* suffix = work;
    for (int64_t start = 0; start < m; start += k) {
        const int64_t end = std::min(start + k, m);
        suffix[end - 1] = e[end - 1];
        for (int64_t x = end - 2; x >= start; --x)
            suffix[x] = E::Pick(e[x], suffix[x + 1]);
    }
    T prefix = e[0];  // block 0 up to the first window's end
    for (int64_t q = 1; q < k; ++q)
        prefix = E::Pick(prefix, e[q]);
    for (int64_t x = 0; x < n; ++x) {
        const int64_t p = x + k - 1;
        if (x > 0) prefix = p % k == 0 ? e[p] : E::Pick(prefix, e[p]);
        out[x] = E::Pick(suffix[x], prefix);
    }
}

template <bool MIN, class T>
void RectangleExtremum(SPlane<const T> src, SPlane<T> dst, int64_t kw, int64_t kh) {
    using E = SExtreme<T, MIN>;
    const int64_t w = src.width, h = src.height, ax = kw / 2, ay = kh / 2;
    std::vector<T> ext(static_cast<size_t>(w + kw - 1)), work(static_cast<size_t>(w + 2 * kw));
    if (kh <= FOLD_MOST) {
        // Row extrema of the window's rows in a ring, each source row once; columns directly.
        // Integer extrema do not depend on their order, so two output rows inside the plane
        // share the extremum of the kh - 1 rows their windows have in common.
        const bool pairs = std::is_integral_v<T> && kh > 1;
        const int64_t slots = kh + 1;
        std::vector<T> ring(static_cast<size_t>(slots * w)), common(pairs ? size_t(w) : 0);
        std::vector<int64_t> held(static_cast<size_t>(slots), -1);
        std::vector<const T*> window;
        const bool ahead = Streams(src);  // a large source comes from memory
        auto cached = [&](int64_t s) -> const T* {
            T* slot = ring.data() + (s % slots) * w;
            if (held[static_cast<size_t>(s % slots)] != s) {
                if (ahead && s + 1 < h)
                    Prefetch(src.Row(s + 1), static_cast<size_t>(w) * sizeof(T));
                if (kw <= FOLD_MOST) {
                    RowWindow<MIN>(src.Row(s), slot, w, kw, ax);
                } else {
                    ExtendRow(src, s, ax, kw - 1 - ax, EnBorder::CONSTANT, E::Neutral(),
                              ext.data());
                    RunExtremum<MIN>(ext.data(), slot, w, kw, work.data());
                }
                held[static_cast<size_t>(s % slots)] = s;
            }
            return slot;
        };
        const bool stream = Streams(dst);
        std::vector<T> line(stream ? static_cast<size_t>(w) : 0);
        auto fold = [&](const T* const* rows, int64_t count, int64_t y) {
            Fold<MIN>(rows, count, stream ? line.data() : dst.Row(y), w);
            if (stream) StreamRow(dst.Row(y), line.data(), static_cast<size_t>(w) * sizeof(T));
        };
        for (int64_t y = 0; y < h;) {
            const int64_t top = y - ay;
            window.clear();
            if (pairs && top >= 0 && top + kh + 1 <= h) {
                for (int64_t i = 0; i <= kh; ++i)
                    window.push_back(cached(top + i));
                Fold<MIN>(window.data() + 1, kh - 1, common.data(), w);
                const T* first[2] = {window[0], common.data()};
                const T* second[2] = {common.data(), window[size_t(kh)]};
                fold(first, 2, y);
                fold(second, 2, y + 1);
                y += 2;
                continue;
            }
            for (int64_t s = std::max<int64_t>(top, 0); s < std::min(top + kh, h); ++s)
                window.push_back(cached(s));
            fold(window.data(), static_cast<int64_t>(window.size()), y);
            ++y;
        }
        Fence();
        return;
    }
    // Row pass into `rows` (the whole plane: the column pass reads it in blocks).
    std::vector<T> rows(static_cast<size_t>(w * h));
    for (int64_t y = 0; y < h; ++y) {
        ExtendRow(src, y, ax, kw - 1 - ax, EnBorder::CONSTANT, E::Neutral(), ext.data());
        RunExtremum<MIN>(ext.data(), rows.data() + y * w, w, kw, work.data());
    }
    auto row = [&](int64_t p) { return rows.data() + (p - ay) * w; };  // padded index p
    auto inside = [&](int64_t p) { return p - ay >= 0 && p - ay < h; };
    // Columns by van Herk / Gil-Werman over blocks of kh padded rows, vectorised along x:
    // the suffixes of block b and the prefixes of block b + 1 give the outputs of block b.
    std::vector<T> suffix(static_cast<size_t>(kh * w)), prefix(static_cast<size_t>(kh * w));
    const int64_t padded = h + kh - 1;
    auto load = [&](T* to, int64_t p) {
        if (p < padded && inside(p))
            std::memcpy(to, row(p), static_cast<size_t>(w) * sizeof(T));
        else
            std::fill(to, to + w, E::Neutral());
    };
    for (int64_t start = 0; start < h; start += kh) {
        for (int64_t i = kh - 1; i >= 0; --i) {
            T* s = suffix.data() + i * w;
            load(s, start + i);
            if (i + 1 < kh) PickRows<MIN>(s, s + w, w);
        }
        for (int64_t i = 0; i < kh; ++i) {
            T* g = prefix.data() + i * w;
            load(g, start + kh + i);
            if (i > 0) PickRows<MIN>(g, g - w, w);
        }
        for (int64_t i = 0; i < kh && start + i < h; ++i) {
            T* out = dst.Row(start + i);
            std::memcpy(out, suffix.data() + i * w, static_cast<size_t>(w) * sizeof(T));
            if (i > 0) PickRows<MIN>(out, prefix.data() + (i - 1) * w, w);
        }
    }
}

template <bool MIN, class T>
void GeneralExtremum(SPlane<const T> src, SPlane<T> dst, const SStructure& se) {
    using E = SExtreme<T, MIN>;
    const int64_t w = src.width, h = src.height, kw = se.width, kh = se.height;
    const int64_t ax = kw / 2, ay = kh / 2;
    struct SRun {
        int64_t row, start, length;
    };
    std::vector<SRun> runs;
    for (int64_t j = 0; j < kh; ++j)
        for (int64_t i = 0; i < kw;) {
            if (!se.mask[static_cast<size_t>(j * kw + i)]) {
                ++i;
                continue;
            }
            int64_t e = i;
            while (e < kw && se.mask[static_cast<size_t>(j * kw + e)])
                ++e;
            runs.push_back({j, i, e - i});
            i = e;
        }
    std::vector<T> ext(static_cast<size_t>(w + kw - 1)), run(static_cast<size_t>(w + kw)),
        work(static_cast<size_t>(w + 3 * kw));
    for (int64_t y = 0; y < h; ++y) {
        T* out = dst.Row(y);
        std::fill(out, out + w, E::Neutral());
        for (const SRun& r : runs) {
            const int64_t s = y + r.row - ay;
            if (s < 0 || s >= h) continue;
            ExtendRow(src, s, ax, kw - 1 - ax, EnBorder::CONSTANT, E::Neutral(), ext.data());
            RunExtremum<MIN>(ext.data() + r.start, run.data(), w, r.length, work.data());
            PickRows<MIN>(out, run.data(), w);
        }
    }
}

template <bool MIN, class T>
void Extremum(SPlane<const T> src, SPlane<T> dst, const SStructure& se, int iterations) {
    if (se.IsRectangle()) {
        const int64_t kw = (se.width - 1) * iterations + 1, kh = (se.height - 1) * iterations + 1;
        RectangleExtremum<MIN>(src, dst, kw, kh);
        return;
    }
    std::vector<T> copy;
    for (int i = 0; i < iterations; ++i) {
        SPlane<const T> from = src;
        if (i > 0) {  // the previous result is the next input
            copy.resize(static_cast<size_t>(src.width * src.height));
            for (int64_t y = 0; y < src.height; ++y)
                std::memcpy(copy.data() + y * src.width, dst.Row(y),
                            static_cast<size_t>(src.width) * sizeof(T));
            from = Plane<const T>(copy.data(), src.width, src.height);
        }
        GeneralExtremum<MIN>(from, dst, se);
    }
}

}  // namespace Detail

template <class T>
void Morphology(SPlane<const T> src, SPlane<T> dst, EnMorphology op, const SStructure& se,
                int iterations = 1) {
    CheckSameSize(src, dst, "Filters::Morphology");
    if (se.width < 1 || se.height < 1 ||
        se.mask.size() != static_cast<size_t>(se.width * se.height))
        throw CException("Filters::Morphology", "the structuring element is empty or malformed");
    if (iterations < 1 || iterations > 1000)
        throw CException("Filters::Morphology", "iterations must be 1 to 1000");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    if (op == EnMorphology::ERODE) return Detail::Extremum<true>(src, dst, se, iterations);
    if (op == EnMorphology::DILATE) return Detail::Extremum<false>(src, dst, se, iterations);
    std::vector<T> a(static_cast<size_t>(w * h)), b(static_cast<size_t>(w * h));
    SPlane<T> pa = Plane(a.data(), w, h), pb = Plane(b.data(), w, h);
    auto combine = [&](SPlane<const T> p, SPlane<const T> q) {  // dst = p - q
        for (int64_t y = 0; y < h; ++y) {
            const T *u = p.Row(y), *v = q.Row(y);
            T* out = dst.Row(y);
            for (int64_t x = 0; x < w; ++x)
                out[x] = static_cast<T>(u[x] - v[x]);
        }
    };
    switch (op) {
        case EnMorphology::OPEN:
            Detail::Extremum<true>(src, pa, se, iterations);
            Detail::Extremum<false>(SPlane<const T>(pa), dst, se, iterations);
            break;
        case EnMorphology::CLOSE:
            Detail::Extremum<false>(src, pa, se, iterations);
            Detail::Extremum<true>(SPlane<const T>(pa), dst, se, iterations);
            break;
        case EnMorphology::GRADIENT:
            Detail::Extremum<false>(src, pa, se, iterations);
            Detail::Extremum<true>(src, pb, se, iterations);
            combine(pa, pb);
            break;
        case EnMorphology::TOPHAT:
            Detail::Extremum<true>(src, pa, se, iterations);
            Detail::Extremum<false>(SPlane<const T>(pa), pb, se, iterations);
            combine(src, pb);
            break;
        case EnMorphology::BLACKHAT:
            Detail::Extremum<false>(src, pa, se, iterations);
            Detail::Extremum<true>(SPlane<const T>(pa), pb, se, iterations);
            combine(pb, src);
            break;
        default:
            break;
    }
}

}  // namespace ORVA::Filters
