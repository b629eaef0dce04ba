#include "PReadMap.h"

#include <iostream>

#include "support/Files.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) ReadMap::Run";
// A message lists at most this many of the keys that are there.
constexpr size_t LISTED_KEYS = 20;

// "the keys there are a, b, c" for the map that would hold `key`.
std::string KeysNear(const CValueMap& map, const std::string& key) {
    size_t slash = key.rfind('/');
    const CValue* parent = slash == std::string::npos ? &map : map.Entry(key.substr(0, slash));
    if (!parent || !parent->Map()) return "no map holds it";
    std::vector<std::string> keys = parent->Map()->Keys();
    if (keys.empty()) return "the map there is empty";
    std::string list;
    for (size_t i = 0; i < keys.size() && i < LISTED_KEYS; ++i)
        list += (i ? ", " : "") + keys[i];
    if (keys.size() > LISTED_KEYS) list += ", ...";
    return "the keys there are " + list;
}
}  // namespace

CPReadMap::CPReadMap() : m_filename("NULL"), m_verbose(false) {}

void CPReadMap::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Generic", "Utility", "ReadMap");
    doc.Brief(
        "Reads a map of values from a file in the framework's text format.",
        "The file holds one JSON object, as TextSerializer and \"orva describe --json\" write "
        "them (graph files are such files too). Numbers that fit 32 bits become longs, other "
        "numbers doubles; images, vectors and metadata read back as they were written. With "
        "\"key\" empty the whole map is output; otherwise only its entry under \"key\", where "
        "a \"/\" steps into a nested map (\"camera/exposure\").");
    doc.Note(
        "A file that does not parse is an error naming its line and column; a file holding "
        "anything but an object, or a key that is not there, is an error too (naming the keys "
        "that are there).");
    doc.Output(0, "The map read, or its entry under key.", CSetupDocument::PIN_MAP);
    doc.Parameter("filename", m_filename,
                  "file to read; environment variables like %ORVADIR% are expanded")
        .Path("JSON files (*.json);; Text files (*.txt);; All files (*.*)");
    doc.Parameter("key", m_key, "entry to output instead of the whole map; empty for all");
    doc.Parameter("verbose", m_verbose, "print what was read to the log").Toggle().Order(98);
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Parameter("run_once", m_runOnce,
                  "read the file only on the first run after the parameters are set")
        .Fallback(m_runOnce.Enabled())
        .Toggle()
        .Order(99);
    doc.Keywords({"map", "read", "load", "file", "JSON", "settings", "configuration"});
    doc.SeeAlso("TextSerializer, StaticStorage");
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! GetImageAttributes ! "
        "TextSerializer filename=attributes.json ! ReadMap filename=attributes.json");
    doc.UndocumentedReadInRun(AUTOMATIC_LABEL, CValue::VAL_BOOL);
}

void CPReadMap::Run() {
    if (m_runOnce.Skip()) return;
    std::string path = CPath(CStringTools::UnwrapEnvVars(m_filename)).PathString();
    if (path == "NULL" || path.empty())
        throw CException(LOCATION, CString("no file to read: filename is '%1'").Arg(path));
    std::unique_ptr<CValue> value = ReadValueFile(path, LOCATION);
    CValueMap* map = value->Map();
    if (!map)
        throw CException(LOCATION,
                         "'" + path + "' holds a " + TypeName(value->Type()) + ", not a map");
    if (m_verbose)
        std::cout << "ReadMap: read " << map->Size() << " entries from '" << path << "'"
                  << std::endl;
    if (!m_key.empty()) {
        std::unique_ptr<CValue> entry = map->Detach(m_key);
        if (!entry)
            throw CException(
                LOCATION, "'" + path + "' has no entry '" + m_key + "'; " + KeysNear(*map, m_key));
        value = std::move(entry);
    }
    SetStackOutput(0, std::move(value));
    LabelWithFile(Parameters(), path);
    m_runOnce.MarkDone();
}

}  // namespace ORVA
