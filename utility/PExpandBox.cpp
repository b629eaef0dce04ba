#include "PExpandBox.h"

#include <algorithm>

namespace ORVA {

void CPExpandBox::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "LabelImage", "ExpandBox");
    doc.Brief("Masks the box of all non-zero pixels, grown by four margins.",
              "Finds the smallest box holding every pixel of the first plane that is not 0 (NaN "
              "included), grows it by the margins, clips it to the image and outputs the first "
              "plane as 1 inside the box and 0 outside. Further planes are copied unchanged. "
              "Deprecated.");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Mask of type IMAGE_GREY_F and the input's size.");
    doc.Parameter("expand_left", m_expandLeft, "columns added on the left");
    doc.Parameter("expand_right", m_expandRight, "columns added on the right");
    doc.Parameter("expand_top", m_expandTop, "rows added above");
    doc.Parameter("expand_bottom", m_expandBottom, "rows added below");
    doc.WriteTo(setup);
}

void CPExpandBox::NodeInit() {
    m_expandLeft = Parameters().EntryLong("expand_left", 0);
    m_expandRight = Parameters().EntryLong("expand_right", 0);
    m_expandTop = Parameters().EntryLong("expand_top", 0);
    m_expandBottom = Parameters().EntryLong("expand_bottom", 0);
}

void CPExpandBox::Run() {
    const char* where = "(utility plugins) ExpandBox::Run";
    const CImage* input = UnwrapInputImage(GetStackInput(0, false), where);
    if (!input) throw CException(where, "input image is NULL");
    if (input->Type() != IMAGE_GREY_F)
        throw CException(where, "input image is not of type IMAGE_GREY_F");
    auto output = std::make_unique<CImage>(*input);
    const int64_t width = input->Size().x;
    const int64_t height = input->Pixels() > 0 ? input->Size().y : 0;
    const float* in = input->Data<float>();
    int64_t xmin = width, xmax = -1, ymin = height, ymax = -1;
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            if (in[y * width + x] != 0) {
                xmin = std::min(xmin, x);
                xmax = std::max(xmax, x);
                ymin = std::min(ymin, y);
                ymax = std::max(ymax, y);
            }
    const int64_t x0 = std::max<int64_t>(0, xmin - m_expandLeft);
    const int64_t x1 = std::min(width - 1, xmax + m_expandRight);
    const int64_t y0 = std::max<int64_t>(0, ymin - m_expandTop);
    const int64_t y1 = std::min(height - 1, ymax + m_expandBottom);
    float* out = output->Data<float>();
    std::fill(out, out + width * height, 0.0f);
    for (int64_t y = y0; y <= y1; ++y)
        for (int64_t x = x0; x <= x1; ++x)
            out[y * width + x] = 1.0f;
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
