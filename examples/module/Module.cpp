// The module's entry points: the list of its nodes and the factory that makes them by name.
#include "PAddConstant.h"
#include "PInvert.h"

namespace {
constexpr ORVA::SModuleNode NODES[] = {
    {"Invert", ORVA::MakeNode<mymodule::CPInvert>},
    {"AddConstant", ORVA::MakeNode<mymodule::CPAddConstant>},
};
}  // namespace

extern "C" {
ORVA_MODULE_EXPORT ORVA::CValueVector* ListPlugins() {
    return ORVA::ListNodes(NODES);
}
ORVA_MODULE_EXPORT ORVA::CPNode* CreatePluginInstanceEx(const char* name) {
    return ORVA::CreateNode(NODES, name);
}
ORVA_MODULE_EXPORT int64_t get_loading_timestamp() {
    return ORVA::g_moduleLoadingTime;
}
}
