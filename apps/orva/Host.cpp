#include "Host.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <filesystem>

namespace orva {

using namespace ORVA;

std::string InstallRoot() {
    if (const char* root = std::getenv("ORVADIR"); root && *root) return root;
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    std::string root = error ? "." : self.parent_path().parent_path().string();
    setenv("ORVADIR", root.c_str(), 1);
    return root;
}

std::string ModulePath(const std::string& moduleName) {
    if (moduleName.find('/') != std::string::npos) return moduleName + ".so";
    return InstallRoot() + "/bin/" + moduleName + ".so";
}

SNodeName SNodeName::Parse(const std::string& text) {
    SNodeName name;
    size_t separator = text.rfind("::");
    if (separator == std::string::npos) {
        name.moduleName = "utility";
        name.node = text;
    } else {
        name.moduleName = text.substr(0, separator);
        name.node = text.substr(separator + 2);
    }
    if (name.moduleName.empty() || name.node.empty())
        throw UsageError("malformed node name '" + text + "'");
    name.modulePath = ModulePath(name.moduleName);
    return name;
}

CPluginModule& LoadModule(const std::string& path) {
    try {
        return CPluginModule::Load(path);
    } catch (const CException& error) {
        throw UsageError(error.Message());
    }
}

namespace {

size_t Distance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            size_t up = row[j];
            bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = up;
        }
    }
    return row[b.size()];
}

// A decimal integer that fits 32 bits.
bool ParseLong(const std::string& text, int32_t* value) {
    const char* begin = text.data() + (!text.empty() && text[0] == '+' ? 1 : 0);
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), *value);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

bool ParseDouble(const std::string& text, double* value) {
    const char* begin = text.data() + (text[0] == '+' ? 1 : 0);
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), *value);
    return error == std::errc() && end == text.data() + text.size();
}

std::unique_ptr<CValue> TypedValue(const std::string& key, const std::string& text,
                                   const CValue* declared) {
    auto bad = [&](const char* what) {
        return UsageError("parameter '" + key + "' takes " + what + ", not '" + text + "'");
    };
    CValue::EnValType type = declared ? declared->GenericType() : CValue::VAL_NULL;
    switch (type) {
        case CValue::VAL_LONG: {
            int32_t number = 0;
            if (!ParseLong(text, &number)) throw bad("a long (32-bit integer)");
            return std::make_unique<CValueLong>(number);
        }
        case CValue::VAL_DOUBLE: {
            double number = 0.0;
            if (text.empty() || !ParseDouble(text, &number)) throw bad("a double");
            return std::make_unique<CValueDouble>(number);
        }
        case CValue::VAL_BOOL:
            if (text == "true") return std::make_unique<CValueBool>(true);
            if (text == "false") return std::make_unique<CValueBool>(false);
            throw bad("a bool (true or false)");
        case CValue::VAL_STRING:
            return std::make_unique<CValueString>(text);
        default:
            break;
    }
    // Not declared: the value's look decides.
    if (int32_t whole = 0; ParseLong(text, &whole)) return std::make_unique<CValueLong>(whole);
    double number = 0.0;
    if (!text.empty() &&
        (std::isdigit(static_cast<unsigned char>(text.back())) || text.back() == '.') &&
        ParseDouble(text, &number))
        return std::make_unique<CValueDouble>(number);
    if (text == "true" || text == "false") return std::make_unique<CValueBool>(text == "true");
    return std::make_unique<CValueString>(text);
}

}  // namespace

std::vector<std::string> ClosestNames(const std::vector<std::string>& names,
                                      const std::string& wanted) {
    std::vector<std::pair<size_t, std::string>> ranked;
    for (const std::string& name : names)
        ranked.emplace_back(Distance(name, wanted), name);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> closest;
    size_t limit = std::max<size_t>(2, wanted.size() / 3);
    for (const auto& [distance, name] : ranked)
        if (distance <= limit && closest.size() < 3) closest.push_back(name);
    return closest;
}

std::unique_ptr<SNode> CreateNode(const std::string& id, const std::string& text) {
    auto entry = std::make_unique<SNode>();
    entry->id = id;
    entry->name = SNodeName::Parse(text);
    CPluginModule& module = LoadModule(entry->name.modulePath);
    try {
        entry->node = module.Create(entry->name.node);
    } catch (const CExPluginRelocation& moved) {
        throw UsageError("node '" + text + "' has moved: create '" + moved.NewAddress() +
                         "' instead");
    }
    if (!entry->node) {
        std::string message =
            "unknown node '" + entry->name.node + "' in module " + entry->name.moduleName;
        std::vector<std::string> closest = ClosestNames(module.ListPlugins(), entry->name.node);
        for (size_t i = 0; i < closest.size(); ++i)
            message += (i ? ", " : "; did you mean ") + closest[i];
        if (!closest.empty()) message += "?";
        throw UsageError(message);
    }
    entry->node->SetInstance(id.c_str());
    entry->node->GetPluginSetup(entry->setup);
    return entry;
}

void SetParameter(SNode& node, const std::string& key, const std::string& text, bool json) {
    if (key.empty()) throw UsageError("a parameter setting needs a key: '" + text + "'");
    if (json) {
        try {
            node.settings.emplace_back(key, CTextSerializer::FromText(text));
        } catch (const CException& error) {
            throw UsageError("parameter '" + key + "': " + error.Message());
        }
        return;
    }
    node.settings.emplace_back(key, TypedValue(key, text, node.setup.Entry("parameters/" + key)));
}

void ApplySetting(SNode& node, const std::string& setting) {
    size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0)
        throw UsageError("malformed setting '" + setting + "': expected KEY=VALUE or KEY:=JSON");
    bool json = setting[equals - 1] == ':';
    std::string key = setting.substr(0, json ? equals - 1 : equals);
    SetParameter(node, key, setting.substr(equals + 1), json);
}

void Initialise(SNode& node) {
    CValueMap values = ParameterValues(node.setup);
    for (const auto& [key, value] : node.settings)
        values.SetEntry(key, value->CloneUnique());
    node.node->Init(&values);
    node.node->NodeInit();
}

void RunNode(SNode& node) {
    auto start = std::chrono::steady_clock::now();
    node.node->Run();
    node.time += std::chrono::steady_clock::now() - start;
    ++node.runs;
}

}  // namespace orva
