#include "PLaplacian.h"

#include "Edges.h"
#include "FilterNode.h"
#include "Gradient.h"

namespace ORVA::Filters {

void CPLaplacian::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Edges", "Laplacian").HelpPage("filters", "PLaplacian");
    doc.Brief("The Laplacian of a grey image: the sum of its second derivatives in x and y.",
              "Size 1 filters with the cross 0 1 0 / 1 -4 1 / 0 1 0, size 3 with 2 0 2 / "
              "0 -8 0 / 2 0 2, as OpenCV's Laplacian; larger odd sizes add the second Sobel "
              "derivatives in x and y of that aperture. Sums are formed in the output type. "
              "Each slice is filtered on its own.");
    doc.Parameter("size", m_size, "aperture, odd, 1 to 31").Range(1, 31);
    doc.Parameter("out_type", m_outType, "IMAGE_GREY_F or IMAGE_GREY_D")
        .Values(ChoiceList(FLOAT_TYPES));
    doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
    doc.Input(0, "Grey image of type " + GreyTypes::Names() + ".").Label("image");
    doc.Output(0, "The Laplacian, of type out_type and the input's size.").Label("laplacian");
    doc.Keywords({"Laplacian", "second derivative", "edges", "sharpen"});
}

void CPLaplacian::Run() {
    const char* where = "(filters) Laplacian::Run";
    const auto outType = static_cast<EnType>(Choose(where, "out_type", m_outType, FLOAT_TYPES));
    const EnBorder border = Choose(where, "border", m_border, BORDERS);
    CheckRange(where, "size", m_size, 1, 31);
    if (m_size % 2 == 0) throw CException(where, "size must be odd");
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(outType, input->Size());
    Dispatch(GreyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        DispatchType<CT::GREY_F, CT::GREY_D>(outType, [&]<class O>(std::type_identity<O>) {
            ForEachPlane<T, O>(*input, *output, [&](SPlane<const T> in, SPlane<O> out) {
                Laplacian(in, out, m_size, border);
            });
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
