#pragma once

// Image files for ReadImage and SaveImage: the format a file's first bytes reveal, decoding
// PNG, TIFF, JPEG and PGM/PPM from memory, and encoding images into them. libpng (with
// libdeflate for the common PNG files), libtiff and libjpeg do the codec work (Png, Tiff,
// Jpeg); only PGM/PPM is parsed here (Pnm).
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarsel.h"

namespace ORVA {

enum class EnImageFormat { UNKNOWN, PNG, TIFF, JPEG, PNM };

// "PNG", "TIFF", "JPEG", "PGM/PPM"; "unknown" for UNKNOWN.
const char* ImageFormatName(EnImageFormat format);

// The format the first bytes of a file reveal; UNKNOWN for anything else.
EnImageFormat DetectImageFormat(const uint8_t* data, size_t size);

// How many bytes an image file that begins with `data` holds, once they show it: up to the
// end of a PNG's last chunk or of a binary PGM/PPM's samples; at once for what is no image
// file (nothing more is needed to refuse it). No answer: the file is read to its end.
std::optional<size_t> ImageFileExtent(const uint8_t* data, size_t size);

// As OpenCV's imread, a plane of more pixels than this is refused before anything is
// allocated; a whole multi-page file may hold MAX_FILE_PIXELS.
constexpr int64_t MAX_PLANE_PIXELS = int64_t(1) << 30;
constexpr int64_t MAX_FILE_PIXELS = int64_t(1) << 32;

struct SDecodeLimits {
    // Pixels of one plane; a file may hold MAX_FILE_PIXELS / MAX_PLANE_PIXELS times as many.
    int64_t planePixels = MAX_PLANE_PIXELS;
    // Bytes of the image made.
    uint64_t bytes = UINT64_MAX;
};

// Decodes a file held in memory: grey as IMAGE_GREY_8, _16, _32, _64, _F or _D by its
// samples, colour as IMAGE_RGB_8I (8- and 16-bit samples, the latter scaled to 8 bits) or
// IMAGE_RGB_FI (float samples); several TIFF pages become planes. `format` UNKNOWN detects
// it from the content. Failures, and images beyond the limits, throw CException at `where`
// naming `name` (the file).
std::unique_ptr<CImage> DecodeImage(const uint8_t* data, size_t size, EnImageFormat format,
                                    const std::string& name, const char* where,
                                    const SDecodeLimits& limits = {});

// What the encoders accept: JPEG qualities, and compressions (-1 the format's fast default,
// else the zlib level).
constexpr int MIN_QUALITY = 1, MAX_QUALITY = 100;
constexpr int MIN_COMPRESSION = -1, MAX_COMPRESSION = 9;

struct SEncodeOptions {
    int quality = 95;
    int compression = -1;
};

// The pixel types a format holds, in the order messages name them.
std::vector<IImage::CType> EncodableTypes(EnImageFormat format);

// Writes `image` to `path` in `format`; a 3-D image only as TIFF pages. A type the format
// cannot hold throws CException naming the ones it can; a failed write removes the file.
void EncodeImage(const CImage& image, const std::string& path, EnImageFormat format,
                 const SEncodeOptions& options, const char* where);

}  // namespace ORVA
