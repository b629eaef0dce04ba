#include "image/Image.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/Exception.h"
#include "base/Memory.h"

namespace ORVA {

template class CValuePointer<CImage>;
template class CValueOwnedPointer<CImage>;
template class CValuePointer<CValueVector>;
template class CValueOwnedPointer<CValueVector>;

namespace {

// Bytes of an image of `type` and `size`, or an exception for sizes no memory can hold.
size_t ImageBytes(IImage::CType type, const CSize& size, int64_t* pixels) {
    if (size.x < 0 || size.y < 0 || size.z < 0)
        throw CException(
            "CImage",
            CString("invalid image size %1: extents must not be negative").Arg(size.ToString()));
    int64_t count = 0;
    int64_t bytes = 0;
    if (__builtin_mul_overflow(size.x, size.y, &count) ||
        __builtin_mul_overflow(count, size.z, &count) ||
        __builtin_mul_overflow(count, static_cast<int64_t>(type.PixelBytes()), &bytes))
        throw CException(
            "CImage",
            CString("image size %1 of %2 is too large").Arg(size.ToString()).Arg(type.Name()));
    *pixels = count;
    return static_cast<size_t>(bytes);
}

// Pixels for an image of `type` and `size`, zeroed or not.
CBuffer PixelBuffer(IImage::CType type, const CSize& size, int64_t* pixels, bool zeroed) {
    const size_t bytes = ImageBytes(type, size, pixels);
    CImage::CheckMemory(type, size, "CImage");
    return CBuffer(bytes, zeroed);
}

}  // namespace

// ---- CBuffer ----

namespace {
// What a buffer of no bytes points to.
alignas(CBuffer::ALIGNMENT) uint8_t g_nothing[CBuffer::ALIGNMENT];
}  // namespace

CBuffer::CBuffer() : m_data(g_nothing) {}

CBuffer::CBuffer(size_t bytes, bool zeroed) : m_data(g_nothing) {
    if (bytes) m_data = static_cast<uint8_t*>(CMemoryPool::Allocate(bytes, zeroed, m_capacity));
    m_size = bytes;
}

CBuffer::CBuffer(uint8_t* data, size_t bytes, std::shared_ptr<void> keeper)
    : m_data(data), m_size(bytes), m_keeper(std::move(keeper)) {
    if (!IsForeign()) throw CException("CBuffer", "foreign memory needs a keeper");
    if (!m_data) {
        if (bytes)
            throw CException("CBuffer", CString("no foreign memory for %1 bytes").Arg(bytes));
        static uint8_t none;
        m_data = &none;
    }
}

CBuffer::CBuffer(const CBuffer& other) : CBuffer(other.m_size, false) {
    std::memcpy(m_data, other.m_data, m_size);
}

CBuffer::CBuffer(CBuffer&& other) noexcept
    : m_data(std::exchange(other.m_data, g_nothing)),
      m_size(std::exchange(other.m_size, 0)),
      m_capacity(std::exchange(other.m_capacity, 0)),
      m_keeper(std::move(other.m_keeper)) {}

CBuffer& CBuffer::operator=(const CBuffer& other) {
    if (this != &other) *this = CBuffer(other);
    return *this;
}

CBuffer& CBuffer::operator=(CBuffer&& other) noexcept {
    if (this != &other) {
        Free();
        m_data = std::exchange(other.m_data, g_nothing);
        m_size = std::exchange(other.m_size, 0);
        m_capacity = std::exchange(other.m_capacity, 0);
        m_keeper = std::move(other.m_keeper);
    }
    return *this;
}

CBuffer::~CBuffer() {
    Free();
}

void CBuffer::Free() noexcept {
    if (m_capacity) CMemoryPool::Free(m_data, m_capacity);
    m_capacity = 0;
    m_keeper.reset();
}

void CBuffer::Set(int byte) {
    if (m_size) std::memset(m_data, byte, m_size);
}

std::shared_ptr<uint8_t> CBuffer::Share() {
    if (!IsForeign()) {
        auto owner = std::make_shared<CBuffer>(std::move(*this));
        *this = CBuffer(owner->Data(), owner->Size(), owner);
    }
    return std::shared_ptr<uint8_t>(m_keeper, m_data);
}

// ---- CImage ----

IImage::~IImage() = default;

CImage::CImage() : CImage(IMAGE_GREY_8, CSize(0, 0, 0)) {}

CImage::CImage(CType type, const CSize& size, const CSize& border)
    : m_type(type), m_size(size), m_buffer(PixelBuffer(type, size, &m_pixels, true)) {
    if (border != CSize(0, 0, 0))
        throw CException(
            "CImage",
            CString("image borders are not supported (border %1)").Arg(border.ToString()));
}

CImage::CImage(CType type, const CSize& size, const CSize& border, NoInit)
    : m_type(type), m_size(size), m_buffer(PixelBuffer(type, size, &m_pixels, false)) {
    if (border != CSize(0, 0, 0))
        throw CException(
            "CImage",
            CString("image borders are not supported (border %1)").Arg(border.ToString()));
}

CImage::CImage(CType type, const CSize& size, CBuffer pixels)
    : m_type(type), m_size(size), m_buffer(std::move(pixels)) {
    const size_t bytes = ImageBytes(type, size, &m_pixels);
    if (m_buffer.Size() != bytes)
        throw CException("CImage", CString("%1 bytes cannot hold an image of size %2 of %3 (%4 "
                                           "bytes)")
                                       .Arg(m_buffer.Size())
                                       .Arg(size.ToString())
                                       .Arg(type.Name())
                                       .Arg(bytes));
    if (reinterpret_cast<uintptr_t>(m_buffer.Data()) % type.ElementSize() != 0)
        throw CException("CImage", CString("pixels at an address not aligned to the %1-byte "
                                           "samples of %2")
                                       .Arg(type.ElementSize())
                                       .Arg(type.Name()));
}

CImage::CImage(const CImage& other) = default;
CImage::CImage(CImage&& other) noexcept = default;
CImage& CImage::operator=(CImage&& other) noexcept = default;
CImage::~CImage() = default;

CImage& CImage::operator=(const CImage& other) {
    if (this != &other) *this = CImage(other);
    return *this;
}

void CImage::Retype(CType type) {
    int64_t pixels = 0;
    CBuffer buffer = PixelBuffer(type, m_size, &pixels, true);
    m_buffer = std::move(buffer);
    m_type = type;
}

void CImage::Resize(const CSize& size, const CSize& border) {
    if (border != CSize(0, 0, 0))
        throw CException(
            "CImage",
            CString("image borders are not supported (border %1)").Arg(border.ToString()));
    int64_t pixels = 0;
    CBuffer buffer = PixelBuffer(m_type, size, &pixels, true);
    m_buffer = std::move(buffer);
    m_size = size;
    m_pixels = pixels;
}

void CImage::CheckMemory(CType type, const CSize& size, const char* where) {
    int64_t pixels = 0;
    const size_t bytes = ImageBytes(type, size, &pixels);
    if (!CMemoryPool::Fits(bytes))
        ORVA::CheckMemory(bytes, where,
                          CString("an %1 image of size %2").Arg(type.Name()).Arg(size.ToString()));
}

CImage* CImage::Clone(int) const {
    return new CImage(*this);
}

std::unique_ptr<IAccess> CImage::CreateAccess() const {
    return std::make_unique<CDefaultAccess>(*this);
}

bool CImage::operator==(const CImage& other) const {
    return m_type == other.m_type && m_size == other.m_size &&
           std::memcmp(m_buffer.Data(), other.m_buffer.Data(), m_buffer.Size()) == 0 &&
           m_attributes.Equal(other.m_attributes);
}

void CImage::CheckElement(size_t size, bool floating) const {
    if (size != m_type.ElementSize() || floating != m_type.IsFloating())
        throw CException("CImage", CString("samples of %1 cannot be read as a %2-byte %3 type")
                                       .Arg(m_type.Name())
                                       .Arg(size)
                                       .Arg(floating ? "floating-point" : "integer"));
}

// ---- access ----

IAccess::~IAccess() = default;

CDefaultAccess::CDefaultAccess(const CImage& image)
    : m_data(const_cast<uint8_t*>(image.Bytes())), m_type(image.Type()), m_pixels(image.Pixels()) {}

size_t CDefaultAccess::ChannelOffset(int channel) const {
    if (channel < 0 || channel >= m_type.Channels())
        throw CException("CDefaultAccess",
                         CString("%1 has no channel %2").Arg(m_type.Name()).Arg(channel));
    if (m_type.IsPlanar())
        return static_cast<size_t>(channel) * static_cast<size_t>(m_pixels) * m_type.ElementSize();
    return static_cast<size_t>(channel) * m_type.ElementSize();
}

size_t CDefaultAccess::PixelStride() const {
    return m_type.IsPlanar() ? m_type.ElementSize() : m_type.PixelBytes();
}

}  // namespace ORVA
