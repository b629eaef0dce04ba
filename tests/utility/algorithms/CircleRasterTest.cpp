#include "algorithms/CircleRaster.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <utility>

#include "algorithms/Drawing.h"

using namespace ORVA;

namespace {

using CPixels = std::set<std::pair<int64_t, int64_t>>;

// The midpoint circle as textbooks write it: one octant stepped with the integer decision
// variable, mirrored eight ways.
CPixels TextbookCircle(int64_t r) {
    CPixels pixels;
    int64_t x = 0, y = r, d = 1 - r;
    while (x <= y) {
        for (auto [a, b] : {std::pair{x, y}, std::pair{y, x}})
            for (int64_t sa : {-1, 1})
                for (int64_t sb : {-1, 1})
                    pixels.insert({sa * a, sb * b});
        if (d < 0) {
            d += 2 * x + 3;
        } else {
            d += 2 * (x - y) + 5;
            --y;
        }
        ++x;
    }
    return pixels;
}

// An image of (2r + 3)^2 pixels with the circle of radius r drawn around its centre, and one
// with the given offsets from the centre set.
std::vector<uint8_t> Drawn(int64_t r, bool fill) {
    CImage image(IMAGE_GREY_8, CSize(2 * r + 3, 2 * r + 3));
    DrawMidpointCircle(MakeCanvas<uint8_t>(image, false, 1.0), r + 1, r + 1, r, fill);
    return std::vector<uint8_t>(image.Data<uint8_t>(), image.Data<uint8_t>() + image.Pixels());
}
std::vector<uint8_t> Painted(int64_t r, const CPixels& pixels) {
    std::vector<uint8_t> image(static_cast<size_t>((2 * r + 3) * (2 * r + 3)), 0);
    for (auto [x, y] : pixels)
        image[static_cast<size_t>((y + r + 1) * (2 * r + 3) + x + r + 1)] = 1;
    return image;
}

}  // namespace

TEST(CircleRaster, OutlinesAndDiscsAreTheMidpointAlgorithms) {
    // CircleOutline lists each pixel of the textbook circle once; CircleSpans and a filled
    // drawing reach its outermost pixel in every row.
    std::vector<int64_t> radii = {255, 1000, 1001};
    for (int64_t r = 0; r <= 100; ++r)
        radii.push_back(r);
    for (int64_t r : radii) {
        const CPixels textbook = TextbookCircle(r);
        const std::vector<SCircleOffset> outline = CircleOutline(r);
        CPixels listed;
        for (const SCircleOffset& p : outline)
            listed.insert({p.dx, p.dy});
        std::map<int64_t, int64_t> extents;  // row: largest |x|
        for (auto [x, y] : textbook)
            extents[y] = std::max(extents[y], x);
        std::vector<int64_t> spans;
        for (auto [y, extent] : extents)
            spans.push_back(extent);
        std::vector<uint8_t> disc = Painted(r, {});
        for (int64_t y = -r; y <= r; ++y)
            std::fill_n(disc.begin() + (y + r + 1) * (2 * r + 3) + r + 1 - spans[y + r],
                        2 * spans[y + r] + 1, 1);
        EXPECT_EQ(listed, textbook) << "radius " << r;
        EXPECT_EQ(outline.size(), textbook.size()) << "radius " << r;
        EXPECT_EQ(CircleSpans(r), spans) << "radius " << r;
        EXPECT_TRUE(Drawn(r, false) == Painted(r, textbook)) << "radius " << r;
        EXPECT_TRUE(Drawn(r, true) == disc) << "radius " << r;
    }
}
