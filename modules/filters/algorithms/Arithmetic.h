#pragma once

// Per-pixel arithmetic of two planes, or of a plane and a constant.
//
// r = a op b is computed exactly where it can be and then stored as a sample of the output
// type O:
// - integer a and b (up to 32 bits), ADD, SUBTRACT, MULTIPLY, ABSDIFF, MIN, MAX: in 64-bit
//   integers, exact;
// - DIVIDE of integers: (double)a / (double)b; a zero divisor gives 0 (OpenCV's rule);
// - float a and b into a float output: in float, as OpenCV computes;
// - everything else (64-bit integers, doubles, a constant operand): in double.
// Storing r into an integer O: with `saturate`, r is rounded half to even and clamped to the
// range of O (NaN gives 0), as OpenCV's saturate_cast; without it, r is truncated toward zero and
// keeps its low bits, as a plain typecast (NaN and values beyond 64 bits give 0). Floating O
// takes r as it is.
//
// Invert: maximum - v (OpenCV's bitwise_not on bytes is Invert with maximum 255).
// Blend: alpha * a + beta * b + gamma in double, stored as above with saturation (OpenCV's
// addWeighted computes in float with fused multiply-adds, so 8-bit results may differ by 1).
#include <cmath>
#include <cstdint>

#include "Plane.h"

namespace ORVA::Filters {

enum class EnArithmetic { ADD, SUBTRACT, MULTIPLY, DIVIDE, ABSDIFF, MIN, MAX };

// A working value as a sample of O under the storing rules above.
template <class O, class W>
inline O StoreSample(W r, bool saturate) {
    if constexpr (std::is_floating_point_v<O>) {
        return static_cast<O>(r);
    } else if constexpr (std::is_integral_v<W>) {
        if (!saturate) return static_cast<O>(r);
        constexpr int64_t lo = int64_t(std::numeric_limits<O>::min());
        if constexpr (sizeof(O) >= 8) {
            return r < 0 ? O(0) : static_cast<O>(r);
        } else {
            constexpr int64_t hi = int64_t(std::numeric_limits<O>::max());
            return static_cast<O>(r < lo ? lo : (r > hi ? hi : r));
        }
    } else {
        if (saturate) return SaturateCast<O>(static_cast<double>(r));
        // A typecast: truncation, low bits kept; out of the 64-bit range or NaN gives 0.
        double t = std::trunc(static_cast<double>(r));
        if (!(t >= -9223372036854775808.0 && t < 18446744073709551616.0)) return O(0);
        if (t >= 9223372036854775808.0) return static_cast<O>(static_cast<uint64_t>(t));
        return static_cast<O>(static_cast<int64_t>(t));
    }
}

namespace Detail {

template <class W>
inline W Apply(W a, W b, EnArithmetic op) {
    switch (op) {
        case EnArithmetic::ADD:
            return a + b;
        case EnArithmetic::SUBTRACT:
            return a - b;
        case EnArithmetic::MULTIPLY:
            return a * b;
        case EnArithmetic::DIVIDE:
            return b == W(0) ? W(0) : a / b;
        case EnArithmetic::ABSDIFF:
            return a > b ? a - b : b - a;
        case EnArithmetic::MIN:
            return b < a ? b : a;
        case EnArithmetic::MAX:
            return a < b ? b : a;
    }
    return W(0);
}

// The working type of a op b for samples T into O.
template <class T, class O>
using Work = std::conditional_t<
    std::is_same_v<T, float> && std::is_same_v<O, float>, float,
    std::conditional_t<std::is_integral_v<T> && (sizeof(T) <= 4), int64_t, double>>;

template <class W, class T, class O, class B>
void ArithmeticRow(const T* a, B b, O* out, int64_t n, EnArithmetic op, bool saturate) {
    // One loop per operation, so each one vectorises without a branch per pixel.
    auto run = [&](auto f) {
        for (int64_t x = 0; x < n; ++x) {
            W bv;
            if constexpr (std::is_pointer_v<B>)
                bv = static_cast<W>(b[x]);
            else
                bv = static_cast<W>(b);
            out[x] = StoreSample<O>(f(static_cast<W>(a[x]), bv), saturate);
        }
    };
    switch (op) {
        case EnArithmetic::ADD:
            run([](W p, W q) { return p + q; });
            break;
        case EnArithmetic::SUBTRACT:
            run([](W p, W q) { return p - q; });
            break;
        case EnArithmetic::MULTIPLY:
            run([](W p, W q) { return p * q; });
            break;
        case EnArithmetic::DIVIDE:
            run([](W p, W q) { return q == W(0) ? W(0) : p / q; });
            break;
        case EnArithmetic::ABSDIFF:
            run([](W p, W q) { return p > q ? p - q : q - p; });
            break;
        case EnArithmetic::MIN:
            run([](W p, W q) { return q < p ? q : p; });
            break;
        case EnArithmetic::MAX:
            run([](W p, W q) { return p < q ? q : p; });
            break;
    }
}

}  // namespace Detail

// out = a op b, pixel by pixel.
template <class T, class O>
void Arithmetic(SPlane<const T> a, SPlane<const T> b, SPlane<O> out, EnArithmetic op,
                bool saturate) {
    CheckSameSize(a, b, "Filters::Arithmetic");
    CheckSameSize(a, out, "Filters::Arithmetic");
    using W = Detail::Work<T, O>;
    for (int64_t y = 0; y < a.height; ++y) {
        if (op == EnArithmetic::DIVIDE && std::is_integral_v<W>)
            Detail::ArithmeticRow<double>(a.Row(y), b.Row(y), out.Row(y), a.width, op, saturate);
        else
            Detail::ArithmeticRow<W>(a.Row(y), b.Row(y), out.Row(y), a.width, op, saturate);
    }
}

// out = a op c (or c op a when `constantFirst`), c a constant, computed in double.
template <class T, class O>
void ArithmeticConstant(SPlane<const T> a, double c, SPlane<O> out, EnArithmetic op, bool saturate,
                        bool constantFirst = false) {
    CheckSameSize(a, out, "Filters::ArithmeticConstant");
    for (int64_t y = 0; y < a.height; ++y) {
        const T* in = a.Row(y);
        O* o = out.Row(y);
        if (!constantFirst) {
            Detail::ArithmeticRow<double>(in, c, o, a.width, op, saturate);
        } else {
            for (int64_t x = 0; x < a.width; ++x)
                o[x] = StoreSample<O>(Detail::Apply(c, static_cast<double>(in[x]), op), saturate);
        }
    }
}

// out = maximum - v.
template <class T>
void Invert(SPlane<const T> src, SPlane<T> dst, T maximum) {
    CheckSameSize(src, dst, "Filters::Invert");
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(y);
        T* out = dst.Row(y);
        for (int64_t x = 0; x < src.width; ++x)
            out[x] = static_cast<T>(maximum - in[x]);
    }
}

// out = alpha * a + beta * b + gamma.
template <class T, class O>
void Blend(SPlane<const T> a, SPlane<const T> b, SPlane<O> out, double alpha, double beta,
           double gamma) {
    CheckSameSize(a, b, "Filters::Blend");
    CheckSameSize(a, out, "Filters::Blend");
    for (int64_t y = 0; y < a.height; ++y) {
        const T* p = a.Row(y);
        const T* q = b.Row(y);
        O* o = out.Row(y);
        for (int64_t x = 0; x < a.width; ++x) {
            double r = alpha * static_cast<double>(p[x]) + beta * static_cast<double>(q[x]) + gamma;
            o[x] = SaturateCast<O>(r);
        }
    }
}

}  // namespace ORVA::Filters
