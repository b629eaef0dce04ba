#include "FileTesting.h"
#include "PReadMap.h"
#include "PTextSerializer.h"

using namespace ORVA;
using namespace testing_support;

namespace {

using FileNodes = FileTest;

// A value with a little of every kind the format knows.
std::unique_ptr<CValue> Everything() {
    return CTextSerializer::FromText(R"({
        "long": -2147483648, "whole": 3.0, "nan": {"@double": "nan"}, "@@odd": true,
        "tenth": {"@value": 0.1, "@meta": {"source": "test"}}, "list": [null, 1],
        "text": "quote \" backslash \\ line\nend é", "nested": {"deeper": "x"},
        "image": {"@image": {"type": "IMAGE_GREY_16", "size": [2, 1, 2],
                             "data": [0, 20000, 40000, 60000], "attributes": {"unit": "mm"}}}})");
}

}  // namespace

TEST_F(FileNodes, TextSerializerRoundTripsEveryKindThroughAFile) {
    std::unique_ptr<CValue> value = Everything();
    CScopedVariable directory("ORVA_TEXT_TEST_DIR", m_directory.c_str());
    for (int32_t indent : {2, 0, -1}) {
        CTextSerializerNode writer;
        Configure(writer, Parameters({{"mode", "WRITE"},
                                      {"filename", "%ORVA_TEXT_TEST_DIR%/v.json"},
                                      {"indent", indent}}));
        writer.SetStackInput(0, value.get());
        writer.Run();
        const std::string text = writer.StackOutput(0)->String();
        EXPECT_EQ(FileBytes(Path("v.json")), text + "\n");
        EXPECT_EQ(text.find('\n') == std::string::npos, indent <= 0) << indent;
        EXPECT_EQ(writer.Parameters().EntryString("ui/tooltip"), Path("v.json"));
        EXPECT_EQ(writer.Parameters().EntryString("ui/label"), "v.json");

        CTextSerializerNode reader;
        Configure(reader, Parameters({{"mode", "READ"}, {"filename", Path("v.json")}}));
        reader.Run();
        ASSERT_NE(reader.StackOutput(0), nullptr);
        EXPECT_TRUE(reader.StackOutput(0)->Equal(*value)) << text;
    }
}

TEST_F(FileNodes, TextSerializerWritesToStandardOutputOrNowhere) {
    CValueLong value(42);
    for (const char* name : {"STDOUT", "NULL"}) {
        CTextSerializerNode node;
        Configure(node, Parameters({{"filename", name}, {"ui/automaticLabel", true}}));
        node.SetStackInput(0, &value);
        EXPECT_EQ(CapturedStdout([&] { node.Run(); }), std::string(name) == "STDOUT" ? "42\n" : "");
        EXPECT_EQ(node.StackOutput(0)->String(), "42");
        EXPECT_FALSE(node.Parameters().HasEntry("ui/label")) << name;
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
}

TEST_F(FileNodes, TextSerializerRunOnceAndLabels) {
    CValueLong value(1);
    CTextSerializerNode node;
    Configure(node, Parameters({{"filename", Path("once.json")},
                                {"run_once", true},
                                {"ui/automaticLabel", false}}));
    node.SetStackInput(0, &value);
    node.Run();
    EXPECT_FALSE(node.Parameters().HasEntry("ui/label"));
    std::filesystem::remove(Path("once.json"));
    node.Run();
    EXPECT_FALSE(std::filesystem::exists(Path("once.json")));
    node.NodeInit();
    node.Run();
    EXPECT_TRUE(std::filesystem::exists(Path("once.json")));
}

TEST_F(FileNodes, TextSerializerFailures) {
    WriteFile(Path("broken.json"), "{\n  \"a\": 1,\n  \"b\" 2\n}\n");
    CValueLong value(1);
    struct Case {
        const char* mode;
        std::string filename;
        bool input;
        int32_t indent;
        std::string message;
    } cases[] = {
        {"WRITE", "NULL", false, 2, "no value on input 0 to write"},
        {"WRITE", "NULL", true, 65, "indent 65 is too large: at most 64 blanks per level"},
        {"WRITE", Path("missing/x.json"), true, 2,
         "Can not open file for writing: '" + Path("missing/x.json") + "' (no permissions?)"},
        {"READ", "NULL", false, 2, "READ needs a file to read, not 'NULL'"},
        {"READ", Path("none.json"), false, 2,
         "cannot open '" + Path("none.json") + "' for reading"},
        {"READ", m_directory.string(), false, 2,
         "cannot read '" + m_directory.string() + "': it is a directory"},
        {"READ", Path("broken.json"), false, 2,
         Path("broken.json") + ": malformed JSON at line 3, column 7: syntax error while parsing "
                               "object separator - unexpected number literal; expected ':'"},
        {"Write", "NULL", true, 2, "unknown mode 'Write': expected WRITE or READ"},
    };
    for (const Case& c : cases) {
        CTextSerializerNode node;
        Configure(node,
                  Parameters({{"mode", c.mode}, {"filename", c.filename}, {"indent", c.indent}}));
        if (c.input) node.SetStackInput(0, &value);
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  "(utility plugins) TextSerializer::Run | " + c.message);
    }
}

TEST_F(FileNodes, ReadMapGivesTheMapOrOneEntry) {
    std::unique_ptr<CValue> value = Everything();
    WriteFile(Path("map.json"), CTextSerializer::ToText(*value));
    const std::pair<const char*, const CValue*> cases[] = {
        {"", value.get()},
        {"nested/deeper", value->Map()->Entry("nested/deeper")},
        {"tenth", value->Map()->Entry("tenth")},  // with its metadata
    };
    for (const auto& [key, expected] : cases) {
        CPReadMap node;
        Configure(node, Parameters({{"filename", Path("map.json")}, {"key", key}}));
        node.Run();
        ASSERT_NE(node.StackOutput(0), nullptr) << key;
        EXPECT_TRUE(node.StackOutput(0)->Equal(*expected)) << key;
        EXPECT_EQ(node.Parameters().EntryString("ui/tooltip"), Path("map.json"));
        EXPECT_EQ(node.Parameters().EntryString("ui/label"), "map.json");
    }
}

TEST_F(FileNodes, ReadMapFailuresNameTheProblem) {
    WriteFile(Path("map.json"), R"({"b": 1, "a": {"x": 2, "y": 3}, "e": {}})");
    WriteFile(Path("list.json"), "[1, 2]");
    WriteFile(Path("broken.json"), "{\"a\": [1,\n 2,,3]}");
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"map.json", "c", "'%F' has no entry 'c'; the keys there are a, b, e"},
        {"map.json", "a/z", "'%F' has no entry 'a/z'; the keys there are x, y"},
        {"map.json", "e/z", "'%F' has no entry 'e/z'; the map there is empty"},
        {"map.json", "q/z", "'%F' has no entry 'q/z'; no map holds it"},
        {"list.json", "", "'%F' holds a CValueVector, not a map"},
        {"broken.json", "",
         "%F: malformed JSON at line 2, column 4: syntax error while parsing value - unexpected "
         "','; expected '[', '{', or a literal"},
        {"", "", "no file to read: filename is 'NULL'"},
        {".", "", "cannot read '%F': it is a directory"},
    };
    for (const auto& [name, key, message] : cases) {
        std::string file = *name == '.' ? m_directory.string() : *name ? Path(name) : "NULL";
        CPReadMap node;
        Configure(node, Parameters({{"filename", file}, {"key", key}}));
        std::string error = ErrorOf([&] { node.Run(); }, true);
        EXPECT_EQ(*name ? Replaced(error, file, "%F") : error,
                  "(utility plugins) ReadMap::Run | " + message);
    }
}
