#include "PSetImageAttributes.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) SetImageAttributes::Run";
}  // namespace

void CPSetImageAttributes::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Generic", "Utility", "SetImageAttributes");
    doc.Brief("Node to extend the attributes of the input image",
              "Outputs a copy of the input image whose attribute \"key\" is set to a copy of the "
              "parameter \"value\"; other attributes stay. With an empty key the whole "
              "attribute map is replaced by the map given as \"value\". Pixel data are copied "
              "unchanged.");
    doc.Input(0, "Input image of an arbitrary image type.");
    doc.Output(0, "Copy of the input image with the changed attributes.");
    doc.ParameterReadInRun("key", std::string(),
                           "name of the attribute; an empty key replaces the whole attribute map");
    // Of any kind; GetPluginSetup shows it as a vector of one empty text.
    doc.ParameterReadInRun("value", std::string(),
                           "value of the attribute, of any kind; a map when the key is empty")
        .Type("value");
    doc.SeeAlso("GetImageAttributes");
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! SetImageAttributes key=origin "
        "value=scanner");
}

void CPSetImageAttributes::GetPluginSetup(CValueMap& setup) {
    CPNode::GetPluginSetup(setup);
    // A declaration holds scalar values only.
    auto shown = std::make_unique<CValueVector>();
    shown->PushBack(new CValueString());
    shown->Meta() = setup.Entry("parameters/value")->Meta();
    setup.SetEntry("parameters/value", std::move(shown));
}

void CPSetImageAttributes::Run() {
    if (!HasStackInput(0)) throw CException(LOCATION, "input image is NULL");
    const CImage* image = InputImage(0, {.where = LOCATION,
                                         .missing = "input is not an Image!",
                                         .notImage = "input is not an Image!"});

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
