#pragma once

// PGM and PPM (P2, P3, P5, P6), parsed here.
#include <optional>

#include "codecs/CodecSupport.h"

namespace ORVA {

// Binary or text samples; a maximum above 255 means 16-bit samples (big-endian when binary),
// grey as IMAGE_GREY_16 and colour scaled to 8 bits with rounding. Samples above the maximum
// are an error.
std::unique_ptr<CImage> DecodePnm(const SDecoding& file);
// Binary: P5 for IMAGE_GREY_8 and IMAGE_GREY_16 (maximum 65535), P6 for IMAGE_RGB_8I.
void EncodePnm(const CImage& image, CDestination& destination);
// The size of a binary PGM/PPM, once the bytes show its header; text ones have none.
std::optional<size_t> PnmExtent(const uint8_t* data, size_t size);

}  // namespace ORVA
