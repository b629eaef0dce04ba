#include "PInvert.h"

#include <memory>

namespace mymodule {

using namespace ORVA;

namespace {

template <class T>
void Invert(const T* in, T* out, int64_t count, double maximum) {
    for (int64_t i = 0; i < count; ++i)
        out[i] = static_cast<T>(maximum - static_cast<double>(in[i]));
}

}  // namespace

void CPInvert::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Utility", "Invert").HelpPage("mymodule", "PInvert");
    doc.Brief("Inverts grey values.", "Each pixel v becomes maximum - v, cast to the pixel type.");
    doc.Parameter("maximum", m_maximum, "the value that becomes 0").DoubleOrLong();
    doc.Input(0, "Input image of type IMAGE_GREY_8 or IMAGE_GREY_F.");
    doc.Output(0, "Output image of the same type and size.");
    doc.Keywords({"invert", "negative"});
}

void CPInvert::Run() {
    const char* where = "(mymodule) Invert::Run";
    const CImage* input = InputImage(0, {.where = where});
    auto output =
        std::make_unique<CImage>(input->Type(), input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    if (!DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                Invert(input->Data<T>(), output->Data<T>(), input->Pixels(), m_maximum);
            }))
        throw CException(where, CString("input image is of type %1; IMAGE_GREY_8 or IMAGE_GREY_F "
                                        "expected")
                                    .Arg(input->Type().Name()));
    SetStackOutput(0, std::make_unique<CValueOwnedPointer<CImage>>(std::move(output)));
}

}  // namespace mymodule
