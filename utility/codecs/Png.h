#pragma once

// PNG: libpng, with libdeflate doing the common cases faster (PngFast).
#include <optional>

#include "codecs/CodecSupport.h"

namespace ORVA {

// 8-bit grey, 16-bit grey or 8-bit RGB: palettes expanded, transparency and alpha dropped,
// grey of 1, 2 and 4 bits scaled to 0..255, 16-bit colour scaled to 8 bits with rounding.
std::unique_ptr<CImage> DecodePng(const SDecoding& file);
// The same through libpng alone, which DecodePng falls back to.
std::unique_ptr<CImage> DecodePngLibpng(const SDecoding& file);
// IMAGE_GREY_8, IMAGE_GREY_16 or IMAGE_RGB_8I.
void EncodePng(const CImage& image, CDestination& destination, const SEncodeOptions& options);
// The size of a PNG by its chunks (after the signature), once the bytes reach its IEND chunk.
std::optional<size_t> PngExtent(const uint8_t* data, size_t size);

}  // namespace ORVA
