// The module's entry points: the list of its nodes and the factory that makes them by name.
#include "PAddConstant.h"
#include "PInvert.h"

namespace {
constexpr ORVA::SModuleNode NODES[] = {
    {"Invert", ORVA::MakeNode<mymodule::CPInvert>},
    {"AddConstant", ORVA::MakeNode<mymodule::CPAddConstant>},
};
}  // namespace

ORVA_MODULE_ENTRY_POINTS(NODES)
