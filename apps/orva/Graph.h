#pragma once

// A graph file: nodes in order, each fed by outputs of earlier ones.
//
//   {"nodes": [{"id": "read", "plugin": "ReadASCII", "parameters": {"filename": "in.txt"}},
//              {"id": "conv", "plugin": "utility::ConvertType", "inputs": ["read:0"]}]}
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

class CGraph {
  public:
    // Reads and checks the file and creates its nodes; every problem is a usage error.
    static CGraph Load(const std::string& path);

    // "ID.KEY=VALUE" or "ID.KEY:=JSON".
    void Set(const std::string& setting);
    void Initialise();
    // Runs every node in file order, `repeat` times.
    void Run(long repeat, bool progress);

    // "ID:PIN" to the node and pin it names (a usage error when there is none).
    std::pair<SNode*, int> Find(const std::string& reference) const;
    const std::vector<std::unique_ptr<SNode>>& Nodes() const { return m_nodes; }

  private:
    std::vector<std::unique_ptr<SNode>> m_nodes;
    std::vector<std::vector<SLink>> m_links;
};

}  // namespace orva
