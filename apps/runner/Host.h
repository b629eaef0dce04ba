#pragma once

// What a host does with nodes: finds modules, makes nodes and takes them through their calls.
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tarsel.h"

namespace orva {

// A mistake in how a host was called (a node, setting or graph that cannot be); reported before
// anything runs. The command line exits with status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A node that failed while it ran: its id and plugin, and the text of its CException.
class NodeFailure : public std::runtime_error {
  public:
    NodeFailure(std::string id, std::string plugin, const ORVA::CException& error);
    const std::string& Id() const noexcept { return m_id; }
    const std::string& Plugin() const noexcept { return m_plugin; }
    // The node's own text, its location and message.
    const std::string& NodeMessage() const noexcept { return m_message; }

  private:
    std::string m_id, m_plugin, m_message;
};

// The installation directory: $ORVADIR, set to the directory above the running program's bin/
// when unset.
std::string InstallRoot();

// "NAME" is a node of module utility; "MODULE::NAME" one of $ORVADIR/bin/MODULE.so, and a
// MODULE with a "/" is a module path without ".so".
struct SNodeName {
    std::string modulePath;
    std::string moduleName;
    std::string node;
    static SNodeName Parse(const std::string& text);
    // The name as a graph writes it: "NAME" for utility, else "MODULE::NAME".
    std::string Address() const;
};

ORVA::CPluginModule& LoadModule(const std::string& path);
std::string ModulePath(const std::string& moduleName);
// The modules of the installation: every bin/*.so, by name.
std::vector<std::string> InstalledModules();

// The names of `names` closest to `wanted`, best first.
std::vector<std::string> ClosestNames(const std::vector<std::string>& names,
                                      const std::string& wanted);

// How settings that a node's declaration does not allow are treated: refused as usage errors,
// or (lenient) passed on as given after a warning on standard error.
struct SCheckOptions {
    bool lenient = false;
};

// A node as a host holds it: the object, its declaration, its setup document as first written,
// and the settings laid over the document's values.
class CHostNode {
  public:
    // Constructs the node through its module's factory, names it `id` and asks for its
    // declaration and document. An unknown name (with the closest names) and a relocated node
    // are usage errors.
    CHostNode(std::string id, const std::string& address);
    ~CHostNode();
    CHostNode(const CHostNode&) = delete;
    CHostNode& operator=(const CHostNode&) = delete;

    const std::string& Id() const noexcept { return m_id; }
    const SNodeName& Name() const noexcept { return m_name; }
    ORVA::CPNode& Node() noexcept { return *m_node; }
    const ORVA::CPNode& Node() const noexcept { return *m_node; }
    const ORVA::CValueMap& Setup() const noexcept { return m_setup; }
    const ORVA::CSetupDocument& Declaration() const noexcept { return *m_declaration; }

    // A setting, checked against the declaration: "KEY=VALUE" takes the kind the node declares
    // for KEY (else the look of VALUE), "KEY:=JSON" any value.
    void Apply(const std::string& setting, const SCheckOptions& options);
    void Set(const std::string& key, const std::string& text, bool json,
             const SCheckOptions& options);
    void Set(const std::string& key, std::unique_ptr<ORVA::CValue> value,
             const SCheckOptions& options);
    // Settings in the order given; each is laid over the document's values by its full key.
    const std::vector<std::pair<std::string, std::unique_ptr<ORVA::CValue>>>& Settings() const {
        return m_settings;
    }
    void ClearSettings() { m_settings.clear(); }

    // Init with the document's parameter values and the settings laid over them, then NodeInit.
    void Initialise();
    // Runs the node once and adds the wall-clock time; a CException becomes a NodeFailure.
    void Run();

    std::chrono::nanoseconds Time() const noexcept { return m_time; }
    long Runs() const noexcept { return m_runs; }

  private:
    std::string m_id;
    SNodeName m_name;
    std::unique_ptr<ORVA::CPNode> m_node;
    std::unique_ptr<ORVA::CSetupDocument> m_declaration;
    ORVA::CValueMap m_setup;
    std::vector<std::pair<std::string, std::unique_ptr<ORVA::CValue>>> m_settings;
    std::chrono::nanoseconds m_time{0};
    long m_runs = 0;
};

}  // namespace orva
