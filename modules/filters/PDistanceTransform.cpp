#include "PDistanceTransform.h"

#include "Distance.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPDistanceTransform::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Morphology", "DistanceTransform")
        .HelpPage("filters", "PDistanceTransform");
    doc.Brief("The exact Euclidean distance of every pixel to the nearest zero sample.",
              "Each output is sqrt(dx^2 + dy^2) in pixels to the nearest sample equal to 0 "
              "(0 on zero samples), computed exactly as an integer (Felzenszwalb and "
              "Huttenlocher's lower envelope of parabolas) and stored as the float square root, "
              "as OpenCV's distanceTransform with DIST_L2 and DIST_MASK_PRECISE. A slice "
              "without a zero sample is +infinity throughout. Each slice is measured on its "
              "own.");
    doc.Input(0, "Image of type " + GreyBinaryTypes::Names() + "; 0 is background.").Label("image");
    doc.Output(0, "IMAGE_GREY_F distances of the input's size.").Label("distance");
    doc.Keywords({"distance transform", "Euclidean distance", "EDT", "skeleton", "medial axis"});
}

void CPDistanceTransform::Run() {
    const char* where = "(filters) DistanceTransform::Run";
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(IMAGE_GREY_F, input->Size());
    Dispatch(GreyBinaryTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T, float>(*input, *output, [&](SPlane<const T> in, SPlane<float> out) {
            DistanceTransform(in, out);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
