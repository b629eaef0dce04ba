#include "PTranspose.h"

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

void CPTranspose::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Transpose").HelpPage("filters", "PTranspose");
    doc.Brief("Swaps the rows and columns of an image.",
              "out(x, y) = in(y, x): a w x h image becomes h x w. Each slice is transposed on "
              "its own.");
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Transposed image of the input's type.").Label("transposed");
    doc.Keywords({"transpose", "swap axes", "mirror diagonal"});
}

void CPTranspose::Run() {
    const char* where = "(filters) Transpose::Run";
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    auto output = NewImage(input->Type(), CSize(size.y, size.x, size.z));
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Transpose(in, out); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
