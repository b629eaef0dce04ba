#pragma once

#include <concepts>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Value/Container.h"

namespace ORVA {

// Declares, in one place, what a node tells the host about itself, and writes it as the
// node's setup document:
//
//   "pluginType", "subType", "name"          identity
//   "parameters/<key>"                       current value; hints and "desc" in its metadata
//   "gui/order/<N>"                          the key shown in place N
//   "inputs/<N>", "outputs/<N>"              placeholder value; "label" (and "optional")
//   "description"                            BRIEF, NOTE, INPUT, OUTPUT, PARAMETER, KEYWORDS
//                                            and SEE ALSO sections
//   "keywords"                               appended after any already there
//   "__vimbroDocumentation"                  the help page
//
//   void CPSort::GetPluginSetup(CValueMap& setup) {
//       CSetupDocument doc("Image", "Utility", "Sort");
//       doc.Brief("Plugins sorts all rows in image by a given column.", "...");
//       doc.Parameter("column", m_column, "x index of the key column");
//       doc.Input(0, "Input image of type ...");
//       doc.Output(0, "Output image of the same type and size as the input image.");
//       doc.Keywords({"sort", "ascending order", "row"});
//       doc.HelpPage("utility", "PSort");
//       doc.WriteTo(setup);
//   }
class TARSEL_API CSetupDocument {
  public:
    enum EnPinKind {
        PIN_IMAGE,
        PIN_MAP,
        PIN_VECTOR,
        PIN_VALUE,
        PIN_LONG,
        PIN_DOUBLE,
        PIN_BOOL,
        PIN_STRING
    };

    class TARSEL_API CParameter {
      public:
        // The type word of the description ("long", "double", "bool", "string" by the value;
        // "double or long" and others as the node says).
        CParameter& Type(std::string word);
        // "val/enValues": the allowed values, comma-separated in one text.
        CParameter& Values(std::string list);
        // "gui/boolean" = "togglebutton".
        CParameter& Toggle();
        // "gui/path" = true, and "gui/filefilter" when `filter` is not empty.
        CParameter& Path(std::string filter = {});
        // "gui/save" = true.
        CParameter& Save();
        CParameter& VisibleIf(std::string condition);
        // Any other hint in the value's metadata.
        CParameter& Hint(std::string key, std::unique_ptr<CValue> value);
        // Place in "gui/order/"; by default the next free place in declaration order.
        CParameter& Order(int place);
        CParameter& NoOrder();

      private:
        friend class CSetupDocument;
        std::string m_key;
        std::unique_ptr<CValue> m_value;  // null for a description without a parameter
        std::string m_type;
        std::string m_text;
        std::vector<std::pair<std::string, std::unique_ptr<CValue>>> m_hints;
        int m_order = -1;  // -1: automatic, -2: none
        bool m_createEntry = false;
    };

    class TARSEL_API CPin {
      public:
        CPin& Optional(bool optional = true);
        // A label set with the placeholder itself, which the section text then does not replace.
        CPin& Label(std::string label);

      private:
        friend class CSetupDocument;
        int m_pin = 0;
        EnPinKind m_kind = PIN_IMAGE;
        std::string m_text;
        std::string m_label;
        bool m_optional = false;
        bool m_hasLabel = false;
    };

    CSetupDocument(std::string pluginType, std::string subType, std::string name);

    // Writes only identity, parameters and pins: no order, texts, keywords or help page.
    CSetupDocument& Minimal();
    // The one-line summary and the long description of the BRIEF section.
    CSetupDocument& Brief(std::string summary, std::string description = {});
    CSetupDocument& Note(std::string text);
    CSetupDocument& SeeAlso(std::string names);
    // A finished description text, used as it stands instead of the sections.
    CSetupDocument& RawDescription(std::string text);
    CSetupDocument& Keywords(std::initializer_list<const char*> keywords);
    // "%ORVADIR%/doc/vimbro/html/<module>/<page>/index.html".
    CSetupDocument& HelpPage(std::string_view module, std::string_view page);

    CParameter& Parameter(std::string key, bool value, std::string text = {});
    CParameter& Parameter(std::string key, std::string value, std::string text = {});
    CParameter& Parameter(std::string key, const char* value, std::string text = {}) {
        return Parameter(std::move(key), std::string(value ? value : ""), std::move(text));
    }
    template <std::integral T>
    requires(!std::same_as<T, bool>) CParameter& Parameter(std::string key, T value,
                                                           std::string text = {}) {
        return AddLong(std::move(key), static_cast<int64_t>(value), std::move(text));
    }
    template <std::floating_point T>
    CParameter& Parameter(std::string key, T value, std::string text = {}) {
        return AddDouble(std::move(key), static_cast<double>(value), std::move(text));
    }
    // A parameter of any value kind (type word "value" unless set).
    CParameter& Parameter(std::string key, std::unique_ptr<CValue> value, std::string text = {});
    // A PARAMETER section without a parameter. With `createEntry` the description is also
    // attached to a (new, empty) entry "parameters/<key>"; otherwise only to an entry that
    // is already there.
    CParameter& ParameterText(std::string key, std::string type, std::string text,
                              bool createEntry);

    CPin& Input(int pin, std::string text = {}, EnPinKind kind = PIN_IMAGE);
    CPin& Output(int pin, std::string text = {}, EnPinKind kind = PIN_IMAGE);

    // The description text the sections make.
    std::string Description() const;
    void WriteTo(CValueMap& setup) const;

  private:
    CParameter& Add(std::string key, std::unique_ptr<CValue> value, std::string type,
                    std::string text);
    CParameter& AddLong(std::string key, int64_t value, std::string text);
    CParameter& AddDouble(std::string key, double value, std::string text);
    std::string ParameterDescription(const CParameter& parameter) const;
    static std::unique_ptr<CValue> Placeholder(EnPinKind kind);
    void WritePins(CValueMap& setup, const char* group, const std::deque<CPin>& pins) const;

    std::string m_pluginType, m_subType, m_name;
    bool m_minimal = false;
    std::string m_summary, m_long, m_raw, m_seeAlso, m_helpPage;
    bool m_hasRaw = false;
    std::vector<std::string> m_notes;
    std::vector<std::string> m_keywords;
    std::deque<CParameter> m_parameters;
    std::deque<CPin> m_inputs, m_outputs;
};

}  // namespace ORVA
