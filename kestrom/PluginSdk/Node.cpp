#include "PluginSdk/Node.h"

#include "PluginSdk/SetupDocument.h"
#include "base/Exception.h"
#include "image/Extraction.h"
#include "image/Image.h"

namespace ORVA {

namespace {
constexpr long MAX_PINS = 4096;

void CheckPin(long pin, const char* what) {
    if (pin < 0 || pin >= MAX_PINS)
        throw CException(
            "CPNode",
            CString("%1 pin %2 is out of range (0 to %3)").Arg(what).Arg(pin).Arg(MAX_PINS - 1));
}
}  // namespace

IObject::~IObject() = default;
IVectorizable::~IVectorizable() = default;

CPNode::CPNode() = default;
CPNode::~CPNode() = default;

void CPNode::SetInstance(const char* name) {
    m_instance = name ? name : "";
}

void CPNode::Init(const CValueMap* parameters) {
    if (parameters)
        m_parameters = *parameters;
    else
        m_parameters.Clear();
}

bool CPNode::TestInterface(const CString& name) {
    return name == "IObject" || name == "IPluginObject" || name == "IVectorizable" ||
           name == "CPNode";
}

void CPNode::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc;
    Declare(doc);
    doc.WriteTo(setup);
}

void CPNode::NodeInit() {
    CSetupDocument doc;
    Declare(doc);
    doc.ReadFrom(m_parameters);
}

void CPNode::Declare(CSetupDocument&) {}

int CPNode::DebugLevel() {
    return m_parameters.EntryLong(DEBUG_LEVEL_KEY, 0);
}

const CValueMap& CPNode::Parameters() const {
    return m_parameters;
}
CValueMap& CPNode::Parameters() {
    return m_parameters;
}

CPNode::EnObjType CPNode::Type() {
    return OBJ_NODE;
}

void CPNode::AddDebugData(int level, const CValue& value, const char* label) {
    if (level > DebugLevel()) return;
    std::unique_ptr<CValue> copy = value.CloneUnique(OWNERSHIP_DEEP);
    copy->Meta().SetEntry("label", new CValueString(label ? label : ""));
    m_debugData.PushBack(std::move(copy));
}

void CPNode::AddResultData(CValue* value, bool owned, const char* label) {
    if (!value) return;
    std::unique_ptr<CValue> kept(owned ? value : value->Clone(OWNERSHIP_DEEP));
    kept->Meta().SetEntry("label", new CValueString(label ? label : ""));
    m_resultData.PushBack(std::move(kept));
}

void CPNode::DeleteData() {
    m_debugData.Clear();
    m_resultData.Clear();
}

CValueVector* CPNode::Vectorize() const {
    auto state = std::make_unique<CValueVector>();
    state->PushBack(new CValueMap(m_parameters));
    state->PushBack(new CValueString(m_instance));
    return state.release();
}

void CPNode::Devectorize(const CValueVector* state) {
    if (!state || state->Size() != 2 || !(*state)[0]->Map() ||
        (*state)[1]->GenericType() != CValue::VAL_STRING)
        throw CException("CPNode::Devectorize",
                         "expected the vector of a node's parameter map and instance name");
    m_parameters = *(*state)[0]->Map();
    m_instance = (*state)[1]->String();
}

CValue* CPNode::GetStackInput(int pin, bool required) {
    CValue* value = pin >= 0 && static_cast<size_t>(pin) < m_inputs.size()
                        ? m_inputs[static_cast<size_t>(pin)].value
                        : nullptr;
    if (!value && required) throw CException("CPNode", CString("input %1 is empty").Arg(pin));
    return value;
}

const CImage* CPNode::InputImage(int pin, const SImageInput& rules) {
    auto fail = [&](const char* message) {
        CString text(message);
        if (text.find("%1") != std::string::npos) text = text.Arg(pin);
        throw CException(rules.where, text);
    };
    const CValue* value = GetStackInput(pin, false);
    if (value && !HoldsType<CImage>(value)) {
        if (!rules.notImage)
            CValuePointerBase::RaiseExceptionBadType(rules.where, value, typeid(CImage));
        fail(rules.notImage);
    }
    const CImage* image = value ? UnwrapPointer<CImage>(value, rules.where) : nullptr;
    if (!image && !rules.optional) fail(rules.missing);
    return image;
}

bool CPNode::HasStackInput(long pin) const {
    return pin >= 0 && static_cast<size_t>(pin) < m_inputs.size() &&
           m_inputs[static_cast<size_t>(pin)].value;
}

long CPNode::StackInputs() const {
    return static_cast<long>(m_inputs.size());
}

CPNode::OutputPin& CPNode::Output(long pin) {
    CheckPin(pin, "output");
    if (static_cast<size_t>(pin) >= m_outputs.size())
        m_outputs.resize(static_cast<size_t>(pin) + 1);
    return m_outputs[static_cast<size_t>(pin)];
}

void CPNode::SetStackOutput(int pin, CValue* value) {
    std::unique_ptr<CValue> owned(value);
    OutputPin& output = Output(pin);
    output.value = std::move(owned);
    output.set = true;
}

bool CPNode::HasStackOutput(long pin) const {
    return pin >= 0 && (static_cast<size_t>(pin) >= m_outputs.size() ||
                        !m_outputs[static_cast<size_t>(pin)].unwanted);
}

void CPNode::SetStackInput(int pin, CValue* value) {
    CheckPin(pin, "input");
    if (static_cast<size_t>(pin) >= m_inputs.size()) m_inputs.resize(static_cast<size_t>(pin) + 1);
    m_inputs[static_cast<size_t>(pin)].owned.reset();
    m_inputs[static_cast<size_t>(pin)].value = value;
}

void CPNode::SetStackInput(int pin, std::unique_ptr<CValue> value) {
    SetStackInput(pin, value.get());
    m_inputs[static_cast<size_t>(pin)].owned = std::move(value);
}

void CPNode::ClearStackInputs() {
    m_inputs.clear();
}

void CPNode::SetStackOutputWanted(long pin, bool wanted) {
    Output(pin).unwanted = !wanted;
}

CValue* CPNode::StackOutput(int pin) const {
    return pin >= 0 && static_cast<size_t>(pin) < m_outputs.size()
               ? m_outputs[static_cast<size_t>(pin)].value.get()
               : nullptr;
}

bool CPNode::IsStackOutputSet(int pin) const {
    return pin >= 0 && static_cast<size_t>(pin) < m_outputs.size() &&
           m_outputs[static_cast<size_t>(pin)].set;
}

std::unique_ptr<CValue> CPNode::TakeStackOutput(int pin) {
    if (pin < 0 || static_cast<size_t>(pin) >= m_outputs.size()) return nullptr;
    OutputPin& output = m_outputs[static_cast<size_t>(pin)];
    output.set = false;
    return std::move(output.value);
}

long CPNode::StackOutputs() const {
    long count = static_cast<long>(m_outputs.size());
    while (count > 0 && !m_outputs[static_cast<size_t>(count - 1)].set)
        --count;
    return count;
}

std::unique_ptr<CValue> CPNode::PassOnCopy(const CValue* input) {
    if (!input) return nullptr;
    if (!AreTypesEqual(input->ElementType(), typeid(CImage)))
        return input->CloneUnique(OWNERSHIP_DEFAULT);
    if (auto* smart = dynamic_cast<const CValueSmart*>(input))
        return std::unique_ptr<CValue>(smart->CloneValueSmart());
    const CImage* image = UnwrapPointer<CImage>(input);
    if (!image) return nullptr;
    return std::make_unique<CValueOwnedPointer<CImage>>(CImageExtraction::Clone(*image));
}

CValueMap ParameterValues(const CValueMap& setup, const CValueMap& settings) {
    CValueMap values;
    if (const CValue* declared = setup.Entry("parameters"); declared && declared->Map())
        values = *declared->Map();
    for (const auto& [key, entry] : settings)
        values.SetEntry(key, entry->CloneUnique());
    return values;
}

}  // namespace ORVA
