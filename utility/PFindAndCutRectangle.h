#pragma once

#include <cstdint>

#include "PFindRectangle.h"

namespace ORVA {

// Cuts an image to the rectangle of its pixels above a threshold, grown by margins.
class CPFindAndCutRectangle : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // `found` grown by the margins (negative ones shrink it) and clipped to a plane of
    // width x height; empty when `found` is, or when the margins leave nothing.
    static CPFindRectangle::SRectangle Grow(const CPFindRectangle::SRectangle& found, int64_t width,
                                            int64_t height, int64_t left, int64_t right,
                                            int64_t top, int64_t bottom);

  private:
    double m_threshold = 0.0;
    int32_t m_expandLeft = 0;
    int32_t m_expandRight = 0;
    int32_t m_expandTop = 0;
    int32_t m_expandBottom = 0;
};

}  // namespace ORVA
