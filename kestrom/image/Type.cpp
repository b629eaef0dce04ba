#include "image/Type.h"

#include "base/Exception.h"

namespace ORVA {

namespace {

constexpr const char* NAMES[IImage::CType::COUNT] = {
    "IMAGE_GREY_8", "IMAGE_GREY_16",   "IMAGE_GREY_32",   "IMAGE_GREY_64",
    "IMAGE_GREY_F", "IMAGE_GREY_D",    "IMAGE_RGB_8",     "IMAGE_RGB_8I",
    "IMAGE_RGB_FI", "IMAGE_BINARY_FG", "IMAGE_BINARY_BG",
};

constexpr IImage::CType ALL[IImage::CType::COUNT] = {
    IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64,   IMAGE_GREY_F,    IMAGE_GREY_D,
    IMAGE_RGB_8,  IMAGE_RGB_8I,  IMAGE_RGB_FI,  IMAGE_BINARY_FG, IMAGE_BINARY_BG,
};

}  // namespace

IImage::CType::CType(std::string_view name) : m_id(GREY_8) {
    for (int i = 0; i < COUNT; ++i) {
        if (name == NAMES[i]) {
            m_id = static_cast<EnId>(i);
            return;
        }
    }
    throw CException("IImage::CType", CString("unknown pixel type '%1'").Arg(name));
}

const char* IImage::CType::Name() const noexcept {
    return NAMES[m_id];
}

const IImage::CType* IImage::CType::All() noexcept {
    return ALL;
}

}  // namespace ORVA
