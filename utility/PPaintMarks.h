#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "Drawing.h"

namespace ORVA {

// Paints a mark at every point of a table into a copy of an image.
class CPPaintMarks : public CPNode {
  public:
    CPPaintMarks();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    std::string m_shape;
    int32_t m_size;
    double m_value;
    int32_t m_xColumn;
};

enum class EnMark { CROSS, PLUS, POINT, SQUARE, CIRCLE };

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

}  // namespace ORVA
