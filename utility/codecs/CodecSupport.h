#pragma once

// What the image codecs share: the file being decoded and its limits, the messages of files
// that cannot be read, and the file being written.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "codecs/ImageFiles.h"

namespace ORVA {

// A file held in memory that a decoder reads, with what its messages name.
struct SDecoding {
    const uint8_t* data;
    size_t size;
    const std::string& name;  // the file
    const char* where;
    SDecodeLimits limits;
};

// CException at the file's place: "'name' is not a readable FORMAT file: reason".
[[noreturn]] void DecodeFailed(const SDecoding& file, EnImageFormat format,
                               const std::string& reason);

// The size of a plane, checked against the limits before anything is allocated for it.
CSize PlaneSize(uint64_t width, uint64_t height, const SDecoding& file, EnImageFormat format);

// A new image whose pixels the decoder writes, within the file's memory limit.
std::unique_ptr<CImage> NewImage(IImage::CType type, const CSize& size, const SDecoding& file);

// Pointers to the rows of `image` (one plane), as the C libraries take them.
std::vector<uint8_t*> RowPointers(const CImage& image);

// 16-bit colour samples scaled to 8 bits with rounding: value * 255 / maximum, to nearest.
inline uint8_t To8(uint32_t value, uint32_t maximum) {
    return static_cast<uint8_t>((value * 255u + maximum / 2) / maximum);
}

// The file an encoder writes; removed when it goes unless it was kept.
class CDestination {
  public:
    CDestination(const std::string& path, const char* where) : m_path(path), m_where(where) {}
    ~CDestination();
    CDestination(const CDestination&) = delete;
    CDestination& operator=(const CDestination&) = delete;

    const std::string& Path() const noexcept { return m_path; }
    // Opens the file for writing; a directory or a file that cannot be made fails.
    std::FILE* Open();
    // Says that the encoder made the file by itself (to be removed on failure).
    void MarkOpened() noexcept { m_opened = true; }
    // Closes the file; a failure to write its last bytes is a failure to write.
    void Keep();
    [[noreturn]] void Fail(const std::string& reason);

  private:
    struct SClose {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string m_path;
    const char* m_where;
    std::unique_ptr<std::FILE, SClose> m_file;
    bool m_opened = false;
    bool m_kept = false;
};

}  // namespace ORVA
