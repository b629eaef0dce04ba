#include "PluginSdk/SetupDocument.h"

#include <algorithm>
#include <limits>
#include <map>

#include "Value/Pointer.h"
#include "base/Exception.h"
#include "image/Image.h"

namespace ORVA {

// ---- CParameter, CPin ----

CSetupDocument::CParameter& CSetupDocument::CParameter::Type(std::string word) {
    m_type = std::move(word);
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::DoubleOrLong() {
    m_type = "double or long";
    m_doubleOrLong = true;
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Range(double minimum, double maximum) {
    m_minimum = minimum;
    m_maximum = maximum;
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Minimum(double minimum) {
    m_minimum = minimum;
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::OneOf(
    std::initializer_list<int64_t> values) {
    m_allowed.assign(values);
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Values(std::string list) {
    return Hint("val/enValues", std::make_unique<CValueString>(std::move(list)));
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Toggle() {
    return Hint("gui/boolean", std::make_unique<CValueString>("togglebutton"));
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Path(std::string filter) {
    Hint("gui/path", std::make_unique<CValueBool>(true));
    if (!filter.empty()) Hint("gui/filefilter", std::make_unique<CValueString>(std::move(filter)));
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Save() {
    return Hint("gui/save", std::make_unique<CValueBool>(true));
}

CSetupDocument::CParameter& CSetupDocument::CParameter::VisibleIf(std::string condition) {
    return Hint("visible_if", std::make_unique<CValueString>(std::move(condition)));
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Hint(std::string key,
                                                             std::unique_ptr<CValue> value) {
    m_hints.emplace_back(std::move(key), std::move(value));
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::Order(int place) {
    m_order = place;
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::CParameter::NoOrder() {
    m_order = -2;
    return *this;
}

CSetupDocument::CPin& CSetupDocument::CPin::Optional(bool optional) {
    m_optional = optional;
    return *this;
}

CSetupDocument::CPin& CSetupDocument::CPin::Label(std::string label) {
    m_label = std::move(label);
    m_hasLabel = true;
    return *this;
}

CSetupDocument::IBinding::~IBinding() = default;

std::unique_ptr<CValue> CSetupDocument::CParameter::MakeValue(bool value) {
    return std::make_unique<CValueBool>(value);
}

std::unique_ptr<CValue> CSetupDocument::CParameter::MakeValue(const std::string& value) {
    return std::make_unique<CValueString>(value);
}

std::unique_ptr<CValue> CSetupDocument::CParameter::MakeValue(const char* value) {
    return std::make_unique<CValueString>(value ? value : "");
}

std::unique_ptr<CValue> CSetupDocument::CParameter::MakeValue(int64_t value) {
    // The document holds longs of 32 bits; wider members show their value clamped.
    int64_t clamped = std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                          std::numeric_limits<int32_t>::max());
    return std::make_unique<CValueLong>(static_cast<int32_t>(clamped));
}

std::unique_ptr<CValue> CSetupDocument::CParameter::MakeValue(double value) {
    return std::make_unique<CValueDouble>(value);
}

std::unique_ptr<CValue> CSetupDocument::CParameter::Value() const {
    if (m_binding) return m_binding->Value();
    return m_value ? m_value->CloneUnique() : nullptr;
}

CValue::EnValType CSetupDocument::CParameter::Kind() const {
    if (m_value) return m_value->GenericType();
    return m_binding ? m_binding->Value()->GenericType() : CValue::VAL_NULL;
}

const CValue* CSetupDocument::CParameter::HintValue(std::string_view key) const {
    for (const auto& [name, value] : m_hints)
        if (name == key) return value.get();
    return nullptr;
}

std::vector<std::string> CSetupDocument::CParameter::AllowedValues() const {
    const CValue* list = HintValue("val/enValues");
    return list ? SplitAllowedValues(list->String()) : std::vector<std::string>();
}

std::vector<std::string> SplitAllowedValues(std::string_view list) {
    std::vector<std::string> values;
    size_t begin = 0;
    while (begin <= list.size()) {
        size_t end = std::min(list.find(',', begin), list.size());
        std::string_view entry = list.substr(begin, end - begin);
        entry.remove_prefix(std::min(entry.find_first_not_of(' '), entry.size()));
        entry.remove_suffix(entry.size() - (entry.find_last_not_of(' ') + 1));
        if (!entry.empty()) values.emplace_back(entry);
        begin = end + 1;
    }
    return values;
}

bool IsAllowedValue(std::string_view list, std::string_view value) {
    for (const std::string& entry : SplitAllowedValues(list))
        if (entry == value) return true;
    return false;
}

// ---- declarations ----

CSetupDocument::CSetupDocument(std::string pluginType, std::string subType, std::string name) {
    Identity(std::move(pluginType), std::move(subType), std::move(name));
}

CSetupDocument& CSetupDocument::Identity(std::string pluginType, std::string subType,
                                         std::string name) {
    m_pluginType = std::move(pluginType);
    m_subType = std::move(subType);
    m_name = std::move(name);
    return *this;
}

CSetupDocument& CSetupDocument::KeepsState() {
    m_keepsState = true;
    return *this;
}

CSetupDocument& CSetupDocument::Minimal() {
    m_minimal = true;
    return *this;
}

CSetupDocument& CSetupDocument::Brief(std::string summary, std::string description) {
    m_summary = std::move(summary);
    m_long = std::move(description);
    return *this;
}

CSetupDocument& CSetupDocument::Note(std::string text) {
    m_notes.push_back(std::move(text));
    return *this;
}

CSetupDocument& CSetupDocument::SeeAlso(std::string names) {
    m_seeAlso = std::move(names);
    return *this;
}

CSetupDocument& CSetupDocument::Example(std::string pipe) {
    m_example = std::move(pipe);
    return *this;
}

CSetupDocument& CSetupDocument::RawDescription(std::string text) {
    m_raw = std::move(text);
    m_hasRaw = true;
    return *this;
}

CSetupDocument& CSetupDocument::Keywords(std::initializer_list<const char*> keywords) {
    for (const char* keyword : keywords)
        m_keywords.emplace_back(keyword);
    return *this;
}

CSetupDocument& CSetupDocument::HelpPage(std::string_view module, std::string_view page) {
    m_helpPage = "%ORVADIR%/doc/vimbro/html/" + std::string(module) + "/" + std::string(page) +
                 "/index.html";
    return *this;
}

CSetupDocument::CParameter& CSetupDocument::Add(std::string key, std::string type,
                                                std::string text) {
    CParameter& parameter = m_parameters.emplace_back();
    parameter.m_key = std::move(key);
    parameter.m_type = std::move(type);
    parameter.m_text = std::move(text);
    return parameter;
}

const char* CSetupDocument::KindWord(CValue::EnValType kind) {
    switch (kind) {
        case CValue::VAL_BOOL:
            return "bool";
        case CValue::VAL_LONG:
            return "long";
        case CValue::VAL_DOUBLE:
            return "double";
        case CValue::VAL_STRING:
            return "string";
        default:
            return "value";
    }
}

CSetupDocument::CParameter& CSetupDocument::Bind(std::string key, std::unique_ptr<IBinding> binding,
                                                 std::string text) {
    const char* word = KindWord(binding->Value()->GenericType());
    CParameter& parameter = Add(std::move(key), word, std::move(text));
    parameter.m_binding = std::move(binding);
    return parameter;
}

CSetupDocument::CParameter& CSetupDocument::Declared(std::string key, std::unique_ptr<CValue> value,
                                                     EnRead read, std::string text) {
    CParameter& parameter = Add(std::move(key), KindWord(value->GenericType()), std::move(text));
    parameter.m_value = std::move(value);
    parameter.m_read = read;
    return parameter;
}

CSetupDocument::CParameter& CSetupDocument::UndocumentedReadInRun(std::string key,
                                                                  CValue::EnValType kind) {
    std::unique_ptr<CValue> value;
    switch (kind) {
        case CValue::VAL_BOOL:
            value = std::make_unique<CValueBool>(false);
            break;
        case CValue::VAL_LONG:
            value = std::make_unique<CValueLong>(0);
            break;
        case CValue::VAL_DOUBLE:
            value = std::make_unique<CValueDouble>(0.0);
            break;
        case CValue::VAL_STRING:
            value = std::make_unique<CValueString>();
            break;
        default:
            value = std::make_unique<CValueNull>();
    }
    CParameter& parameter = Declared(std::move(key), std::move(value), EnRead::RUN, {});
    parameter.m_documented = false;
    parameter.m_order = -2;
    return parameter;
}

CSetupDocument::CParameter& CSetupDocument::DocumentationOnly(std::string key, std::string type,
                                                              std::string text, bool createEntry) {
    CParameter& parameter = Add(std::move(key), std::move(type), std::move(text));
    parameter.m_read = EnRead::NEVER;
    parameter.m_createEntry = createEntry;
    parameter.m_order = -2;
    return parameter;
}

CSetupDocument::CPin& CSetupDocument::Input(int pin, std::string text, EnPinKind kind) {
    CPin& entry = m_inputs.emplace_back();
    entry.m_pin = pin;
    entry.m_text = std::move(text);
    entry.m_kind = kind;
    return entry;
}

CSetupDocument::CPin& CSetupDocument::Output(int pin, std::string text, EnPinKind kind) {
    CPin& entry = m_outputs.emplace_back();
    entry.m_pin = pin;
    entry.m_text = std::move(text);
    entry.m_kind = kind;
    return entry;
}

// ---- queries ----

const CSetupDocument::CParameter* CSetupDocument::FindParameter(std::string_view key) const {
    for (const CParameter& parameter : m_parameters)
        if (parameter.m_key == key && !parameter.DocumentationOnly()) return &parameter;
    return nullptr;
}

std::vector<const CSetupDocument::CParameter*> CSetupDocument::ReadParameters() const {
    std::vector<const CParameter*> read;
    for (const CParameter& parameter : m_parameters)
        if (parameter.m_read != EnRead::NEVER) read.push_back(&parameter);
    return read;
}

std::map<int, const CSetupDocument::CParameter*> CSetupDocument::DisplayOrder() const {
    std::map<int, const CParameter*> places;
    int next = 0;
    for (const CParameter& parameter : m_parameters) {
        if (parameter.m_order == -2) continue;
        places[parameter.m_order >= 0 ? parameter.m_order : next++] = &parameter;
    }
    return places;
}

void CSetupDocument::ReadFrom(const CValueMap& parameters) const {
    for (const CParameter& parameter : m_parameters)
        if (parameter.m_binding && parameter.m_read == EnRead::NODE_INIT)
            parameter.m_binding->Read(parameters.Entry(parameter.m_key), parameter.m_fallback.get(),
                                      parameter.m_doubleOrLong);
}

// ---- writing ----

std::string CSetupDocument::TypeSentence(std::string_view word) {
    return "The type of this parameter is of type " + std::string(word) + ". ";
}

std::string CSetupDocument::ParameterDescription(const CParameter& parameter) const {
    return TypeSentence(parameter.m_type) + parameter.m_text;
}

std::string CSetupDocument::Description() const {
    if (m_hasRaw) return m_raw;
    // Each section is its heading, its text and an empty line; sections are separated by
    // one more line end.
    std::vector<std::string> sections;
    auto add = [&](const std::string& heading, const std::string& body) {
        sections.push_back(heading + "\n" + body + "\n\n");
    };
    add("BRIEF", m_long.empty() ? m_summary : m_summary + "\n\n" + m_long);
    for (const std::string& note : m_notes)
        add("NOTE", note);
    for (const CPin& pin : m_inputs)
        if (!pin.m_text.empty()) add("INPUT " + std::to_string(pin.m_pin), pin.m_text);
    for (const CPin& pin : m_outputs)
        if (!pin.m_text.empty()) add("OUTPUT " + std::to_string(pin.m_pin), pin.m_text);
    for (const CParameter& parameter : m_parameters)
        if (parameter.m_documented)
            add("PARAMETER " + parameter.m_key, ParameterDescription(parameter));
    if (!m_keywords.empty()) {
        std::string joined;
        for (const std::string& keyword : m_keywords)
            joined += (joined.empty() ? "" : ", ") + keyword;
        add("KEYWORDS", joined);
    }
    if (!m_seeAlso.empty()) add("SEE ALSO", m_seeAlso);
    std::string text;
    for (size_t i = 0; i < sections.size(); ++i)
        text += (i ? "\n" : "") + sections[i];
    return text;
}

std::unique_ptr<CValue> CSetupDocument::Placeholder(EnPinKind kind) {
    switch (kind) {
        case PIN_IMAGE:
            return std::make_unique<CValueOwnedPointer<CImage>>(nullptr, 1);
        case PIN_MAP:
            return std::make_unique<CValueMap>();
        case PIN_VECTOR:
            return std::make_unique<CValueVector>();
        case PIN_LONG:
            return std::make_unique<CValueLong>(0);
        case PIN_DOUBLE:
            return std::make_unique<CValueDouble>(0.0);
        case PIN_BOOL:
            return std::make_unique<CValueBool>(false);
        case PIN_STRING:
            return std::make_unique<CValueString>();
        case PIN_VALUE:
            break;
    }
    return std::make_unique<CValueNull>();
}

void CSetupDocument::WritePins(CValueMap& setup, const char* group,
                               const std::deque<CPin>& pins) const {
    if (!setup.HasEntry(group, CValue::VAL_MAP)) setup.SetEntry(group, new CValueMap());
    CValueMap& map = *setup.Entry(group)->Map();
    for (const CPin& pin : pins) {
        if (map.HasEntry(pin.m_pin)) continue;
        std::unique_ptr<CValue> placeholder = Placeholder(pin.m_kind);
        if (pin.m_hasLabel) placeholder->Meta().SetEntry("label", new CValueString(pin.m_label));
        map.SetEntry(std::to_string(pin.m_pin), std::move(placeholder));
    }
}

void CSetupDocument::WriteTo(CValueMap& setup) const {
    // 1. identity
    setup.SetEntry("pluginType", new CValueString(m_pluginType));
    setup.SetEntry("subType", new CValueString(m_subType));
    setup.SetEntry("name", new CValueString(m_name));

    // 2. parameters with their current values and hints
    auto parameters = std::make_unique<CValueMap>();
    for (const CParameter& parameter : m_parameters) {
        if (!parameter.m_documented || parameter.DocumentationOnly()) continue;
        std::unique_ptr<CValue> value = parameter.Value();
        for (const auto& [key, hint] : parameter.m_hints)
            value->Meta().SetEntry(key, hint->CloneUnique());
        parameters->SetEntry(parameter.m_key, std::move(value));
    }
    setup.SetEntry("parameters", std::move(parameters));

    // 3. display order
    if (!m_minimal)
        for (const auto& [place, parameter] : DisplayOrder())
            setup.SetEntry("gui/order/" + std::to_string(place),
                           new CValueString(parameter->m_key));

    // 4. pins
    WritePins(setup, "inputs", m_inputs);
    WritePins(setup, "outputs", m_outputs);
    if (m_minimal) return;

    // 5. description
    setup.SetEntry("description", new CValueString(Description()));

    // 6. fill in what the entries do not already say
    for (const CParameter& parameter : m_parameters) {
        if (!parameter.m_documented) continue;
        std::string key = "parameters/" + parameter.m_key;
        CValue* entry = !parameter.DocumentationOnly() || parameter.m_createEntry
                            ? setup.Entry(key, true)
                            : setup.Entry(key);
        if (entry && !entry->Meta().HasEntry("desc"))
            entry->Meta().SetEntry("desc", new CValueString(ParameterDescription(parameter)));
    }
    auto fillPins = [&](const char* group, const std::deque<CPin>& pins, bool inputs) {
        for (const CPin& pin : pins) {
            CValue* entry = setup.Entry(std::string(group) + "/" + std::to_string(pin.m_pin), true);
            CValueMap& meta = entry->Meta();
            if (!meta.HasEntry("label") && !pin.m_text.empty())
                meta.SetEntry("label", new CValueString(pin.m_text));
            if (inputs && !meta.HasEntry("optional"))
                meta.SetEntry("optional", new CValueBool(pin.m_optional));
        }
    };
    fillPins("inputs", m_inputs, true);
    fillPins("outputs", m_outputs, false);

    // 7. keywords, after any already there
    if (!setup.HasEntry("keywords", CValue::VAL_VECTOR))
        setup.SetEntry("keywords", new CValueVector());
    CValueVector& keywords = *setup.Entry("keywords")->Vector();
    for (const std::string& keyword : m_keywords)
        keywords.SetEntry(keywords.Size(), new CValueString(keyword));

    // 8. help page
    if (!m_helpPage.empty()) setup.SetEntry("__vimbroDocumentation", new CValueString(m_helpPage));
}

}  // namespace ORVA
