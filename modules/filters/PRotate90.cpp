#include "PRotate90.h"

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

void CPRotate90::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Rotate90").HelpPage("filters", "PRotate90");
    doc.Brief("Turns an image by quarter turns.",
              "quarters clockwise quarter turns (negative: counter-clockwise), taken modulo 4. "
              "One turn clockwise gives out(x, y) = in(y, h - 1 - x) and makes a w x h image "
              "h x w; two turns are a flip of both axes. Each slice is turned on its own.");
    doc.Parameter("quarters", m_quarters, "number of clockwise quarter turns");
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Turned image of the input's type.").Label("turned");
    doc.Keywords({"rotate", "turn", "90 degrees", "orientation"});
}

void CPRotate90::Run() {
    const char* where = "(filters) Rotate90::Run";
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    const bool swapped = m_quarters % 2 != 0;
    auto output = NewImage(input->Type(), swapped ? CSize(size.y, size.x, size.z) : size);
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Rotate90(in, out, m_quarters); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
