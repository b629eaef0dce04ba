#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "Value/Container.h"
#include "Value/Pointer.h"
#include "image/Geometry.h"
#include "image/Type.h"

namespace ORVA {

// A block of pixel bytes. Blocks the framework allocates start at an address aligned to 64
// bytes (ALIGNMENT). A buffer can also adopt memory someone else owns (a numpy array, a frame of
// a camera driver): it then points into that memory, which only needs the alignment of the
// samples read from it, and holds a keeper whose release frees it. A buffer is never without
// memory, so Data() is a valid address even for zero bytes.
class TARSEL_API CBuffer {
  public:
    static constexpr size_t ALIGNMENT = 64;

    CBuffer();
    // Throws CException when the memory cannot be had.
    CBuffer(size_t bytes, bool zeroed);
    // Foreign memory: `bytes` bytes at `data`, alive while `keeper` (or a copy of it) is. The
    // keeper is released when the last buffer holding it goes; a release callback fits in it as
    //     std::shared_ptr<void>(nullptr, [](void*) { release(); })
    // and runs exactly once. Null `data` with bytes, or a null keeper, throws CException.
    CBuffer(uint8_t* data, size_t bytes, std::shared_ptr<void> keeper);
    // Copies are deep and owned by the framework, whatever the source's memory is.
    CBuffer(const CBuffer& other);
    CBuffer(CBuffer&& other) noexcept;
    CBuffer& operator=(const CBuffer& other);
    CBuffer& operator=(CBuffer&& other) noexcept;
    ~CBuffer();

    uint8_t* Data() noexcept { return m_data; }
    const uint8_t* Data() const noexcept { return m_data; }
    size_t Size() const noexcept { return m_size; }
    // Whether the bytes are foreign memory held by a keeper (one that holds a null pointer and
    // a deleter counts).
    bool IsForeign() const noexcept { return m_keeper.use_count() > 0; }
    // Sets every byte to `byte`.
    void Set(int byte);

    // The bytes with shared ownership, without a copy: afterwards this buffer and the returned
    // pointer both keep them alive, and they are freed when the last of them goes. Data() does
    // not change.
    std::shared_ptr<uint8_t> Share();

  private:
    void Free() noexcept;

    uint8_t* m_data;
    size_t m_size = 0;
    size_t m_capacity = 0;  // of a block of the framework's allocator (CMemoryPool); 0 for none
    std::shared_ptr<void> m_keeper;
};

class IAccess;

// An image: pixel type, size, one contiguous pixel buffer (x fastest, then y, then z;
// IMAGE_RGB_8 as three planes one after the other, IMAGE_RGB_8I and IMAGE_RGB_FI as
// interleaved triples) and a map of attributes.
class TARSEL_API CImage : public IImage {
  public:
    // Tag for a constructor that leaves the pixels unset, for loops that write every pixel.
    struct NoInit {};

    // An IMAGE_GREY_8 image of size (0, 0, 0).
    CImage();
    // Pixels zeroed. `border` must be all zero: images here never carry borders. Negative
    // extents, sizes whose byte count overflows and failed allocations throw CException.
    CImage(CType type, const CSize& size, const CSize& border = CSize(0, 0, 0));
    CImage(CType type, const CSize& size, const CSize& border, NoInit);
    // An image over `pixels`, which must hold exactly the bytes of `type` at `size` in the
    // layout above, starting at an address aligned to the type's samples (CException
    // otherwise). Foreign memory (see CBuffer) is used in place, without a copy.
    CImage(CType type, const CSize& size, CBuffer pixels);
    // Deep copy of pixels and attributes.
    CImage(const CImage& other);
    CImage(CImage&& other) noexcept;
    CImage& operator=(const CImage& other);
    CImage& operator=(CImage&& other) noexcept;
    ~CImage() override;

    CType Type() const override { return m_type; }
    const CSize& Size() const override { return m_size; }
    CValueMap& Attributes() noexcept { return m_attributes; }
    const CValueMap& Attributes() const noexcept { return m_attributes; }

    // Another pixel type at the same size; the pixels start again at zero.
    void Retype(CType type);
    // Another size; the pixels start again at zero.
    void Resize(const CSize& size, const CSize& border = CSize(0, 0, 0));
    // Throws CException at `where` when an image of `type` and `size` would take the memory in
    // use above the limit (see CheckMemory). Nodes call it before they make an accumulator whose
    // size a parameter sets; every constructor calls it too, at the location "CImage".
    static void CheckMemory(CType type, const CSize& size, const char* where);
    // A new deep copy (every strategy copies: an image has no pointees of its own).
    CImage* Clone(int strategy = OWNERSHIP_DEFAULT) const;
    std::unique_ptr<IAccess> CreateAccess() const;

    // Pixel count x*y*z, samples (pixels times channels) and bytes.
    int64_t Pixels() const noexcept { return m_pixels; }
    int64_t Samples() const noexcept { return m_pixels * m_type.Channels(); }
    size_t ByteCount() const noexcept { return m_buffer.Size(); }
    uint8_t* Bytes() noexcept { return m_buffer.Data(); }
    const uint8_t* Bytes() const noexcept { return m_buffer.Data(); }
    CBuffer& Buffer() noexcept { return m_buffer; }
    const CBuffer& Buffer() const noexcept { return m_buffer; }
    // The pixels with shared ownership, for a foreign owner (a numpy array) that may outlive
    // the image: no copy, and the image keeps using the same bytes (CBuffer::Share).
    std::shared_ptr<uint8_t> SharePixels() { return m_buffer.Share(); }

    // The samples as T, which must match the pixel type's sample (throws CException).
    template <class T>
    T* Data() {
        CheckElement(sizeof(T), std::is_floating_point_v<T>);
        return reinterpret_cast<T*>(m_buffer.Data());
    }
    template <class T>
    const T* Data() const {
        CheckElement(sizeof(T), std::is_floating_point_v<T>);
        return reinterpret_cast<const T*>(m_buffer.Data());
    }

    // Same type, size, pixel bytes and attributes.
    bool operator==(const CImage& other) const;

  private:
    void CheckElement(size_t size, bool floating) const;

    CType m_type;
    CSize m_size;
    int64_t m_pixels = 0;
    CBuffer m_buffer;
    CValueMap m_attributes;
};

// Pixel memory as raw bytes: channel c of pixel i lies at Ptr() + ChannelOffset(c) +
// i * PixelStride().
class TARSEL_API IAccess {
  public:
    virtual ~IAccess();
    virtual uint8_t* Ptr() const = 0;
    virtual size_t ChannelOffset(int channel) const = 0;
    virtual size_t PixelStride() const = 0;
    virtual int Channels() const = 0;
};
using CAccess = IAccess;

class TARSEL_API CDefaultAccess final : public IAccess {
  public:
    explicit CDefaultAccess(const CImage& image);
    uint8_t* Ptr() const override { return m_data; }
    size_t ChannelOffset(int channel) const override;
    size_t PixelStride() const override;
    int Channels() const override { return m_type.Channels(); }

  private:
    uint8_t* m_data;
    IImage::CType m_type;
    int64_t m_pixels;
};

extern template class CValuePointer<CImage>;
extern template class CValueOwnedPointer<CImage>;
extern template class CValuePointer<CValueVector>;
extern template class CValueOwnedPointer<CValueVector>;

}  // namespace ORVA
