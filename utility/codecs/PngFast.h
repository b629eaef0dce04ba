#pragma once

// PNG without libpng's streaming: the whole zlib stream inflated and deflated at once by
// libdeflate, rows filtered and unfiltered here. libpng stays the reader of record: the fast
// reader takes only files it can decode exactly as libpng does and declines the rest.
#include <memory>

#include "codecs/CodecSupport.h"

namespace ORVA {

// The image libpng would make of a well-formed file that is not interlaced; nullptr for any
// other file (interlaced, unusual or broken), which the caller gives to libpng.
std::unique_ptr<CImage> DecodePngFast(const SDecoding& file);

// The zlib stream of the rows of `image` (IMAGE_GREY_8, IMAGE_GREY_16 or IMAGE_RGB_8I), each
// row with the Sub filter, deflated by libdeflate at its fastest level.
struct SDeflated {
    CBuffer bytes;
    size_t size;  // of the stream, at the start of `bytes`; 0 when memory ran out
};
SDeflated DeflatePngRows(const CImage& image);

}  // namespace ORVA
