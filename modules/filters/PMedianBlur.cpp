#include "PMedianBlur.h"

#include "FilterNode.h"
#include "Median.h"

namespace ORVA::Filters {

void CPMedianBlur::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Blur", "MedianBlur").HelpPage("filters", "PMedianBlur");
    doc.Brief("Replaces each sample by the median of the size x size window around it.",
              "The window is centred on the pixel; samples outside the image repeat the "
              "nearest edge sample (replicated border), as OpenCV's medianBlur. The median of "
              "the size^2 samples is exact for every sample type. Each slice and each colour "
              "channel is filtered on its own.");
    doc.Parameter("size", m_size, "side of the window, odd, 1 to 255").Range(1, 255);
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Filtered image of the input's type and size.").Label("filtered");
    doc.Keywords({"median", "blur", "denoise", "salt and pepper", "rank filter"});
}

void CPMedianBlur::Run() {
    const char* where = "(filters) MedianBlur::Run";
    CheckRange(where, "size", m_size, 1, 255);
    if (m_size % 2 == 0) throw CException(where, "size must be odd");
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { MedianBlur(in, out, m_size); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
