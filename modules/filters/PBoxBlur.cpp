#include "PBoxBlur.h"

#include "Blur.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPBoxBlur::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Blur", "BoxBlur").HelpPage("filters", "PBoxBlur");
    doc.Brief(
        "Replaces each sample by the mean of the width x height window around it.",
        "The window's anchor is (width / 2, height / 2), as OpenCV's blur. 8-bit windows of at "
        "most 256 samples divide as OpenCV does, ((s + d / 2) * floor(65536 / d)) >> 16 with "
        "its rounding of the reciprocal; larger 8-bit windows round s * (1 / d) in float; "
        "floats sum in double and store s * (1 / d); other samples sum exactly and round half "
        "to even. Slices and colour channels are filtered alike.");
    doc.Parameter("width", m_width, "window width in pixels").Range(1, 1 << 20);
    doc.Parameter("height", m_height, "window height in pixels").Range(1, 1 << 20);
    doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
    doc.Input(0, "Image of type " + GreyColourTypes::Names() + ".").Label("image");
    doc.Output(0, "Smoothed image of the input's type and size.").Label("smoothed");
    doc.Keywords({"blur", "box filter", "mean filter", "average", "smooth"});
}

void CPBoxBlur::Run() {
    const char* where = "(filters) BoxBlur::Run";
    const EnBorder border = Choose(where, "border", m_border, BORDERS);
    CheckRange(where, "width", m_width, 1, 1 << 20);
    CheckRange(where, "height", m_height, 1, 1 << 20);
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    Dispatch(GreyColourTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output, [&](SPlane<const T> in, SPlane<T> out) {
            BoxBlur(in, out, m_width, m_height, border);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
