#include "PSelectImage.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) SelectImage::Run";

// True for no condition, a non-zero long, a true bool, an image without pixels, an image whose
// first pixel is non-zero (IMAGE_GREY_8, IMAGE_BINARY_FG) or non-zero or NaN (IMAGE_GREY_F), an
// image of another type and any other value.
bool Condition(const CValue* value) {
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

}  // namespace

void CPSelectImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "SelectImage");
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
}

void CPSelectImage::Run() {
    if (!HasStackInput(0)) throw CException(WHERE, "first input image is NULL");
    if (!HasStackInput(1)) throw CException(WHERE, "second input image is NULL");
    const bool condition = Condition(GetStackInput(2, false));
    // A null image counts only where it is chosen.
    const CImage* image0 = InputImage(0, {.where = WHERE, .optional = true});
    const CImage* image1 = InputImage(1, {.where = WHERE, .optional = true});
    const CImage* chosen = condition ? image0 : image1;
    if (!chosen)
        throw CException(WHERE,
                         condition ? "first input image is NULL" : "second input image is NULL");
    SetStackOutput(0, OwnedImage(std::make_unique<CImage>(*chosen)));
}

}  // namespace ORVA
