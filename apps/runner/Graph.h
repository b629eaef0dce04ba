#pragma once

// A graph file: nodes in order, each fed by outputs of earlier ones.
//
//   {"nodes": [{"id": "read", "plugin": "ReadASCII", "parameters": {"filename": "in.txt"}},
//              {"id": "conv", "plugin": "utility::ConvertType", "inputs": ["read:0"]}],
//    "ui": {...}}
//
// "ui" is the editor's (positions and such); runs ignore it.
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "Host.h"

namespace orva {

struct SLink {
    int pin;        // input pin of the node
    size_t source;  // index of the feeding node
    int output;     // its output pin
};

// What a run tells whoever watches it, node by node.
class IRunObserver {
  public:
    enum class EnState { RUNNING, DONE, CACHED, FAILED };
    virtual ~IRunObserver();
    virtual void NodeState(const CHostNode& node, EnState state, double milliseconds,
                           const std::string& message) = 0;
};

// Asked for by another thread (the editor's cancel button) or a signal; runs stop between nodes.
using CancelFlag = std::atomic<bool>;

class CGraph {
  public:
    // Reads, checks and creates the nodes of a graph file ("-": standard input). Every problem
    // is a usage error that names the file; settings are checked as `options` says.
    static CGraph Load(const std::string& path, const SCheckOptions& options = {});
    static CGraph FromText(const std::string& text, const std::string& origin,
                           const SCheckOptions& options = {});
    // With `reusable`, a node whose id and plugin are those of one of them takes that object
    // (with its state) instead of a new one, and its settings start again.
    static CGraph FromValue(const ORVA::CValue& document, const std::string& origin,
                            const SCheckOptions& options = {},
                            std::vector<std::unique_ptr<CHostNode>>* reusable = nullptr);

    // "ID.KEY=VALUE" or "ID.KEY:=JSON".
    void Set(const std::string& setting, const SCheckOptions& options = {});
    void Initialise();
    // Runs every node once in file order, each with the outputs its links name; a node that
    // fails ends the run with a NodeFailure, a cancelled one with Cancelled.
    void Run(IRunObserver* observer = nullptr, const CancelFlag* cancel = nullptr);
    // Runs node `index` once with the current outputs of its sources, telling `observer`.
    void RunNode(size_t index, IRunObserver* observer);

    // "ID:PIN" to the node and pin it names (a usage error when there is none).
    std::pair<CHostNode*, int> Find(const std::string& reference) const;
    size_t IndexOf(const std::string& id) const;  // npos when there is none
    const std::vector<std::unique_ptr<CHostNode>>& Nodes() const { return m_nodes; }
    const std::vector<SLink>& Links(size_t index) const { return m_links[index]; }
    // The graph in its file format ("ui" left out).
    std::unique_ptr<ORVA::CValueMap> ToValue() const;
    // Gives up the node objects (for a graph that replaces this one).
    std::vector<std::unique_ptr<CHostNode>> TakeNodes();

  private:
    std::vector<std::unique_ptr<CHostNode>> m_nodes;
    std::vector<std::vector<SLink>> m_links;
};

// A run stopped between nodes because it was asked to.
class Cancelled : public std::runtime_error {
  public:
    Cancelled() : std::runtime_error("the run was cancelled") {}
};

// The input or output pins a node declares (from its declaration, else its document).
std::vector<int> DeclaredPins(const CHostNode& node, bool inputs);
std::vector<int> OutputPins(const CHostNode& node);

}  // namespace orva
