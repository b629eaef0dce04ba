#include "Morphology.h"

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::Filled;
using FilterTesting::Random;
using FilterTesting::SImage;

namespace {

TEST(Morphology, StructuringElements) {
    struct SCase {
        EnShape shape;
        int64_t width, height;
        std::vector<uint8_t> expected;
    } cases[] = {
        {EnShape::ELLIPSE, 5, 5, {0, 0, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1,
                                  1, 1, 1, 1, 1, 1, 1, 0, 0, 1, 0, 0}},
        {EnShape::ELLIPSE, 3, 5, {0, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 0}},
        {EnShape::CROSS, 3, 3, {0, 1, 0, 1, 1, 1, 0, 1, 0}},
        {EnShape::CROSS, 4, 2, {0, 0, 1, 0, 1, 1, 1, 1}},  // anchor (2, 1)
        {EnShape::RECTANGLE, 2, 1, {1, 1}},
    };
    for (const SCase& c : cases)
        EXPECT_EQ(StructuringElement(c.shape, c.width, c.height).mask, c.expected)
            << int(c.shape) << " " << c.width << "x" << c.height;
}

// The extremum over the element, samples outside the plane left out.
template <class T>
SImage<T> Literal(const SImage<T>& src, const SStructure& se, bool minimum) {
    SImage<T> out(src.width, src.height);
    for (int64_t y = 0; y < src.height; ++y)
        for (int64_t x = 0; x < src.width; ++x) {
            bool any = false;
            T best = 0;
            for (int64_t j = 0; j < se.height; ++j)
                for (int64_t i = 0; i < se.width; ++i) {
                    int64_t sx = x + i - se.width / 2, sy = y + j - se.height / 2;
                    if (!se.mask[size_t(j * se.width + i)] || sx < 0 || sy < 0 || sx >= src.width ||
                        sy >= src.height)
                        continue;
                    T v = src.At(sx, sy);
                    if (!any || (minimum ? v < best : v > best)) best = v;
                    any = true;
                }
            out.At(x, y) = best;
        }
    return out;
}

template <class T>
void CompareWithLiteral(EnShape shape, int64_t kw, int64_t kh) {
    const SStructure se = StructuringElement(shape, kw, kh);
    for (auto [w, h] : {std::pair<int64_t, int64_t>{40, 23}, {5, 3}}) {
        SImage<T> src = Random<T>(w, h, 0, 200, unsigned(kw * 100 + kh), 2), dst(w, h, 1);
        for (bool minimum : {true, false}) {
            Morphology(src.In(), dst.Plane(), minimum ? EnMorphology::ERODE : EnMorphology::DILATE,
                       se);
            ASSERT_EQ(dst.Values(), Literal(src, se, minimum).Values())
                << int(shape) << " " << kw << "x" << kh << " on " << w << "x" << h << " "
                << minimum;
        }
    }
}

TEST(Morphology, FastPathsEqualTheLiteralDefinition) {
    // Rectangles: folded rows (<= 8), doubling (<= 32), van Herk rows (> 32); folded columns
    // (<= 8) and van Herk columns (> 8), even sizes too.
    const int64_t sizes[][2] = {{1, 1},  {5, 5}, {4, 6},  {13, 3},
                                {40, 2}, {3, 9}, {7, 24}, {33, 31}};
    for (const auto& size : sizes)
        CompareWithLiteral<uint8_t>(EnShape::RECTANGLE, size[0], size[1]);
    CompareWithLiteral<float>(EnShape::RECTANGLE, 11, 10);
    CompareWithLiteral<uint16_t>(EnShape::ELLIPSE, 7, 5);
    CompareWithLiteral<uint8_t>(EnShape::ELLIPSE, 21, 21);
    CompareWithLiteral<double>(EnShape::CROSS, 5, 9);
}

TEST(Morphology, CompositeOperations) {
    // A bright pixel and a dark pixel on grey 50, 3 x 3 rectangle.
    const auto src = Filled<uint8_t>(5, 5, [](int64_t x, int64_t y) {
        return x == 1 && y == 1 ? 90 : x == 3 && y == 3 ? 10 : 50;
    });
    SImage<uint8_t> dst(5, 5);
    const SStructure se = StructuringElement(EnShape::RECTANGLE, 3, 3);
    struct SCase {
        EnMorphology op;
        uint8_t atBright, atDark, corner, far;  // (1, 1), (3, 3), (0, 0), (4, 0)
    } cases[] = {
        {EnMorphology::OPEN, 50, 10, 50, 50},    {EnMorphology::CLOSE, 90, 50, 90, 50},
        {EnMorphology::TOPHAT, 40, 0, 0, 0},     {EnMorphology::BLACKHAT, 0, 40, 40, 0},
        {EnMorphology::GRADIENT, 40, 40, 40, 0},
    };
    for (const SCase& c : cases) {
        Morphology(src.In(), dst.Plane(), c.op, se);
        EXPECT_EQ((std::vector{dst.At(1, 1), dst.At(3, 3), dst.At(0, 0), dst.At(4, 0)}),
                  (std::vector{c.atBright, c.atDark, c.corner, c.far}))
            << int(c.op);
    }
    // Two iterations of a 3 x 3 erosion are one 5 x 5 erosion; for a cross they are a diamond.
    const auto spot =
        Filled<uint8_t>(7, 7, [](int64_t x, int64_t y) { return x == 3 && y == 3 ? 0 : 9; });
    SImage<uint8_t> twice(7, 7);
    Morphology(spot.In(), twice.Plane(), EnMorphology::ERODE,
               StructuringElement(EnShape::CROSS, 3, 3), 2);
    EXPECT_EQ(twice.At(3, 1), 0);
    EXPECT_EQ(twice.At(2, 2), 0);
    EXPECT_EQ(twice.At(1, 1), 9);
    Morphology(spot.In(), twice.Plane(), EnMorphology::ERODE, se, 2);
    EXPECT_EQ(twice.At(1, 1), 0);
    EXPECT_EQ(twice.At(0, 0), 9);
}

TEST(Morphology, LargeResultsWrittenAroundTheCacheAreExact) {
    // 32 MiB of floats, rows padded so that they start off the 16-byte boundaries.
    const int64_t w = 2048, h = 4096;
    const SImage<float> src = Random<float>(w, h, 0, 100, 3, 3);
    SImage<float> dst(w, h, 1);
    Morphology(src.In(), dst.Plane(), EnMorphology::ERODE,
               StructuringElement(EnShape::RECTANGLE, 5, 5));
    for (int64_t y : {int64_t(0), int64_t(1), int64_t(2), int64_t(1000), h - 2, h - 1})
        for (int64_t x = 0; x < w; ++x) {
            float best = src.At(x, y);
            for (int64_t sy = std::max<int64_t>(0, y - 2); sy <= std::min(h - 1, y + 2); ++sy)
                for (int64_t sx = std::max<int64_t>(0, x - 2); sx <= std::min(w - 1, x + 2); ++sx)
                    best = std::min(best, src.At(sx, sy));
            ASSERT_EQ(dst.At(x, y), best) << x << " " << y;
        }
}

}  // namespace
