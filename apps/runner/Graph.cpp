#include "Graph.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Settings.h"

namespace orva {

using namespace ORVA;

IRunObserver::~IRunObserver() = default;

namespace {

int ParsePin(const std::string& text, const std::string& context) {
    int pin = -1;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pin);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || pin < 0 ||
        pin > 4095)
        throw UsageError(context + ": '" + text + "' is not a pin number");
    return pin;
}

void CheckId(const std::string& id, const std::string& where) {
    if (id.empty() || id.find_first_of("./:") != std::string::npos)
        throw UsageError(where + " needs an \"id\" without '.', '/' or ':' (found '" + id + "')");
}

// Keys of a map that are not among `known`, as a usage error (or a warning when lenient).
void CheckKeys(const CValueMap& map, std::initializer_list<const char*> known,
               const std::string& where, const SCheckOptions& options) {
    std::vector<std::string> names(known.begin(), known.end());
    for (const auto& [key, value] : map) {
        if (std::find(names.begin(), names.end(), key) != names.end()) continue;
        std::string message = where + " has an unknown key \"" + key + "\"";
        std::vector<std::string> closest = ClosestNames(names, key);
        if (!closest.empty()) message += "; did you mean \"" + closest[0] + "\"?";
        if (!options.lenient) throw UsageError(message);
        std::cerr << "orva: warning: " << message << " (ignored)" << std::endl;
    }
}

std::string ReadAll(const std::string& path) {
    if (path == "-") {
        std::ostringstream text;
        text << std::cin.rdbuf();
        return text.str();
    }
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw UsageError("cannot read " + path + ": Is a directory");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

std::vector<int> DeclaredPins(const CHostNode& node, bool inputs) {
    std::vector<int> pins;
    if (node.Declaration().IsDeclared()) {
        for (const CSetupDocument::CPin& pin :
             inputs ? node.Declaration().Inputs() : node.Declaration().Outputs())
            pins.push_back(pin.Number());
    } else if (const CValue* group = node.Setup().Entry(inputs ? "inputs" : "outputs");
               group && group->Map()) {
        for (const auto& [key, value] : *group->Map())
            pins.push_back(static_cast<int>(std::strtol(key.c_str(), nullptr, 10)));
    }
    return pins;
}

std::vector<int> OutputPins(const CHostNode& node) {
    return DeclaredPins(node, false);
}

CGraph CGraph::Load(const std::string& path, const SCheckOptions& options) {
    return FromText(ReadAll(path), path == "-" ? "standard input" : path, options);
}

CGraph CGraph::FromText(const std::string& text, const std::string& origin,
                        const SCheckOptions& options) {
    std::unique_ptr<CValue> document;
    try {
        document = CTextSerializer::FromText(text);
    } catch (const CException& failure) {
        throw UsageError(origin + ": " + failure.Message());
    }
    return FromValue(*document, origin, options);
}

CGraph CGraph::FromValue(const CValue& document, const std::string& origin,
                         const SCheckOptions& options,
                         std::vector<std::unique_ptr<CHostNode>>* reusable) {
    const CValueMap* root = document.Map();
    const CValue* nodes = root ? root->Entry("nodes") : nullptr;
    if (!nodes || !nodes->Vector())
        throw UsageError(origin + ": expected an object with a \"nodes\" array");
    CheckKeys(*root, {"nodes", "ui"}, origin, options);

    CGraph graph;
    for (size_t index = 0; index < nodes->Vector()->Size(); ++index) {
        const std::string where = origin + ": node " + std::to_string(index);
        const CValueMap* entry = (*nodes->Vector())[index]->Map();
        if (!entry) throw UsageError(where + " is not an object");
        const CValue* id = entry->Entry("id");
        const CValue* plugin = entry->Entry("plugin");
        std::string idText =
            id && id->GenericType() == CValue::VAL_STRING ? std::string(id->String()) : "";
        CheckId(idText, where);
        const std::string context = origin + ": node '" + idText + "'";
        CheckKeys(*entry, {"id", "plugin", "parameters", "inputs"}, context, options);
        if (graph.IndexOf(idText) != std::string::npos)
            throw UsageError(origin + ": two nodes have the id '" + idText + "'");
        if (!plugin || plugin->GenericType() != CValue::VAL_STRING)
            throw UsageError(context + " needs a \"plugin\" name");

        // Links may only name nodes that come earlier, and outputs those nodes have.
        std::vector<SLink> links;
        auto link = [&](int pin, const CValue* value) {
            if (value->GenericType() == CValue::VAL_NULL) return;
            std::string input = context + ", input " + std::to_string(pin);
            if (value->GenericType() != CValue::VAL_STRING)
                throw UsageError(input + " is not of the form \"ID:PIN\"");
            std::string text = value->String();
            size_t colon = text.rfind(':');
            if (colon == std::string::npos)
                throw UsageError(input + ": '" + text + "' is not of the form ID:PIN");
            std::string source = text.substr(0, colon);
            size_t found = graph.IndexOf(source);
            if (found == std::string::npos)
                throw UsageError(input + " names '" + source +
                                 "', which is not an earlier node of the graph");
            int output = ParsePin(text.substr(colon + 1), input);
            // Nodes that write their document by hand may set pins it does not show.
            const CHostNode& from = *graph.m_nodes[found];
            std::vector<int> outputs = OutputPins(from);
            if (from.Declaration().IsDeclared() &&
                std::find(outputs.begin(), outputs.end(), output) == outputs.end()) {
                std::string message = input + " names output " + std::to_string(output) + " of '" +
                                      source + "', which has outputs";
                for (size_t i = 0; i < outputs.size(); ++i)
                    message += (i ? ", " : " ") + std::to_string(outputs[i]);
                if (outputs.empty()) message += " none";
                if (!options.lenient) throw UsageError(message);
                std::cerr << "orva: warning: " << message << " (linked as given)" << std::endl;
            }
            links.push_back(SLink{pin, found, output});
        };
        if (const CValue* inputs = entry->Entry("inputs")) {
            if (const CValueVector* list = inputs->Vector()) {
                for (size_t pin = 0; pin < list->Size(); ++pin)
                    link(static_cast<int>(pin), (*list)[pin]);
            } else if (const CValueMap* map = inputs->Map()) {
                for (const auto& [pin, value] : *map)
                    link(ParsePin(pin, context + " inputs"), value.get());
            } else {
                throw UsageError(context + ": \"inputs\" are neither an array nor an object");
            }
        }

        std::unique_ptr<CHostNode> node;
        if (reusable) {
            const SNodeName name = SNodeName::Parse(plugin->String());
            for (auto& candidate : *reusable)
                if (candidate && candidate->Id() == idText &&
                    candidate->Name().modulePath == name.modulePath &&
                    candidate->Name().node == name.node)
                    node = std::move(candidate);
        }
        if (node)
            node->ClearSettings();
        else
            node = std::make_unique<CHostNode>(idText, plugin->String());
        if (const CValue* parameters = entry->Entry("parameters")) {
            if (!parameters->Map())
                throw UsageError(context + ": \"parameters\" are not an object");
            for (const auto& [key, value] : *parameters->Map())
                node->Set(key, value->CloneUnique(), options);
        }
        graph.m_nodes.push_back(std::move(node));
        graph.m_links.push_back(std::move(links));
    }
    return graph;
}

void CGraph::Set(const std::string& setting, const SCheckOptions& options) {
    size_t dot = setting.find('.');
    if (dot == std::string::npos || dot == 0)
        throw UsageError("malformed --set '" + setting + "': expected ID.KEY=VALUE");
    size_t index = IndexOf(setting.substr(0, dot));
    if (index == std::string::npos)
        throw UsageError("--set '" + setting + "' names no node of the graph");
    m_nodes[index]->Apply(setting.substr(dot + 1), options);
}

void CGraph::Initialise() {
    for (auto& node : m_nodes)
        node->Initialise();
}

void CGraph::RunNode(size_t index, IRunObserver* observer) {
    using EnState = IRunObserver::EnState;
    CHostNode& node = *m_nodes[index];
    // Outputs are replaced by each run, so inputs are looked up again every time; a pin whose
    // link was removed since (a node kept by an editor) is empty again.
    node.Node().ClearStackInputs();
    for (const SLink& link : m_links[index])
        node.Node().SetStackInput(link.pin, m_nodes[link.source]->Node().StackOutput(link.output));
    if (observer) observer->NodeState(node, EnState::RUNNING, 0.0, {});
    const auto before = node.Time();
    auto elapsed = [&] {
        return std::chrono::duration<double, std::milli>(node.Time() - before).count();
    };
    try {
        node.Run();
    } catch (const NodeFailure& failure) {
        if (observer) observer->NodeState(node, EnState::FAILED, elapsed(), failure.NodeMessage());
        throw;
    }
    if (observer) observer->NodeState(node, EnState::DONE, elapsed(), {});
}

void CGraph::Run(IRunObserver* observer, const CancelFlag* cancel) {
    for (size_t i = 0; i < m_nodes.size(); ++i) {
        if (cancel && cancel->load()) throw Cancelled();
        RunNode(i, observer);
    }
}

std::pair<CHostNode*, int> CGraph::Find(const std::string& reference) const {
    size_t colon = reference.rfind(':');
    if (colon == std::string::npos)
        throw UsageError("'" + reference + "' is not of the form ID:PIN");
    std::string id = reference.substr(0, colon);
    int pin = ParsePin(reference.substr(colon + 1), "'" + reference + "'");
    size_t index = IndexOf(id);
    if (index == std::string::npos)
        throw UsageError("'" + reference + "' names no node of the graph");
    return {m_nodes[index].get(), pin};
}

std::vector<std::unique_ptr<CHostNode>> CGraph::TakeNodes() {
    m_links.clear();
    return std::move(m_nodes);
}

size_t CGraph::IndexOf(const std::string& id) const {
    for (size_t i = 0; i < m_nodes.size(); ++i)
        if (m_nodes[i]->Id() == id) return i;
    return std::string::npos;
}

std::unique_ptr<CValueMap> CGraph::ToValue() const {
    auto document = std::make_unique<CValueMap>();
    auto nodes = std::make_unique<CValueVector>();
    for (size_t i = 0; i < m_nodes.size(); ++i) {
        const CHostNode& node = *m_nodes[i];
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("id", new CValueString(node.Id()));
        entry->SetEntry("plugin", new CValueString(node.Name().Address()));
        if (!node.Settings().empty()) {
            auto parameters = std::make_unique<CValueMap>();
            for (const auto& [key, value] : node.Settings())
                parameters->SetEntry(CValue_Key(key), value->CloneUnique());
            entry->SetEntry("parameters", std::move(parameters));
        }
        if (!m_links[i].empty()) {
            auto inputs = std::make_unique<CValueMap>();
            for (const SLink& link : m_links[i])
                inputs->SetEntry(CValue_Key(std::to_string(link.pin)),
                                 new CValueString(m_nodes[link.source]->Id() + ":" +
                                                  std::to_string(link.output)));
            entry->SetEntry("inputs", std::move(inputs));
        }
        nodes->PushBack(std::move(entry));
    }
    document->SetEntry("nodes", std::move(nodes));
    return document;
}

}  // namespace orva
