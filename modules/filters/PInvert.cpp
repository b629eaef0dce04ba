#include "PInvert.h"

#include <limits>

#include "Arithmetic.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPInvert::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Arithmetic", "Invert").HelpPage("filters", "PInvert");
    doc.Brief("Inverts an image: each sample v becomes maximum - v.",
              "A negative maximum stands for the type's own: 255, 65535, 2^32 - 1 and 2^64 - 1 "
              "for integer samples, 1 for binary images and floats. Otherwise maximum is "
              "rounded half to even and saturated to the sample type; integer results below 0 "
              "wrap around (they keep their low bits). Colour channels are inverted alike.");
    doc.Parameter("maximum", m_maximum, "the value that becomes 0; negative for the type's own")
        .DoubleOrLong();
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Inverted image of the input's type and size.").Label("inverted");
    doc.Keywords({"invert", "negative", "complement", "not"});
}

void CPInvert::Run() {
    const char* where = "(filters) Invert::Run";
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    const bool binary = input->Type() == IMAGE_BINARY_FG || input->Type() == IMAGE_BINARY_BG;
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        T maximum = SaturateCast<T>(m_maximum);
        if (m_maximum < 0)
            maximum = binary || std::is_floating_point_v<T> ? T(1) : std::numeric_limits<T>::max();
        ForEachPlane<T>(
            *input, *output, [&](SPlane<const T> in, SPlane<T> out) { Invert(in, out, maximum); },
            true);
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
