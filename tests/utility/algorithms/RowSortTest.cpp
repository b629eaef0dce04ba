#include "algorithms/RowSort.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

#include <gtest/gtest.h>

using namespace ORVA;

namespace {

// The sort the literal way: an index sort by a comparison of the keys, then a gather of rows.
template <class T>
std::vector<T> LiteralSort(const std::vector<T>& in, int64_t width, int64_t rows, int64_t column) {
    std::vector<int64_t> index(static_cast<size_t>(rows));
    for (int64_t y = 0; y < rows; ++y)
        index[static_cast<size_t>(y)] = y;
    std::sort(index.begin(), index.end(), [&](int64_t a, int64_t b) {
        return in[a * width + column] < in[b * width + column];
    });
    std::vector<T> out;
    for (int64_t y : index)
        out.insert(out.end(), in.begin() + y * width, in.begin() + (y + 1) * width);
    return out;
}

template <class T>
std::vector<T> Sorted(const std::vector<T>& in, CSize size, int64_t column) {
    std::vector<T> out(in.size());
    RowSort::SortRows(in.data(), out.data(), size, column);
    return out;
}

}  // namespace

TEST(RowSort, RadixOrderEqualsAComparisonSort) {
    std::mt19937 random(11);
    const int64_t width = 3, rows = 3000;
    // Distinct float keys across signs and magnitudes, subnormals and infinities included.
    std::vector<float> floats(static_cast<size_t>(width * rows));
    std::set<float> keys = {INFINITY, -INFINITY, 0.0f};
    size_t first = 0;
    for (float key : keys)
        floats[width * first++] = key;
    for (int64_t y = 0; y < rows; ++y) {
        float* row = &floats[static_cast<size_t>(y * width)];
        for (int64_t x = 1; x < width; ++x)
            row[x] = static_cast<float>(random());
        if (y < 3) continue;
        do
            row[0] = std::ldexp(static_cast<float>(random() % 100000) - 50000.0f,
                                static_cast<int>(random() % 260) - 150);
        while (!keys.insert(row[0]).second);
    }
    EXPECT_EQ(Sorted(floats, CSize(width, rows), 0), LiteralSort(floats, width, rows, 0));

    std::vector<uint32_t> words(static_cast<size_t>(width * rows));
    for (size_t i = 0; i < words.size(); ++i)
        words[i] = static_cast<uint32_t>(i % 3 == 1 ? random() : random() % 7);
    EXPECT_EQ(Sorted(words, CSize(width, rows), 1), LiteralSort(words, width, rows, 1));
}

TEST(RowSort, PlanesOnTheirOwnAndEveryRowKept) {
    // Rows never move between planes.
    EXPECT_EQ(Sorted<uint8_t>({9, 1, 8, 2, 5, 3, 7, 4}, CSize(2, 2, 2), 0),
              (std::vector<uint8_t>{8, 2, 9, 1, 5, 3, 7, 4}));
    // NaN keys go to the ends; zeros of either sign and all payloads stay.
    const float NaN = std::nanf("");
    std::vector<float> out =
        Sorted<float>({NaN, 1, 2, 2, -NaN, 3, -0.0f, 4, 0.0f, 5, -1, 6}, CSize(2, 6), 0);
    std::vector<float> finite, payloads;
    for (size_t y = 0; y < 6; ++y) {
        if (!std::isnan(out[2 * y])) finite.push_back(out[2 * y]);
        payloads.push_back(out[2 * y + 1]);
    }
    EXPECT_EQ(finite, (std::vector<float>{-1, 0, 0, 2}));
    std::sort(payloads.begin(), payloads.end());
    EXPECT_EQ(payloads, (std::vector<float>{1, 2, 3, 4, 5, 6}));
}
