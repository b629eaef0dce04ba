#pragma once

#include "image/Image.h"

namespace ORVA {

// Converts pixel values between any two pixel types of the same size.
//
// Each sample is carried over by value:
//  - into a floating type: the value itself (a double beyond the float range becomes an
//    infinity of its sign);
//  - into an integer type with `saturate` true: NaN gives 0, other values are rounded half
//    away from zero and clamped to the type's range;
//  - into an integer type with `saturate` false: NaN and floats beyond the 64-bit range give
//    0, others are truncated toward zero and keep their low bits (a plain typecast);
//  - into IMAGE_BINARY_FG or IMAGE_BINARY_BG: 1 where the value is non-zero (NaN included),
//    else 0.
// Between grey and colour: a grey value is replicated into the three channels; a colour
// pixel becomes the mean of its channels, (c0 + c1 + c2) / 3 in double, then converted.
// Planar and interleaved colour are rearranged channel by channel. Equal types are copied.
class TARSEL_API CImageConversion {
  public:
    // `destination` keeps its type and must have the size of `source` (CException).
    static void FastConvert(CImage& destination, const CImage& source, bool saturate);
};

}  // namespace ORVA
