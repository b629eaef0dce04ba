#include "Graph.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>

namespace orva {

using namespace ORVA;

namespace {

int ParsePin(const std::string& text, const std::string& context) {
    int pin = -1;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pin);
    if (error != std::errc() || end != text.data() + text.size() || pin < 0 || pin > 4095)
        throw UsageError(context + ": '" + text + "' is not a pin number");
    return pin;
}

void CheckId(const std::string& id, size_t index) {
    if (id.empty() || id.find_first_of("./:") != std::string::npos)
        throw UsageError("node " + std::to_string(index) +
                         " needs an \"id\" without '.', '/' or ':' (found '" + id + "')");
}

}  // namespace

std::pair<SNode*, int> CGraph::Find(const std::string& reference) const {
    size_t colon = reference.rfind(':');
    if (colon == std::string::npos)
        throw UsageError("'" + reference + "' is not of the form ID:PIN");
    std::string id = reference.substr(0, colon);
    int pin = ParsePin(reference.substr(colon + 1), "'" + reference + "'");
    for (const auto& node : m_nodes)
        if (node->id == id) return {node.get(), pin};
    throw UsageError("'" + reference + "' names no node of the graph");
}

CGraph CGraph::Load(const std::string& path) {
    std::unique_ptr<CValue> document;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw UsageError("cannot read the graph file '" + path + "'");
    try {
        document = CTextSerializer::FromFile(path);
    } catch (const CException& failure) {
        throw UsageError(failure.Message());
    }
    const CValue* nodes = document->Map() ? document->Map()->Entry("nodes") : nullptr;
    if (!nodes || !nodes->Vector())
        throw UsageError(path + ": expected an object with a \"nodes\" array");

    CGraph graph;
    std::vector<std::string> ids;
    for (size_t index = 0; index < nodes->Vector()->Size(); ++index) {
        const CValueMap* entry = (*nodes->Vector())[index]->Map();
        if (!entry) throw UsageError("node " + std::to_string(index) + " is not an object");
        const CValue* id = entry->Entry("id");
        const CValue* plugin = entry->Entry("plugin");
        std::string idText =
            id && id->GenericType() == CValue::VAL_STRING ? std::string(id->String()) : "";
        CheckId(idText, index);
        if (std::find(ids.begin(), ids.end(), idText) != ids.end())
            throw UsageError("two nodes have the id '" + idText + "'");
        if (!plugin || plugin->GenericType() != CValue::VAL_STRING)
            throw UsageError("node '" + idText + "' needs a \"plugin\" name");

        // Links may only name nodes that come earlier.
        std::vector<SLink> links;
        auto link = [&](int pin, const CValue* value) {
            if (value->GenericType() == CValue::VAL_NULL) return;
            std::string context = "input " + std::to_string(pin) + " of node '" + idText + "'";
            if (value->GenericType() != CValue::VAL_STRING)
                throw UsageError(context + " is not of the form \"ID:PIN\"");
            std::string text = value->String();
            size_t colon = text.rfind(':');
            if (colon == std::string::npos)
                throw UsageError(context + ": '" + text + "' is not of the form ID:PIN");
            std::string source = text.substr(0, colon);
            auto found = std::find(ids.begin(), ids.end(), source);
            if (found == ids.end())
                throw UsageError(context + " names '" + source +
                                 "', which is not an earlier node of the graph");
            links.push_back(SLink{pin, static_cast<size_t>(found - ids.begin()),
                                  ParsePin(text.substr(colon + 1), context)});
        };
        if (const CValue* inputs = entry->Entry("inputs")) {
            if (const CValueVector* list = inputs->Vector()) {
                for (size_t pin = 0; pin < list->Size(); ++pin)
                    link(static_cast<int>(pin), (*list)[pin]);
            } else if (const CValueMap* map = inputs->Map()) {
                for (const auto& [pin, value] : *map)
                    link(ParsePin(pin, "node '" + idText + "' inputs"), value.get());
            } else {
                throw UsageError("the \"inputs\" of node '" + idText +
                                 "' are neither an array nor an object");
            }
        }

        std::unique_ptr<SNode> node = CreateNode(idText, plugin->String());
        if (const CValue* parameters = entry->Entry("parameters")) {
            if (!parameters->Map())
                throw UsageError("the \"parameters\" of node '" + idText + "' are not an object");
            for (const auto& [key, value] : *parameters->Map())
                node->settings.emplace_back(key, value->CloneUnique());
        }
        ids.push_back(idText);
        graph.m_nodes.push_back(std::move(node));
        graph.m_links.push_back(std::move(links));
    }
    return graph;
}

void CGraph::Set(const std::string& setting) {
    size_t dot = setting.find('.');
    if (dot == std::string::npos || dot == 0)
        throw UsageError("malformed --set '" + setting + "': expected ID.KEY=VALUE");
    std::string id = setting.substr(0, dot);
    for (auto& node : m_nodes) {
        if (node->id == id) {
            ApplySetting(*node, setting.substr(dot + 1));
            return;
        }
    }
    throw UsageError("--set '" + setting + "' names no node of the graph");
}

void CGraph::Initialise() {
    for (auto& node : m_nodes)
        orva::Initialise(*node);
}

void CGraph::Run(long repeat, bool progress) {
    for (long round = 0; round < repeat; ++round) {
        for (size_t i = 0; i < m_nodes.size(); ++i) {
            CPNode& node = *m_nodes[i]->node;
            // Outputs are replaced by each run, so inputs are looked up again every time.
            for (const SLink& link : m_links[i])
                node.SetStackInput(link.pin, m_nodes[link.source]->node->StackOutput(link.output));
            RunNode(*m_nodes[i]);
        }
        if (progress) {
            constexpr int WIDTH = 40;
            int done = static_cast<int>(WIDTH * (round + 1) / repeat);
            std::fprintf(
                stderr, "\r[%s%s] %ld/%ld", std::string(static_cast<size_t>(done), '#').c_str(),
                std::string(static_cast<size_t>(WIDTH - done), '.').c_str(), round + 1, repeat);
            if (round + 1 == repeat) std::fputc('\n', stderr);
            std::fflush(stderr);
        }
    }
}

}  // namespace orva
