#pragma once

#include <cstdint>

#include "HistogramSettings.h"

namespace ORVA {

// Counts the value pairs at equal positions of two images into a joint histogram.
class CPHistogram2d : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Adds 1 to out(i, j) (binCount x binCount counters) for each pair of `first` (size
    // `firstSize`) and `second` (size `secondSize`) in range: the first value chooses the
    // column i, the second the row j.
    template <class T, class C>
    static void Count(const T* first, const CSize& firstSize, const T* second,
                      const CSize& secondSize, double rangeMin, double rangeMax, int64_t binCount,
                      C* out);

  private:
    SHistogramSettings m_settings;
};

}  // namespace ORVA
