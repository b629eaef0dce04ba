#include "PGetImageAttributes.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) GetImageAttributes::Run";
}  // namespace

void CPGetImageAttributes::GetPluginSetup(CValueMap& setup) {
    CSetupDocument document = UtilityDocument("Generic", "Utility", "GetImageAttributes");
    document.Brief("Node to extract the Attributes() ValueMap from an image",
                   "Outputs a deep copy of the attribute map of the input image.");
    document.Input(0, "Input image of an arbitrary image type.");
    document.Output(0, "Copy of the attribute map of the input image.", CSetupDocument::PIN_MAP);
    document.SeeAlso("SetImageAttributes");
    document.WriteTo(setup);
}

void CPGetImageAttributes::Run() {
    const CValue* input = GetStackInput(0, false);
    if (!input) throw CException(LOCATION, "input image is NULL");
    const CImage* image = HoldsType<CImage>(input) ? UnwrapPointer<CImage>(input) : nullptr;
    if (!image) throw CException(LOCATION, "input is not an Image!");
    SetStackOutput(0, image->Attributes().CloneUnique(OWNERSHIP_DEEP));
}

}  // namespace ORVA
