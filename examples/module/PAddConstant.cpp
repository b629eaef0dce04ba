#include "PAddConstant.h"

#include <memory>

namespace mymodule {

using namespace ORVA;

void CPAddConstant::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Utility", "AddConstant").HelpPage("mymodule", "PAddConstant");
    doc.Brief("Adds a constant to every sample.", "Each sample v becomes v + value, in float.");
    doc.Parameter("value", m_value, "the constant added").DoubleOrLong();
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F and the size of the input.");
    doc.Keywords({"add", "offset"});
}

void CPAddConstant::Run() {
    const char* where = "(mymodule) AddConstant::Run";
    const CImage* input = InputImage(0, {.where = where});
    if (input->Type() != IMAGE_GREY_F)
        throw CException(
            where,
            CString("input image is of type %1; IMAGE_GREY_F expected").Arg(input->Type().Name()));
    auto output =
        std::make_unique<CImage>(IMAGE_GREY_F, input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    const float* in = input->Data<float>();
    float* out = output->Data<float>();
    const float value = static_cast<float>(m_value);
    for (int64_t i = 0; i < input->Pixels(); ++i)
        out[i] = in[i] + value;
    SetStackOutput(0, std::make_unique<CValueOwnedPointer<CImage>>(std::move(output)));
}

}  // namespace mymodule
