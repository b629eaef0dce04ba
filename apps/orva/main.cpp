// orva: lists, describes and runs the nodes of image-processing modules, alone, in pipes and
// in graphs. Exit status 0 on success, 1 when a node fails, 2 when orva was called wrongly.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Describe.h"
#include "Graph.h"
#include "Host.h"
#include "ServeCommand.h"
#include "base/Interrupt.h"

using namespace ORVA;
using namespace orva;

// Under AddressSanitizer a failed huge allocation comes back to the node as out-of-memory,
// as it does without it, so the node can report it.
extern "C" __attribute__((used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

constexpr const char* USAGE = R"(usage:
  orva list [MODULE]
  orva describe [--json] NODE
  orva pipe [--quiet] [--time] NODE [KEY=VALUE ...] [! NODE [KEY=VALUE ...] ...]
  orva run GRAPH.json [--repeat N] [--set ID.KEY=VALUE ...] [--print ID:PIN ...] [--time]
  orva doc [MODULE [NODE ...]]
  orva serve [GRAPH.json] [--port N] [--host ADDR] [--root DIR]

NODE is a node of module utility, or MODULE::NODE. KEY=VALUE takes the type the node declares
for KEY; KEY:=JSON sets any value from JSON. In a pipe, output 0 of each node feeds input 0 of
the next, and the outputs of the last node are printed as JSON.
)";

struct SOptions {
    bool quiet = false;
    bool time = false;
    bool json = false;
    long repeat = 1;
    std::vector<std::string> sets, prints, arguments;
};

SOptions ParseOptions(int argc, char** argv) {
    SOptions options;
    for (int i = 2; i < argc; ++i) {
        std::string argument = argv[i];
        auto next = [&]() -> std::string {
            if (i + 1 >= argc) throw UsageError(argument + " needs a value");
            return argv[++i];
        };
        if (argument == "--quiet")
            options.quiet = true;
        else if (argument == "--time")
            options.time = true;
        else if (argument == "--json")
            options.json = true;
        else if (argument == "--set")
            options.sets.push_back(next());
        else if (argument == "--print")
            options.prints.push_back(next());
        else if (argument == "--repeat") {
            std::string count = next();
            char* end = nullptr;
            options.repeat = std::strtol(count.c_str(), &end, 10);
            if (count.empty() || *end || options.repeat < 1)
                throw UsageError("--repeat needs a count of 1 or more");
        } else if (argument.rfind("--", 0) == 0)
            throw UsageError("unknown option " + argument);
        else
            options.arguments.push_back(argument);
    }
    return options;
}

// The JSON object of chosen values; null where a value is missing.
void PrintValues(const std::vector<std::pair<std::string, const CValue*>>& values) {
    CValueMap map;
    for (const auto& [key, value] : values)
        map.SetEntry(key, value ? value->Clone(OWNERSHIP_SHALLOW) : new CValueNull());
    std::cout << CTextSerializer::ToText(map, 2) << std::endl;
}

void PrintTime(const CHostNode& node) {
    double total = std::chrono::duration<double, std::milli>(node.Time()).count();
    if (node.Runs() == 1)
        std::fprintf(stderr, "time: %s %.3f ms\n", node.Id().c_str(), total);
    else
        std::fprintf(stderr, "time: %s %ld runs, %.3f ms total, %.3f ms mean\n", node.Id().c_str(),
                     node.Runs(), total,
                     node.Runs() ? total / static_cast<double>(node.Runs()) : 0.0);
}

int List(const SOptions& options) {
    if (options.arguments.size() > 1) throw UsageError("list takes at most one module");
    std::string module = options.arguments.empty() ? "utility" : options.arguments[0];
    for (const std::string& name : LoadModule(ModulePath(module)).ListPlugins())
        std::cout << name << "\n";
    return 0;
}

int Describe(const SOptions& options) {
    if (options.arguments.size() != 1) throw UsageError("describe takes one node");
    CHostNode node(options.arguments[0], options.arguments[0]);
    if (options.json)
        std::cout << CTextSerializer::ToText(node.Setup(), 2) << std::endl;
    else
        std::cout << TextPage(SNodeHelp::FromNode(node));
    return 0;
}

int Pipe(const SOptions& options) {
    // Every node is made and set before the first one runs.
    std::vector<std::unique_ptr<CHostNode>> nodes;
    for (const std::string& argument : options.arguments) {
        if (argument == "!") {
            if (nodes.empty()) throw UsageError("a pipe starts with a node, not '!'");
            nodes.push_back(nullptr);
        } else if (nodes.empty() || !nodes.back()) {
            if (!nodes.empty()) nodes.pop_back();
            std::string id =
                argument + (nodes.empty() ? "" : "#" + std::to_string(nodes.size() + 1));
            nodes.push_back(std::make_unique<CHostNode>(id, argument));
        } else {
            nodes.back()->Apply(argument, {});
        }
    }
    if (nodes.empty()) throw UsageError("pipe needs a node");
    if (!nodes.back()) throw UsageError("a pipe ends with a node, not '!'");

    for (auto& node : nodes)
        node->Initialise();
    for (size_t i = 0; i < nodes.size(); ++i) {
        if (i > 0) nodes[i]->Node().SetStackInput(0, nodes[i - 1]->Node().StackOutput(0));
        nodes[i]->Run();
        if (options.time) PrintTime(*nodes[i]);
    }
    CPNode& last = nodes.back()->Node();
    std::vector<std::pair<std::string, const CValue*>> outputs;
    for (int pin = 0; pin < last.StackOutputs(); ++pin)
        if (last.IsStackOutputSet(pin))
            outputs.emplace_back(std::to_string(pin), last.StackOutput(pin));
    if (!options.quiet && !outputs.empty()) PrintValues(outputs);
    return 0;
}

int RunGraph(const SOptions& options) {
    if (options.arguments.size() != 1) throw UsageError("run takes one graph file");
    CGraph graph = CGraph::Load(options.arguments[0]);
    for (const std::string& setting : options.sets)
        graph.Set(setting);
    std::vector<std::pair<std::string, std::pair<CHostNode*, int>>> prints;
    for (const std::string& reference : options.prints)
        prints.emplace_back(reference, graph.Find(reference));

    graph.Initialise();
    const bool progress = options.repeat > 1 && isatty(STDERR_FILENO);
    for (long round = 0; round < options.repeat; ++round) {
        graph.Run();
        if (progress) {
            constexpr int WIDTH = 40;
            int done = static_cast<int>(WIDTH * (round + 1) / options.repeat);
            std::fprintf(stderr, "\r[%s%s] %ld/%ld",
                         std::string(static_cast<size_t>(done), '#').c_str(),
                         std::string(static_cast<size_t>(WIDTH - done), '.').c_str(), round + 1,
                         options.repeat);
            if (round + 1 == options.repeat) std::fputc('\n', stderr);
            std::fflush(stderr);
        }
    }
    if (options.time)
        for (const auto& node : graph.Nodes())
            PrintTime(*node);
    if (!prints.empty()) {
        std::vector<std::pair<std::string, const CValue*>> values;
        for (const auto& [reference, target] : prints)
            values.emplace_back(reference, target.first->Node().StackOutput(target.second));
        PrintValues(values);
    }
    return 0;
}

// Writes the HTML help page of every node of a module where its document says, and an index.
int Doc(const SOptions& options) {
    std::string module = options.arguments.empty() ? "utility" : options.arguments[0];
    std::vector<std::string> names = LoadModule(ModulePath(module)).ListPlugins();
    names.insert(names.end(), options.arguments.begin() + (options.arguments.empty() ? 0 : 1),
                 options.arguments.end());
    std::filesystem::path directory =
        std::filesystem::path(InstallRoot()) / "doc/vimbro/html" / module;

    std::vector<SNodeHelp> pages;
    std::vector<std::string> links;
    for (const std::string& name : names) {
        std::unique_ptr<CHostNode> node;
        {
            // Deprecation warnings are for graphs that use a node, not for its help.
            std::ostringstream silence;
            std::streambuf* previous = std::cout.rdbuf(silence.rdbuf());
            try {
                node = std::make_unique<CHostNode>(name, module + "::" + name);
            } catch (const UsageError&) {
                std::cout.rdbuf(previous);
                continue;  // a name whose node is not part of the module
            }
            std::cout.rdbuf(previous);
        }
        SNodeHelp help = SNodeHelp::FromNode(*node);
        std::filesystem::path page = help.helpPage.empty() ? directory / ("P" + name) / "index.html"
                                                           : std::filesystem::path(help.helpPage);
        std::filesystem::create_directories(page.parent_path());
        std::ofstream(page) << HtmlPage(help);
        links.push_back(std::filesystem::relative(page, directory).string());
        pages.push_back(std::move(help));
    }
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "index.html") << HtmlIndex(module, pages, links);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::string(argv[1]) == "--help" || std::string(argv[1]) == "-h") {
        std::cout << USAGE;
        return argc < 2 ? 2 : 0;
    }
    std::string command = argv[1];
    InstallRoot();  // sets ORVADIR for the nodes' default paths
    // A signal stops running scripts cleanly, then ends orva by that signal.
    InstallInterruptHandlers();
    try {
        if (command == "serve") return ServeMain(argc, argv);
        SOptions options = ParseOptions(argc, argv);
        if (command == "list") return List(options);
        if (command == "describe") return Describe(options);
        if (command == "pipe") return Pipe(options);
        if (command == "run") return RunGraph(options);
        if (command == "doc") return Doc(options);
        throw UsageError("unknown command '" + command + "'");
    } catch (const NodeFailure& failure) {
        std::cout.flush();
        std::cerr << "error: " << failure.what() << std::endl;
        return 1;
    } catch (const UsageError& error) {
        std::cout.flush();
        std::cerr << "orva: " << error.what() << "\n(orva --help shows how to call it)"
                  << std::endl;
        return 2;
    } catch (const CException& error) {
        std::cout.flush();
        std::cerr << "error: " << error.FormattedWhat() << std::endl;
        return 1;
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "error: " << error.what() << std::endl;
        return 1;
    }
}
