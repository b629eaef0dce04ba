#include "Session.h"

#include <filesystem>

namespace orva {

using namespace ORVA;

namespace {

// Size and time of change of the files a node reads (parameters marked as paths that are not
// written), so that an edited file is read again.
std::string FileStamps(const CHostNode& node) {
    std::string stamps;
    for (const CSetupDocument::CParameter& parameter : node.Declaration().Parameters()) {
        if (!parameter.HintValue("gui/path") || parameter.HintValue("gui/save")) continue;
        const CValue* value = node.Node().Parameters().Entry(parameter.Key());
        if (!value || value->GenericType() != CValue::VAL_STRING) continue;
        std::error_code error;
        const std::filesystem::path path(CStringTools::UnwrapEnvVars(value->String()));
        const auto size = std::filesystem::file_size(path, error);
        const auto time = std::filesystem::last_write_time(path, error);
        stamps += path.string() + "@" + std::to_string(error ? 0 : size) + "/" +
                  std::to_string(error ? 0 : time.time_since_epoch().count()) + ";";
    }
    return stamps;
}

}  // namespace

std::string CGraphSession::Settings(size_t index) const {
    const CHostNode& node = *m_graph.Nodes()[index];
    std::string settings = node.Name().Address() + "|";
    for (const auto& [key, value] : node.Settings())
        settings += key + "=" + CTextSerializer::ToText(*value, 0) + ";";
    return settings;
}

std::string CGraphSession::Signature(size_t index) const {
    std::string signature = Settings(index) + "|";
    for (const SLink& link : m_graph.Links(index))
        signature += std::to_string(link.pin) + "<" + m_graph.Nodes()[link.source]->Id() + ":" +
                     std::to_string(link.output) + ";";
    return signature + "|" + FileStamps(*m_graph.Nodes()[index]);
}

void CGraphSession::Update(const CValue& document, const SCheckOptions& options) {
    std::vector<std::unique_ptr<CHostNode>> previous = m_graph.TakeNodes();
    try {
        m_graph = CGraph::FromValue(document, "graph", options, &previous);
    } catch (...) {
        m_initialised.clear();  // the kept nodes are gone with the failed update
        m_ran.clear();
        throw;
    }
    // Records of nodes that left the graph go with them; a node whose settings changed, or that
    // is new, reads its settings.
    std::map<const CHostNode*, std::string> initialised, ran;
    try {
        for (size_t i = 0; i < m_graph.Nodes().size(); ++i) {
            const CHostNode* node = m_graph.Nodes()[i].get();
            const std::string settings = Settings(i);
            auto found = m_initialised.find(node);
            if (found == m_initialised.end() || found->second != settings)
                m_graph.Nodes()[i]->Initialise();
            else if (auto kept = m_ran.find(node); kept != m_ran.end())
                ran.insert(*kept);
            initialised[node] = settings;
        }
    } catch (...) {
        // The node that failed and those after it read their settings again next time.
        m_initialised = std::move(initialised);
        m_ran = std::move(ran);
        throw;
    }
    m_initialised = std::move(initialised);
    m_ran = std::move(ran);
}

void CGraphSession::Run(IRunObserver* observer, const CancelFlag* cancel) {
    using EnState = IRunObserver::EnState;  // CACHED only: RunNode tells the rest
    const auto& nodes = m_graph.Nodes();
    std::vector<bool> runs(nodes.size(), false);
    for (size_t i = 0; i < nodes.size(); ++i) {
        if (cancel && cancel->load()) throw Cancelled();
        CHostNode& node = *nodes[i];
        const std::string signature = Signature(i);
        auto found = m_ran.find(&node);
        bool run = found == m_ran.end() || found->second != signature ||
                   node.Declaration().MustRunEveryTime() || !node.Declaration().IsDeclared();
        for (const SLink& link : m_graph.Links(i))
            run = run || runs[link.source];
        runs[i] = run;
        if (!run) {
            if (observer) observer->NodeState(node, EnState::CACHED, 0.0, {});
            continue;
        }
        m_ran.erase(&node);
        m_graph.RunNode(i, observer);
        m_ran[&node] = signature;
    }
}

}  // namespace orva
