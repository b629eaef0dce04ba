#include "PCopyImage.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) CopyImage::Run";
}  // namespace

void CPCopyImage::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "CopyImage");
    doc.Brief("Plugin copies an input image to an output image",
              "Copies the input image to the output image. This node supports all image types "
              "and sizes.");
    doc.Input(0, "Input image of an arbitrary image type.");
    doc.Output(0, "Output image containing a copy of the input image.");
    doc.Keywords({"copy", "nop", "do nothing"});
    doc.WriteTo(setup);
}

void CPCopyImage::Run() {
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(WHERE, "input image is NULL");
    const CImage* input = UnwrapPointer<CImage>(value, WHERE);
    if (!input) throw CException(WHERE, "input image is NULL");
    SetStackOutput(0, OwnedImage(std::make_unique<CImage>(*input)));
}

}  // namespace ORVA
