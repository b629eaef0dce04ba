#include "PCopyImage.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) CopyImage::Run";
}  // namespace

void CPCopyImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "CopyImage");
    doc.Brief("Plugin copies an input image to an output image",
              "Copies the input image to the output image. This node supports all image types "
              "and sizes.");
    doc.Input(0, "Input image of an arbitrary image type.");
    doc.Output(0, "Output image containing a copy of the input image.");
    doc.Keywords({"copy", "nop", "do nothing"});
}

void CPCopyImage::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    SetStackOutput(0, OwnedImage(std::make_unique<CImage>(*input)));
}

}  // namespace ORVA
