#pragma once

#include <memory>

#include "support/NodeSupport.h"

namespace ORVA {

// Reports an image's pixel type and extents, as a small float image and as a map.
class CPImageInfo : public CPNode {
  public:
    CPImageInfo();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // "type", "width", "height", "depth" and, where the attributes name one, "image_path".
    static std::unique_ptr<CValueMap> InfoMap(const CImage& image);
    // An IMAGE_GREY_F image 1 x 3 x 1 holding width, height and depth.
    static std::unique_ptr<CImage> InfoImage(const CImage& image);

  private:
    bool m_verbose;
};

}  // namespace ORVA
