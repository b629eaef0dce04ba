#include "PGetImageAttributes.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) GetImageAttributes::Run";
}  // namespace

void CPGetImageAttributes::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Generic", "Utility", "GetImageAttributes");
    doc.Brief("Node to extract the Attributes() ValueMap from an image",
              "Outputs a deep copy of the attribute map of the input image.");
    doc.Input(0, "Input image of an arbitrary image type.");
    doc.Output(0, "Copy of the attribute map of the input image.", CSetupDocument::PIN_MAP);
    doc.SeeAlso("SetImageAttributes");
}

void CPGetImageAttributes::Run() {
    if (!HasStackInput(0)) throw CException(LOCATION, "input image is NULL");
    const CImage* image = InputImage(0, {.where = LOCATION,
                                         .missing = "input is not an Image!",
                                         .notImage = "input is not an Image!"});
    SetStackOutput(0, image->Attributes().CloneUnique(OWNERSHIP_DEEP));
}

}  // namespace ORVA
