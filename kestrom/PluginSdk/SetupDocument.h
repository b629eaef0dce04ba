#pragma once

#include <concepts>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "PluginSdk/RunOnce.h"
#include "Value/Container.h"

namespace ORVA {

// A node's declaration: what it tells the host about itself, and which keys of its parameter
// map it reads into which members. A node declares it once, in `CPNode::Declare`; from it come
// the setup document, the reads of `NodeInit`, and what hosts know of the node (the keys it
// reads, their kinds, allowed values and ranges, the texts of help pages and forms).
//
// The setup document it writes:
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
//   void CPSort::Declare(CSetupDocument& doc) {
//       doc.Identity("Image", "Utility", "Sort").HelpPage("utility", "PSort");
//       doc.Brief("Plugins sorts all rows in image by a given column.", "...");
//       doc.Parameter("column", m_column, "x index of the key column").Fallback(0);
//       doc.Input(0, "Input image of type ...");
//       doc.Output(0, "Output image of the same type and size as the input image.");
//       doc.Keywords({"sort", "ascending order", "row"});
//   }
//
// A bound parameter is read by NodeInit with the container's typed reader of its member's
// kind, the member's current value as the fallback: a missing key keeps the member.
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

    // Who reads a parameter's key from the node's parameter map.
    enum class EnRead {
        NODE_INIT,  // NodeInit, into the bound member
        RUN,        // the node itself, in Run
        NEVER,      // nobody: the key is declared and shown only
    };

    // The member behind a bound parameter.
    class TARSEL_API IBinding {
      public:
        virtual ~IBinding();
        // The member's value as the document shows it.
        virtual std::unique_ptr<CValue> Value() const = 0;
        // Refreshes the member from `value`, the entry of the key (null when it is missing);
        // `fallback` replaces the member's current value as the default when it is set.
        virtual void Read(const CValue* value, const CValue* fallback, bool doubleOrLong) = 0;
    };

    class TARSEL_API CParameter {
      public:
        // The type word of the description ("long", "double", "bool", "string" by the value).
        CParameter& Type(std::string word);
        // Type word "double or long", and only a stored double or long changes the member: a
        // value of another kind leaves it as it is.
        CParameter& DoubleOrLong();
        // A missing key gives `value` rather than keeping the member's current value.
        template <class T>
        CParameter& Fallback(const T& value) {
            m_fallback = MakeValue(value);
            return *this;
        }
        // The values the node accepts: a closed range, a list of whole numbers.
        CParameter& Range(double minimum, double maximum);
        CParameter& Minimum(double minimum);
        CParameter& OneOf(std::initializer_list<int64_t> values);

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

        const std::string& Key() const noexcept { return m_key; }
        const std::string& TypeWord() const noexcept { return m_type; }
        // The author's text, without the type sentence the document puts in front.
        const std::string& Text() const noexcept { return m_text; }
        EnRead Read() const noexcept { return m_read; }
        // In "parameters" and the PARAMETER sections; false for keys read but left out.
        bool Documented() const noexcept { return m_documented; }
        // A PARAMETER section without a parameter: a text the document carries, not a setting.
        bool DocumentationOnly() const noexcept { return !m_value && !m_binding; }
        // The current value (null for documentation only), without hints.
        std::unique_ptr<CValue> Value() const;
        // The kind of the value: long, double, bool, string or another.
        CValue::EnValType Kind() const;
        const CValue* HintValue(std::string_view key) const;
        // The entries of "val/enValues" without the blanks around them; empty when none.
        std::vector<std::string> AllowedValues() const;
        const std::optional<double>& RangeMinimum() const noexcept { return m_minimum; }
        const std::optional<double>& RangeMaximum() const noexcept { return m_maximum; }
        const std::vector<int64_t>& AllowedNumbers() const noexcept { return m_allowed; }

      private:
        friend class CSetupDocument;
        static std::unique_ptr<CValue> MakeValue(bool value);
        static std::unique_ptr<CValue> MakeValue(const std::string& value);
        static std::unique_ptr<CValue> MakeValue(const char* value);
        static std::unique_ptr<CValue> MakeValue(int64_t value);
        static std::unique_ptr<CValue> MakeValue(double value);
        // 32-bit members keep their bits (an unsigned 2^32 - 1 shows as -1); wider ones clamp.
        template <class T>
        requires(std::integral<T> &&
                 !std::same_as<T, bool>) static std::unique_ptr<CValue> MakeValue(T value) {
            if constexpr (sizeof(T) <= sizeof(int32_t))
                return std::make_unique<CValueLong>(static_cast<int32_t>(value));
            else
                return MakeValue(static_cast<int64_t>(value));
        }
        static std::unique_ptr<CValue> MakeValue(float value) {
            return MakeValue(static_cast<double>(value));
        }

        std::string m_key;
        std::unique_ptr<CValue> m_value;      // a declared value nothing binds
        std::unique_ptr<IBinding> m_binding;  // or the member behind the parameter
        std::unique_ptr<CValue> m_fallback;
        bool m_doubleOrLong = false;
        EnRead m_read = EnRead::NODE_INIT;
        bool m_documented = true;
        std::string m_type;
        std::string m_text;
        std::vector<std::pair<std::string, std::unique_ptr<CValue>>> m_hints;
        std::optional<double> m_minimum, m_maximum;
        std::vector<int64_t> m_allowed;
        int m_order = -1;  // -1: automatic, -2: none
        bool m_createEntry = false;
    };

    class TARSEL_API CPin {
      public:
        CPin& Optional(bool optional = true);
        // A label set with the placeholder itself, which the section text then does not replace.
        CPin& Label(std::string label);

        int Number() const noexcept { return m_pin; }
        EnPinKind Kind() const noexcept { return m_kind; }
        // The INPUT or OUTPUT section's text, else the label set with the placeholder.
        const std::string& Text() const noexcept { return m_text.empty() ? m_label : m_text; }
        bool IsOptional() const noexcept { return m_optional; }

      private:
        friend class CSetupDocument;
        int m_pin = 0;
        EnPinKind m_kind = PIN_IMAGE;
        std::string m_text;
        std::string m_label;
        bool m_optional = false;
        bool m_hasLabel = false;
    };

    CSetupDocument() = default;
    CSetupDocument(std::string pluginType, std::string subType, std::string name);
    CSetupDocument(const CSetupDocument&) = delete;
    CSetupDocument& operator=(const CSetupDocument&) = delete;
    CSetupDocument(CSetupDocument&&) = default;
    CSetupDocument& operator=(CSetupDocument&&) = default;

    CSetupDocument& Identity(std::string pluginType, std::string subType, std::string name);
    // Writes only identity, parameters and pins: no order, texts, keywords or help page.
    CSetupDocument& Minimal();
    // The one-line summary and the long description of the BRIEF section.
    CSetupDocument& Brief(std::string summary, std::string description = {});
    CSetupDocument& Note(std::string text);
    CSetupDocument& SeeAlso(std::string names);
    // A pipe that shows the node at work, for help pages: nodes separated by " ! ", each with
    // KEY=VALUE settings and "@PIN=STEP[:OUT]" for inputs fed by other than the node before.
    // Only for nodes whose example a host cannot make up (inputs of several kinds, settings
    // without a working default).
    CSetupDocument& Example(std::string pipe);
    // A finished description text, used as it stands instead of the sections.
    CSetupDocument& RawDescription(std::string text);
    CSetupDocument& Keywords(std::initializer_list<const char*> keywords);
    // "%ORVADIR%/doc/vimbro/html/<module>/<page>/index.html".
    CSetupDocument& HelpPage(std::string_view module, std::string_view page);
    // The node keeps state from run to run (stored values, counters, a buffer of past inputs)
    // or acts on the world outside (programs, clocks), so two runs with the same inputs may
    // differ: hosts that keep results must run it every time. A run-once switch says so too.
    CSetupDocument& KeepsState();

    // A parameter bound to `member`: its value in the document, read by NodeInit.
    template <class T>
    CParameter& Parameter(std::string key, T& member, std::string text = {}) {
        if constexpr (std::same_as<T, CRunOnce>) m_runOnce = true;
        return Bind(std::move(key), std::make_unique<CBinding<T>>(member), std::move(text));
    }
    // A key NodeInit reads into `member` that the document leaves out.
    template <class T>
    CParameter& Undocumented(std::string key, T& member) {
        CParameter& parameter = Parameter(std::move(key), member);
        parameter.m_documented = false;
        parameter.m_order = -2;
        return parameter;
    }
    // A declared parameter without a member: Run reads the key from the parameter map itself.
    template <class T>
    CParameter& ParameterReadInRun(std::string key, const T& value, std::string text = {}) {
        return Declared(std::move(key), CParameter::MakeValue(value), EnRead::RUN, std::move(text));
    }
    // A key Run reads that the document leaves out; `kind` is the kind it expects.
    CParameter& UndocumentedReadInRun(std::string key, CValue::EnValType kind);
    // A declared parameter that nothing reads, kept in the document as it always was.
    template <class T>
    CParameter& ParameterNeverRead(std::string key, const T& value, std::string text = {}) {
        return Declared(std::move(key), CParameter::MakeValue(value), EnRead::NEVER,
                        std::move(text));
    }
    // A PARAMETER section without a parameter (a documentation leftover). With `createEntry` the
    // description is also attached to a (new, empty) entry "parameters/<key>"; otherwise only
    // to an entry that is already there.
    CParameter& DocumentationOnly(std::string key, std::string type, std::string text,
                                  bool createEntry);

    CPin& Input(int pin, std::string text = {}, EnPinKind kind = PIN_IMAGE);
    CPin& Output(int pin, std::string text = {}, EnPinKind kind = PIN_IMAGE);

    // ---- what hosts read ----
    const std::string& PluginType() const noexcept { return m_pluginType; }
    const std::string& SubType() const noexcept { return m_subType; }
    const std::string& Name() const noexcept { return m_name; }
    const std::string& Summary() const noexcept { return m_summary; }
    const std::string& LongDescription() const noexcept { return m_long; }
    const std::vector<std::string>& Notes() const noexcept { return m_notes; }
    const std::vector<std::string>& KeywordList() const noexcept { return m_keywords; }
    const std::string& SeeAlsoText() const noexcept { return m_seeAlso; }
    const std::string& ExamplePipe() const noexcept { return m_example; }
    // "%ORVADIR%/doc/vimbro/html/..." or empty.
    const std::string& HelpPageAddress() const noexcept { return m_helpPage; }
    bool IsStateful() const noexcept { return m_keepsState || m_runOnce; }
    // Declared with KeepsState(): two runs with equal inputs may differ. A run-once switch alone
    // does not count: such a node gives the same result whether it runs again or not, so a
    // host may keep its result while its inputs and settings stay.
    bool MustRunEveryTime() const noexcept { return m_keepsState; }
    // Whether the node declared anything (nodes that write their document by hand do not).
    bool IsDeclared() const noexcept { return !m_name.empty(); }
    const std::deque<CParameter>& Parameters() const noexcept { return m_parameters; }
    const CParameter* FindParameter(std::string_view key) const;
    // Every key the node reads from its parameter map (by NodeInit or in Run), in declaration
    // order; the framework itself reads `CPNode::DEBUG_LEVEL_KEY` as well.
    std::vector<const CParameter*> ReadParameters() const;
    const std::deque<CPin>& Inputs() const noexcept { return m_inputs; }
    const std::deque<CPin>& Outputs() const noexcept { return m_outputs; }

    // ---- what the framework does with it ----
    // The description text the sections make.
    std::string Description() const;
    void WriteTo(CValueMap& setup) const;
    // NodeInit's reads: every parameter bound for NodeInit, in declaration order.
    void ReadFrom(const CValueMap& parameters) const;

    // The parameters shown, by their place in "gui/order" (empty for a minimal document).
    std::map<int, const CParameter*> DisplayOrder() const;

    // The sentence every parameter description begins with.
    static std::string TypeSentence(std::string_view word);
    // The type word of a value's kind: "long", "double", "bool", "string" or "value".
    static const char* KindWord(CValue::EnValType kind);

  private:
    template <class T>
    class CBinding;

    CParameter& Add(std::string key, std::string type, std::string text);
    CParameter& Bind(std::string key, std::unique_ptr<IBinding> binding, std::string text);
    CParameter& Declared(std::string key, std::unique_ptr<CValue> value, EnRead read,
                         std::string text);
    std::string ParameterDescription(const CParameter& parameter) const;
    static std::unique_ptr<CValue> Placeholder(EnPinKind kind);
    void WritePins(CValueMap& setup, const char* group, const std::deque<CPin>& pins) const;

    std::string m_pluginType, m_subType, m_name;
    bool m_minimal = false;
    bool m_keepsState = false;
    bool m_runOnce = false;
    std::string m_summary, m_long, m_raw, m_seeAlso, m_helpPage, m_example;
    bool m_hasRaw = false;
    std::vector<std::string> m_notes;
    std::vector<std::string> m_keywords;
    std::deque<CParameter> m_parameters;
    std::deque<CPin> m_inputs, m_outputs;
};

// The entries of an enumeration's "val/enValues" text, without the blanks around them.
TARSEL_API std::vector<std::string> SplitAllowedValues(std::string_view list);
// Whether `value` is one of the entries of `list`.
TARSEL_API bool IsAllowedValue(std::string_view list, std::string_view value);

// The members a parameter can be bound to, and how NodeInit reads each: bool, text, whole
// numbers (the document holds 32 bits), floating point and the run-once switch.
template <class T>
class CSetupDocument::CBinding final : public CSetupDocument::IBinding {
    static_assert(std::same_as<T, bool> || std::same_as<T, std::string> || std::integral<T> ||
                      std::floating_point<T> || std::same_as<T, CRunOnce>,
                  "a parameter binds a bool, std::string, whole or floating-point number or "
                  "CRunOnce member");

  public:
    explicit CBinding(T& member) : m_member(member) {}

    std::unique_ptr<CValue> Value() const override {
        if constexpr (std::same_as<T, CRunOnce>)
            return CParameter::MakeValue(m_member.Enabled());
        else
            return CParameter::MakeValue(m_member);
    }

    void Read(const CValue* value, const CValue* fallback, bool doubleOrLong) override {
        const bool present = value && value->GenericType() != CValue::VAL_NULL;
        if (!present && !fallback) return;
        const CValue& source = present ? *value : *fallback;
        if constexpr (std::same_as<T, CRunOnce>) {
            m_member.Reset(source.Bool());
        } else if constexpr (std::same_as<T, bool>) {
            m_member = source.Bool();
        } else if constexpr (std::same_as<T, std::string>) {
            m_member = source.String();
        } else {
            const CValue::EnValType kind = source.GenericType();
            if (doubleOrLong && kind != CValue::VAL_DOUBLE && kind != CValue::VAL_LONG) return;
            if (doubleOrLong && kind == CValue::VAL_LONG)
                m_member = static_cast<T>(source.Long());
            else if constexpr (std::integral<T>)
                m_member = static_cast<T>(source.Long());
            else
                m_member = static_cast<T>(source.Double());
        }
    }

  private:
    T& m_member;
};

}  // namespace ORVA
