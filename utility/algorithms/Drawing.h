#pragma once

// Drawing into images of any pixel type, clipped at every border: a typed view of the planes to
// draw into, spans and points, the circle of the midpoint algorithm and marks at points. All
// drawing goes through it, so that it agrees on values and clipping.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "CircleRaster.h"
#include "tarsel.h"

namespace ORVA {

// `value` as a sample of `type`, by the module's plain typecast (FastConvert without
// saturation): integers truncate toward zero and keep their low bits, NaN gives 0, binary
// types 1 for any non-zero value.
template <class T>
T PixelValue(double value, IImage::CType type);

// The planes of an image to draw into, and the value to draw: channel c of pixel (x, y) of plane
// p is data[p * planeStride + c * channelStride + (y * width + x) * pixelStride].
template <class T>
struct SCanvas {
    T* data = nullptr;
    int64_t width = 0, height = 0;
    int64_t planes = 0;  // drawn from the first
    int64_t planeStride = 0;
    int channels = 1;
    int64_t channelStride = 0;
    int64_t pixelStride = 1;
    T value{};

    // Pixels x0 to x1 of row y, as far as they lie in the image.
    void Span(int64_t y, int64_t x0, int64_t x1) const {
        if (y < 0 || y >= height) return;
        x0 = std::max<int64_t>(x0, 0);
        x1 = std::min(x1, width - 1);
        if (x0 > x1) return;
        for (int64_t p = 0; p < planes; ++p)
            for (int c = 0; c < channels; ++c) {
                T* row = data + p * planeStride + c * channelStride + y * width * pixelStride;
                if (pixelStride == 1)
                    std::fill(row + x0, row + x1 + 1, value);
                else
                    for (int64_t x = x0; x <= x1; ++x)
                        row[x * pixelStride] = value;
            }
    }
    void Point(int64_t x, int64_t y) const { Span(y, x, x); }
    // The filled rectangle from (x0, y0) to (x1, y1), corners included.
    void Box(int64_t x0, int64_t y0, int64_t x1, int64_t y1) const {
        for (int64_t y = std::max<int64_t>(y0, 0); y <= std::min(y1, height - 1); ++y)
            Span(y, x0, x1);
    }
    // The rows from y0 to y1 that lie in the image: [*first, *last], empty when first > last.
    void VisibleRows(int64_t y0, int64_t y1, int64_t* first, int64_t* last) const {
        *first = std::max<int64_t>(y0, 0);
        *last = std::min(y1, height - 1);
    }
};

// The canvas of `image` (any pixel type) with `value` converted to its samples: every plane with
// `allPlanes`, else only the first.
template <class T>
SCanvas<T> MakeCanvas(CImage& image, bool allPlanes, double value) {
    const IImage::CType type = image.Type();
    const CSize& size = image.Size();
    SCanvas<T> canvas;
    canvas.data = image.Data<T>();
    canvas.width = size.x;
    canvas.height = size.y;
    canvas.planes = allPlanes ? size.z : std::min<int64_t>(size.z, 1);
    canvas.channels = type.Channels();
    const int64_t planePixels = size.x * size.y;
    if (type.IsPlanar()) {
        canvas.planeStride = planePixels;
        canvas.channelStride = image.Pixels();
    } else {
        canvas.planeStride = planePixels * canvas.channels;
        canvas.channelStride = 1;
        canvas.pixelStride = canvas.channels;
    }
    canvas.value = PixelValue<T>(value, type);
    return canvas;
}

// Calls f(SCanvas<T>) with the canvas of `image` for its sample type T; every pixel type is
// accepted.
template <class F>
void DispatchCanvas(CImage& image, bool allPlanes, double value, F&& f) {
    using Id = IImage::CType::EnId;
    DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_64, Id::GREY_F, Id::GREY_D,
                 Id::RGB_8, Id::RGB_8I, Id::RGB_FI, Id::BINARY_FG, Id::BINARY_BG>(
        image.Type(),
        [&]<class T>(std::type_identity<T>) { f(MakeCanvas<T>(image, allPlanes, value)); });
}

// The pixel nearest to coordinate `v` (pixel centres lie at integers, halves round up), kept
// within +-2^40 so that far-off marks stay far off without overflowing. NaN gives 0; callers
// skip non-finite coordinates first.
int64_t NearestPixel(double v);

// The midpoint circle of radius r (0 to MAX_RADIUS) around (cx, cy): its outline, one pixel per
// step in each octant, or with `fill` every pixel between the outline's ends in each row. Only
// the rows that lie in the image are visited.
template <class T>
void DrawMidpointCircle(const SCanvas<T>& canvas, int64_t cx, int64_t cy, int64_t r, bool fill) {
    if (r < 0 || r > MAX_RADIUS) return;
    int64_t first = 0, last = 0;
    canvas.VisibleRows(cy - r, cy + r, &first, &last);
    for (int64_t y = first; y <= last; ++y) {
        const SCircleRow row = CircleRow(r, y > cy ? y - cy : cy - y);
        if (fill) {
            canvas.Span(y, cx - row.extent, cx + row.extent);
            continue;
        }
        if (row.spanFirst <= row.spanLast) {
            canvas.Span(y, cx + row.spanFirst, cx + row.spanLast);
            canvas.Span(y, cx - row.spanLast, cx - row.spanFirst);
        }
        if (row.single >= 0) {
            canvas.Point(cx + row.single, y);
            canvas.Point(cx - row.single, y);
        }
    }
}

// Draws the circle of every table row (x, y, r in its first three columns), rounded to whole
// pixels; rows with a value that is not finite, a negative radius or one beyond MAX_RADIUS are
// skipped.
template <class T>
void DrawCircleTable(const SCanvas<T>& canvas, const float* table, int64_t columns, int64_t rows,
                     bool fill) {
    for (int64_t i = 0; i < rows; ++i) {
        const float* row = table + i * columns;
        if (!std::isfinite(row[0]) || !std::isfinite(row[1]) || !std::isfinite(row[2])) continue;
        if (row[2] < 0.0f) continue;
        const int64_t r = NearestPixel(row[2]);
        if (r > MAX_RADIUS) continue;
        DrawMidpointCircle(canvas, NearestPixel(row[0]), NearestPixel(row[1]), r, fill);
    }
}

// The marks, in the order of their names.
enum class EnMark { CROSS, PLUS, POINT, SQUARE, CIRCLE };
inline constexpr const char* MARK_SHAPES = "CROSS, PLUS, POINT, SQUARE, CIRCLE";

// One mark around (x, y) reaching `size` pixels out: diagonal (CROSS) or upright (PLUS) arms,
// the pixel alone (POINT), the outline of a square (SQUARE) or of a midpoint circle (CIRCLE).
template <EnMark SHAPE, class T>
void PaintMark(const SCanvas<T>& canvas, int64_t x, int64_t y, int64_t size) {
    int64_t first = 0, last = 0;
    canvas.VisibleRows(y - size, y + size, &first, &last);
    if constexpr (SHAPE == EnMark::CROSS) {
        for (int64_t row = first; row <= last; ++row) {
            canvas.Point(x + (row - y), row);
            canvas.Point(x - (row - y), row);
        }
    } else if constexpr (SHAPE == EnMark::PLUS) {
        canvas.Span(y, x - size, x + size);
        for (int64_t row = first; row <= last; ++row)
            canvas.Point(x, row);
    } else if constexpr (SHAPE == EnMark::POINT) {
        canvas.Point(x, y);
    } else if constexpr (SHAPE == EnMark::SQUARE) {
        canvas.Span(y - size, x - size, x + size);
        canvas.Span(y + size, x - size, x + size);
        for (int64_t row = first; row <= last; ++row) {
            canvas.Point(x - size, row);
            canvas.Point(x + size, row);
        }
    } else {
        DrawMidpointCircle(canvas, x, y, size, false);
    }
}

// A mark at (row[xColumn], row[xColumn + 1]) of every row of a table `columns` wide, rounded to
// the nearest pixel; rows with a coordinate that is not finite are skipped.
template <EnMark SHAPE, class T>
void PaintMarks(const SCanvas<T>& canvas, const float* table, int64_t columns, int64_t rows,
                int64_t xColumn, int64_t size) {
    for (int64_t i = 0; i < rows; ++i) {
        const float x = table[i * columns + xColumn], y = table[i * columns + xColumn + 1];
        if (std::isfinite(x) && std::isfinite(y))
            PaintMark<SHAPE>(canvas, NearestPixel(x), NearestPixel(y), size);
    }
}

// The same for a shape chosen at run time: one choice for the whole table.
template <class T>
void PaintMarks(const SCanvas<T>& canvas, EnMark shape, const float* table, int64_t columns,
                int64_t rows, int64_t xColumn, int64_t size) {
    switch (shape) {
        case EnMark::CROSS:
            return PaintMarks<EnMark::CROSS>(canvas, table, columns, rows, xColumn, size);
        case EnMark::PLUS:
            return PaintMarks<EnMark::PLUS>(canvas, table, columns, rows, xColumn, size);
        case EnMark::POINT:
            return PaintMarks<EnMark::POINT>(canvas, table, columns, rows, xColumn, size);
        case EnMark::SQUARE:
            return PaintMarks<EnMark::SQUARE>(canvas, table, columns, rows, xColumn, size);
        case EnMark::CIRCLE:
            return PaintMarks<EnMark::CIRCLE>(canvas, table, columns, rows, xColumn, size);
    }
}

}  // namespace ORVA
