#include "Settings.h"

#include <charconv>
#include <cmath>
#include <iostream>

namespace orva {

using namespace ORVA;
using CParameter = CSetupDocument::CParameter;

namespace {

// A decimal integer that fits 32 bits, nothing around it.
bool ParseLong(const std::string& text, int32_t* value) {
    const char* begin = text.data() + (!text.empty() && text[0] == '+' ? 1 : 0);
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), *value);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

bool ParseDouble(const std::string& text, double* value) {
    if (text.empty()) return false;
    const char* begin = text.data() + (text[0] == '+' ? 1 : 0);
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), *value);
    return error == std::errc() && end == text.data() + text.size();
}

// The kind of value a parameter is declared with: from the declaration, else from the value
// its document shows (nodes that write their document by hand).
struct SDeclared {
    const CParameter* parameter = nullptr;
    const CValue* documented = nullptr;

    bool Known() const { return parameter || documented; }
    CValue::EnValType Kind() const {
        if (parameter) return parameter->Kind();
        return documented ? documented->GenericType() : CValue::VAL_NULL;
    }
    bool DoubleOrLong() const { return parameter && parameter->TypeWord() == "double or long"; }
};

SDeclared Find(const CHostNode& node, const std::string& key) {
    SDeclared declared;
    declared.parameter = node.Declaration().FindParameter(key);
    if (!declared.parameter) declared.documented = node.Setup().Entry("parameters/" + key);
    return declared;
}

// Every key a person may set on the node, for "did you mean".
std::vector<std::string> SettableKeys(const CHostNode& node) {
    std::vector<std::string> keys;
    for (const CParameter* parameter : node.Declaration().ReadParameters())
        keys.push_back(parameter->Key());
    if (const CValue* parameters = node.Setup().Entry("parameters");
        parameters && parameters->Map())
        for (const auto& [key, value] : *parameters->Map())
            keys.push_back(key);
    return keys;
}

const char* KindName(CValue::EnValType kind) {
    switch (kind) {
        case CValue::VAL_LONG:
            return "a long (32-bit integer)";
        case CValue::VAL_DOUBLE:
            return "a double";
        case CValue::VAL_BOOL:
            return "a bool (true or false)";
        case CValue::VAL_STRING:
            return "a string";
        case CValue::VAL_MAP:
            return "a map";
        case CValue::VAL_VECTOR:
            return "a vector";
        case CValue::VAL_NULL:
            return "null";
        default:
            return "a value";
    }
}

// Whether a value of kind `given` can stand for the declared kind.
bool KindFits(const SDeclared& declared, CValue::EnValType given) {
    switch (declared.Kind()) {
        case CValue::VAL_LONG:
            return given == CValue::VAL_LONG ||
                   (declared.DoubleOrLong() && given == CValue::VAL_DOUBLE);
        case CValue::VAL_DOUBLE:
            return given == CValue::VAL_DOUBLE || given == CValue::VAL_LONG;
        case CValue::VAL_BOOL:
        case CValue::VAL_STRING:
            return given == declared.Kind();
        default:
            return true;  // a parameter of any kind
    }
}

std::string Quote(const std::string& text) {
    return "'" + text + "'";
}

std::string Number(double value) {
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e15)
        return std::to_string(static_cast<long long>(value));
    return CValueDouble(value).String();
}

}  // namespace

std::string NodeContext(const CHostNode& node) {
    return "node '" + node.Id() + "' (" + node.Name().Address() + ")";
}

std::unique_ptr<CValue> TypedValue(const CHostNode& node, const std::string& key,
                                   const std::string& text) {
    const SDeclared declared = Find(node, key);
    auto bad = [&](const char* what) {
        return UsageError(NodeContext(node) + ": parameter '" + key + "' takes " + what +
                          ", not '" + text + "'");
    };
    int32_t whole = 0;
    double number = 0.0;
    switch (declared.Kind()) {
        case CValue::VAL_LONG:
            if (ParseLong(text, &whole)) return std::make_unique<CValueLong>(whole);
            if (declared.DoubleOrLong() && ParseDouble(text, &number))
                return std::make_unique<CValueDouble>(number);
            throw bad(declared.DoubleOrLong() ? "a number" : "a long (32-bit integer)");
        case CValue::VAL_DOUBLE:
            if (declared.DoubleOrLong() && ParseLong(text, &whole))
                return std::make_unique<CValueLong>(whole);
            if (!ParseDouble(text, &number)) throw bad("a double");
            return std::make_unique<CValueDouble>(number);
        case CValue::VAL_BOOL:
            if (text == "true") return std::make_unique<CValueBool>(true);
            if (text == "false") return std::make_unique<CValueBool>(false);
            throw bad("a bool (true or false)");
        case CValue::VAL_STRING:
            return std::make_unique<CValueString>(text);
        default:
            break;
    }
    // Not declared with a kind: the value's look decides.
    if (ParseLong(text, &whole)) return std::make_unique<CValueLong>(whole);
    if (!text.empty() &&
        (std::isdigit(static_cast<unsigned char>(text.back())) || text.back() == '.') &&
        ParseDouble(text, &number))
        return std::make_unique<CValueDouble>(number);
    if (text == "true" || text == "false") return std::make_unique<CValueBool>(text == "true");
    return std::make_unique<CValueString>(text);
}

void CheckSetting(const CHostNode& node, const std::string& key, const CValue& value,
                  const SCheckOptions& options) {
    auto refuse = [&](const std::string& problem) {
        std::string message = NodeContext(node) + ": " + problem;
        if (!options.lenient) throw UsageError(message);
        std::cerr << "orva: warning: " << message << " (passed on as given)" << std::endl;
    };
    if (key == CPNode::DEBUG_LEVEL_KEY) return;
    const SDeclared declared = Find(node, key);
    if (!declared.Known()) {
        std::string problem = "parameter '" + key + "' is not a parameter of the node";
        std::vector<std::string> closest = ClosestNames(SettableKeys(node), key);
        for (size_t i = 0; i < closest.size(); ++i)
            problem += (i ? ", " : "; did you mean ") + closest[i];
        if (!closest.empty()) problem += "?";
        return refuse(problem);
    }
    const CValue::EnValType kind = value.GenericType();
    if (!KindFits(declared, kind))
        return refuse("parameter '" + key + "' takes " + KindName(declared.Kind()) +
                      (declared.DoubleOrLong() ? " or a double" : "") + ", not " + KindName(kind));
    if (!declared.parameter) return;
    const CParameter& parameter = *declared.parameter;

    if (std::vector<std::string> allowed = parameter.AllowedValues();
        !allowed.empty() && kind == CValue::VAL_STRING) {
        const std::string text = value.String();
        bool found = false;
        std::string list;
        for (const std::string& entry : allowed) {
            found = found || entry == text;
            list += (list.empty() ? "" : ", ") + entry;
        }
        if (!found)
            return refuse("parameter '" + key + "' is " + Quote(text) + ", which is not one of " +
                          list);
    }
    if (kind != CValue::VAL_LONG && kind != CValue::VAL_DOUBLE) return;
    const double number = value.Double();
    if (!parameter.AllowedNumbers().empty()) {
        bool found = false;
        std::string list;
        for (int64_t allowed : parameter.AllowedNumbers()) {
            found = found || static_cast<double>(allowed) == number;
            list += (list.empty() ? "" : ", ") + std::to_string(allowed);
        }
        if (!found)
            return refuse("parameter '" + key + "' is " + Number(number) +
                          ", which is not one of " + list);
    }
    const auto& minimum = parameter.RangeMinimum();
    const auto& maximum = parameter.RangeMaximum();
    if ((minimum && !(number >= *minimum)) || (maximum && !(number <= *maximum))) {
        std::string range = minimum && maximum
                                ? "from " + Number(*minimum) + " to " + Number(*maximum)
                            : minimum ? Number(*minimum) + " or more"
                                      : Number(*maximum) + " or less";
        return refuse("parameter '" + key + "' is " + Number(number) + ", outside its range " +
                      range);
    }
}

}  // namespace orva
