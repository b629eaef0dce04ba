#include "codecs/CodecSupport.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "support/Files.h"

namespace ORVA {

void DecodeFailed(const SDecoding& file, EnImageFormat format, const std::string& reason) {
    throw CException(file.where, "'" + file.name + "' is not a readable " +
                                     ImageFormatName(format) + " file: " + reason);
}

CSize PlaneSize(uint64_t width, uint64_t height, const SDecoding& file, EnImageFormat format) {
    const uint64_t limit = static_cast<uint64_t>(file.limits.planePixels);
    if (width == 0 || height == 0)
        DecodeFailed(
            file, format,
            "its image is " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
    if (width > limit || height > limit || width * height > limit)
        DecodeFailed(file, format,
                     "its image of " + std::to_string(width) + " x " + std::to_string(height) +
                         " pixels exceeds the limit of " + std::to_string(limit) + " pixels");
    return CSize(static_cast<int64_t>(width), static_cast<int64_t>(height));
}

std::unique_ptr<CImage> NewImage(IImage::CType type, const CSize& size, const SDecoding& file) {
    CheckReadLimit(static_cast<uint64_t>(size.Elements()) * type.PixelBytes(), file.limits.bytes,
                   file.name, file.where);
    return std::make_unique<CImage>(type, size, CSize(0, 0, 0), CImage::NoInit{});
}

std::vector<uint8_t*> RowPointers(const CImage& image) {
    std::vector<uint8_t*> rows(static_cast<size_t>(image.Size().y));
    size_t stride = static_cast<size_t>(image.Size().x) * image.Type().PixelBytes();
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = const_cast<uint8_t*>(image.Bytes()) + y * stride;
    return rows;
}

CDestination::~CDestination() {
    m_file.reset();
    if (!m_kept) {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
}

std::FILE* CDestination::Open() {
    std::error_code error;
    if (std::filesystem::is_directory(m_path, error)) Fail("it is a directory");
    m_file.reset(std::fopen(m_path.c_str(), "wb"));
    if (!m_file) Fail(std::strerror(errno));
    m_opened = true;
    return m_file.get();
}

void CDestination::Keep() {
    std::FILE* file = m_file.release();
    if (file && std::fclose(file) != 0) Fail(std::strerror(errno));
    m_kept = true;
}

void CDestination::Fail(const std::string& reason) {
    if (!m_opened) m_kept = true;  // nothing of ours to remove
    throw CException(m_where, "cannot write '" + m_path + "': " + reason);
}

}  // namespace ORVA
