#include "PSelectPixel.h"

#include <algorithm>

#include "algorithms/PixelSelection.h"

namespace ORVA {

namespace {

const char* const WHERE = "SelectPixel";

using Id = IImage::CType::EnId;
using namespace Selection;

bool Selectable(IImage::CType type) {
    return type == IMAGE_BINARY_FG || type == IMAGE_GREY_8 || type == IMAGE_GREY_16 ||
           type == IMAGE_GREY_32 || type == IMAGE_GREY_F;
}

// Sizes match when one of the three extents agrees.
bool Matching(const CSize& a, const CSize& b) {
    return a.x == b.x || a.y == b.y || a.z == b.z;
}

// Calls f with the unsigned type of the result's sample width.
template <class F>
void DispatchWidth(IImage::CType type, F&& f) {
    switch (type.ElementSize()) {
        case 1:
            f(std::type_identity<uint8_t>{});
            break;
        case 2:
            f(std::type_identity<uint16_t>{});
            break;
        default:
            f(std::type_identity<uint32_t>{});
            break;
    }
}

}  // namespace

void CPSelectPixel::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "SelectPixel");
    doc.Brief("Select pixels from two inputs according to a condition image.",
              "Where the 'if' pixel is non-zero the output takes the 'then' pixel, elsewhere "
              "the 'else' pixel. A source whose pin is empty is the constant of its parameter, "
              "converted to the type of the other source. Without any source image the output "
              "is an IMAGE_GREY_F image of the size of 'if' that holds the value of the "
              "parameter 'else' where the condition is non-zero and that of 'then' where it is "
              "zero. Images match in "
              "size when one of their three extents agrees; where a condition or source has "
              "fewer pixels than the output, the remaining output pixels stay 0. Accepted types "
              "are IMAGE_BINARY_FG (MONO), IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 and "
              "IMAGE_GREY_F.");
    doc.ParameterReadInRun("then", 0.0, "constant used where no 'then' image is connected");
    doc.ParameterReadInRun("else", 0.0, "constant used where no 'else' image is connected");
    doc.Input(0, "'condition' image of an arbitrary type. Pixels are converted to boolean.")
        .Label("'if'");
    doc.Input(1,
              "'then' image of an arbitrary type. Pixel will be selected if 'condition' pixel is "
              "true.")
        .Label("'then'")
        .Optional();
    doc.Input(2,
              "'else' image of same type as 'then' image. Pixel will be selected if 'condition' "
              "pixel is false.")
        .Label("'else'")
        .Optional();
    doc.Output(0, "Output image of the same type as 'then' image.");
}

void CPSelectPixel::Run() {
    // Pin 0 is looked at first, but a null image on it is reported after the other pins.
    if (!HasStackInput(0)) throw CException(WHERE, "first input image 'if' is NULL");
    const CImage* condition = InputImage(
        0, {.where = WHERE, .notImage = "First input 'if' is not an image", .optional = true});
    const CImage* thenImage = InputImage(
        1, {.where = WHERE, .notImage = "Second input 'then' is not an image", .optional = true});
    const CImage* elseImage = InputImage(
        2, {.where = WHERE, .notImage = "Third input 'else' is not an image", .optional = true});
    if (!condition) throw CException(WHERE, "first input image 'if' is NULL");

    if (thenImage) {
        if (!Matching(condition->Size(), thenImage->Size()))
            throw CException(WHERE, CString("Images 'if' and 'then' must have same size. Sizes "
                                            "are %1 vs %2.")
                                        .Arg(condition->Size().ToString())
                                        .Arg(thenImage->Size().ToString()));
        if (elseImage && !Matching(thenImage->Size(), elseImage->Size()))
            throw CException(WHERE, CString("Images 'then' and 'else' must have same size. "
                                            "Sizes are %1 vs %2.")
                                        .Arg(thenImage->Size().ToString())
                                        .Arg(elseImage->Size().ToString()));
    }
    if (!Selectable(condition->Type()))
        throw CException(WHERE, CString("Image 'if' must be of type MONO, GREY_8, GREY_16, "
                                        "GREY_32, or GREY_F. Type is '%1'.")
                                    .Arg(condition->Type().ToString()));
    if (thenImage) {
        if (!Selectable(thenImage->Type()))
            throw CException(WHERE, CString("Image 'then' must be of type MONO, GREY_8, "
                                            "GREY_16, GREY_32, or GREY_F. Type is '%1'.")
                                        .Arg(thenImage->Type().ToString()));
        if (elseImage && elseImage->Type() != thenImage->Type())
            throw CException(WHERE, CString("Images 'then' and 'else must have same type. "
                                            "Types are '%1' vs '%2'.")
                                        .Arg(thenImage->Type().ToString())
                                        .Arg(elseImage->Type().ToString()));
    }
    const double thenConstant = Parameters().EntryDouble("then", 0.0);
    const double elseConstant = Parameters().EntryDouble("else", 0.0);

    const CImage* shape = thenImage ? thenImage : elseImage;
    if (shape && !Selectable(shape->Type()))
        throw CException(WHERE,
                         CString("Image type %1 not supported.").Arg(shape->Type().ToString()));
    const IImage::CType type = shape ? shape->Type() : IMAGE_GREY_F;
    auto result =
        std::make_unique<CImage>(type, shape ? shape->Size() : condition->Size(), CSize(0, 0, 0));
    // The one-of-three size rule lets the buffers differ in length; none is read beyond its end.
    int64_t n = std::min(result->Pixels(), condition->Pixels());
    if (thenImage) n = std::min(n, thenImage->Pixels());
    if (elseImage) n = std::min(n, elseImage->Pixels());

    DispatchType<Id::BINARY_FG, Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F>(
        condition->Type(), [&]<class C>(std::type_identity<C>) {
            DispatchWidth(type, [&]<class T>(std::type_identity<T>) {
                const C* cond = condition->Data<C>();
                T* out = reinterpret_cast<T*>(result->Bytes());
                auto samples = [](const CImage* image) {
                    return SImage<T>{reinterpret_cast<const T*>(image->Bytes())};
                };
                auto constant = [&](double value) {
                    return SConstant<T>{ConstantBits<T>(value, type == IMAGE_GREY_F)};
                };
                if (thenImage && elseImage)
                    Select(cond, samples(thenImage), samples(elseImage), out, n);
                else if (thenImage)
                    Select(cond, samples(thenImage), constant(elseConstant), out, n);
                else if (elseImage)
                    Select(cond, constant(thenConstant), samples(elseImage), out, n);
                else  // reversed on purpose: a non-zero condition takes "else"
                    Select(cond, constant(elseConstant), constant(thenConstant), out, n);
            });
        });
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
