#pragma once

// Images as people look at them in the editor: 8-bit PNGs made for display, and the value of
// one pixel.
#include <cstdint>
#include <memory>
#include <string>

#include "Summary.h"
#include "tarsel.h"

namespace orva {

// How samples become screen values.
enum class EnPreviewMode {
    AS_IS,    // IMAGE_GREY_8 and byte colour: the bytes themselves
    STRETCH,  // everything else: minimum to 0, maximum to 255, NaN and infinities marked
    LABELS,   // a label image: 0 black, every other label a colour of its own
    BINARY,   // 0 black, anything else white
};

// The mode for an image; `labels` when the node that made it labels regions.
EnPreviewMode PreviewMode(ORVA::IImage::CType type, bool labels);

// Colour of non-finite samples in stretched previews.
inline constexpr uint8_t NONFINITE_RGB[3] = {255, 0, 255};

// The colour of label `label` (never black for a label other than 0).
void LabelColour(uint64_t label, uint8_t rgb[3]);

// A PNG of plane `plane` of `image`, shrunk by a whole step so that its longer side is at most
// `longest` (0: full size). `summary` gives the range that STRETCH maps. Grey previews are
// grey PNGs; colour, labels and stretched images with non-finite samples are RGB.
std::string PreviewPng(const ORVA::CImage& image, const SImageSummary& summary, EnPreviewMode mode,
                       int64_t plane, int64_t longest);

// The value at (x, y, z): a number, [r, g, b] for colour, null outside the image.
std::unique_ptr<ORVA::CValue> PixelValue(const ORVA::CImage& image, int64_t x, int64_t y,
                                         int64_t z);

}  // namespace orva
