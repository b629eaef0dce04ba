#include "PluginSdk/SetupDocument.h"

#include <algorithm>
#include <limits>

#include "Value/Pointer.h"
#include "base/Exception.h"
#include "image/Image.h"

namespace ORVA {

// ---- CParameter, CPin ----

CSetupDocument::CParameter& CSetupDocument::CParameter::Type(std::string word) {
    m_type = std::move(word);
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

// ---- declarations ----

CSetupDocument::CSetupDocument(std::string pluginType, std::string subType, std::string name)
    : m_pluginType(std::move(pluginType)), m_subType(std::move(subType)), m_name(std::move(name)) {}

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

CSetupDocument::CParameter& CSetupDocument::Add(std::string key, std::unique_ptr<CValue> value,
                                                std::string type, std::string text) {
    CParameter& parameter = m_parameters.emplace_back();
    parameter.m_key = std::move(key);
    parameter.m_value = std::move(value);
    parameter.m_type = std::move(type);
    parameter.m_text = std::move(text);
    return parameter;
}

CSetupDocument::CParameter& CSetupDocument::Parameter(std::string key, bool value,
                                                      std::string text) {
    return Add(std::move(key), std::make_unique<CValueBool>(value), "bool", std::move(text));
}

CSetupDocument::CParameter& CSetupDocument::Parameter(std::string key, std::string value,
                                                      std::string text) {
    return Add(std::move(key), std::make_unique<CValueString>(std::move(value)), "string",
               std::move(text));
}

CSetupDocument::CParameter& CSetupDocument::Parameter(std::string key,
                                                      std::unique_ptr<CValue> value,
                                                      std::string text) {
    if (!value) value = std::make_unique<CValueNull>();
    return Add(std::move(key), std::move(value), "value", std::move(text));
}

CSetupDocument::CParameter& CSetupDocument::AddLong(std::string key, int64_t value,
                                                    std::string text) {
    // The document holds longs of 32 bits; wider members show their value clamped.
    int64_t clamped = std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                          std::numeric_limits<int32_t>::max());
    return Add(std::move(key), std::make_unique<CValueLong>(static_cast<int32_t>(clamped)), "long",
               std::move(text));
}

CSetupDocument::CParameter& CSetupDocument::AddDouble(std::string key, double value,
                                                      std::string text) {
    return Add(std::move(key), std::make_unique<CValueDouble>(value), "double", std::move(text));
}

CSetupDocument::CParameter& CSetupDocument::ParameterText(std::string key, std::string type,
                                                          std::string text, bool createEntry) {
    CParameter& parameter = Add(std::move(key), nullptr, std::move(type), std::move(text));
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

// ---- writing ----

std::string CSetupDocument::ParameterDescription(const CParameter& parameter) const {
    return "The type of this parameter is of type " + parameter.m_type + ". " + parameter.m_text;
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
        if (!parameter.m_value) continue;
        std::unique_ptr<CValue> value = parameter.m_value->CloneUnique();
        for (const auto& [key, hint] : parameter.m_hints)
            value->Meta().SetEntry(key, hint->CloneUnique());
        parameters->SetEntry(parameter.m_key, std::move(value));
    }
    setup.SetEntry("parameters", std::move(parameters));

    // 3. display order
    if (!m_minimal) {
        int next = 0;
        for (const CParameter& parameter : m_parameters) {
            if (parameter.m_order == -2) continue;
            int place = parameter.m_order >= 0 ? parameter.m_order : next++;
            setup.SetEntry("gui/order/" + std::to_string(place), new CValueString(parameter.m_key));
        }
    }

    // 4. pins
    WritePins(setup, "inputs", m_inputs);
    WritePins(setup, "outputs", m_outputs);
    if (m_minimal) return;

    // 5. description
    setup.SetEntry("description", new CValueString(Description()));

    // 6. fill in what the entries do not already say
    for (const CParameter& parameter : m_parameters) {
        std::string key = "parameters/" + parameter.m_key;
        CValue* entry = parameter.m_value || parameter.m_createEntry ? setup.Entry(key, true)
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
