#pragma once

#include <cstdint>

#include "HistogramSettings.h"

namespace ORVA {

// Counts the grey values of an image into equally wide bins.
class CPHistogram : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Adds the values of `data` that lie in [rangeMin, rangeMax] to `counts` (binCount
    // entries): bin trunc((x - rangeMin) * binCount / (rangeMax - rangeMin)), at most
    // binCount - 1. NaN values, and values whose bin is no number, are skipped.
    template <class T>
    static void Count(const T* data, int64_t size, double rangeMin, double rangeMax,
                      int64_t binCount, uint64_t* counts);

  private:
    SHistogramSettings m_settings;
};

}  // namespace ORVA
