#include "Arithmetic.h"

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::SImage;

namespace {

TEST(Arithmetic, BytesSaturateOrKeepTheirLowBits) {
    struct SCase {
        EnArithmetic op;
        uint8_t a, b, saturated, wrapped;
    } cases[] = {
        {EnArithmetic::ADD, 200, 100, 255, 44},
        {EnArithmetic::SUBTRACT, 10, 20, 0, 246},
        {EnArithmetic::MULTIPLY, 16, 17, 255, 16},
        {EnArithmetic::DIVIDE, 7, 2, 4, 3},
        {EnArithmetic::DIVIDE, 5, 2, 2, 2},
        {EnArithmetic::DIVIDE, 9, 0, 0, 0},
        {EnArithmetic::ABSDIFF, 10, 250, 240, 240},
        {EnArithmetic::MIN, 3, 9, 3, 3},
        {EnArithmetic::MAX, 3, 9, 9, 9},
    };
    for (const SCase& c : cases)
        for (bool saturate : {true, false}) {
            SImage<uint8_t> a(1, 1, {c.a}), b(1, 1, {c.b}), out(1, 1);
            Arithmetic(a.In(), b.In(), out.Plane(), c.op, saturate);
            EXPECT_EQ(out.At(0, 0), saturate ? c.saturated : c.wrapped)
                << int(c.op) << " " << int(c.a) << " " << int(c.b) << " " << saturate;
        }
}

TEST(Arithmetic, WideningAndNarrowingOutputs) {
    // 16-bit differences into float keep their sign; floats into bytes round half to even
    // when saturating and truncate when not.
    SImage<uint16_t> a(2, 1, {1, 60000}), b(2, 1, {3, 5});
    SImage<float> difference(2, 1);
    Arithmetic(a.In(), b.In(), difference.Plane(), EnArithmetic::SUBTRACT, false);
    EXPECT_EQ(difference.Values(), (std::vector<float>{-2.0f, 59995.0f}));
    SImage<float> f(4, 1, {2.5f, 3.5f, -1.5f, 300.75f});
    SImage<uint8_t> rounded(4, 1), truncated(4, 1);
    ArithmeticConstant(f.In(), 0.0, rounded.Plane(), EnArithmetic::ADD, true);
    ArithmeticConstant(f.In(), 0.0, truncated.Plane(), EnArithmetic::ADD, false);
    EXPECT_EQ(rounded.Values(), (std::vector<uint8_t>{2, 4, 0, 255}));
    EXPECT_EQ(truncated.Values(), (std::vector<uint8_t>{2, 3, 255, 44}));
    // A constant first: 10 - v.
    SImage<uint8_t> v(2, 1, {3, 12}), out(2, 1);
    ArithmeticConstant(v.In(), 10.0, out.Plane(), EnArithmetic::SUBTRACT, true, true);
    EXPECT_EQ(out.Values(), (std::vector<uint8_t>{7, 0}));
}

TEST(Arithmetic, FloatsComputeInFloat) {
    // 16777216 + 1 is not a float: in float the sum stays 16777216.
    SImage<float> a(1, 1, {16777216.0f}), b(1, 1, {1.0f}), out(1, 1);
    Arithmetic(a.In(), b.In(), out.Plane(), EnArithmetic::ADD, false);
    EXPECT_EQ(out.At(0, 0), 16777216.0f);
    Arithmetic(a.In(), b.In(), out.Plane(), EnArithmetic::DIVIDE, false);
    EXPECT_EQ(out.At(0, 0), 16777216.0f);
    SImage<float> zero(1, 1, {0.0f});
    Arithmetic(a.In(), zero.In(), out.Plane(), EnArithmetic::DIVIDE, false);
    EXPECT_EQ(out.At(0, 0), 0.0f);
}

TEST(Arithmetic, InvertAndBlend) {
    SImage<uint8_t> a(3, 1, {0, 1, 255}), inverted(3, 1);
    Invert(a.In(), inverted.Plane(), uint8_t(255));
    EXPECT_EQ(inverted.Values(), (std::vector<uint8_t>{255, 254, 0}));
    // 0.5 * 1 + 0.5 * 2 = 1.5 rounds to 2; 0.5 * 3 + 0.5 * 2 + 0 = 2.5 to 2; beyond 255 saturates.
    SImage<uint8_t> p(3, 1, {1, 3, 255}), q(3, 1, {2, 2, 255}), blend(3, 1);
    Blend(p.In(), q.In(), blend.Plane(), 0.5, 0.5, 0.0);
    EXPECT_EQ(blend.Values(), (std::vector<uint8_t>{2, 2, 255}));
    Blend(p.In(), q.In(), blend.Plane(), 1.0, 1.0, -3.0);
    EXPECT_EQ(blend.Values(), (std::vector<uint8_t>{0, 2, 255}));
}

}  // namespace
