#pragma once

// What the nodes of the filters module share: the pixel types each accepts (and the refusal
// that names them), the planes of an image, named choices for string parameters, and outputs.
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Plane.h"
#include "tarsel.h"

namespace ORVA::Filters {

using EnType = IImage::CType::EnId;

// A list of pixel types a node accepts.
template <EnType... Ids>
struct STypes {
    // "IMAGE_GREY_8, IMAGE_GREY_F or IMAGE_RGB_8".
    static std::string Names() {
        const EnType ids[] = {Ids...};
        std::string text;
        for (size_t i = 0; i < sizeof...(Ids); ++i) {
            if (i > 0) text += i + 1 == sizeof...(Ids) ? " or " : ", ";
            text += IImage::CType(ids[i]).Name();
        }
        return text;
    }
};

using CT = IImage::CType;
using GreyTypes = STypes<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F, CT::GREY_D>;
using GreyBinaryTypes = STypes<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F,
                               CT::GREY_D, CT::BINARY_FG, CT::BINARY_BG>;
using GreyColourTypes = STypes<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F,
                               CT::GREY_D, CT::RGB_8, CT::RGB_8I, CT::RGB_FI>;
using AnyTypes = STypes<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F, CT::GREY_D,
                        CT::RGB_8, CT::RGB_8I, CT::RGB_FI, CT::BINARY_FG, CT::BINARY_BG>;

// "input image 1 is of type IMAGE_RGB_8; IMAGE_GREY_8 or IMAGE_GREY_F expected".
[[noreturn]] inline void RefuseType(const char* where, int pin, IImage::CType type,
                                    const std::string& allowed) {
    const std::string what = pin == 0 ? "input image" : "input image " + std::to_string(pin);
    throw CException(where, what + " is of type " + type.Name() + "; " + allowed + " expected");
}

// Calls f(std::type_identity<T>) once for the sample type of `type`, or refuses a type outside
// the list. A kernel that runs out of memory becomes a CException at `where`.
template <EnType... Ids, class F>
void Dispatch(STypes<Ids...> types, const char* where, IImage::CType type, F&& f, int pin = 0) {
    bool known = false;
    try {
        known = DispatchType<Ids...>(type, f);
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory");
    }
    if (!known) RefuseType(where, pin, type, types.Names());
}

// The image on input `pin` (required unless `optional`); a missing one is named by its pin.
inline const CImage* Input(CPNode& node, int pin, const char* where, bool optional = false) {
    return node.InputImage(
        pin, {.where = where, .missing = "no image on input %1", .optional = optional});
}

inline std::unique_ptr<CImage> NewImage(IImage::CType type, const CSize& size) {
    return std::make_unique<CImage>(type, size, CSize(0, 0, 0), CImage::NoInit{});
}

inline void SetImage(CPNode& node, int pin, std::unique_ptr<CImage> image) {
    node.SetStackOutput(pin, std::make_unique<CValueOwnedPointer<CImage>>(std::move(image)));
}

// Throws unless both images have the same type and extents.
inline void CheckSameImage(const CImage& a, const CImage& b, const char* where) {
    if (a.Type() != b.Type())
        throw CException(where, std::string("input images differ in type: ") + a.Type().Name() +
                                    " and " + b.Type().Name());
    if (!(a.Size() == b.Size()))
        throw CException(where, "input images differ in size: " + a.Size().ToString() + " and " +
                                    b.Size().ToString());
}

// Calls f(SPlane<const T> in, SPlane<O> out) for each plane of `in` and the matching plane of
// `out`: each slice of a grey image, each channel of each slice of a colour image. Interleaved
// colour is split into channel planes and merged back; with `pointwise` (operations that look
// at one sample at a time) it is passed as one plane three times as wide instead. The two
// images have the same number of slices and the same channel layout; their extents may differ.
template <class T, class O = T, class F>
void ForEachPlane(const CImage& in, CImage& out, F&& f, bool pointwise = false) {
    const CSize si = in.Size(), so = out.Size();
    const int64_t ni = si.x * si.y, no = so.x * so.y;
    const T* src = in.Data<T>();
    O* dst = out.Data<O>();
    const IImage::CType type = in.Type();
    if (!type.IsColour() || type.IsPlanar()) {
        const int64_t planes = si.z * type.Channels();
        for (int64_t p = 0; p < planes; ++p)
            f(SPlane<const T>{src + p * ni, si.x, si.y, si.x},
              SPlane<O>{dst + p * no, so.x, so.y, so.x});
        return;
    }
    if (pointwise) {
        f(SPlane<const T>{src, 3 * si.x, si.y * si.z, 3 * si.x},
          SPlane<O>{dst, 3 * so.x, so.y * so.z, 3 * so.x});
        return;
    }
    std::vector<T> a(static_cast<size_t>(ni));
    std::vector<O> b(static_cast<size_t>(no));
    for (int64_t z = 0; z < si.z; ++z)
        for (int c = 0; c < 3; ++c) {
            const T* s = src + z * ni * 3 + c;
            for (int64_t i = 0; i < ni; ++i)
                a[static_cast<size_t>(i)] = s[3 * i];
            f(SPlane<const T>{a.data(), si.x, si.y, si.x}, SPlane<O>{b.data(), so.x, so.y, so.x});
            O* d = dst + z * no * 3 + c;
            for (int64_t i = 0; i < no; ++i)
                d[3 * i] = b[static_cast<size_t>(i)];
        }
}

// One allowed value of a string parameter.
template <class E>
struct SChoice {
    const char* name;
    E value;
};

// "A, B, C": the list a parameter declares as its allowed values.
template <class E, size_t N>
std::string ChoiceList(const SChoice<E> (&choices)[N]) {
    std::string text;
    for (size_t i = 0; i < N; ++i)
        text += (i ? ", " : "") + std::string(choices[i].name);
    return text;
}

// The value named `name`, or a refusal that lists the names allowed.
template <class E, size_t N>
E Choose(const char* where, const char* key, const std::string& name,
         const SChoice<E> (&choices)[N]) {
    for (const SChoice<E>& choice : choices)
        if (name == choice.name) return choice.value;
    throw CException(where,
                     std::string(key) + " '" + name + "' is not one of " + ChoiceList(choices));
}

inline constexpr SChoice<EnBorder> BORDERS[] = {{"REFLECT_101", EnBorder::REFLECT_101},
                                                {"REFLECT", EnBorder::REFLECT},
                                                {"REPLICATE", EnBorder::REPLICATE},
                                                {"CONSTANT", EnBorder::CONSTANT}};

// What the help pages say about `border`.
inline constexpr const char* BORDER_TEXT =
    "how samples outside the image are made: REFLECT_101 (gfedcb|abcdefgh|gfedcba), REFLECT "
    "(fedcba|abcdefgh|hgfedcb), REPLICATE (aaaaaa|abcdefgh|hhhhhhh) or CONSTANT (zeros)";

// Output types of the per-sample nodes; INPUT (-1) keeps the input's type.
inline constexpr SChoice<int> SAMPLE_OUT_TYPES[] = {{"INPUT", -1},
                                                    {"IMAGE_GREY_8", CT::GREY_8},
                                                    {"IMAGE_GREY_16", CT::GREY_16},
                                                    {"IMAGE_GREY_32", CT::GREY_32},
                                                    {"IMAGE_GREY_64", CT::GREY_64},
                                                    {"IMAGE_GREY_F", CT::GREY_F},
                                                    {"IMAGE_GREY_D", CT::GREY_D}};

// The output type `chosen` among SAMPLE_OUT_TYPES (named `name`) for an input of `type`;
// colour images keep their own.
inline IImage::CType SampleOutType(const char* where, int chosen, IImage::CType type,
                                   const std::string& name) {
    if (chosen < 0) return type;
    if (type.IsColour())
        throw CException(where, "a colour image keeps its type: out_type INPUT, not " + name);
    return IImage::CType(static_cast<EnType>(chosen));
}

// Calls f(std::type_identity<T>, std::type_identity<O>) for the sample types of a grey or
// colour input and of the output type (one of the grey types, or the input's colour type).
template <class F>
void DispatchSamples(const char* where, IImage::CType in, IImage::CType out, F&& f) {
    // Colour outputs are dispatched on the grey type of their samples.
    const IImage::CType samples = out == IMAGE_RGB_FI ? IMAGE_GREY_F
                                  : out.IsColour()    ? IMAGE_GREY_8
                                                      : out;
    Dispatch(GreyColourTypes{}, where, in, [&]<class T>(std::type_identity<T> t) {
        DispatchType<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F, CT::GREY_D>(
            samples, [&]<class O>(std::type_identity<O> o) { f(t, o); });
    });
}

// Throws unless `value` lies in [low, high].
inline void CheckRange(const char* where, const char* key, double value, double low, double high) {
    if (!(value >= low && value <= high))
        throw CException(
            where, CString("%1 must be %2 to %3, not %4").Arg(key).Arg(low).Arg(high).Arg(value));
}

}  // namespace ORVA::Filters
