// Graph files as hosts load them, with every check: whatever the text, a usage error or a
// graph, never a crash. A graph that loaded writes back to a file that loads again.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <sstream>

#include "Graph.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Deprecation and lenient warnings are not what is tested here.
    static std::ostringstream sink;
    static const bool quiet = [] {
        std::cout.rdbuf(sink.rdbuf());
        std::cerr.rdbuf(sink.rdbuf());
        return true;
    }();
    (void)quiet;
    sink.str({});
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (bool lenient : {false, true}) {
        try {
            orva::CGraph graph = orva::CGraph::FromText(text, "fuzz", {lenient});
            if (!lenient) {
                std::unique_ptr<ORVA::CValueMap> written = graph.ToValue();
                orva::CGraph again = orva::CGraph::FromValue(*written, "written");
                if (again.Nodes().size() != graph.Nodes().size()) std::abort();
            }
        } catch (const orva::UsageError&) {
        } catch (const ORVA::CException&) {
        }
    }
    return 0;
}
