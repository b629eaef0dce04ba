#include "PSelectImage.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) SelectImage::Run";
}  // namespace

void CPSelectImage::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "SelectImage");
    doc.Brief("Select and copy one of the input images.",
              "Outputs a copy of image 0 when the condition holds, else a copy of image 1. The "
              "condition holds when it is missing, a non-zero long, a true bool, or an image "
              "that is empty or whose first pixel is non-zero (IMAGE_GREY_8, IMAGE_BINARY_FG) "
              "or non-zero or NaN (IMAGE_GREY_F); images of other types and other values count "
              "as true. Sizes and types of the two images are not compared.");
    doc.Input(0, "Image copied when the condition is true.").Label("image 0");
    doc.Input(1, "Image copied when the condition is false.").Label("image 1");
    doc.Input(2, "Condition: a long, a bool or an image.", CSetupDocument::PIN_VALUE)
        .Label("condition")
        .Optional();
    doc.Output(0, "Copy of the chosen image.");
    doc.Keywords({"select", "image", "decision", "copy"});
    doc.WriteTo(setup);
}

bool CPSelectImage::Condition(const CValue* value) {
    if (!value) return true;
    if (value->Type() == typeid(CValueLong)) return value->Long() != 0;
    if (value->Type() == typeid(CValueBool)) return value->Bool();
    if (!HoldsType<CImage>(value)) return true;
    const CImage* image = static_cast<const CImage*>(value->VoidPointer());
    // An image without pixels has no first pixel to look at.
    if (!image || image->Pixels() == 0) return true;
    if (image->Type() == IMAGE_GREY_8 || image->Type() == IMAGE_BINARY_FG)
        return image->Bytes()[0] != 0;
    if (image->Type() == IMAGE_GREY_F) return image->Data<float>()[0] != 0.0f;  // NaN too
    return true;
}

void CPSelectImage::Run() {
    const CValue* first = GetStackInput(0, false);
    const CValue* second = GetStackInput(1, false);
    if (!first) throw CException(WHERE, "first input image is NULL");
    if (!second) throw CException(WHERE, "second input image is NULL");
    const bool condition = Condition(GetStackInput(2, false));
    const CImage* image0 = UnwrapPointer<CImage>(first, WHERE);
    const CImage* image1 = UnwrapPointer<CImage>(second, WHERE);
    const CImage* chosen = condition ? image0 : image1;
    if (!chosen)
        throw CException(WHERE,
                         condition ? "first input image is NULL" : "second input image is NULL");
    SetStackOutput(0, OwnedImage(std::make_unique<CImage>(*chosen)));
}

}  // namespace ORVA
