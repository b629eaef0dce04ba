#include "PAddMetaData.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) AddMetaData::Run";
}  // namespace

CPAddMetaData::CPAddMetaData() : m_key("NULL"), m_value("NULL") {}

void CPAddMetaData::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Generic", "Utility", "AddMetaData");
    doc.Brief("Node to add/reset single entries to the meta information of the input data.",
              "Outputs a copy of the input value whose metadata entry \"key\" holds the text "
              "\"value\"; an existing entry is replaced. The copy shares what the input "
              "points to (an image is not copied); the input itself is left unchanged.");
    doc.Input(0, "Input data of any kind.", CSetupDocument::PIN_VALUE);
    doc.Output(0, "Copy of the input data with the changed meta information.",
               CSetupDocument::PIN_VALUE);
    doc.Parameter("key", m_key, "name of the metadata entry");
    doc.Parameter("value", m_value, "text of the metadata entry");
}

void CPAddMetaData::Run() {
    const CValue* input = GetStackInput(0, false);
    if (!input) throw CException(LOCATION, "input data is NULL");
    std::unique_ptr<CValue> copy = input->CloneUnique(OWNERSHIP_SHALLOW);
    copy->Meta().SetEntry(m_key, new CValueString(m_value));
    SetStackOutput(0, std::move(copy));
}

}  // namespace ORVA
