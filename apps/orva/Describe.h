#pragma once

// Readable help built from a node's setup document: a text page for the terminal and an HTML
// page for the help directory.
#include <string>
#include <vector>

#include "tarsel.h"

namespace orva {

struct SParameterHelp {
    std::string key, type, value, allowed, text;
};

struct SPinHelp {
    std::string pin, label;
    bool optional = false;
};

// What a setup document says, in the order a reader wants it.
struct SNodeHelp {
    std::string name, module, pluginType, subType, summary, description, helpPage;
    std::vector<SParameterHelp> parameters;
    std::vector<SPinHelp> inputs, outputs;
    std::vector<std::string> keywords, notes;
    std::string seeAlso;

    static SNodeHelp FromSetup(const ORVA::CValueMap& setup, const std::string& module,
                               const std::string& name);
};

std::string TextPage(const SNodeHelp& help);
std::string HtmlPage(const SNodeHelp& help);
// The module's index page, linking every node page (`links` relative to the index, in the
// order of `nodes`).
std::string HtmlIndex(const std::string& module, const std::vector<SNodeHelp>& nodes,
                      const std::vector<std::string>& links);

}  // namespace orva
