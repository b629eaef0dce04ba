#include "PPixelLabel.h"

namespace ORVA {

void CPPixelLabel::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "PixelLabel");
    doc.Brief("Gives every non-zero pixel its own label.",
              "The non-zero pixels of the first plane (NaN counts as non-zero) are numbered 1, 2, "
              "3, ... row by row, left to right; pixels equal to 0 stay 0. Further planes are "
              "copied unchanged.");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F and the size of the input.");
    doc.WriteTo(setup);
}

void CPPixelLabel::NumberPixels(const float* in, float* out, int64_t count) {
    uint64_t label = 0;
    for (int64_t i = 0; i < count; ++i)
        out[i] = in[i] != 0 ? static_cast<float>(++label) : 0.0f;
}

void CPPixelLabel::Run() {
    CValue* value = GetStackInput(0, false);
    const CImage* input =
        HoldsType<CImage>(value) ? UnwrapPointer<CImage>(value, "PixelLabel") : nullptr;
    if (!input) throw CException("(utility plugins) PixelLabel::Run", "input image is NULL");
    if (input->Type() != IMAGE_GREY_F)
        throw CException("CPPixelLabel::Run()", "input image is not of type IMAGE_GREY_F");
    auto output = std::make_unique<CImage>(*input);
    const CSize& size = input->Size();
    NumberPixels(input->Data<float>(), output->Data<float>(), size.z > 0 ? size.x * size.y : 0);
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
