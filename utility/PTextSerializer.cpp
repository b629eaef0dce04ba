#include "PTextSerializer.h"

#include <fstream>
#include <iostream>

#include "support/Files.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) TextSerializer::Run";
// Deeper indents only make files larger; a mistyped one could fill the disk.
constexpr int32_t MAX_INDENT = 64;
const char* const MODES = "WRITE, READ";
}  // namespace

CTextSerializerNode::CTextSerializerNode(const char* instance)
    : m_mode("WRITE"), m_filename("NULL"), m_indent(2), m_verbose(false) {
    SetInstance(instance);
}

void CTextSerializerNode::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "TextSerializer");
    doc.Brief(
        "Writes any value as JSON text, or reads a value back from such a file.",
        "WRITE turns input 0 (a number, bool, string, map, vector or image, with metadata) "
        "into the framework's text format, a JSON dialect that reads back into an equal value "
        "of the same kinds: doubles keep every bit, images keep their type, size, samples and "
        "attributes. The text goes to output 0 and, followed by a line end, to \"filename\": "
        "STDOUT writes it to standard output, NULL nowhere, any other name replaces that "
        "file. READ reads \"filename\" and outputs the value it holds; text that does not "
        "parse is an error that names its line and column.");
    doc.Note(
        "ReadMap reads such a file as well and picks single entries of a map. An indent of 0 "
        "or less writes everything on one line; indents above 64 are refused.");
    doc.Input(0, "Value to write (WRITE).", CSetupDocument::PIN_VALUE).Optional();
    doc.Output(0, "The text written (WRITE) as a CValueString, or the value read (READ).",
               CSetupDocument::PIN_VALUE);
    doc.Parameter("mode", m_mode, "WRITE a value as text, or READ one from a file").Values(MODES);
    doc.Parameter("filename", m_filename,
                  "file to write or read; environment variables like %ORVADIR% are expanded; "
                  "STDOUT (WRITE: standard output) and NULL (WRITE: no file) are no files")
        .Path("JSON files (*.json);; Text files (*.txt);; All files (*.*)");
    // Anything up to MAX_INDENT; 0 and less write one line.
    doc.Parameter("indent", m_indent, "blanks per level of nesting; 0 writes one line")
        .Range(INT32_MIN, MAX_INDENT);
    doc.Parameter("verbose", m_verbose, "print what is written or read to the log")
        .Toggle()
        .Order(98);
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Parameter("run_once", m_runOnce,
                  "write or read only on the first run after the parameters are set")
        .Fallback(m_runOnce.Enabled())
        .Toggle()
        .Order(99);
    doc.Keywords({"serialize", "JSON", "text", "file", "write", "read", "save", "load", "dump"});
    doc.SeeAlso("ReadMap, StaticStorage");
    doc.Example("StringToImage ! TextSerializer filename=matrix.json");
    doc.UndocumentedReadInRun(AUTOMATIC_LABEL, CValue::VAL_BOOL);
}

void CTextSerializerNode::Run() {
    if (m_runOnce.Skip()) return;
    std::string path = CStringTools::UnwrapEnvVars(m_filename);
    if (!IsAllowedValue(MODES, m_mode))
        throw CException(LOCATION,
                         CString("unknown mode '%1': expected WRITE or READ").Arg(m_mode));
    if (m_mode == "WRITE")
        Write(path);
    else
        Read(path);
    m_runOnce.MarkDone();
}

void CTextSerializerNode::Write(const std::string& path) {
    const CValue* input = GetStackInput(0, false);
    if (!input) throw CException(LOCATION, "no value on input 0 to write");
    if (m_indent > MAX_INDENT)
        throw CException(LOCATION, CString("indent %1 is too large: at most %2 blanks per level")
                                       .Arg(m_indent)
                                       .Arg(MAX_INDENT));
    auto text = std::make_unique<CValueString>(CTextSerializer::ToText(*input, m_indent));
    if (path == "STDOUT") {
        std::cout << text->Text() << std::endl;
    } else if (path != "NULL") {
        std::string file = CPath(path).PathString();
        std::ofstream stream(file, std::ios::binary | std::ios::trunc);
        if (!stream)
            throw CException(
                LOCATION,
                CString("Can not open file for writing: '%1' (no permissions?)").Arg(file));
        stream << text->Text() << '\n';
        stream.close();
        if (!stream)
            throw CException(
                LOCATION,
                CString("Can not save file: '%1' (no permissions or disk full?)").Arg(file));
        if (m_verbose)
            std::cout << "TextSerializer: wrote " << text->Text().size() + 1 << " bytes to '"
                      << file << "'" << std::endl;
        LabelWithFile(Parameters(), file);
    }
    SetStackOutput(0, std::move(text));
}

void CTextSerializerNode::Read(const std::string& path) {
    if (path == "NULL" || path == "STDOUT" || path.empty())
        throw CException(LOCATION, CString("READ needs a file to read, not '%1'").Arg(path));
    std::string file = CPath(path).PathString();
    std::unique_ptr<CValue> value = ReadValueFile(file, LOCATION);
    if (m_verbose)
        std::cout << "TextSerializer: read a " << TypeName(value->Type()) << " from '" << file
                  << "'" << std::endl;
    SetStackOutput(0, std::move(value));
    LabelWithFile(Parameters(), file);
}

}  // namespace ORVA
