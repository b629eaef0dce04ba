#pragma once

#include <cstdint>
#include <string>

#include "Sampling.h"

namespace ORVA {

// The values of an image at the points of a table.
class CPSamplePoints : public CPNode {
  public:
    CPSamplePoints();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    std::string m_interpolation;
    double m_outsideValue;
    int32_t m_xColumn;
    int32_t m_zColumn;
};

// Samples `image` at each row of `points` (`columns` wide): x in column xColumn, y in the next,
// z in column zColumn (the first plane when zColumn is negative). Row i of `table` (3 columns)
// gets x, y and the value; values[i] the value unless `values` is null.
template <EnInterpolation MODE, class T>
void SampleTable(const T* image, const CSize& size, const float* points, int64_t columns,
                 int64_t rows, int64_t xColumn, int64_t zColumn, double outside, float* table,
                 double* values) {
    for (int64_t i = 0; i < rows; ++i) {
        const float* row = points + i * columns;
        const float z = zColumn >= 0 ? row[zColumn] : 0.0f;
        const double value =
            SampleAt<MODE>(image, size, row[xColumn], row[xColumn + 1], z, outside);
        table[3 * i] = row[xColumn];
        table[3 * i + 1] = row[xColumn + 1];
        table[3 * i + 2] = static_cast<float>(value);
        if (values) values[i] = value;
    }
}

}  // namespace ORVA
