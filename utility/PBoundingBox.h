#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Draws the bounding box of the foreground, or of every label, into a new image.
class CPBoundingBox : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Draws into `out` (width x height, already background) the boxes of `in`.
    template <class T>
    static void DrawBoxes(const T* in, T* out, int64_t width, int64_t height, bool label, bool fill,
                          int64_t resize, T foreground);

  private:
    double m_fgValue = 1.0;
    double m_bgValue = 0.0;
    bool m_label = false;
    bool m_fill = true;
    int32_t m_resizeBox = 0;
};

}  // namespace ORVA
