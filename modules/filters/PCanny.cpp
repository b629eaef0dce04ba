#include "PCanny.h"

#include "Edges.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPCanny::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Edges", "Canny").HelpPage("filters", "PCanny");
    doc.Brief(
        "Canny's edge detector: thin lines of strong gradient, joined by weaker ones.",
        "As OpenCV's Canny with aperture 3: gradients gx, gy by the 3 x 3 Sobel with "
        "replicated borders (exact integers for 8- and 16-bit samples, doubles otherwise); "
        "magnitude |gx| + |gy|, or gx^2 + gy^2 against squared thresholds with l2. A pixel whose "
        "magnitude exceeds low is kept when it is greater than its neighbour before and not "
        "less than the one after along the gradient's direction (horizontal, vertical or "
        "diagonal by tan 22.5 = 13573 / 2^15); kept pixels above high are edges, and kept "
        "pixels 8-connected to an edge become edges. low and high are swapped when low is "
        "greater. Output: 255 on edges, 0 elsewhere. Each slice is processed on its own.");
    doc.Parameter("low", m_low, "the lower threshold of the magnitude").DoubleOrLong().Minimum(0);
    doc.Parameter("high", m_high, "the upper threshold of the magnitude").DoubleOrLong().Minimum(0);
    doc.Parameter("l2", m_l2, "use the Euclidean magnitude instead of |gx| + |gy|").Toggle();
    doc.Input(0, "Grey image of type " + GreyTypes::Names() + ".").Label("image");
    doc.Output(0, "IMAGE_GREY_8 edge map of the input's size.").Label("edges");
    doc.Keywords({"Canny", "edges", "edge detection", "contours", "hysteresis"});
}

void CPCanny::Run() {
    const char* where = "(filters) Canny::Run";
    CheckRange(where, "low", m_low, 0, 1e300);
    CheckRange(where, "high", m_high, 0, 1e300);
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(IMAGE_GREY_8, input->Size());
    Dispatch(GreyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T, uint8_t>(*input, *output, [&](SPlane<const T> in, SPlane<uint8_t> out) {
            Canny(in, out, m_low, m_high, m_l2);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
