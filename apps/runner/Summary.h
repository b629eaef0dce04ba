#pragma once

// What people want to see of a result without its pixels: for an image its type, size, range,
// mean and attributes; other values as they are.
#include <cstdint>
#include <memory>

#include "tarsel.h"

namespace orva {

struct SImageSummary {
    ORVA::IImage::CType type;
    ORVA::CSize size;
    // Over every finite sample (every channel); NaN when there is none.
    double minimum, maximum, mean;
    int64_t nonFinite = 0;  // NaN and infinite samples
};

SImageSummary Summarize(const ORVA::CImage& image);

// The summary as a map: "type", "size" [x, y, z], "min", "max", "mean", "nonfinite" and
// "attributes" (where the image has any).
std::unique_ptr<ORVA::CValueMap> SummaryValue(const ORVA::CImage& image);

// An output as hosts print it: images (and null images) as {"image": summary}, everything else
// as it is (shared, not copied).
std::unique_ptr<ORVA::CValue> Summarized(const ORVA::CValue* value);

}  // namespace orva
