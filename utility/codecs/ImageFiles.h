#pragma once

// Image files for ReadImage and SaveImage: the format a file's first bytes reveal, decoding
// PNG, TIFF, JPEG and PGM/PPM from memory, and encoding images into them. libpng, libtiff
// and libjpeg do the codec work; only PGM/PPM is parsed here.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarsel.h"

namespace ORVA {

enum class EnImageFormat { UNKNOWN, PNG, TIFF, JPEG, PNM };

// "PNG", "TIFF", "JPEG", "PGM/PPM"; "unknown" for UNKNOWN.
const char* ImageFormatName(EnImageFormat format);

// The format the first bytes of a file reveal; UNKNOWN for anything else.
EnImageFormat DetectImageFormat(const uint8_t* data, size_t size);

// As OpenCV's imread, a plane of more pixels than this is refused before anything is
// allocated; a whole multi-page file may hold MAX_FILE_PIXELS.
constexpr int64_t MAX_PLANE_PIXELS = int64_t(1) << 30;
constexpr int64_t MAX_FILE_PIXELS = int64_t(1) << 32;

// The bytes of a whole file: a regular file is mapped (no copy, no fresh pages), anything
// else read. Throws CException at `where` for a file that cannot be opened or read, and for
// a directory.
class CFileBytes {
  public:
    CFileBytes(const std::string& path, const char* where);
    ~CFileBytes();
    CFileBytes(const CFileBytes&) = delete;
    CFileBytes& operator=(const CFileBytes&) = delete;
    const uint8_t* Data() const noexcept { return m_mapped ? m_mapped : m_data.get(); }
    size_t Size() const noexcept { return m_size; }

  private:
    std::unique_ptr<uint8_t[]> m_data;
    uint8_t* m_mapped = nullptr;
    size_t m_size = 0;
};

// Decodes a file held in memory: grey as IMAGE_GREY_8, _16, _32, _64, _F or _D by its
// samples, colour as IMAGE_RGB_8I (8- and 16-bit samples, the latter scaled to 8 bits) or
// IMAGE_RGB_FI (float samples); several TIFF pages become planes. `format` UNKNOWN detects
// it from the content. Failures throw CException at `where` naming `name` (the file). Planes
// beyond `limit` pixels are refused, files beyond 4 * `limit`.
std::unique_ptr<CImage> DecodeImage(const uint8_t* data, size_t size, EnImageFormat format,
                                    const std::string& name, const char* where,
                                    int64_t limit = MAX_PLANE_PIXELS);

struct SEncodeOptions {
    int quality = 95;      // JPEG, 1 to 100
    int compression = -1;  // -1 the format's fast default; 0 to 9 the zlib level
};

// The pixel types a format holds, in the order messages name them.
std::vector<IImage::CType> EncodableTypes(EnImageFormat format);

// Writes `image` to `path` in `format`; a 3-D image only as TIFF pages. A type the format
// cannot hold throws CException naming the ones it can; a failed write removes the file.
void EncodeImage(const CImage& image, const std::string& path, EnImageFormat format,
                 const SEncodeOptions& options, const char* where);

}  // namespace ORVA
