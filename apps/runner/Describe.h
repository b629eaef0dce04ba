#pragma once

// Readable help built from a node's setup document: a text page for the terminal and an HTML
// page for the help directory.
#include <memory>
#include <string>
#include <vector>

#include "Host.h"

namespace orva {

struct SParameterHelp {
    std::string key, type, value, allowed, text;
    // A text the document carries under PARAMETER that is no setting (a leftover of its
    // authors); shown apart.
    bool documentationOnly = false;
};

struct SPinHelp {
    std::string pin, label, kind;  // kind as ValueKind names it
    bool optional = false;
};

// A node a page points to: its page relative to the pointing page (empty when there is none),
// and whether the module's list hides it (left for old graphs).
struct SSeeAlso {
    std::string name, link;
    bool deprecated = false;
};

// What a setup document says, in the order a reader wants it.
struct SNodeHelp {
    std::string name, module, pluginType, subType, summary, description, helpPage;
    std::vector<SParameterHelp> parameters;
    std::vector<SPinHelp> inputs, outputs;
    std::vector<std::string> keywords, notes;
    std::string seeAlso;
    std::vector<SSeeAlso> seeAlsoNodes;  // the names of seeAlso, one by one
    std::string examplePipe;             // the pipe the node declares as its example
    std::string example;                 // a command that runs the node, shown when set

    // From the node's declaration; a node that writes its document by hand is shown as its
    // document says, with its description as one text.
    static SNodeHelp FromNode(const CHostNode& node);
};

// Marks the see-also names that `listed` (the module's list) lacks as deprecated.
void MarkDeprecated(SNodeHelp& help, const std::vector<std::string>& listed);

// The node as an editor's palette and forms want it, as a map ready for the text format:
// "address", "name", "module", "listed", "deprecated", "pluginType", "subType", "brief",
// "description", "keywords", "help" (a path under /doc/), "parameters" (display order, then
// the rest; each with "key", "type", "value", "desc", "documentationOnly" and the hints "enum",
// "toggle", "path", "filter", "save", "visibleIf" where given), "inputs" and "outputs" (each
// with "pin", "kind", "label", and "optional" for inputs).
std::unique_ptr<ORVA::CValueMap> NodeValue(const CHostNode& node, bool listed, bool deprecated);

// The kind of a value as pins name them: "image", "vector", "map", "long", "double", "bool",
// "string", "null" or "value".
const char* ValueKind(const ORVA::CValue& value);

std::string TextPage(const SNodeHelp& help);
std::string HtmlPage(const SNodeHelp& help);
// The module's index page, linking every node page (`links` relative to the index, in the
// order of `nodes`).
std::string HtmlIndex(const std::string& module, const std::vector<SNodeHelp>& nodes,
                      const std::vector<std::string>& links);

}  // namespace orva
