#include "Commands.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "Batch.h"
#include "Describe.h"
#include "Graph.h"
#include "Summary.h"

namespace orva {

using namespace ORVA;

namespace {

// Makes a node with what its factory prints (deprecation warnings) sent to `warnings`: those
// are for graphs that use the node, and must not mix with a help page or JSON.
std::unique_ptr<CHostNode> MakeNode(const std::string& id, const std::string& address,
                                    std::ostream& warnings) {
    std::streambuf* previous = std::cout.rdbuf(warnings.rdbuf());
    try {
        auto node = std::make_unique<CHostNode>(id, address);
        std::cout.rdbuf(previous);
        return node;
    } catch (...) {
        std::cout.rdbuf(previous);
        throw;
    }
}

std::unique_ptr<CHostNode> MakeQuietNode(const std::string& address) {
    std::ostringstream silence;
    return MakeNode(address, address, silence);
}

// The chosen values as one JSON object, images summarized unless `pixels`; null where a value
// is missing. Written to `output` when one is given, else to standard output.
void PrintValues(const std::vector<std::pair<std::string, const CValue*>>& values, bool pixels,
                 const std::string& output) {
    CValueMap map;
    for (const auto& [key, value] : values)
        map.SetEntry(key, pixels ? (value ? value->Clone(OWNERSHIP_SHALLOW) : new CValueNull())
                                 : Summarized(value).release());
    std::string text = CTextSerializer::ToText(map, 2) + "\n";
    if (output.empty())
        std::cout << text << std::flush;
    else
        WriteWhole(output, text);
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

// One line per node: name, category and brief line, in aligned columns.
struct SListLine {
    std::string name, category, brief;
};

SListLine LineOf(const CHostNode& node) {
    SNodeHelp help = SNodeHelp::FromNode(node);
    std::string brief = help.summary;
    if (brief.empty()) brief = help.description.substr(0, help.description.find('\n'));
    return {node.Name().Address(), help.pluginType + "/" + help.subType, brief};
}

void PrintLines(const std::vector<SListLine>& lines) {
    size_t name = 0, category = 0;
    for (const SListLine& line : lines) {
        name = std::max(name, line.name.size());
        category = std::max(category, line.category.size());
    }
    for (const SListLine& line : lines) {
        std::string text = line.name + std::string(name - line.name.size() + 2, ' ') +
                           line.category + std::string(category - line.category.size() + 2, ' ') +
                           line.brief;
        text.erase(text.find_last_not_of(' ') + 1);
        std::cout << text << "\n";
    }
}

std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Every output image of `node` as a file of `directory` that keeps its type: PNG where PNG
// holds the type, TIFF for the rest. Written by the module's own SaveImage. No format holds a
// binary image, so masks are written as 8-bit PNGs of 0 and 255, which viewers show.
void SaveImages(CHostNode& node, const std::string& directory) {
    std::filesystem::create_directories(directory);
    CPNode& last = node.Node();
    for (int pin = 0; pin < last.StackOutputs(); ++pin) {
        if (!last.IsStackOutputSet(pin)) continue;
        CValue* value = last.StackOutput(pin);
        const CImage* image = HoldsType<CImage>(value) ? UnwrapPointer<CImage>(value) : nullptr;
        if (!image) continue;
        using T = IImage::CType;
        const T::EnId type = image->Type().Id();
        std::unique_ptr<CValue> mask;
        if (type == T::BINARY_FG || type == T::BINARY_BG) {
            auto grey = std::make_unique<CImage>(IMAGE_GREY_8, image->Size(), CSize(0, 0, 0),
                                                 CImage::NoInit{});
            std::transform(image->Bytes(), image->Bytes() + image->Samples(), grey->Bytes(),
                           [](uint8_t sample) { return sample ? uint8_t(255) : uint8_t(0); });
            mask = std::make_unique<CValueOwnedPointer<CImage>>(grey.release());
            value = mask.get();
        }
        const bool png = image->Size().z <= 1 && (type == T::GREY_8 || type == T::GREY_16 ||
                                                  type == T::RGB_8 || type == T::RGB_8I || mask);
        std::string path =
            (std::filesystem::path(directory) / (std::to_string(pin) + (png ? ".png" : ".tif")))
                .string();
        CHostNode save("save", "utility::SaveImage");
        save.Set("filename", std::make_unique<CValueString>(path), {});
        save.Initialise();
        save.Node().SetStackInput(0, value);
        save.Run();
        std::cerr << "orva: saved output " << pin << " of " << node.Id() << " to " << path
                  << (mask ? " (a mask: 0 and 255)" : "") << std::endl;
    }
}

// `text` as one word of the shell.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// A command that runs the node: the pipe it declares, else the node alone when it needs no
// input, else fed on input 0 and every further required image input by the example image, as
// it is or as floats. Each is
// tried in a scratch directory (nodes may write files) and the first that runs is the example;
// none when no candidate runs.
std::string Example(const SNodeHelp& help, const std::string& address) {
    std::vector<std::string> candidates;
    if (!help.examplePipe.empty()) candidates.push_back(help.examplePipe);
    bool alone = true, images = true;
    for (const SPinHelp& pin : help.inputs) {
        alone = alone && pin.optional;
        images = images && (pin.optional || pin.pin == "0" || pin.kind == "image");
    }
    const std::string source = "ReadImage filename=%ORVADIR%/examples/images/coconut.png";
    auto fed = [&](const std::string& sources, int step) {
        std::string command = sources + " ! " + address;
        for (const SPinHelp& pin : help.inputs)
            if (!pin.optional && pin.pin != "0")
                command += " @" + pin.pin + "=" + std::to_string(step);
        return command;
    };
    if (help.examplePipe.empty() && alone) candidates.push_back(address);
    if (help.examplePipe.empty() && !alone && images) {
        candidates.push_back(fed(source, 1));
        candidates.push_back(fed(source + " ! ConvertType out_type=IMAGE_GREY_F", 2));
    }
    std::string scratch = (std::filesystem::temp_directory_path() / "orva-example-XXXXXX").string();
    if (!mkdtemp(scratch.data())) return {};
    const std::string self = InstallRoot() + "/bin/orva";
    std::string example;
    for (const std::string& candidate : candidates) {
        const std::string command = "cd " + Quoted(scratch) + " && timeout 20 " + Quoted(self) +
                                    " pipe --quiet " + candidate + " </dev/null >/dev/null 2>&1";
        if (std::system(command.c_str()) == 0) {
            example = "orva pipe " + candidate;
            break;
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
    return example;
}

// Output `pin` of the pipe's node number `node` (from 0).
struct SPipeLink {
    size_t node = 0;
    int pin = 0;
};

// "@PIN=STEP[:OUT]": input PIN of the pipe's node `index` (from 0) takes output OUT (0 when left
// out) of the pipe's STEP-th node, counted from 1, which must come before it.
std::pair<int, SPipeLink> ParseLink(const std::string& argument,
                                    const std::vector<std::unique_ptr<CHostNode>>& nodes,
                                    size_t index) {
    CHostNode& target = *nodes[index];
    const std::string usage = "'" + argument + "' of " + target.Id() + " is no input link";
    const size_t equals = argument.find('=');
    const size_t colon = argument.find(':', equals);
    auto number = [&](size_t begin, size_t end) {
        const std::string text = argument.substr(begin, end - begin);
        long value = -1;
        auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (text.empty() || error != std::errc() || last != text.data() + text.size() || value < 0)
            throw UsageError(usage + " (@PIN=STEP or @PIN=STEP:OUT)");
        return value;
    };
    if (equals == std::string::npos) throw UsageError(usage + " (@PIN=STEP or @PIN=STEP:OUT)");
    const long pin = number(1, equals);
    const long step = number(equals + 1, colon);
    const long output = colon == std::string::npos ? 0 : number(colon + 1, argument.size());
    const long before = static_cast<long>(index);
    auto has = [](const std::vector<int>& pins, long pin) {
        return std::find(pins.begin(), pins.end(), pin) != pins.end();
    };
    if (!has(DeclaredPins(target, true), pin))
        throw UsageError(usage + ": " + target.Id() + " has no input " + std::to_string(pin));
    if (step < 1 || step > before)
        throw UsageError(usage + ": STEP counts the nodes before it from 1 to " +
                         std::to_string(before));
    CHostNode& source = *nodes[static_cast<size_t>(step - 1)];
    if (!has(OutputPins(source), output))
        throw UsageError(usage + ": " + source.Id() + " has no output " + std::to_string(output));
    return {static_cast<int>(pin), {static_cast<size_t>(step - 1), static_cast<int>(output)}};
}

}  // namespace

long ParseCount(const std::string& option, const std::string& text, long minimum) {
    long value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool digits = !text.empty() && std::all_of(text.begin(), text.end(),
                                                     [](char c) { return c >= '0' && c <= '9'; });
    if (digits && error == std::errc::result_out_of_range)
        throw UsageError(option + " '" + text + "' is too large");
    if (!digits || error != std::errc() || end != text.data() + text.size() || value < minimum)
        throw UsageError(option + " needs a count of " + std::to_string(minimum) +
                         " or more, not '" + text + "'");
    return value;
}

void WriteWhole(const std::string& path, const std::string& text) {
    std::filesystem::path target(path);
    std::filesystem::path directory = target.parent_path().empty() ? "." : target.parent_path();
    std::string temporary = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
    int descriptor = mkstemp(temporary.data());
    if (descriptor < 0)
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    bool written = true;
    for (size_t done = 0; written && done < text.size();) {
        ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        written = count > 0;
        if (written) done += static_cast<size_t>(count);
    }
    const int error = errno;
    written = close(descriptor) == 0 && written;
    // mkstemp makes the file private; the result is a file like any other the user writes.
    const mode_t mask = umask(0);
    umask(mask);
    if (!written || chmod(temporary.c_str(), 0666 & ~mask) != 0 ||
        std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int reason = written ? errno : error;
        std::remove(temporary.c_str());
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(reason));
    }
}

int List(const std::string& module, bool details) {
    const std::vector<std::string> names = LoadModule(ModulePath(module)).ListPlugins();
    if (!details) {
        for (const std::string& name : names)
            std::cout << name << "\n";
        return 0;
    }
    std::vector<SListLine> lines;
    for (const std::string& name : names)
        lines.push_back(LineOf(*MakeQuietNode(module + "::" + name)));
    PrintLines(lines);
    return 0;
}

int Search(const std::string& word) {
    const std::string wanted = Lower(word);
    std::vector<SListLine> lines;
    for (const std::string& module : InstalledModules()) {
        for (const std::string& name : LoadModule(ModulePath(module)).ListPlugins()) {
            std::unique_ptr<CHostNode> node = MakeQuietNode(module + "::" + name);
            SNodeHelp help = SNodeHelp::FromNode(*node);
            std::string haystack = name + "\n" + help.summary + "\n";
            for (const std::string& keyword : help.keywords)
                haystack += keyword + "\n";
            if (help.summary.empty()) haystack += help.description;
            if (Lower(haystack).find(wanted) != std::string::npos) lines.push_back(LineOf(*node));
        }
    }
    PrintLines(lines);
    return lines.empty() ? 1 : 0;
}

int Describe(const std::string& address, bool json) {
    std::unique_ptr<CHostNode> node = MakeNode(address, address, std::cerr);
    if (json) {
        std::cout << CTextSerializer::ToText(node->Setup(), 2) << std::endl;
        return 0;
    }
    SNodeHelp help = SNodeHelp::FromNode(*node);
    MarkDeprecated(help, LoadModule(node->Name().modulePath).ListPlugins());
    help.example = Example(help, node->Name().Address());
    std::cout << TextPage(help);
    return 0;
}

// Writes the HTML help page of every node of a module where its document says, and an index;
// names after the module add nodes the module does not list.
int Doc(const std::vector<std::string>& arguments) {
    std::string module = arguments.empty() ? "utility" : arguments[0];
    const std::vector<std::string> listed = LoadModule(ModulePath(module)).ListPlugins();
    std::vector<std::string> names = listed;
    if (!arguments.empty()) names.insert(names.end(), arguments.begin() + 1, arguments.end());
    std::filesystem::path directory =
        std::filesystem::path(InstallRoot()) / "doc/vimbro/html" / module;

    // Every node is made first, so that an unknown name fails before any page is written.
    std::vector<std::unique_ptr<CHostNode>> nodes;
    for (const std::string& name : names)
        nodes.push_back(MakeQuietNode(module + "::" + name));
    std::vector<SNodeHelp> pages;
    std::vector<std::filesystem::path> paths;
    for (const auto& node : nodes) {
        pages.push_back(SNodeHelp::FromNode(*node));
        MarkDeprecated(pages.back(), listed);
        pages.back().example = Example(pages.back(), node->Name().Address());
        paths.push_back(pages.back().helpPage.empty()
                            ? directory / ("P" + node->Name().node) / "index.html"
                            : std::filesystem::path(pages.back().helpPage));
    }
    // See-also names link to the pages written here; others stay plain text.
    std::vector<std::string> links;
    for (size_t i = 0; i < pages.size(); ++i) {
        for (SSeeAlso& other : pages[i].seeAlsoNodes)
            for (size_t j = 0; j < pages.size(); ++j)
                if (nodes[j]->Name().node == other.name)
                    other.link =
                        std::filesystem::relative(paths[j], paths[i].parent_path()).string();
        std::filesystem::create_directories(paths[i].parent_path());
        std::ofstream(paths[i]) << HtmlPage(pages[i]);
        links.push_back(std::filesystem::relative(paths[i], directory).string());
    }
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "index.html") << HtmlIndex(module, pages, links);
    return 0;
}

int Pipe(const SPipeOptions& options) {
    const SCheckOptions check{options.lenient};
    // Every node is made and set before the first one runs. links[i] maps an input pin of node
    // i to the node and output pin that feed it.
    std::vector<std::unique_ptr<CHostNode>> nodes;
    std::vector<std::map<int, SPipeLink>> links;
    std::vector<std::vector<std::string>> linkArguments;  // checked once the pins are known
    for (const std::string& argument : options.arguments) {
        if (argument == "!") {
            if (nodes.empty()) throw UsageError("a pipe starts with a node, not '!'");
            nodes.push_back(nullptr);
        } else if (nodes.empty() || !nodes.back()) {
            if (!nodes.empty()) nodes.pop_back();
            std::string id =
                argument + (nodes.empty() ? "" : "#" + std::to_string(nodes.size() + 1));
            nodes.push_back(std::make_unique<CHostNode>(id, argument));
            links.emplace_back();
            linkArguments.emplace_back();
            if (nodes.size() > 1) links.back()[0] = {nodes.size() - 2, 0};
        } else if (argument.starts_with('@')) {
            linkArguments.back().push_back(argument);
        } else {
            nodes.back()->Apply(argument, check);
        }
    }
    if (nodes.empty()) throw UsageError("pipe needs a node");
    if (!nodes.back()) throw UsageError("a pipe ends with a node, not '!'");

    for (size_t i = 0; i < nodes.size(); ++i) {
        nodes[i]->Initialise();
        for (const std::string& argument : linkArguments[i]) {
            auto [pin, link] = ParseLink(argument, nodes, i);
            links[i][pin] = link;
        }
    }
    for (size_t i = 0; i < nodes.size(); ++i) {
        for (const auto& [pin, link] : links[i])
            nodes[i]->Node().SetStackInput(pin, nodes[link.node]->Node().StackOutput(link.pin));
        nodes[i]->Run();
        if (options.time) PrintTime(*nodes[i]);
    }
    CPNode& last = nodes.back()->Node();
    std::vector<std::pair<std::string, const CValue*>> outputs;
    for (int pin = 0; pin < last.StackOutputs(); ++pin)
        if (last.IsStackOutputSet(pin))
            outputs.emplace_back(std::to_string(pin), last.StackOutput(pin));
    if (!options.save.empty()) SaveImages(*nodes.back(), options.save);
    if (!options.quiet && !outputs.empty()) PrintValues(outputs, options.pixels, options.output);
    return 0;
}

int Run(const SRunOptions& options) {
    const long repeat = ParseCount("--repeat", options.repeat, 1);
    if (!options.each.empty()) return RunBatch(options);
    if (options.jobs != "1") throw UsageError("--jobs needs --each");
    const SCheckOptions check{options.lenient};
    CGraph graph = CGraph::Load(options.graph, check);
    for (const std::string& setting : options.sets)
        graph.Set(setting, check);
    std::vector<std::pair<std::string, std::pair<CHostNode*, int>>> prints;
    for (const std::string& reference : options.prints)
        prints.emplace_back(reference, graph.Find(reference));

    graph.Initialise();
    const bool progress = repeat > 1 && isatty(STDERR_FILENO);
    for (long round = 0; round < repeat; ++round) {
        graph.Run();
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
    if (options.time)
        for (const auto& node : graph.Nodes())
            PrintTime(*node);
    if (!prints.empty()) {
        std::vector<std::pair<std::string, const CValue*>> values;
        for (const auto& [reference, target] : prints)
            values.emplace_back(reference, target.first->Node().StackOutput(target.second));
        PrintValues(values, options.pixels, options.output);
    }
    return 0;
}

}  // namespace orva
