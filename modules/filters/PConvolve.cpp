#include "PConvolve.h"

#include <vector>

#include "Convolve.h"
#include "FilterNode.h"
#include "Gradient.h"

namespace ORVA::Filters {

void CPConvolve::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Blur", "Convolve").HelpPage("filters", "PConvolve");
    doc.Brief(
        "Filters a grey image with a kernel given as an image.",
        "out(x, y) = sum over the kernel's cells (i, j) of k(i, j) in(x + i - kw / 2, "
        "y + j - kh / 2), as OpenCV's filter2D (a correlation); with flip the kernel is turned "
        "by 180 degrees first, which makes it a convolution. The kernel's samples become "
        "floats; sums start at 0 and add the non-zero cells row by row in the output type. "
        "Kernels have at most 65536 cells. Each slice is filtered on its own.");
    doc.Parameter("flip", m_flip, "turn the kernel by 180 degrees (convolution)").Toggle();
    doc.Parameter("out_type", m_outType, "IMAGE_GREY_F or IMAGE_GREY_D")
        .Values(ChoiceList(FLOAT_TYPES));
    doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
    doc.Input(0, "Grey image of type " + GreyTypes::Names() + ".").Label("image");
    doc.Input(1, "Kernel: one slice of type " + GreyTypes::Names() + ".").Label("kernel");
    doc.Output(0, "The filtered image, of type out_type and the input's size.").Label("filtered");
    doc.Keywords({"convolution", "correlation", "filter2D", "kernel", "linear filter"});
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! StringToImage 'data_string=0 1 "
        "0\\n1 -4 1\\n0 1 0' ! filters::Convolve @0=1 @1=2");
}

void CPConvolve::Run() {
    const char* where = "(filters) Convolve::Run";
    const auto outType = static_cast<EnType>(Choose(where, "out_type", m_outType, FLOAT_TYPES));
    const EnBorder border = Choose(where, "border", m_border, BORDERS);
    const CImage* input = Input(*this, 0, where);
    const CImage* kernel = Input(*this, 1, where);
    const CSize ks = kernel->Size();
    if (ks.z != 1 || ks.x < 1 || ks.y < 1 || ks.x * ks.y > 65536)
        throw CException(
            where, "the kernel of size " + ks.ToString() + " is not one slice of 1 to 65536 cells");
    std::vector<float> cells;
    Dispatch(
        GreyTypes{}, where, kernel->Type(),
        [&]<class K>(std::type_identity<K>) {
            const K* k = kernel->Data<K>();
            for (int64_t i = 0; i < kernel->Pixels(); ++i)
                cells.push_back(static_cast<float>(k[i]));
        },
        1);
    const SPlane<const float> weights = Plane(static_cast<const float*>(cells.data()), ks.x, ks.y);
    auto output = NewImage(outType, input->Size());
    Dispatch(GreyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        DispatchType<CT::GREY_F, CT::GREY_D>(outType, [&]<class O>(std::type_identity<O>) {
            ForEachPlane<T, O>(*input, *output, [&](SPlane<const T> in, SPlane<O> out) {
                Convolve(in, out, weights, border, m_flip);
            });
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
