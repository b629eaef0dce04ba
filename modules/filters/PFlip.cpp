#include "PFlip.h"

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<EnFlip> DIRECTIONS[] = {
    {"HORIZONTAL", EnFlip::HORIZONTAL}, {"VERTICAL", EnFlip::VERTICAL}, {"BOTH", EnFlip::BOTH}};

}  // namespace

void CPFlip::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Flip").HelpPage("filters", "PFlip");
    doc.Brief("Mirrors an image left-right, top-bottom or both.",
              "HORIZONTAL: out(x, y) = in(w - 1 - x, y); VERTICAL: out(x, y) = in(x, h - 1 - y); "
              "BOTH: out(x, y) = in(w - 1 - x, h - 1 - y), a half turn. Each slice is flipped "
              "on its own; slices keep their order.");
    doc.Parameter("direction", m_direction,
                  "HORIZONTAL (left-right), VERTICAL (top-bottom) or BOTH")
        .Values(ChoiceList(DIRECTIONS));
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Flipped image of the input's type and size.").Label("flipped");
    doc.Keywords({"flip", "mirror", "reflect"});
}

void CPFlip::Run() {
    const char* where = "(filters) Flip::Run";
    const EnFlip direction = Choose(where, "direction", m_direction, DIRECTIONS);
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Flip(in, out, direction); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
