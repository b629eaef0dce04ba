#include "PluginSdk/Module.h"

#include <dlfcn.h>

#include <filesystem>
#include <map>
#include <mutex>

#include "base/Exception.h"

namespace ORVA {

namespace {

constexpr const char* LOCATION = "CPluginModule";

std::mutex& ModulesMutex() {
    static std::mutex mutex;
    return mutex;
}

std::map<std::string, std::unique_ptr<CPluginModule>>& Modules() {
    static std::map<std::string, std::unique_ptr<CPluginModule>> modules;
    return modules;
}

template <class F>
F Symbol(void* handle, const std::string& path, const char* name) {
    void* symbol = dlsym(handle, name);
    if (!symbol) {
        dlclose(handle);
        throw CException(LOCATION, CString("module '%1' does not export '%2'").Arg(path).Arg(name));
    }
    return reinterpret_cast<F>(symbol);
}

}  // namespace

CPluginAddress CPluginAddress::Parse(std::string_view address) {
    std::string text = CStringTools::UnwrapEnvVars(address);
    size_t separator = text.rfind("::");
    if (separator == std::string::npos || separator == 0 || separator + 2 == text.size())
        throw CException("RunPlugin",
                         CString("malformed plugin address '%1': expected MODULE::NODE").Arg(text));
    CPluginAddress result;
    result.modulePath = text.substr(0, separator);
    if (result.modulePath.size() < 3 ||
        result.modulePath.compare(result.modulePath.size() - 3, 3, ".so") != 0)
        result.modulePath += ".so";
    result.node = text.substr(separator + 2);
    return result;
}

CPluginModule::CPluginModule(std::string path, void* handle)
    : m_path(std::move(path)),
      m_handle(handle),
      m_list(Symbol<ListPluginsFunction>(handle, m_path, "ListPlugins")),
      m_create(Symbol<CreatePluginInstanceExFunction>(handle, m_path, "CreatePluginInstanceEx")),
      m_timestamp(Symbol<LoadingTimestampFunction>(handle, m_path, "get_loading_timestamp")) {}

CPluginModule::~CPluginModule() {
    if (m_handle) dlclose(m_handle);
}

namespace {
// One entry per file, however its path is written.
std::string CanonicalPath(const std::string& path) {
    std::error_code error;
    std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path : canonical.string();
}
}  // namespace

CPluginModule& CPluginModule::Load(const std::string& given) {
    std::string path = CanonicalPath(given);
    std::lock_guard lock(ModulesMutex());
    auto& modules = Modules();
    if (auto found = modules.find(path); found != modules.end()) return *found->second;

    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw CException(LOCATION, CString("module file '%1' not found").Arg(path));
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* reason = dlerror();
        throw CException(LOCATION, CString("cannot load module '%1': %2")
                                       .Arg(path)
                                       .Arg(reason ? reason : "unknown error"));
    }
    std::unique_ptr<CPluginModule> module(new CPluginModule(path, handle));
    return *modules.emplace(path, std::move(module)).first->second;
}

bool CPluginModule::Unload(const std::string& path) {
    std::string key = CanonicalPath(path);
    std::lock_guard lock(ModulesMutex());
    return Modules().erase(key) > 0;
}

std::vector<std::string> CPluginModule::ListPlugins() const {
    std::unique_ptr<CValueVector> list(m_list());
    std::vector<std::string> names;
    if (!list) return names;
    for (const auto& entry : *list)
        names.push_back(entry->String());
    return names;
}

std::unique_ptr<CPNode> CPluginModule::Create(const std::string& name) const {
    return std::unique_ptr<CPNode>(m_create(name.c_str()));
}

int64_t CPluginModule::LoadingTimestamp() const {
    return m_timestamp();
}

}  // namespace ORVA
