#pragma once

// The checks nodes make on their image inputs, with messages that say what was expected and
// what was found.
#include <initializer_list>
#include <string>

#include "NodeSupport.h"

namespace ORVA {

// The image on input `pin`. An empty pin is null when `optional`, else a CException; a value
// that holds no image, or a null image, is a CException.
inline const CImage* ImageOnPin(CPNode& node, int pin, const char* where, bool optional = false) {
    const CValue* value = node.GetStackInput(pin, false);
    if (!value && optional) return nullptr;
    if (!value) throw CException(where, CString("input %1 is NULL").Arg(pin));
    if (!HoldsType<CImage>(value))
        throw CException(where, CString("input %1 is not an image").Arg(pin));
    const CImage* image = UnwrapPointer<CImage>(value, where);
    if (!image) throw CException(where, CString("input %1 is NULL").Arg(pin));
    return image;
}

// The rules of ImageOnPin for CPNode::InputImage: "input <pin> is NULL" for an empty pin or a
// null image, "input <pin> is not an image" for a value that holds something else.
inline SImageInput NumberedInput(const char* where) {
    return {.where = where, .missing = "input %1 is NULL", .notImage = "input %1 is not an image"};
}

// CException unless the type of `image` (on input `pin`) is one of `allowed`.
inline void RequireType(const CImage& image, int pin, std::initializer_list<IImage::CType> allowed,
                        const char* where) {
    std::string names;
    size_t left = allowed.size();
    for (IImage::CType type : allowed) {
        if (type == image.Type()) return;
        names += type.Name();
        --left;
        names += left > 1 ? ", " : left == 1 ? " or " : "";
    }
    throw CException(
        where,
        CString("input %1 is not of type %2 but %3").Arg(pin).Arg(names).Arg(image.Type().Name()));
}

// CException unless `image` (on input `pin`) has the size of the image on input 0.
inline void RequireSizeOfFirst(const CImage& image, int pin, const CSize& first,
                               const char* where) {
    if (image.Size() != first)
        throw CException(where, CString("input %1 has size %2, but input 0 has size %3")
                                    .Arg(pin)
                                    .Arg(image.Size().ToString())
                                    .Arg(first.ToString()));
}

// CException unless `image` is of a grey or binary type; `message` names the type found as %1.
inline void RequireSingleChannel(const CImage& image, const char* message, const char* where) {
    if (image.Type().IsColour()) throw CException(where, CString(message).Arg(image.Type().Name()));
}
inline constexpr const char* GREY_OR_BINARY_EXPECTED =
    "input image is of type %1; a grey or binary type expected";
inline constexpr const char* SINGLE_CHANNEL_EXPECTED =
    "input image must have a single channel, but it is %1";

}  // namespace ORVA
