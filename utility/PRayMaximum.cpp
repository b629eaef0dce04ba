#include "PRayMaximum.h"

namespace ORVA {

void CPRayMaximum::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "RayMaximum");
    doc.Brief("Node to compute the maximum of every ray, that is, every line in the z-direction.",
              "Integer values are compared unsigned. For IMAGE_GREY_F a NaN in the first plane "
              "stays the result of its ray, and a NaN in a later plane is passed over. An input "
              "with an extent 0 is passed on as a copy.");
    doc.Input(0,
              "3d input image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
              "or IMAGE_MONO_BINARY.");
    doc.Output(
        0,
        "Largest grayvalues projected to 2d image, image has same type, width and height as the "
        "input image.");
    doc.Keywords({"maximum", "ray", "z direction"});
    DeclareRunOnce(doc);
}

}  // namespace ORVA
