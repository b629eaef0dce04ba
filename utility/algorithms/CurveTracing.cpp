#include "CurveTracing.h"

#include <numbers>

namespace ORVA {

namespace {

constexpr uint8_t CURVE = 1, VISITED = 2;

// Walks the curves of a padded mask. Pixels are neighbours by mixed adjacency: the four edge
// neighbours, and a diagonal neighbour only when neither pixel beside both is a curve pixel, so
// that a staircase of edge steps is one path and not a fan of short cuts. A pixel with three or
// more neighbours is a branch point.
class CTracer {
  public:
    CTracer(std::vector<uint8_t>& mask, int64_t width, float* table, float* indices)
        : m_state(mask.data()),
          m_width(width),
          m_paddedWidth(width + 2),
          m_size(static_cast<int64_t>(mask.size())),
          m_table(table),
          m_indices(indices),
          m_steps{1,
                  m_paddedWidth,
                  -1,
                  -m_paddedWidth,
                  m_paddedWidth + 1,
                  m_paddedWidth - 1,
                  -m_paddedWidth - 1,
                  -m_paddedWidth + 1} {}

    int64_t Run() {
        // End points and isolated pixels first, in raster order; then whatever tracing leaves
        // with at most one open neighbour, in the order it appears; when none is left, the
        // first untraced pixel in raster order, which lies on a closed curve.
        for (int64_t p = 0; p < m_size; ++p)
            if ((m_state[p] & CURVE) && Degree(p, false) <= 1) m_starts.push_back(p);
        int64_t next = 0, scan = 0;
        for (;;) {
            while (next < static_cast<int64_t>(m_starts.size())) {
                const int64_t p = m_starts[static_cast<size_t>(next++)];
                if (!(m_state[p] & VISITED)) Trace(p);
            }
            while (scan < m_size && m_state[scan] != CURVE)
                ++scan;
            if (scan == m_size) return m_curves;
            Trace(scan);
        }
    }

  private:
    // Whether the k-th neighbour of p (edge neighbours first) is a curve pixel adjacent to it,
    // and with `open` not yet traced.
    bool Neighbour(int64_t p, int k, bool open) const {
        const int64_t q = p + m_steps[k];
        if (!(m_state[q] & CURVE) || (open && (m_state[q] & VISITED))) return false;
        if (k < 4) return true;
        const int64_t dx = (k == 4 || k == 7) ? 1 : -1;
        return !(m_state[p + dx] & CURVE) && !(m_state[q - dx] & CURVE);
    }

    int Degree(int64_t p, bool open) const {
        int degree = 0;
        for (int k = 0; k < 8; ++k)
            degree += Neighbour(p, k, open);
        return degree;
    }

    void Trace(int64_t start) {
        ++m_curves;
        float index = 0.0f;
        double length = 0.0;
        for (int64_t p = start;;) {
            Visit(p, ++index, length);
            if (p != start && Degree(p, false) >= 3) return;
            int k = 0;
            while (k < 8 && !Neighbour(p, k, true))
                ++k;
            if (k == 8) return;
            length += k < 4 ? 1.0 : std::numbers::sqrt2;
            p += m_steps[k];
        }
    }

    void Visit(int64_t p, float index, double length) {
        m_state[p] |= VISITED;
        const int64_t x = p % m_paddedWidth - 1, y = p / m_paddedWidth - 1;
        float* row = m_table + 5 * m_rows++;
        row[0] = static_cast<float>(m_curves);
        row[1] = index;
        row[2] = static_cast<float>(x);
        row[3] = static_cast<float>(y);
        row[4] = static_cast<float>(length);
        if (m_indices) m_indices[y * m_width + x] = index;
        // A neighbour left with one open neighbour or none has become the end of what remains.
        for (int k = 0; k < 8; ++k)
            if (Neighbour(p, k, true) && Degree(p + m_steps[k], true) <= 1)
                m_starts.push_back(p + m_steps[k]);
    }

    uint8_t* m_state;
    int64_t m_width, m_paddedWidth, m_size;
    float* m_table;
    float* m_indices;
    const int64_t m_steps[8];  // E, S, W, N, SE, SW, NW, NE
    std::vector<int64_t> m_starts;
    int64_t m_curves = 0, m_rows = 0;
};

}  // namespace

int64_t TraceCurves(std::vector<uint8_t>& mask, int64_t width, float* table, float* indices) {
    return CTracer(mask, width, table, indices).Run();
}

}  // namespace ORVA
