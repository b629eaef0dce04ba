#include "PFillWithValue.h"

#include <algorithm>

#include "algorithms/PixelSelection.h"
#include "support/InputChecks.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) FillWithValue::Run";

template <class F>
bool DispatchFillable(IImage::CType type, F&& f) {
    using Id = IImage::CType;
    return DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F, Id::GREY_D,
                        Id::BINARY_FG>(type, std::forward<F>(f));
}

const std::initializer_list<IImage::CType> FILLABLE = {
    IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F, IMAGE_GREY_D, IMAGE_BINARY_FG};

}  // namespace

void CPFillWithValue::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "FillWithValue");
    doc.Brief("Sets the pixels a mask selects to a value.",
              "The output is a copy of input 0 in which every pixel that the mask selects "
              "takes value: a mask pixel selects where it is non-zero (NaN counts as non-zero), "
              "or where it is zero when invert is set. Mask and image are compared pixel by "
              "pixel in memory order up to the smaller pixel count; pixels beyond the end of a "
              "shorter mask keep their values. Without a mask every pixel takes value. The "
              "value is converted to the pixel type as other constants are: floats take the "
              "nearest value, integers are truncated toward zero and keep their low bits "
              "(300 gives 44 in a byte image, -1 gives 255), nothing saturates.");
    doc.Input(0,
              "Input image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F, "
              "IMAGE_GREY_D or IMAGE_BINARY_FG.");
    doc.Input(1, "Optional mask of one of the types of input 0.").Optional();
    doc.Output(0, "Copy of input 0 with the selected pixels set to value.");
    doc.Parameter("value", m_value, "the value the selected pixels take").DoubleOrLong();
    doc.Parameter("invert", m_invert, "select the pixels where the mask is zero").Toggle();
    doc.Keywords({"fill", "mask", "set value", "paint"});
    doc.SeeAlso("SelectPixel, ReplaceValue");
}

void CPFillWithValue::Run() {
    const CImage* input = InputImage(0, NumberedInput(WHERE));
    RequireType(*input, 0, FILLABLE, WHERE);
    // A null image on the mask's pin is refused, not taken for no mask.
    const CImage* mask = HasStackInput(1) ? InputImage(1, NumberedInput(WHERE)) : nullptr;
    if (mask) RequireType(*mask, 1, FILLABLE, WHERE);

    auto output = std::make_unique<CImage>(*input);
    DispatchFillable(output->Type(), [&]<class T>(std::type_identity<T>) {
        T* out = output->Data<T>();
        const T value = CastConstant<T>(m_value);
        if (!mask) {
            std::fill(out, out + output->Pixels(), value);
            return;
        }
        const int64_t count = std::min(output->Pixels(), mask->Pixels());
        DispatchFillable(mask->Type(), [&]<class M>(std::type_identity<M>) {
            Selection::FillMasked(out, mask->Data<M>(), count, value, m_invert);
        });
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
