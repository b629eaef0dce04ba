#pragma once

// What orva does as a host: finds modules, makes nodes and takes them through their calls.
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tarsel.h"

namespace orva {

// A mistake in how orva was called; reported before anything runs, exit status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The installation directory: $ORVADIR, set to the directory above orva's own bin/ when unset.
std::string InstallRoot();

// "NAME" is a node of module utility; "MODULE::NAME" one of $ORVADIR/bin/MODULE.so, and a
// MODULE with a "/" is a module path without ".so".
struct SNodeName {
    std::string modulePath;
    std::string moduleName;
    std::string node;
    static SNodeName Parse(const std::string& text);
};

ORVA::CPluginModule& LoadModule(const std::string& path);
std::string ModulePath(const std::string& moduleName);

// A node and the setup document it gave.
struct SNode {
    std::string id;
    SNodeName name;
    std::unique_ptr<ORVA::CPNode> node;
    ORVA::CValueMap setup;
    // Settings in the order given; each is laid over the document's values by its full key.
    std::vector<std::pair<std::string, std::unique_ptr<ORVA::CValue>>> settings;
    std::chrono::nanoseconds time{0};
    long runs = 0;
};

// Constructs the node through its module's factory, names it and asks for its document.
// An unknown name (with the closest names) and a relocated node are usage errors.
std::unique_ptr<SNode> CreateNode(const std::string& id, const std::string& name);

// "KEY=VALUE" typed by the document's declared value for KEY, else by the look of VALUE;
// "KEY:=JSON" any value. Malformed settings are usage errors.
void ApplySetting(SNode& node, const std::string& setting);
void SetParameter(SNode& node, const std::string& key, const std::string& text, bool json);

// Init with the document's parameter values and the settings laid over them, then NodeInit.
void Initialise(SNode& node);

// Runs the node once and adds the wall-clock time.
void RunNode(SNode& node);

// The names of a module closest to `wanted`, best first.
std::vector<std::string> ClosestNames(const std::vector<std::string>& names,
                                      const std::string& wanted);

}  // namespace orva
