#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Maps the grey values of an IMAGE_GREY_F or IMAGE_GREY_8 image linearly from an input range
// (measured, as an average over tiles, or fixed) onto an output range, clipping first.
class CPNormalize : public CPNode {
  public:
    CPNormalize();
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

    float OutMin() const noexcept { return m_outMin; }
    float OutMax() const noexcept { return m_outMax; }

  private:
    float m_outMin;
    float m_outMax;
    float m_outDefault;
    std::string m_minMaxMap;
    int64_t m_tiles[3];
    float m_mapMin;
    float m_mapMax;
    bool m_upcast;
};

}  // namespace ORVA
