// orva: lists, describes and runs the nodes of image-processing modules, alone, in pipes and
// in graphs. Exit status 0 on success, 1 when a node fails, 2 when orva was called wrongly.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "Commands.h"
#include "Host.h"
#include "ServeCommand.h"
#include "base/Interrupt.h"

using namespace orva;

// Under AddressSanitizer a failed huge allocation comes back to the node as out-of-memory,
// as it does without it, so the node can report it.
extern "C" __attribute__((used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

constexpr const char* FOOTER = R"(
NODE is a node of module utility, or MODULE::NODE. KEY=VALUE takes the type the node declares
for KEY; KEY:=JSON sets any value from JSON. Settings are checked before anything runs; an
unknown key or a value the node does not take ends orva with status 2 unless --lenient.)";

// The deepest command the command line reached, for the hint after a usage error.
std::string CommandPath(CLI::App& app) {
    std::string path = "orva";
    for (CLI::App* command = &app; !command->get_subcommands().empty();) {
        command = command->get_subcommands().front();
        path += " " + command->get_name();
    }
    return path;
}

int UsageFailure(const std::string& message, const std::string& command) {
    std::cout.flush();
    std::cerr << "orva: " << message << "\n(" << command << " --help shows how to call it)"
              << std::endl;
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    InstallRoot();  // sets ORVADIR for the nodes' default paths
    // A signal stops running scripts cleanly, then ends orva by that signal.
    ORVA::InstallInterruptHandlers();

    CLI::App app{"orva: lists, describes and runs image-processing nodes, in pipes and graphs.",
                 "orva"};
    app.footer(FOOTER);
    app.set_version_flag("--version", "orva " ORVA_VERSION);
    app.require_subcommand(1);
    int status = 0;

    std::string module = "utility";
    bool details = false;
    CLI::App* list = app.add_subcommand("list", "list the nodes of a module");
    list->add_option("module", module, "module name or path without .so")->capture_default_str();
    list->add_flag("-l,--long", details, "name, category and brief line of each node");
    list->callback([&] { status = List(module, details); });

    std::string word;
    CLI::App* search = app.add_subcommand("search", "nodes of every installed module by word");
    search->add_option("word", word, "found in names, keywords and brief lines")->required();
    search->callback([&] { status = Search(word); });

    std::string node;
    bool json = false;
    CLI::App* describe = app.add_subcommand("describe", "the help page of a node");
    describe->add_option("node", node, "NODE or MODULE::NODE")->required();
    describe->add_flag("--json", json, "the node's setup document itself");
    describe->callback([&] { status = Describe(node, json); });

    SPipeOptions pipe;
    CLI::App* pipeCommand = app.add_subcommand(
        "pipe", "run nodes in a row: output 0 of each feeds input 0 of the next");
    pipeCommand
        ->add_option("nodes", pipe.arguments, "NODE [KEY=VALUE ...] [! NODE ... [@PIN=STEP[:OUT]]]")
        ->required();
    pipeCommand->add_flag("--quiet", pipe.quiet, "print no outputs");
    pipeCommand->add_flag("--time", pipe.time, "each node's wall-clock time on standard error");
    pipeCommand->add_flag("--pixels", pipe.pixels, "print images whole, not summarized");
    pipeCommand->add_flag("--lenient", pipe.lenient,
                          "warn about settings the nodes do not take, and pass them on");
    pipeCommand->add_option("--output", pipe.output, "write the outputs' JSON to this file");
    pipeCommand->add_option("--save", pipe.save,
                            "write each output image of the last node to this directory");
    pipeCommand->callback([&] { status = Pipe(pipe); });

    SRunOptions run;
    CLI::App* runCommand = app.add_subcommand("run", "run a graph file");
    runCommand->add_option("graph", run.graph, "GRAPH.json, or - for standard input")->required();
    runCommand->add_option("--repeat", run.repeat, "run the graph N times with the same nodes");
    runCommand->add_option("--set", run.sets, "ID.KEY=VALUE or ID.KEY:=JSON");
    runCommand->add_option("--print", run.prints, "print output ID:PIN after the last run");
    runCommand->add_flag("--time", run.time, "each node's wall-clock time on standard error");
    runCommand->add_flag("--pixels", run.pixels, "print images whole, not summarized");
    runCommand->add_flag("--lenient", run.lenient,
                         "warn about settings the nodes do not take, and pass them on");
    runCommand->add_option("--output", run.output, "write the printed JSON to this file");
    runCommand->add_option("--each", run.each,
                           "run once per file matching PATTERN; {} {stem} {name} {dir} in --set");
    runCommand->add_option("--jobs", run.jobs, "with --each, files run at once (processes)");
    runCommand->callback([&] { status = Run(run); });

    std::vector<std::string> docArguments;
    CLI::App* doc = app.add_subcommand("doc", "write the HTML help pages of a module");
    doc->add_option("arguments", docArguments, "[MODULE [NODE ...]]: NODEs the module hides");
    doc->callback([&] { status = Doc(docArguments); });

    AddServeCommand(app);

    try {
        std::vector<std::string> names;
        for (const CLI::App* command : app.get_subcommands({}))
            names.push_back(command->get_name());
        if (argc > 1 && argv[1][0] != '-' &&
            std::find(names.begin(), names.end(), argv[1]) == names.end()) {
            std::string message = "unknown command '" + std::string(argv[1]) + "'";
            std::vector<std::string> closest = ClosestNames(names, argv[1]);
            if (!closest.empty()) message += "; did you mean " + closest[0] + "?";
            return UsageFailure(message, "orva");
        }
        app.parse(argc, argv);
        return status;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        if (argc < 2) {
            std::cerr << app.help();
            return 2;
        }
        return UsageFailure(error.what(), CommandPath(app));
    } catch (const NodeFailure& failure) {
        std::cout.flush();
        std::cerr << "error: " << failure.what() << std::endl;
        return 1;
    } catch (const UsageError& error) {
        return UsageFailure(error.what(), CommandPath(app));
    } catch (const ORVA::CException& error) {
        std::cout.flush();
        std::cerr << "error: " << error.FormattedWhat() << std::endl;
        return 1;
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "error: " << error.what() << std::endl;
        return 1;
    }
}
