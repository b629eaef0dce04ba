#pragma once

// TIFF through libtiff.
#include "codecs/CodecSupport.h"

namespace ORVA {

// Unsigned and float grey, 8- and 16-bit RGB and float RGB sample by sample, in strips or tiles,
// contiguous or planar; other pages of up to 8 bits through libtiff's RGBA reader. Pages of one
// size and type become the planes of a 3-D image; reduced-resolution pages are skipped.
std::unique_ptr<CImage> DecodeTiff(const SDecoding& file);
// Every grey type, IMAGE_RGB_8I and IMAGE_RGB_FI; a 3-D image as one page per plane.
void EncodeTiff(const CImage& image, CDestination& destination, const SEncodeOptions& options);

}  // namespace ORVA
