#include "PSetImageAttributes.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) SetImageAttributes::Run";
}  // namespace

void CPSetImageAttributes::GetPluginSetup(CValueMap& setup) {
    CSetupDocument document = UtilityDocument("Generic", "Utility", "SetImageAttributes");
    document.Brief("Node to extend the attributes of the input image",
                   "Outputs a copy of the input image whose attribute \"key\" is set to a copy "
                   "of the parameter \"value\"; other attributes stay. With an empty key the "
                   "whole attribute map is replaced by the map given as \"value\". Pixel data "
                   "are copied unchanged.");
    document.Input(0, "Input image of an arbitrary image type.");
    document.Output(0, "Copy of the input image with the changed attributes.");
    document.Parameter("key", std::string(),
                       "name of the attribute; an empty key replaces the whole attribute map");
    auto value = std::make_unique<CValueVector>();
    value->PushBack(new CValueString());
    document.Parameter("value", std::move(value),
                       "value of the attribute, of any kind; a map when the key is empty");
    document.SeeAlso("GetImageAttributes");
    document.WriteTo(setup);
}

void CPSetImageAttributes::Run() {
    const CValue* input = GetStackInput(0, false);
    if (!input) throw CException(LOCATION, "input image is NULL");
    const CImage* image = HoldsType<CImage>(input) ? UnwrapPointer<CImage>(input) : nullptr;
    if (!image) throw CException(LOCATION, "input is not an Image!");

    const CValue& value = *Parameters().Entry("value", true);
    const std::string key = Parameters().EntryString("key", "");
    if (key.empty() && !value.Map())
        throw CException(LOCATION,
                         "parameter key is empty string, but parameter value is not of type map.");

    auto copy = std::make_unique<CImage>(*image);
    if (key.empty())
        copy->Attributes() = *value.Map();
    else
        copy->Attributes().SetEntry(key, value.CloneUnique(OWNERSHIP_DEFAULT));
    SetStackOutput(0, OwnedImage(std::move(copy)));
}

}  // namespace ORVA
