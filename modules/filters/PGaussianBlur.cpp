#include "PGaussianBlur.h"

#include "Blur.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPGaussianBlur::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Blur", "GaussianBlur").HelpPage("filters", "PGaussianBlur");
    doc.Brief(
        "Smooths an image with a Gaussian kernel, channel by channel.",
        "The kernel has n = size taps, or, for size 0, n = round(6 sigma + 1) | 1 on 8-bit "
        "samples and n = round(8 sigma + 1) | 1 on others; tap i weighs "
        "exp(-(i - (n-1)/2)^2 / (2 sigma^2)), normalised to sum 1 (sigma 0 with a size of 3 to "
        "9 takes the binomial weights 1 2 1, 1 4 6 4 1, ...). Rows are filtered first, then "
        "columns. 8-bit samples use weights in 8-bit fixed point (error diffusion, summing to "
        "256), row sums in 16 bits, column sums in 32 bits and (s + 2^15) >> 16, which is "
        "OpenCV's GaussianBlur bit for bit; floats sum in float, other samples in double, "
        "rounded half to even and saturated. Each slice and each colour channel is filtered "
        "on its own.");
    doc.Parameter("sigma", m_sigma, "standard deviation of the Gaussian, in pixels (0 to 250)")
        .DoubleOrLong()
        .Range(0.0, 250.0);
    doc.Parameter("size", m_size, "number of taps, odd; 0 chooses it from sigma").Range(0, 2001);
    doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
    doc.Input(0, "Image of type " + GreyColourTypes::Names() + ".").Label("image");
    doc.Output(0, "Smoothed image of the input's type and size.").Label("smoothed");
    doc.Keywords({"blur", "Gaussian", "smooth", "low-pass", "denoise"});
}

void CPGaussianBlur::Run() {
    const char* where = "(filters) GaussianBlur::Run";
    const EnBorder border = Choose(where, "border", m_border, BORDERS);
    CheckRange(where, "sigma", m_sigma, 0.0, 250.0);
    CheckRange(where, "size", m_size, 0, 2001);
    if (m_size % 2 == 0 && (m_size != 0 || m_sigma == 0.0))
        throw CException(where, "size must be odd, or 0 with a positive sigma");
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    Dispatch(GreyColourTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output, [&](SPlane<const T> in, SPlane<T> out) {
            GaussianBlur(in, out, m_sigma, m_size, border);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
