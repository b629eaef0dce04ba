#include "PExpandBox.h"

#include <algorithm>

#include "algorithms/Rectangles.h"

namespace ORVA {

void CPExpandBox::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "ExpandBox");
    doc.Brief("Masks the box of all non-zero pixels, grown by four margins.",
              "Finds the smallest box holding every pixel of the first plane that is not 0 (NaN "
              "included), grows it by the margins, clips it to the image and outputs the first "
              "plane as 1 inside the box and 0 outside. Further planes are copied unchanged. "
              "Deprecated.");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Mask of type IMAGE_GREY_F and the input's size.");
    doc.Parameter("expand_left", m_expandLeft, "columns added on the left").Fallback(0);
    doc.Parameter("expand_right", m_expandRight, "columns added on the right").Fallback(0);
    doc.Parameter("expand_top", m_expandTop, "rows added above").Fallback(0);
    doc.Parameter("expand_bottom", m_expandBottom, "rows added below").Fallback(0);
}

void CPExpandBox::Run() {
    const char* where = "(utility plugins) ExpandBox::Run";
    const CImage* input = InputImage(0, {.where = where});
    if (input->Type() != IMAGE_GREY_F)
        throw CException(where, "input image is not of type IMAGE_GREY_F");
    auto output = std::make_unique<CImage>(*input);
    const int64_t width = input->Size().x;
    const int64_t height = input->Pixels() > 0 ? input->Size().y : 0;
    const float* in = input->Data<float>();
    // Without a non-zero pixel the margins grow the box's start values, which may still leave
    // a box.
    const SRectangle found = Bounds(width, height, [&](int64_t i) { return in[i] != 0; });
    const SRectangle box =
        Grown(found, width, height, m_expandLeft, m_expandRight, m_expandTop, m_expandBottom);
    float* out = output->Data<float>();
    std::fill(out, out + width * height, 0.0f);
    FillRectangle(out, width, box, 1.0f);
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
