#pragma once

// What a module needs to offer its nodes: a table of names and makers, and the three entry
// points, which the module writes in one file:
//
//   constexpr ORVA::SModuleNode NODES[] = {{"Invert", ORVA::MakeNode<CPInvert>}, ...};
//   ORVA_MODULE_ENTRY_POINTS(NODES)
#include <cstdint>
#include <ctime>
#include <new>
#include <span>
#include <string_view>

#include "PluginSdk/Node.h"

#define ORVA_MODULE_EXPORT __attribute__((visibility("default")))

// The three exported functions of a module whose nodes are the table `nodes`.
#define ORVA_MODULE_ENTRY_POINTS(nodes)                                         \
    extern "C" {                                                                \
    ORVA_MODULE_EXPORT ORVA::CValueVector* ListPlugins() {                      \
        return ORVA::ListNodes(nodes);                                          \
    }                                                                           \
    ORVA_MODULE_EXPORT ORVA::CPNode* CreatePluginInstanceEx(const char* name) { \
        return ORVA::CreateNode(nodes, name);                                   \
    }                                                                           \
    ORVA_MODULE_EXPORT int64_t get_loading_timestamp() {                        \
        return ORVA::g_moduleLoadingTime;                                       \
    }                                                                           \
    }

namespace ORVA {

struct SModuleNode {
    const char* name;
    CPNode* (*create)();
};

// A new node of class T, or null when there is no memory for it.
template <class T>
CPNode* MakeNode() {
    return new (std::nothrow) T();
}

// The names of `nodes` in their order, as ListPlugins gives them.
inline CValueVector* ListNodes(std::span<const SModuleNode> nodes) {
    auto* list = new CValueVector();
    for (const SModuleNode& node : nodes)
        list->PushBack(new CValueString(node.name));
    return list;
}

// The node called `name` (compared exactly), or null for a name the table does not hold.
inline CPNode* CreateNode(std::span<const SModuleNode> nodes, const char* name) {
    if (!name) return nullptr;
    for (const SModuleNode& node : nodes)
        if (std::string_view(name) == node.name) return node.create();
    return nullptr;
}

// Seconds since 1970 when the module was loaded: each module that includes this header has its
// own copy, set as the library is loaded.
[[maybe_unused]] static const int64_t g_moduleLoadingTime =
    static_cast<int64_t>(std::time(nullptr));

}  // namespace ORVA
