#include "PPad.h"

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

void CPPad::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Pad").HelpPage("filters", "PPad");
    doc.Brief("Adds margins around an image.",
              "The output is (left + w + right) x (top + h + bottom); the input sits at (left, "
              "top) and the margins are filled by the border rule: CONSTANT writes value "
              "(rounded half to even and saturated for integer samples), the others repeat "
              "the image's samples as OpenCV's copyMakeBorder does, reflecting again when a "
              "margin is wider than the image. Slices and colour channels are padded alike.");
    doc.Parameter("left", m_left, "columns added on the left").Range(0, 1 << 20);
    doc.Parameter("top", m_top, "rows added on top").Range(0, 1 << 20);
    doc.Parameter("right", m_right, "columns added on the right").Range(0, 1 << 20);
    doc.Parameter("bottom", m_bottom, "rows added at the bottom").Range(0, 1 << 20);
    doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
    doc.Parameter("value", m_value, "the sample CONSTANT margins hold").DoubleOrLong();
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Padded image of the input's type.").Label("padded");
    doc.Keywords({"pad", "border", "margin", "extend", "copyMakeBorder"});
}

void CPPad::Run() {
    const char* where = "(filters) Pad::Run";
    const EnBorder border = Choose(where, "border", m_border, BORDERS);
    for (auto [key, margin] : {std::pair{"left", m_left}, std::pair{"top", m_top},
                               std::pair{"right", m_right}, std::pair{"bottom", m_bottom}})
        CheckRange(where, key, margin, 0, 1 << 20);
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    if ((size.x == 0 || size.y == 0) && border != EnBorder::CONSTANT)
        throw CException(where, "an empty image can only be padded with CONSTANT");
    auto output = NewImage(input->Type(),
                           CSize(m_left + size.x + m_right, m_top + size.y + m_bottom, size.z));
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        const T value = SaturateCast<T>(m_value);
        ForEachPlane<T>(*input, *output, [&](SPlane<const T> in, SPlane<T> out) {
            Pad(in, out, m_left, m_top, border, value);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
