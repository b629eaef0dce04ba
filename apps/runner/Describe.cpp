#include "Describe.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace orva {

using namespace ORVA;

namespace {

std::string Trim(const std::string& text) {
    size_t begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

// The value alone, without the hints in its metadata.
std::string ValueText(const CValue& value) {
    if (value.GenericType() == CValue::VAL_STRING) return "\"" + value.String() + "\"";
    if (value.GenericType() == CValue::VAL_NULL) return "";
    std::unique_ptr<CValue> plain = value.CloneUnique(OWNERSHIP_SHALLOW);
    plain->Meta().Clear();
    return CTextSerializer::ToText(*plain, 0);
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
        pins.push_back({std::to_string(pin), MetaText(*value, "label"), ValueKind(*value),
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

// The settings, or the texts that are documentation only.
std::vector<const SParameterHelp*> Selected(const SNodeHelp& help, bool documentationOnly) {
    std::vector<const SParameterHelp*> shown;
    for (const SParameterHelp& parameter : help.parameters)
        if (parameter.documentationOnly == documentationOnly) shown.push_back(&parameter);
    return shown;
}

}  // namespace

SNodeHelp SNodeHelp::FromNode(const CHostNode& node) {
    const CValueMap& setup = node.Setup();
    const CSetupDocument& declaration = node.Declaration();
    SNodeHelp help;
    help.module = node.Name().moduleName;
    help.name = setup.EntryString("name", node.Name().node);
    help.pluginType = setup.EntryString("pluginType", "");
    help.subType = setup.EntryString("subType", "");
    help.helpPage = CStringTools::UnwrapEnvVars(setup.EntryString("__vimbroDocumentation", ""));
    help.inputs = Pins(setup, "inputs");
    help.outputs = Pins(setup, "outputs");
    if (const CValue* keywords = setup.Entry("keywords"); keywords && keywords->Vector())
        for (const auto& keyword : *keywords->Vector())
            help.keywords.push_back(keyword->String());

    const CValue* parameters = setup.Entry("parameters");
    auto documented = [&](const std::string& key) {
        return parameters && parameters->Map() ? parameters->Map()->Entry(key) : nullptr;
    };
    if (!declaration.IsDeclared()) {
        help.description = setup.EntryString("description", "");
        if (parameters && parameters->Map())
            for (const auto& [key, value] : *parameters->Map())
                help.parameters.push_back({key, CSetupDocument::KindWord(value->GenericType()),
                                           ValueText(*value), MetaText(*value, "val/enValues"),
                                           MetaText(*value, "desc")});
        return help;
    }

    help.summary = declaration.Summary();
    help.description = declaration.LongDescription();
    help.notes = declaration.Notes();
    help.seeAlso = declaration.SeeAlsoText();
    help.examplePipe = declaration.ExamplePipe();
    std::istringstream names(help.seeAlso);
    for (std::string name; std::getline(names, name, ',');)
        if (!Trim(name).empty()) help.seeAlsoNodes.push_back({Trim(name), {}, false});
    // Parameters in display order, then the rest in declaration order; leftovers at the end.
    std::vector<const CSetupDocument::CParameter*> ordered;
    for (const auto& [place, parameter] : declaration.DisplayOrder())
        ordered.push_back(parameter);
    for (const CSetupDocument::CParameter& parameter : declaration.Parameters())
        if (parameter.Documented() && !parameter.DocumentationOnly() &&
            std::find(ordered.begin(), ordered.end(), &parameter) == ordered.end())
            ordered.push_back(&parameter);
    for (const CSetupDocument::CParameter* parameter : ordered) {
        const CValue* value = documented(parameter->Key());
        help.parameters.push_back(
            {parameter->Key(), parameter->TypeWord(), value ? ValueText(*value) : "",
             value ? MetaText(*value, "val/enValues") : "", parameter->Text()});
    }
    for (const CSetupDocument::CParameter& parameter : declaration.Parameters())
        if (parameter.Documented() && parameter.DocumentationOnly())
            help.parameters.push_back(
                {parameter.Key(), parameter.TypeWord(), "", "", parameter.Text(), true});
    return help;
}

void MarkDeprecated(SNodeHelp& help, const std::vector<std::string>& listed) {
    for (SSeeAlso& node : help.seeAlsoNodes)
        node.deprecated = std::find(listed.begin(), listed.end(), node.name) == listed.end();
}

const char* ValueKind(const CValue& value) {
    switch (value.GenericType()) {
        case CValue::VAL_NULL:
            return "null";
        case CValue::VAL_MAP:
            return "map";
        case CValue::VAL_VECTOR:
            return "vector";
        case CValue::VAL_POINTER:
            if (HoldsType<CImage>(&value)) return "image";
            if (HoldsType<CValueVector>(&value)) return "vector";
            return "value";
        default:
            return CSetupDocument::KindWord(value.GenericType());
    }
}

namespace {

// "%ORVADIR%/doc/vimbro/html/M/P/index.html" as the server serves it: "/doc/M/P/index.html".
std::string HelpLink(const CHostNode& node) {
    const std::string page(node.Setup().EntryString("__vimbroDocumentation", ""));
    const std::string marker = "/doc/vimbro/html/";
    const size_t at = page.find(marker);
    if (at != std::string::npos) return "/doc/" + page.substr(at + marker.size());
    return "/doc/" + node.Name().moduleName + "/P" + node.Name().node + "/index.html";
}

// The first line after "BRIEF" in a description written by hand.
std::string BriefLine(const std::string& description) {
    const size_t at = description.find("BRIEF\n");
    if (at == std::string::npos) return {};
    const size_t begin = at + 6;
    return Trim(description.substr(begin, description.find('\n', begin) - begin));
}

std::unique_ptr<CValueVector> PinValues(const CValueMap& setup, const char* group,
                                        const std::vector<SPinHelp>& pins, bool inputs) {
    auto list = std::make_unique<CValueVector>();
    const CValue* section = setup.Entry(group);
    for (const SPinHelp& pin : pins) {
        const CValue* placeholder =
            section && section->Map() ? section->Map()->Entry(CValue_Key(pin.pin)) : nullptr;
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("pin", new CValueLong(std::stoi(pin.pin)));
        // A pin of any kind has a null placeholder.
        const std::string kind = placeholder ? ValueKind(*placeholder) : "value";
        entry->SetEntry("kind", new CValueString(kind == "null" ? "value" : kind));
        entry->SetEntry("label", new CValueString(pin.label));
        if (inputs) entry->SetEntry("optional", new CValueBool(pin.optional));
        list->PushBack(std::move(entry));
    }
    return list;
}

}  // namespace

std::unique_ptr<CValueMap> NodeValue(const CHostNode& node, bool listed, bool deprecated) {
    const SNodeHelp help = SNodeHelp::FromNode(node);
    const CValueMap& setup = node.Setup();
    auto map = std::make_unique<CValueMap>();
    auto text = [&](const char* key, const std::string& value) {
        map->SetEntry(key, new CValueString(value));
    };
    text("address", node.Name().Address());
    text("name", help.name);
    text("module", help.module);
    map->SetEntry("listed", new CValueBool(listed));
    map->SetEntry("deprecated", new CValueBool(deprecated));
    text("pluginType", help.pluginType);
    text("subType", help.subType);
    const std::string description(setup.EntryString("description", ""));
    text("brief", help.summary.empty() ? BriefLine(description) : help.summary);
    text("description", description);
    auto keywords = std::make_unique<CValueVector>();
    for (const std::string& keyword : help.keywords)
        keywords->PushBack(new CValueString(keyword));
    map->SetEntry("keywords", std::move(keywords));
    text("help", HelpLink(node));

    const CValue* documented = setup.Entry("parameters");
    auto parameters = std::make_unique<CValueVector>();
    for (const SParameterHelp& parameter : help.parameters) {
        const CValue* value = documented && documented->Map()
                                  ? documented->Map()->Entry(CValue_Key(parameter.key))
                                  : nullptr;
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("key", new CValueString(parameter.key));
        entry->SetEntry("type", new CValueString(parameter.type));
        if (value && !parameter.documentationOnly) {
            std::unique_ptr<CValue> plain = value->CloneUnique(OWNERSHIP_SHALLOW);
            plain->Meta().Clear();
            entry->SetEntry("value", std::move(plain));
        } else {
            entry->SetEntry("value", new CValueString(""));
        }
        const CValueMap* meta = value ? value->MetaIfAny() : nullptr;
        if (meta && !parameter.documentationOnly) {
            if (const std::string list(meta->EntryString("val/enValues", "")); !list.empty()) {
                auto allowed = std::make_unique<CValueVector>();
                for (const std::string& item : SplitAllowedValues(list))
                    allowed->PushBack(new CValueString(item));
                entry->SetEntry("enum", std::move(allowed));
            }
            if (std::string(meta->EntryString("gui/boolean", "")) == "togglebutton")
                entry->SetEntry("toggle", new CValueBool(true));
            if (meta->EntryBool("gui/path", false)) entry->SetEntry("path", new CValueBool(true));
            if (const std::string filter(meta->EntryString("gui/filefilter", "")); !filter.empty())
                entry->SetEntry("filter", new CValueString(filter));
            if (meta->EntryBool("gui/save", false)) entry->SetEntry("save", new CValueBool(true));
            if (const std::string condition(meta->EntryString("visible_if", ""));
                !condition.empty())
                entry->SetEntry("visibleIf", new CValueString(condition));
        }
        entry->SetEntry("desc", new CValueString(parameter.text));
        entry->SetEntry("documentationOnly", new CValueBool(parameter.documentationOnly));
        parameters->PushBack(std::move(entry));
    }
    map->SetEntry("parameters", std::move(parameters));
    map->SetEntry("inputs", PinValues(setup, "inputs", help.inputs, true));
    map->SetEntry("outputs", PinValues(setup, "outputs", help.outputs, false));
    return map;
}

std::string TextPage(const SNodeHelp& help) {
    std::ostringstream out;
    out << help.name << " (module " << help.module << ", " << help.pluginType << " / "
        << help.subType << ")\n";
    if (!help.summary.empty()) out << "\n" << help.summary << "\n";
    if (!help.description.empty()) out << "\n" << help.description << "\n";
    for (const std::string& note : help.notes)
        out << "\nNote: " << note << "\n";

    // Settings first; texts the document carries without a setting after them, apart.
    for (bool leftovers : {false, true}) {
        const std::vector<const SParameterHelp*> shown = Selected(help, leftovers);
        if (leftovers && shown.empty()) break;
        out << (leftovers ? "\nDocumentation only (no settings):" : "\nParameters:");
        if (shown.empty()) out << " none";
        out << "\n";
        for (const SParameterHelp* parameter : shown) {
            out << "  " << parameter->key << " (" << parameter->type;
            if (!parameter->value.empty()) out << ", default " << parameter->value;
            out << ")\n";
            if (!parameter->allowed.empty())
                out << "      allowed values: " << parameter->allowed << "\n";
            if (!parameter->text.empty()) out << Indented(parameter->text, "      ");
        }
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
    if (!help.seeAlsoNodes.empty()) {
        out << "\nSee also: ";
        for (size_t i = 0; i < help.seeAlsoNodes.size(); ++i)
            out << (i ? ", " : "") << help.seeAlsoNodes[i].name
                << (help.seeAlsoNodes[i].deprecated ? " (deprecated)" : "");
        out << "\n";
    } else if (!help.seeAlso.empty()) {
        out << "\nSee also: " << help.seeAlso << "\n";
    }
    if (!help.example.empty()) out << "\nExample:\n  " << help.example << "\n";
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

    for (bool leftovers : {false, true}) {
        const std::vector<const SParameterHelp*> shown = Selected(help, leftovers);
        if (leftovers && shown.empty()) break;
        out << (leftovers ? "<h2>Documentation only (no settings)</h2>\n"
                          : "<h2>Parameters</h2>\n");
        if (shown.empty()) {
            out << "<p>None.</p>\n";
            continue;
        }
        out << "<table>\n<tr><th>Key</th><th>Type</th><th>Default</th><th>Allowed "
               "values</th><th>Description</th></tr>\n";
        for (const SParameterHelp* p : shown)
            out << "<tr><td><code>" << Escape(p->key) << "</code></td><td>" << Escape(p->type)
                << "</td><td><code>" << Escape(p->value) << "</code></td><td>" << Escape(p->allowed)
                << "</td><td>" << Escape(p->text) << "</td></tr>\n";
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
    if (!help.seeAlsoNodes.empty()) {
        out << "<h2>See also</h2>\n<p>";
        for (size_t i = 0; i < help.seeAlsoNodes.size(); ++i) {
            const SSeeAlso& node = help.seeAlsoNodes[i];
            out << (i ? ", " : "");
            if (node.link.empty())
                out << Escape(node.name);
            else
                out << "<a href=\"" << Escape(node.link) << "\">" << Escape(node.name) << "</a>";
            if (node.deprecated) out << " (deprecated)";
        }
        out << "</p>\n";
    } else if (!help.seeAlso.empty()) {
        out << "<h2>See also</h2>\n<p>" << Escape(help.seeAlso) << "</p>\n";
    }
    if (!help.example.empty())
        out << "<h2>Example</h2>\n<pre><code>" << Escape(help.example) << "</code></pre>\n";
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
