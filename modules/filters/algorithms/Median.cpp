#include "Median.h"

namespace ORVA::Filters::Detail {

namespace {

// Adds (sign 1) or removes (sign -1) a column histogram to the window's fine and coarse ones.
ORVA_FILTERS_CLONES void Accumulate(uint16_t* fine, uint16_t* coarse, const uint16_t* column,
                                    const uint16_t* columnCoarse, int sign) {
    for (int i = 0; i < 256; ++i)
        fine[i] = static_cast<uint16_t>(fine[i] + sign * column[i]);
    for (int i = 0; i < 16; ++i)
        coarse[i] = static_cast<uint16_t>(coarse[i] + sign * columnCoarse[i]);
}

uint8_t Median(const uint16_t* fine, const uint16_t* coarse, int half) {
    int seen = 0, c = 0;
    while (seen + coarse[c] <= half)
        seen += coarse[c++];
    int v = c * 16;
    while (seen + fine[v] <= half)
        seen += fine[v++];
    return static_cast<uint8_t>(v);
}

}  // namespace

void HistogramMedianBytes(SPlane<const uint8_t> src, SPlane<uint8_t> dst, int k) {
    const int64_t w = src.width, h = src.height, r = k / 2, columns = w + 2 * r;
    // Column histograms over the window's rows, for the row extended by replication.
    std::vector<uint16_t> hist(static_cast<size_t>(columns * 256), 0);
    std::vector<uint16_t> coarse(static_cast<size_t>(columns * 16), 0);
    auto column = [&](int64_t c) { return BorderIndex(c - r, w, EnBorder::REPLICATE); };
    auto change = [&](int64_t y, int sign) {
        const uint8_t* row = src.Row(BorderIndex(y, h, EnBorder::REPLICATE));
        for (int64_t c = 0; c < columns; ++c) {
            const uint8_t v = row[column(c)];
            hist[static_cast<size_t>(c * 256 + v)] =
                static_cast<uint16_t>(hist[static_cast<size_t>(c * 256 + v)] + sign);
            coarse[static_cast<size_t>(c * 16 + v / 16)] =
                static_cast<uint16_t>(coarse[static_cast<size_t>(c * 16 + v / 16)] + sign);
        }
    };
    for (int64_t y = -r; y <= r; ++y)
        change(y, 1);
    const int half = k * k / 2;
    uint16_t fine[256], sum[16];
    for (int64_t y = 0; y < h; ++y) {
        std::fill(fine, fine + 256, 0);
        std::fill(sum, sum + 16, 0);
        for (int64_t c = 0; c < k; ++c)
            Accumulate(fine, sum, &hist[static_cast<size_t>(c * 256)],
                       &coarse[static_cast<size_t>(c * 16)], 1);
        uint8_t* out = dst.Row(y);
        for (int64_t x = 0; x < w; ++x) {
            out[x] = Median(fine, sum, half);
            if (x + 1 < w) {
                Accumulate(fine, sum, &hist[static_cast<size_t>((x + k) * 256)],
                           &coarse[static_cast<size_t>((x + k) * 16)], 1);
                Accumulate(fine, sum, &hist[static_cast<size_t>(x * 256)],
                           &coarse[static_cast<size_t>(x * 16)], -1);
            }
        }
        if (y + 1 < h) {
            change(y + r + 1, 1);
            change(y - r, -1);
        }
    }
}

}  // namespace ORVA::Filters::Detail
