// Distance transform, region properties and colour conversion.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Colour.h"
#include "Distance.h"
#include "FilterTesting.h"
#include "Regions.h"

using namespace ORVA::Filters;
using FilterTesting::Filled;
using FilterTesting::Random;
using FilterTesting::SImage;

namespace {

TEST(Distance, EqualsTheNearestZeroByExhaustiveSearch) {
    // Sparse zeros leave pixels far from any; dense ones put most next to one.
    for (double density : {0.02, 0.5}) {
        SImage<float> src = Random<float>(37, 29, 0, 1, unsigned(density * 100), 1);
        for (float& v : src.samples)
            v = v < density ? 0.0f : v;
        SImage<float> out(37, 29, 2);
        DistanceTransform(src.In(), out.Plane());
        for (int64_t y = 0; y < 29; ++y)
            for (int64_t x = 0; x < 37; ++x) {
                int64_t best = std::numeric_limits<int64_t>::max();
                for (int64_t j = 0; j < 29; ++j)
                    for (int64_t i = 0; i < 37; ++i)
                        if (src.At(i, j) == 0.0f)
                            best = std::min(best, (i - x) * (i - x) + (j - y) * (j - y));
                ASSERT_EQ(out.At(x, y), std::sqrt(float(best))) << x << " " << y << " " << density;
            }
    }
    // No zero: infinitely far.
    SImage<uint8_t> ones = Filled<uint8_t>(5, 5, [](int64_t, int64_t) { return 1; });
    SImage<float> out(5, 5);
    DistanceTransform(ones.In(), out.Plane());
    EXPECT_EQ(out.At(0, 0), std::numeric_limits<float>::infinity());
}

TEST(Regions, MatchScikitImage) {
    // regionprops of this label image with intensity 0 .. 29 in raster order (scikit-image
    // 0.19; its centroid is (row, column)).
    SImage<int32_t> labels(6, 5, {0, 1, 1, 1, 0, 0, 0, 1, 1, 1, 0, 2, 0, 1, 1,
                                  1, 2, 2, 3, 0, 0, 2, 2, 0, 3, 3, 0, 0, 0, 0});
    SImage<double> intensity(6, 5);
    for (size_t i = 0; i < 30; ++i)
        intensity.samples[i] = double(i);
    SPlane<const uint32_t> plane{reinterpret_cast<const uint32_t*>(labels.samples.data()), 6, 5, 6};
    const std::vector<SRegion> regions = RegionProperties(plane, intensity.In());
    struct SExpected {
        int64_t label, area;
        double cy, cx;
        int64_t minY, minX, endY, endX;
        double perimeter, eccentricity, orientation, diameter, mean, minimum, maximum;
    } expected[] = {
        {1, 9, 1.0, 2.0, 0, 1, 3, 4, 8.0, 0.0, 0.7853981633974483, 3.385137501286538, 8.0, 1, 15},
        {2, 5, 2.2, 4.2, 1, 3, 4, 6, 5.414213562373095, 0.938083151964686, 0.7853981633974483,
         2.5231325220201604, 17.4, 11, 22},
        {3, 3, 3.6666666666666665, 0.3333333333333333, 3, 0, 5, 2, 3.414213562373095,
         0.816496580927726, -0.7853981633974483, 1.9544100476116797, 22.333333333333332, 18, 25},
    };
    ASSERT_EQ(regions.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const SRegion& r = regions[i];
        const SExpected& e = expected[i];
        EXPECT_EQ((std::vector<int64_t>{r.label, r.area, r.minY, r.minX, r.maxY + 1, r.maxX + 1}),
                  (std::vector<int64_t>{e.label, e.area, e.minY, e.minX, e.endY, e.endX}));
        EXPECT_DOUBLE_EQ(r.centroidY, e.cy);
        EXPECT_DOUBLE_EQ(r.centroidX, e.cx);
        EXPECT_DOUBLE_EQ(r.perimeter, e.perimeter);
        EXPECT_NEAR(r.eccentricity, e.eccentricity, 1e-12);
        EXPECT_NEAR(r.orientation, e.orientation, 1e-12);
        EXPECT_DOUBLE_EQ(r.equivalentDiameter, e.diameter);
        EXPECT_DOUBLE_EQ(r.mean, e.mean);
        EXPECT_EQ((std::vector{r.minimum, r.maximum}), (std::vector<double>{e.minimum, e.maximum}));
    }
    SImage<float> negative(1, 1, {-1.0f});
    EXPECT_THROW(RegionProperties(negative.In()), ORVA::CException);
}

// Sparse labels far apart, in runs and single pixels, against sums taken pixel by pixel.
TEST(Regions, SparseLabelsMatchAPixelByPixelCount) {
    const int64_t values[] = {0, 0, 7, 2000000000, 123456789, 2147483647};
    for (int64_t width : {1, 23, 64}) {
        SImage<float> noise = Random<float>(width, 17, 0, 6, unsigned(width), 3);
        SImage<int64_t> labels(width, 17, 3);
        for (int64_t y = 0; y < 17; ++y)
            for (int64_t x = 0; x < width; ++x)  // runs of two: pairs share the left label
                labels.At(x, y) = values[size_t(noise.At(x - x % 2, y)) % 6];
        const std::vector<SRegion> regions = RegionProperties(labels.In(), noise.In());
        std::vector<int64_t> present;
        for (int64_t l : labels.Values())
            if (l && std::find(present.begin(), present.end(), l) == present.end())
                present.push_back(l);
        std::sort(present.begin(), present.end());
        ASSERT_EQ(regions.size(), present.size()) << width;
        for (size_t i = 0; i < present.size(); ++i) {
            SRegion e;
            e.minX = e.minY = 1 << 30;
            double sx = 0, sy = 0;
            for (int64_t y = 0; y < 17; ++y)
                for (int64_t x = 0; x < width; ++x) {
                    if (labels.At(x, y) != present[i]) continue;
                    const double v = noise.At(x, y);
                    e.minimum = e.area ? std::min(e.minimum, v) : v;
                    e.maximum = e.area ? std::max(e.maximum, v) : v;
                    ++e.area, sx += double(x), sy += double(y), e.mean += v;
                    e.minX = std::min(e.minX, x), e.maxX = std::max(e.maxX, x);
                    e.minY = std::min(e.minY, y), e.maxY = std::max(e.maxY, y);
                }
            const SRegion& r = regions[i];
            EXPECT_EQ((std::vector<int64_t>{r.label, r.area, r.minX, r.minY, r.maxX, r.maxY}),
                      (std::vector<int64_t>{present[i], e.area, e.minX, e.minY, e.maxX, e.maxY}));
            EXPECT_EQ(r.centroidX, sx / double(e.area));
            EXPECT_EQ(r.centroidY, sy / double(e.area));
            EXPECT_EQ(r.mean, e.mean / double(e.area));
            EXPECT_EQ(r.minimum, e.minimum);
            EXPECT_EQ(r.maximum, e.maximum);
        }
    }
    SImage<int64_t> beyond(1, 1, {int64_t(1) << 31});
    EXPECT_THROW(RegionProperties(beyond.In()), ORVA::CException);
}

// Perimeters against a literal count of border pixels and their codes, with runs longer than
// the packed counters hold and labels whose samples differ within a run (1.2 next to 1.7).
TEST(Regions, PerimeterMatchesALiteralCount) {
    const float values[] = {0.0f, 1.2f, 1.7f, 2.0f, 5.0f};
    for (int64_t width : {1, 6, 65, 150}) {
        SImage<float> pick = Random<float>(width, 13, 0, 5, unsigned(width), 2);
        SImage<float> lengths = Random<float>(width, 13, 1, 100, unsigned(width) + 7);
        SImage<float> labels(width, 13, 2);
        for (int64_t y = 0; y < 13; ++y)
            for (int64_t x = 0, end = 0; x < width; ++x) {
                if (x == end) end = x + int64_t(lengths.At(x, y));
                labels.At(x, y) = values[size_t(pick.At(end - 1 < width ? end - 1 : x, y)) % 5];
            }
        auto label = [&](int64_t x, int64_t y) {
            return x < 0 || y < 0 || x >= width || y >= 13 ? 0 : int64_t(labels.At(x, y));
        };
        auto border = [&](int64_t x, int64_t y) {
            const int64_t l = label(x, y);
            return l != 0 && (label(x - 1, y) != l || label(x + 1, y) != l ||
                              label(x, y - 1) != l || label(x, y + 1) != l);
        };
        const std::vector<SRegion> regions = RegionProperties(labels.In());
        for (const SRegion& r : regions) {
            int64_t counts[50] = {};
            for (int64_t y = 0; y < 13; ++y)
                for (int64_t x = 0; x < width; ++x) {
                    if (label(x, y) != r.label || !border(x, y)) continue;
                    auto same = [&](int64_t i, int64_t j) {
                        return int(label(i, j) == r.label && border(i, j));
                    };
                    ++counts[1 +
                             2 * (same(x - 1, y) + same(x + 1, y) + same(x, y - 1) +
                                  same(x, y + 1)) +
                             10 * (same(x - 1, y - 1) + same(x + 1, y - 1) + same(x - 1, y + 1) +
                                   same(x + 1, y + 1))];
                }
            double perimeter = 0;
            for (int code : ORVA::Filters::Detail::PERIMETER_CODES) {
                const double weight = code == 21 || code == 33   ? std::sqrt(2.0)
                                      : code == 13 || code == 23 ? (1 + std::sqrt(2.0)) / 2
                                                                 : 1.0;
                perimeter += static_cast<double>(counts[code]) * weight;
            }
            EXPECT_EQ(r.perimeter, perimeter) << width << " label " << r.label;
        }
        std::vector<int64_t> order;  // labels met in any order come out in label order
        for (const SRegion& r : regions)
            order.push_back(r.label);
        EXPECT_EQ(order, (std::vector<int64_t>{1, 2, 5})) << width;
    }
}

TEST(Colour, LumaAndMaps) {
    // (r 4899 + g 9617 + b 1868 + 8192) >> 14 on bytes.
    SImage<uint8_t> r(4, 1, {255, 0, 0, 255}), g(4, 1, {0, 255, 0, 255}), b(4, 1, {0, 0, 255, 255});
    SImage<uint8_t> grey(4, 1);
    ColourToGrey(r.In(), g.In(), b.In(), grey.Plane());
    EXPECT_EQ(grey.Values(), (std::vector<uint8_t>{76, 150, 29, 255}));
    SImage<float> rgb(6, 1, {1, 2, 3, 10, 0, 0}), fgrey(2, 1);
    InterleavedToGrey(rgb.In(), fgrey.Plane());
    EXPECT_EQ(fgrey.Values(), (std::vector<float>{1 * 0.299f + 2 * 0.587f + 3 * 0.114f,
                                                  10 * 0.299f + 0 * 0.587f + 0 * 0.114f}));
    // A chosen channel is a weight of 1 on it.
    InterleavedToGrey(rgb.In(), fgrey.Plane(), SLuma{0, 1, 0});
    EXPECT_EQ(fgrey.Values(), (std::vector<float>{2, 0}));

    const auto jet = ColourMap(EnColourMap::JET), hot = ColourMap(EnColourMap::HOT);
    EXPECT_EQ(jet[0], (std::array<uint8_t, 3>{0, 0, 128}));
    EXPECT_EQ(jet[255], (std::array<uint8_t, 3>{128, 0, 0}));
    EXPECT_EQ(jet[128], (std::array<uint8_t, 3>{130, 255, 126}));
    EXPECT_EQ(hot[85], (std::array<uint8_t, 3>{255, 0, 0}));
    SImage<uint8_t> v(1, 1, {255}), tri(3, 1);
    GreyToInterleaved(v.In(), tri.Plane(), EnColourMap::HOT);
    EXPECT_EQ(tri.Values(), (std::vector<uint8_t>{255, 255, 255}));
}

}  // namespace
