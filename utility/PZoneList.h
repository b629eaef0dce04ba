#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LabelValues.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Turns a label image into one bounding box per label value.
class CPZoneList : public CPNode {
  public:
    // The box of one label: corners (margins included) and extent (margins excluded).
    struct SZone {
        int64_t xmin, xmax, ymin, ymax, zmin, zmax, width, height, depth;
    };

    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // The zones of labels 1..maxLabel of `data` (size `size`) with the margins applied; a
    // label without pixels keeps the start values of its record.
    template <class T>
    static std::vector<SZone> Zones(const T* data, const CSize& size, int64_t maxLabel,
                                    int64_t xoffset, int64_t yoffset);

  private:
    CRunOnce m_runOnce;
    int32_t m_xoffset = 0;
    int32_t m_yoffset = 0;
    std::string m_outputMode = "VALUEVECTOR";
};

}  // namespace ORVA
