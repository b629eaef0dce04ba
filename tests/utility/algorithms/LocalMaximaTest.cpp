#include "algorithms/LocalMaxima.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

using namespace ORVA;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The maxima by their definition: every window scanned, plateaus flooded.
template <class T>
std::vector<std::pair<int64_t, double>> Literal(const std::vector<T>& data, CSize size, int64_t r,
                                                double threshold) {
    auto at = [&](int64_t x, int64_t y, int64_t z) { return (z * size.y + y) * size.x + x; };
    auto inside = [&](int64_t x, int64_t y) {
        return x >= 0 && y >= 0 && x < size.x && y < size.y;
    };
    std::vector<bool> maximum(data.size()), seen(data.size());
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x) {
                bool is = static_cast<double>(data[at(x, y, z)]) > threshold;
                for (int64_t v = y - r; v <= y + r; ++v)
                    for (int64_t u = x - r; is && u <= x + r; ++u)
                        is = !(inside(u, v) && data[at(u, v, z)] > data[at(x, y, z)]);
                maximum[at(x, y, z)] = is;
            }
    std::function<void(int64_t, int64_t, int64_t, T)> flood = [&](int64_t x, int64_t y, int64_t z,
                                                                  T value) {
        if (!inside(x, y) || seen[at(x, y, z)] || !maximum[at(x, y, z)] ||
            data[at(x, y, z)] != value)
            return;
        seen[at(x, y, z)] = true;
        for (int64_t dy = -1; dy <= 1; ++dy)
            for (int64_t dx = -1; dx <= 1; ++dx)
                flood(x + dx, y + dy, z, value);
    };
    std::vector<std::pair<int64_t, double>> peaks;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x)
                if (maximum[at(x, y, z)] && !seen[at(x, y, z)]) {
                    peaks.push_back({at(x, y, z), static_cast<double>(data[at(x, y, z)])});
                    flood(x, y, z, data[at(x, y, z)]);
                }
    return peaks;
}

// Maxima of a random image of `levels` values (and NaN among floats) as defined, for radii of
// both filters and beyond the image.
template <class T>
void ExpectLiteralMaxima(CSize size, int levels, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> data(static_cast<size_t>(size.Elements()));
    for (T& v : data) {
        v = static_cast<T>(random() % levels);
        if constexpr (std::is_floating_point_v<T>)
            if (random() % 7 == 0) v = NaN;
    }
    // Every search takes over the memory of the one before, none of its maxima.
    std::vector<SPeak> peaks;
    for (int64_t r : {0, 1, 2, 3, 4, 7, 40})
        for (double threshold : {-1.0, 0.0, 1.5}) {
            peaks = LocalMaxima(data.data(), size, r, threshold, std::move(peaks));
            std::vector<std::pair<int64_t, double>> found;
            for (const SPeak& p : peaks)
                found.push_back({p.index, p.value});
            EXPECT_EQ(found, Literal(data, size, r, threshold))
                << size.ToString() << " radius " << r << " threshold " << threshold;
        }
}

}  // namespace

TEST(LocalMaxima, AsDefinedWithPlateausOnce) {
    // Few levels make plateaus of every shape.
    ExpectLiteralMaxima<uint8_t>(CSize(9, 7, 2), 3, 1);
    ExpectLiteralMaxima<float>(CSize(13, 6, 1), 4, 2);
    ExpectLiteralMaxima<uint16_t>(CSize(40, 31, 1), 6, 3);
    ExpectLiteralMaxima<uint32_t>(CSize(1, 9, 2), 2, 4);
}

TEST(LocalMaxima, StrongestFirstAsAStableSort) {
    // Values whose keys differ in all their bits (signed zeros, extremes, floats and doubles of
    // either sign) and in a few in the middle (bytes; floats of two binary exponents), each
    // with many equal values, in several sizes; the working memory of each sort is kept for
    // the next.
    const double specials[] = {0.0, -0.0, 1.0, -1.0, 1e300, -1e300, 5e-324, -5e-324, 255.0};
    std::mt19937 random(8);
    std::uniform_real_distribution<double> wide(-1e6, 1e6), narrow(0.25, 1.0);
    const std::function<double()> distributions[] = {
        [&] {
            const unsigned kind = random() % 3;
            return kind == 0   ? specials[random() % 9]
                   : kind == 1 ? double(float(wide(random)))
                               : wide(random);
        },
        [&] { return double(random() % 256); },
        [&] { return random() % 4 ? double(float(narrow(random))) : 0.5; },
    };
    std::vector<SPeak> scratch;
    for (const auto& value : distributions)
        for (size_t n : {0, 1, 2, 7, 300, 5000}) {
            std::vector<SPeak> peaks(n);
            for (size_t i = 0; i < n; ++i)
                peaks[i] = {static_cast<int64_t>(i), value()};
            std::vector<SPeak> expected = peaks;
            std::stable_sort(expected.begin(), expected.end(),
                             [](const SPeak& a, const SPeak& b) { return a.value > b.value; });
            SortStrongestFirst(peaks, scratch);
            ASSERT_EQ(peaks.size(), n);
            for (size_t i = 0; i < n; ++i)
                ASSERT_EQ(peaks[i].index, expected[i].index) << n << " at " << i;
        }
}
