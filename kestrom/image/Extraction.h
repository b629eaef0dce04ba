#pragma once

#include <memory>

#include "image/Image.h"

namespace ORVA {

// Copies of whole images and of regions. Results carry the source's type and attributes.
class TARSEL_API CImageExtraction {
  public:
    static std::unique_ptr<CImage> Clone(const CImage& image);
    // The rectangle in every plane. The region must lie inside the image (CException).
    static std::unique_ptr<CImage> Rect(const CImage& image, const CRect& rect);
    static std::unique_ptr<CImage> Box(const CImage& image, const CBox& box);
};

}  // namespace ORVA
