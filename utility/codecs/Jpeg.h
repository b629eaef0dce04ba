#pragma once

// JPEG through libjpeg.
#include "codecs/CodecSupport.h"

namespace ORVA {

// Grey as IMAGE_GREY_8, YCbCr and RGB as IMAGE_RGB_8I; CMYK and YCCK are refused.
std::unique_ptr<CImage> DecodeJpeg(const SDecoding& file);
// IMAGE_GREY_8 or IMAGE_RGB_8I at `options.quality`.
void EncodeJpeg(const CImage& image, CDestination& destination, const SEncodeOptions& options);

}  // namespace ORVA
