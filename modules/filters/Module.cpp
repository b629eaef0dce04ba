// The filters module's entry points: the list of its nodes and the factory that makes them.
#include "PArithmetic.h"
#include "PGaussianBlur.h"
#include "PInvert.h"
#include "PMedianBlur.h"
#include "PMorphology.h"
#include "PThreshold.h"

namespace {

using namespace ORVA::Filters;

constexpr ORVA::SModuleNode NODES[] = {
    {"Threshold", ORVA::MakeNode<CPThreshold>},   {"GaussianBlur", ORVA::MakeNode<CPGaussianBlur>},
    {"MedianBlur", ORVA::MakeNode<CPMedianBlur>}, {"Morphology", ORVA::MakeNode<CPMorphology>},
    {"Arithmetic", ORVA::MakeNode<CPArithmetic>}, {"Invert", ORVA::MakeNode<CPInvert>},
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
