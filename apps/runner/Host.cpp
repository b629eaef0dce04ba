#include "Host.h"

#include "Settings.h"

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

NodeFailure::NodeFailure(std::string id, std::string plugin, const CException& error)
    : std::runtime_error("node '" + id + "' (" + plugin + "): " + error.FormattedWhat()),
      m_id(std::move(id)),
      m_plugin(std::move(plugin)),
      m_message(error.FormattedWhat()) {}

std::string SNodeName::Address() const {
    return moduleName == "utility" ? node : moduleName + "::" + node;
}

std::vector<std::string> InstalledModules() {
    std::vector<std::string> modules;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(InstallRoot() + "/bin", error))
        if (entry.path().extension() == ".so") modules.push_back(entry.path().stem().string());
    std::sort(modules.begin(), modules.end());
    return modules;
}

CHostNode::CHostNode(std::string id, const std::string& address)
    : m_id(std::move(id)), m_name(SNodeName::Parse(address)) {
    CPluginModule& module = LoadModule(m_name.modulePath);
    try {
        m_node = module.Create(m_name.node);
    } catch (const CExPluginRelocation& moved) {
        throw UsageError("node '" + address + "' has moved: create '" + moved.NewAddress() +
                         "' instead");
    }
    if (!m_node) {
        std::string message = "unknown node '" + m_name.node + "' in module " + m_name.moduleName;
        std::vector<std::string> closest = ClosestNames(module.ListPlugins(), m_name.node);
        for (size_t i = 0; i < closest.size(); ++i)
            message += (i ? ", " : "; did you mean ") + closest[i];
        if (!closest.empty()) message += "?";
        throw UsageError(message);
    }
    m_node->SetInstance(m_id.c_str());
    m_declaration = std::make_unique<CSetupDocument>();
    m_node->Declare(*m_declaration);
    m_node->GetPluginSetup(m_setup);
}

CHostNode::~CHostNode() = default;

void CHostNode::Apply(const std::string& setting, const SCheckOptions& options) {
    size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0)
        throw UsageError("malformed setting '" + setting + "': expected KEY=VALUE or KEY:=JSON");
    bool json = setting[equals - 1] == ':';
    std::string key = setting.substr(0, json ? equals - 1 : equals);
    Set(key, setting.substr(equals + 1), json, options);
}

void CHostNode::Set(const std::string& key, const std::string& text, bool json,
                    const SCheckOptions& options) {
    if (key.empty()) throw UsageError("a parameter setting needs a key: '" + text + "'");
    if (!json) return Set(key, TypedValue(*this, key, text), options);
    std::unique_ptr<CValue> value;
    try {
        value = CTextSerializer::FromText(text);
    } catch (const CException& error) {
        throw UsageError(NodeContext(*this) + ": parameter '" + key + "': " + error.Message());
    }
    Set(key, std::move(value), options);
}

void CHostNode::Set(const std::string& key, std::unique_ptr<CValue> value,
                    const SCheckOptions& options) {
    CheckSetting(*this, key, *value, options);
    m_settings.emplace_back(key, std::move(value));
}

void CHostNode::Initialise() {
    CValueMap values = ParameterValues(m_setup);
    for (const auto& [key, value] : m_settings)
        values.SetEntry(key, value->CloneUnique());
    try {
        m_node->Init(&values);
        m_node->NodeInit();
    } catch (const CException& error) {
        throw NodeFailure(m_id, m_name.Address(), error);
    }
}

void CHostNode::Run() {
    auto start = std::chrono::steady_clock::now();
    try {
        m_node->Run();
    } catch (const CException& error) {
        m_time += std::chrono::steady_clock::now() - start;
        throw NodeFailure(m_id, m_name.Address(), error);
    }
    m_time += std::chrono::steady_clock::now() - start;
    ++m_runs;
}

}  // namespace orva
