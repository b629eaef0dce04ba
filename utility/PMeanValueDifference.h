#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Compares two images by their means and by their mean absolute difference.
class CPMeanValueDifference : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;

    struct SSums {
        double first = 0.0, second = 0.0, absoluteDifference = 0.0;
    };
    // The sums of a[i], of b[i] and of |a[i] - b[i]| over `count` samples, in double. Integer
    // samples are summed exactly in blocks, so the result is the exact sum rounded in the end
    // (up to 2^53).
    template <class T>
    static SSums Sums(const T* a, const T* b, int64_t count);
};

}  // namespace ORVA
