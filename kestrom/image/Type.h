#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/Export.h"
#include "base/String.h"
#include "image/Geometry.h"

namespace ORVA {

class TARSEL_API IImage {
  public:
    // A pixel type: the element type of its samples and how its channels lie in memory.
    class TARSEL_API CType {
      public:
        enum EnId : uint8_t {
            GREY_8,
            GREY_16,
            GREY_32,
            GREY_64,
            GREY_F,
            GREY_D,
            RGB_8,      // three planes of bytes, one after the other
            RGB_8I,     // interleaved byte triples
            RGB_FI,     // interleaved float triples
            BINARY_FG,  // bytes
            BINARY_BG,  // bytes
        };
        static constexpr int COUNT = 11;

        constexpr CType(EnId id = GREY_8) : m_id(id) {}
        // From a printable name such as "IMAGE_GREY_F"; an unknown name throws CException.
        explicit CType(std::string_view name);

        constexpr EnId Id() const noexcept { return m_id; }
        // "IMAGE_GREY_8", "IMAGE_RGB_FI", ...
        const char* Name() const noexcept;
        CString ToString() const { return Name(); }

        // Bytes of one sample of one channel.
        constexpr size_t ElementSize() const noexcept {
            switch (m_id) {
                case GREY_16:
                    return 2;
                case GREY_32:
                case GREY_F:
                case RGB_FI:
                    return 4;
                case GREY_64:
                case GREY_D:
                    return 8;
                default:
                    return 1;
            }
        }
        constexpr int Channels() const noexcept { return IsColour() ? 3 : 1; }
        constexpr size_t PixelBytes() const noexcept { return ElementSize() * Channels(); }
        constexpr bool IsColour() const noexcept {
            return m_id == RGB_8 || m_id == RGB_8I || m_id == RGB_FI;
        }
        constexpr bool IsPlanar() const noexcept { return m_id == RGB_8; }
        constexpr bool IsFloating() const noexcept {
            return m_id == GREY_F || m_id == GREY_D || m_id == RGB_FI;
        }

        friend constexpr bool operator==(CType, CType) = default;

        // Every type, in the order of EnId.
        static const CType* All() noexcept;

      private:
        EnId m_id;
    };

    virtual ~IImage();
    virtual CType Type() const = 0;
    virtual const CSize& Size() const = 0;
};

inline constexpr IImage::CType IMAGE_GREY_8{IImage::CType::GREY_8};
inline constexpr IImage::CType IMAGE_GREY_16{IImage::CType::GREY_16};
inline constexpr IImage::CType IMAGE_GREY_32{IImage::CType::GREY_32};
inline constexpr IImage::CType IMAGE_GREY_64{IImage::CType::GREY_64};
inline constexpr IImage::CType IMAGE_GREY_F{IImage::CType::GREY_F};
inline constexpr IImage::CType IMAGE_GREY_D{IImage::CType::GREY_D};
inline constexpr IImage::CType IMAGE_RGB_8{IImage::CType::RGB_8};
inline constexpr IImage::CType IMAGE_RGB_8I{IImage::CType::RGB_8I};
inline constexpr IImage::CType IMAGE_RGB_FI{IImage::CType::RGB_FI};
inline constexpr IImage::CType IMAGE_BINARY_FG{IImage::CType::BINARY_FG};
inline constexpr IImage::CType IMAGE_BINARY_BG{IImage::CType::BINARY_BG};

// The C++ type of one sample of a pixel type.
template <IImage::CType::EnId Id>
struct ElementOf {
    using type = uint8_t;
};
template <>
struct ElementOf<IImage::CType::GREY_16> {
    using type = uint16_t;
};
template <>
struct ElementOf<IImage::CType::GREY_32> {
    using type = uint32_t;
};
template <>
struct ElementOf<IImage::CType::GREY_64> {
    using type = uint64_t;
};
template <>
struct ElementOf<IImage::CType::GREY_F> {
    using type = float;
};
template <>
struct ElementOf<IImage::CType::GREY_D> {
    using type = double;
};
template <>
struct ElementOf<IImage::CType::RGB_FI> {
    using type = float;
};
template <IImage::CType::EnId Id>
using ElementType = typename ElementOf<Id>::type;

// Picks the typed loop once per run: calls f(std::type_identity<T>{}), T the sample type of
// `type`, if `type` is one of Ids, and tells whether it was. Only the listed types instantiate f.
//
//     DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(image.Type(),
//         [&]<class T>(std::type_identity<T>) { Kernel<T>(image); });
template <IImage::CType::EnId... Ids, class F>
bool DispatchType(IImage::CType type, F&& f) {
    return ((type.Id() == Ids ? (f(std::type_identity<ElementType<Ids>>{}), true) : false) || ...);
}

// The same over the eight single-channel types.
template <class F>
bool DispatchGrey(IImage::CType type, F&& f) {
    using T = IImage::CType;
    return DispatchType<T::GREY_8, T::GREY_16, T::GREY_32, T::GREY_64, T::GREY_F, T::GREY_D,
                        T::BINARY_FG, T::BINARY_BG>(type, std::forward<F>(f));
}

// A readable name of a sample type ("8-bit unsigned integer", "32-bit float").
template <class T>
const char* HumanReadableTypename() {
    if constexpr (std::is_same_v<T, uint8_t>)
        return "8-bit unsigned integer";
    else if constexpr (std::is_same_v<T, uint16_t>)
        return "16-bit unsigned integer";
    else if constexpr (std::is_same_v<T, uint32_t>)
        return "32-bit unsigned integer";
    else if constexpr (std::is_same_v<T, uint64_t>)
        return "64-bit unsigned integer";
    else if constexpr (std::is_same_v<T, int8_t>)
        return "8-bit signed integer";
    else if constexpr (std::is_same_v<T, int16_t>)
        return "16-bit signed integer";
    else if constexpr (std::is_same_v<T, int32_t>)
        return "32-bit signed integer";
    else if constexpr (std::is_same_v<T, int64_t>)
        return "64-bit signed integer";
    else if constexpr (std::is_same_v<T, float>)
        return "32-bit float";
    else if constexpr (std::is_same_v<T, double>)
        return "64-bit float";
    else
        return "unknown type";
}

}  // namespace ORVA
