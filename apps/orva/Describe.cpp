#include "Describe.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace orva {

using namespace ORVA;

namespace {

const std::string TYPE_PREFIX = "The type of this parameter is of type ";

struct SSection {
    std::string heading, body;
};

bool IsHeading(const std::string& line) {
    static const char* const WORDS[] = {"BRIEF", "NOTE", "KEYWORDS", "SEE ALSO"};
    for (const char* word : WORDS)
        if (line == word) return true;
    return line.rfind("INPUT ", 0) == 0 || line.rfind("OUTPUT ", 0) == 0 ||
           line.rfind("PARAMETER ", 0) == 0;
}

std::string Trim(const std::string& text) {
    size_t begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

// The description's sections: a heading line after an empty line (or at the start) opens one.
std::vector<SSection> Sections(const std::string& description) {
    std::vector<SSection> sections;
    std::istringstream lines(description);
    std::string line;
    bool afterEmpty = true;
    while (std::getline(lines, line)) {
        if (afterEmpty && IsHeading(line)) {
            sections.push_back({line, {}});
        } else if (!sections.empty()) {
            sections.back().body += line + "\n";
        }
        afterEmpty = line.empty();
    }
    for (SSection& section : sections)
        section.body = Trim(section.body);
    return sections;
}

// The value alone, without the hints in its metadata.
std::string ValueText(const CValue& value) {
    if (value.GenericType() == CValue::VAL_STRING) return "\"" + value.String() + "\"";
    if (value.GenericType() == CValue::VAL_NULL) return "";
    std::unique_ptr<CValue> plain = value.CloneUnique(OWNERSHIP_SHALLOW);
    plain->Meta().Clear();
    return CTextSerializer::ToText(*plain, 0);
}

std::string KindWord(const CValue& value) {
    switch (value.GenericType()) {
        case CValue::VAL_BOOL:
            return "bool";
        case CValue::VAL_LONG:
            return "long";
        case CValue::VAL_DOUBLE:
            return "double";
        case CValue::VAL_STRING:
            return "string";
        default:
            return "value";
    }
}

std::string MetaText(const CValue& value, const char* key) {
    const CValueMap* meta = value.MetaIfAny();
    return meta && meta->HasEntry(key) ? std::string(meta->EntryString(key, "")) : std::string();
}

std::vector<SPinHelp> Pins(const CValueMap& setup, const char* group) {
    std::vector<SPinHelp> pins;
    const CValue* map = setup.Entry(group);
    if (!map || !map->Map()) return pins;
    std::vector<std::pair<long, const CValue*>> ordered;
    for (const auto& [key, value] : *map->Map())
        ordered.emplace_back(std::strtol(key.c_str(), nullptr, 10), value.get());
    std::sort(ordered.begin(), ordered.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [pin, value] : ordered) {
        const CValueMap* meta = value->MetaIfAny();
        pins.push_back({std::to_string(pin), MetaText(*value, "label"),
                        meta && meta->EntryBool("optional", false)});
    }
    return pins;
}

std::string Escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string Paragraphs(const std::string& text) {
    std::string html;
    std::istringstream in(text);
    std::string paragraph, line;
    auto flush = [&] {
        if (!Trim(paragraph).empty()) html += "<p>" + Escape(Trim(paragraph)) + "</p>\n";
        paragraph.clear();
    };
    while (std::getline(in, line)) {
        if (Trim(line).empty())
            flush();
        else
            paragraph += line + "\n";
    }
    flush();
    return html;
}

std::string Indented(const std::string& text, const std::string& indent) {
    std::string out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        out += indent + line + "\n";
    return out;
}

}  // namespace

SNodeHelp SNodeHelp::FromSetup(const CValueMap& setup, const std::string& module,
                               const std::string& name) {
    SNodeHelp help;
    help.module = module;
    help.name = setup.EntryString("name", name);
    help.pluginType = setup.EntryString("pluginType", "");
    help.subType = setup.EntryString("subType", "");
    help.helpPage = CStringTools::UnwrapEnvVars(setup.EntryString("__vimbroDocumentation", ""));

    for (const SSection& section : Sections(setup.EntryString("description", ""))) {
        if (section.heading == "BRIEF") {
            if (help.summary.empty()) {
                size_t end = section.body.find('\n');
                help.summary = section.body.substr(0, end);
                if (end != std::string::npos) help.description = Trim(section.body.substr(end));
            } else {
                help.description += (help.description.empty() ? "" : "\n\n") + section.body;
            }
        } else if (section.heading == "NOTE") {
            help.notes.push_back(section.body);
        } else if (section.heading == "SEE ALSO") {
            help.seeAlso = section.body;
        }
    }

    // Parameters in display order, then the rest by key.
    const CValue* parameters = setup.Entry("parameters");
    std::vector<std::string> keys;
    if (const CValue* order = setup.Entry("gui/order"); order && order->Map()) {
        std::map<long, std::string> places;
        for (const auto& [place, key] : *order->Map())
            places[std::strtol(place.c_str(), nullptr, 10)] = key->String();
        for (const auto& [place, key] : places)
            keys.push_back(key);
    }
    if (parameters && parameters->Map())
        for (const auto& [key, value] : *parameters->Map())
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
    for (const std::string& key : keys) {
        const CValue* value =
            parameters && parameters->Map() ? parameters->Map()->Entry(key) : nullptr;
        if (!value) continue;
        SParameterHelp parameter{key, KindWord(*value), ValueText(*value),
                                 MetaText(*value, "val/enValues"), MetaText(*value, "desc")};
        if (parameter.text.rfind(TYPE_PREFIX, 0) == 0) {
            size_t end = parameter.text.find(". ", TYPE_PREFIX.size());
            if (end != std::string::npos) {
                parameter.type =
                    parameter.text.substr(TYPE_PREFIX.size(), end - TYPE_PREFIX.size());
                parameter.text = parameter.text.substr(end + 2);
            }
        }
        help.parameters.push_back(parameter);
    }
    help.inputs = Pins(setup, "inputs");
    help.outputs = Pins(setup, "outputs");
    if (const CValue* keywords = setup.Entry("keywords"); keywords && keywords->Vector())
        for (const auto& keyword : *keywords->Vector())
            help.keywords.push_back(keyword->String());
    return help;
}

std::string TextPage(const SNodeHelp& help) {
    std::ostringstream out;
    out << help.name << " (module " << help.module << ", " << help.pluginType << " / "
        << help.subType << ")\n";
    if (!help.summary.empty()) out << "\n" << help.summary << "\n";
    if (!help.description.empty()) out << "\n" << help.description << "\n";
    for (const std::string& note : help.notes)
        out << "\nNote: " << note << "\n";

    out << "\nParameters:";
    if (help.parameters.empty()) out << " none";
    out << "\n";
    for (const SParameterHelp& parameter : help.parameters) {
        out << "  " << parameter.key << " (" << parameter.type;
        if (!parameter.value.empty()) out << ", default " << parameter.value;
        out << ")\n";
        if (!parameter.allowed.empty())
            out << "      allowed values: " << parameter.allowed << "\n";
        if (!parameter.text.empty()) out << Indented(parameter.text, "      ");
    }
    auto pins = [&](const char* title, const std::vector<SPinHelp>& list, bool inputs) {
        out << "\n" << title << ":";
        if (list.empty()) out << " none";
        out << "\n";
        for (const SPinHelp& pin : list) {
            out << "  " << pin.pin;
            if (inputs) out << (pin.optional ? " (optional)" : " (required)");
            out << (pin.label.empty() ? "" : "  " + pin.label) << "\n";
        }
    };
    pins("Inputs", help.inputs, true);
    pins("Outputs", help.outputs, false);
    if (!help.keywords.empty()) {
        out << "\nKeywords: ";
        for (size_t i = 0; i < help.keywords.size(); ++i)
            out << (i ? ", " : "") << help.keywords[i];
        out << "\n";
    }
    if (!help.seeAlso.empty()) out << "\nSee also: " << help.seeAlso << "\n";
    if (!help.helpPage.empty()) out << "\nHelp page: " << help.helpPage << "\n";
    return out.str();
}

std::string HtmlPage(const SNodeHelp& help) {
    std::ostringstream out;
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>"
        << Escape(help.name) << " - " << Escape(help.module) << "</title>\n"
        << "<style>body{font-family:sans-serif;max-width:50em;margin:2em auto;line-height:1.4}"
           "table{border-collapse:collapse}td,th{border:1px solid #ccc;padding:.3em "
           ".6em;text-align:left;"
           "vertical-align:top}code{background:#f4f4f4}</style>\n</head>\n<body>\n";
    out << "<p><a href=\"../index.html\">" << Escape(help.module) << "</a></p>\n";
    out << "<h1>" << Escape(help.name) << "</h1>\n<p><em>" << Escape(help.pluginType) << " / "
        << Escape(help.subType) << "</em></p>\n";
    if (!help.summary.empty()) out << "<p><strong>" << Escape(help.summary) << "</strong></p>\n";
    out << Paragraphs(help.description);
    for (const std::string& note : help.notes)
        out << "<p><strong>Note:</strong> " << Escape(note) << "</p>\n";

    out << "<h2>Parameters</h2>\n";
    if (help.parameters.empty()) {
        out << "<p>None.</p>\n";
    } else {
        out << "<table>\n<tr><th>Key</th><th>Type</th><th>Default</th><th>Allowed "
               "values</th><th>Description</th></tr>\n";
        for (const SParameterHelp& p : help.parameters)
            out << "<tr><td><code>" << Escape(p.key) << "</code></td><td>" << Escape(p.type)
                << "</td><td><code>" << Escape(p.value) << "</code></td><td>" << Escape(p.allowed)
                << "</td><td>" << Escape(p.text) << "</td></tr>\n";
        out << "</table>\n";
    }
    auto pins = [&](const char* title, const std::vector<SPinHelp>& list, bool inputs) {
        out << "<h2>" << title << "</h2>\n";
        if (list.empty()) {
            out << "<p>None.</p>\n";
            return;
        }
        out << "<table>\n<tr><th>Pin</th>" << (inputs ? "<th>Required</th>" : "")
            << "<th>Description</th></tr>\n";
        for (const SPinHelp& pin : list)
            out << "<tr><td>" << pin.pin << "</td>"
                << (inputs ? (pin.optional ? "<td>no</td>" : "<td>yes</td>") : "") << "<td>"
                << Escape(pin.label) << "</td></tr>\n";
        out << "</table>\n";
    };
    pins("Inputs", help.inputs, true);
    pins("Outputs", help.outputs, false);
    if (!help.keywords.empty()) {
        out << "<h2>Keywords</h2>\n<p>";
        for (size_t i = 0; i < help.keywords.size(); ++i)
            out << (i ? ", " : "") << Escape(help.keywords[i]);
        out << "</p>\n";
    }
    if (!help.seeAlso.empty()) out << "<h2>See also</h2>\n<p>" << Escape(help.seeAlso) << "</p>\n";
    out << "</body>\n</html>\n";
    return out.str();
}

std::string HtmlIndex(const std::string& module, const std::vector<SNodeHelp>& nodes,
                      const std::vector<std::string>& links) {
    std::ostringstream out;
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Module "
        << Escape(module)
        << "</title>\n<style>body{font-family:sans-serif;max-width:50em;margin:2em "
           "auto}</style>\n</head>\n<body>\n"
        << "<h1>Module " << Escape(module) << "</h1>\n<ul>\n";
    for (size_t i = 0; i < nodes.size(); ++i)
        out << "<li><a href=\"" << Escape(links[i]) << "\">" << Escape(nodes[i].name)
            << "</a> &mdash; " << Escape(nodes[i].summary) << "</li>\n";
    out << "</ul>\n</body>\n</html>\n";
    return out.str();
}

}  // namespace orva
