#include "PPixelLabel.h"

#include "algorithms/LabelValues.h"

namespace ORVA {

void CPPixelLabel::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "PixelLabel");
    doc.Brief("Gives every non-zero pixel its own label.",
              "The non-zero pixels of the first plane (NaN counts as non-zero) are numbered 1, 2, "
              "3, ... row by row, left to right; pixels equal to 0 stay 0. Further planes are "
              "copied unchanged.");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F and the size of the input.");
}

void CPPixelLabel::Run() {
    const CImage* input = InputImage(
        0, {.where = "(utility plugins) PixelLabel::Run", .notImage = "input image is NULL"});
    if (input->Type() != IMAGE_GREY_F)
        throw CException("CPPixelLabel::Run()", "input image is not of type IMAGE_GREY_F");
    auto output = std::make_unique<CImage>(*input);
    const CSize& size = input->Size();
    NumberNonZero(input->Data<float>(), output->Data<float>(), size.z > 0 ? size.x * size.y : 0);
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
