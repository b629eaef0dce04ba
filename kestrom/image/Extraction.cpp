#include "image/Extraction.h"

#include <cstring>

#include "base/Exception.h"

namespace ORVA {

std::unique_ptr<CImage> CImageExtraction::Clone(const CImage& image) {
    return std::make_unique<CImage>(image);
}

std::unique_ptr<CImage> CImageExtraction::Rect(const CImage& image, const CRect& rect) {
    return Box(image, CBox(rect.x, rect.y, 0, rect.width, rect.height, image.Size().z));
}

std::unique_ptr<CImage> CImageExtraction::Box(const CImage& image, const CBox& box) {
    const CSize& size = image.Size();
    auto inside = [](int64_t origin, int64_t extent, int64_t limit) {
        return origin >= 0 && extent >= 0 && origin <= limit && extent <= limit - origin;
    };
    if (!inside(box.x, box.width, size.x) || !inside(box.y, box.height, size.y) ||
        !inside(box.z, box.depth, size.z))
        throw CException("CImageExtraction::Box",
                         CString("the region %1 does not lie inside an image of size %2")
                             .Arg(box.ToString())
                             .Arg(size.ToString()));

    IImage::CType type = image.Type();
    auto result = std::make_unique<CImage>(type, CSize(box.width, box.height, box.depth),
                                           CSize(0, 0, 0), CImage::NoInit{});
    result->Attributes() = image.Attributes();

    // Planar colour is three grey blocks one after the other; everything else is one block.
    const int blocks = type.IsPlanar() ? type.Channels() : 1;
    const size_t pixelBytes = type.IsPlanar() ? type.ElementSize() : type.PixelBytes();
    const size_t rowBytes = static_cast<size_t>(box.width) * pixelBytes;
    const uint8_t* source = image.Bytes();
    uint8_t* target = result->Bytes();
    for (int block = 0; block < blocks; ++block) {
        const uint8_t* plane0 =
            source + static_cast<size_t>(block) * static_cast<size_t>(image.Pixels()) * pixelBytes;
        for (int64_t z = 0; z < box.depth; ++z) {
            for (int64_t y = 0; y < box.height; ++y) {
                size_t offset =
                    static_cast<size_t>(((box.z + z) * size.y + box.y + y) * size.x + box.x) *
                    pixelBytes;
                std::memcpy(target, plane0 + offset, rowBytes);
                target += rowBytes;
            }
        }
    }
    return result;
}

}  // namespace ORVA
