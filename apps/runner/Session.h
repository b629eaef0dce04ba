#pragma once

// A graph kept between runs, as an editor keeps it while people change it: node objects live
// on, and a run after a change runs only the nodes the change touches.
#include <map>
#include <string>

#include "Graph.h"

namespace orva {

class CGraphSession {
  public:
    // Takes the graph as it is now. Nodes whose id and plugin stay keep their object and state.
    void Update(const ORVA::CValue& document, const SCheckOptions& options = {});
    // Runs the nodes that must run, in order; the others report CACHED and keep their outputs.
    // A node must run when it is new, its settings or input links changed, a file it reads
    // changed, a node it depends on runs, it failed or never ran, or it keeps state between
    // runs (those run every time, as in repeated runs of `orva run`; a run-once switch alone
    // does not count, since running such a node again returns what it kept). Failures and
    // cancellation end the run as CGraph::Run's do.
    void Run(IRunObserver* observer = nullptr, const CancelFlag* cancel = nullptr);

    CGraph& Graph() noexcept { return m_graph; }
    const CGraph& Graph() const noexcept { return m_graph; }

  private:
    // The node's plugin and settings: what its NodeInit read.
    std::string Settings(size_t index) const;
    // What a node's run depends on besides its inputs: settings, links and the files it reads.
    std::string Signature(size_t index) const;

    CGraph m_graph;
    std::map<const CHostNode*, std::string> m_initialised;  // node -> settings it read
    std::map<const CHostNode*, std::string> m_ran;  // node -> signature of its last good run
};

}  // namespace orva
