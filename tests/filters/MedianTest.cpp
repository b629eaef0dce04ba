#include "Median.h"

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::Filled;
using FilterTesting::Random;
using FilterTesting::SImage;

namespace {

TEST(Median, RemovesAnImpulseAndKeepsAnEdge) {
    // Rows of 5: a spike is dropped; a straight edge stays where it is (replicated borders).
    auto edge = [](int64_t x, int64_t) { return x >= 3 ? 200 : 0; };
    SImage<uint8_t> src = Filled<uint8_t>(5, 5, edge), dst(5, 5);
    src.At(1, 2) = 255;
    MedianBlur(src.In(), dst.Plane(), 3);
    EXPECT_EQ(dst.Values(), Filled<uint8_t>(5, 5, edge).Values());
}

// Every path of every type against nth_element over the window, on widths that leave
// partial vectors and on rows with padding.
template <class T>
void CompareWithLiteral(int k, double low, double high) {
    for (int64_t width : {1, 7, 33, 70})
        for (int64_t height : {1, 6, 13}) {
            SImage<T> src = Random<T>(width, height, low, high, unsigned(width * 31 + height), 3);
            SImage<T> fast(width, height, 1), literal(width, height);
            MedianBlur(src.In(), fast.Plane(), k);
            MedianBlurLiteral(src.In(), literal.Plane(), k);
            ASSERT_EQ(fast.Values(), literal.Values()) << k << " " << width << "x" << height;
        }
}

TEST(Median, FastPathsEqualTheLiteralDefinition) {
    for (int k : {3, 5, 7, 9, 15}) {
        CompareWithLiteral<uint8_t>(k, 0, 255);
        CompareWithLiteral<uint8_t>(k, 100, 103);  // many ties
    }
    for (int k : {3, 5, 7}) {
        CompareWithLiteral<uint16_t>(k, 0, 65535);
        CompareWithLiteral<float>(k, -1, 1);
        CompareWithLiteral<double>(k, -1e6, 1e6);
    }
    SImage<uint8_t> src(3, 3), dst(3, 3);
    EXPECT_THROW(MedianBlur(src.In(), dst.Plane(), 4), ORVA::CException);
}

}  // namespace
