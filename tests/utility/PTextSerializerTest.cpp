#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "NodeTesting.h"
#include "PReadMap.h"
#include "PTextSerializer.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// A directory of the test's own, removed afterwards.
class FileNodes : public testing::Test {
  protected:
    void SetUp() override {
        m_directory = std::filesystem::temp_directory_path() /
                      ("orva-text-" + std::to_string(getpid()) + "-" +
                       testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(m_directory);
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string Path(const std::string& name) const { return (m_directory / name).string(); }
    void WriteFile(const std::string& name, const std::string& text) const {
        std::ofstream(Path(name), std::ios::binary) << text;
    }
    static std::string ReadFile(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::filesystem::path m_directory;
};

CValueMap Settings(std::initializer_list<std::pair<const char*, CValue*>> entries) {
    CValueMap map;
    for (const auto& [key, value] : entries)
        map.SetEntry(key, value);
    return map;
}

// A value with a little of every kind the format knows.
std::unique_ptr<CValueMap> Everything() {
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("long", new CValueLong(-2147483647 - 1));
    map->SetEntry("tenth", new CValueDouble(0.1));
    map->SetEntry("whole", new CValueDouble(3.0));
    map->SetEntry("nan", new CValueDouble(std::nan("")));
    map->SetEntry("text", new CValueString("quote \" backslash \\ line\nend é"));
    map->SetEntry("@odd", new CValueBool(true));
    map->SetEntry("nested/deeper", new CValueString("x"));
    auto list = std::make_unique<CValueVector>();
    list->PushBack(new CValueNull());
    list->PushBack(new CValueLong(1));
    map->SetEntry("list", std::move(list));
    auto image = std::make_unique<CImage>(IMAGE_GREY_16, CSize(2, 1, 2));
    for (int i = 0; i < 4; ++i)
        image->Data<uint16_t>()[i] = static_cast<uint16_t>(i * 20000);
    image->Attributes().SetEntry("unit", new CValueString("mm"));
    map->SetEntry("image", OwnedImage(std::move(image)));
    map->Entry("tenth")->Meta().SetEntry("source", new CValueString("test"));
    return map;
}

}  // namespace

TEST_F(FileNodes, TextSerializerRoundTripsEveryKindThroughAFile) {
    std::unique_ptr<CValueMap> value = Everything();
    setenv("ORVA_TEXT_TEST_DIR", m_directory.c_str(), 1);
    for (int32_t indent : {2, 0, -1}) {
        CTextSerializerNode writer;
        Configure(writer, Settings({{"mode", new CValueString("WRITE")},
                                    {"filename", new CValueString("%ORVA_TEXT_TEST_DIR%/v.json")},
                                    {"indent", new CValueLong(indent)}}));
        writer.SetStackInput(0, value.get());
        writer.Run();
        const std::string text = writer.StackOutput(0)->String();
        EXPECT_EQ(ReadFile(Path("v.json")), text + "\n");
        EXPECT_EQ(text.find('\n') == std::string::npos, indent <= 0) << indent;
        EXPECT_EQ(writer.Parameters().EntryString("ui/tooltip"), Path("v.json"));
        EXPECT_EQ(writer.Parameters().EntryString("ui/label"), "v.json");

        CTextSerializerNode reader;
        Configure(reader, Settings({{"mode", new CValueString("READ")},
                                    {"filename", new CValueString(Path("v.json"))}}));
        reader.Run();
        ASSERT_NE(reader.StackOutput(0), nullptr);
        EXPECT_TRUE(reader.StackOutput(0)->Equal(*value)) << text;
        EXPECT_EQ(reader.Parameters().EntryString("ui/label"), "v.json");
    }
    unsetenv("ORVA_TEXT_TEST_DIR");
}

TEST_F(FileNodes, TextSerializerWritesToStandardOutputOrNowhere) {
    CValueLong value(42);
    for (const char* name : {"STDOUT", "NULL"}) {
        CTextSerializerNode node;
        Configure(node, Settings({{"filename", new CValueString(name)},
                                  {"ui/automaticLabel", new CValueBool(true)}}));
        node.SetStackInput(0, &value);
        std::string printed = CapturedStdout([&] { node.Run(); });
        EXPECT_EQ(printed, std::string(name) == "STDOUT" ? "42\n" : "") << name;
        EXPECT_EQ(node.StackOutput(0)->String(), "42");
        EXPECT_FALSE(node.Parameters().HasEntry("ui/label")) << name;
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
}

TEST_F(FileNodes, TextSerializerRunOnceAndLabels) {
    CValueLong value(1);
    CTextSerializerNode node;
    Configure(node, Settings({{"filename", new CValueString(Path("once.json"))},
                              {"run_once", new CValueBool(true)},
                              {"ui/automaticLabel", new CValueBool(false)}}));
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
    WriteFile("broken.json", "{\n  \"a\": 1,\n  \"b\" 2\n}\n");
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
        {"READ", Path("broken.json"), false, 2,
         Path("broken.json") + ": malformed JSON at line 3, column 7: syntax error while parsing "
                               "object separator - unexpected number literal; expected ':'"},
        {"Write", "NULL", true, 2, "unknown mode 'Write': expected WRITE or READ"},
    };
    for (const Case& c : cases) {
        CTextSerializerNode node;
        Configure(node, Settings({{"mode", new CValueString(c.mode)},
                                  {"filename", new CValueString(c.filename)},
                                  {"indent", new CValueLong(c.indent)}}));
        if (c.input) node.SetStackInput(0, &value);
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  "(utility plugins) TextSerializer::Run | " + c.message);
    }
}

TEST(TextSerializer, CarriesItsInstanceName) {
    EXPECT_EQ(CTextSerializerNode().Instance(), "TextSerializerNode");
}

TEST_F(FileNodes, ReadMapGivesTheMapOrOneEntry) {
    std::unique_ptr<CValueMap> value = Everything();
    WriteFile("map.json", CTextSerializer::ToText(*value));
    struct Case {
        const char* key;
        const CValue* expected;
    } cases[] = {
        {"", value.get()},
        {"list", value->Entry("list")},
        {"nested/deeper", value->Entry("nested/deeper")},
        {"tenth", value->Entry("tenth")},  // with its metadata
        {"image", value->Entry("image")},
    };
    for (const Case& c : cases) {
        CPReadMap node;
        Configure(node, Settings({{"filename", new CValueString(Path("map.json"))},
                                  {"key", new CValueString(c.key)}}));
        node.Run();
        ASSERT_NE(node.StackOutput(0), nullptr) << c.key;
        EXPECT_TRUE(node.StackOutput(0)->Equal(*c.expected)) << c.key;
        EXPECT_EQ(node.Parameters().EntryString("ui/tooltip"), Path("map.json"));
        EXPECT_EQ(node.Parameters().EntryString("ui/label"), "map.json");
    }
}

TEST_F(FileNodes, ReadMapFailuresNameTheProblem) {
    WriteFile("map.json", R"({"b": 1, "a": {"x": 2, "y": 3}, "e": {}})");
    WriteFile("list.json", "[1, 2]");
    WriteFile("broken.json", "{\"a\": [1,\n 2,,3]}");
    struct Case {
        std::string filename;
        const char* key;
        std::string message;
    } cases[] = {
        {Path("map.json"), "c",
         "'" + Path("map.json") + "' has no entry 'c'; the keys there are a, b, e"},
        {Path("map.json"), "a/z",
         "'" + Path("map.json") + "' has no entry 'a/z'; the keys there are x, y"},
        {Path("map.json"), "e/z",
         "'" + Path("map.json") + "' has no entry 'e/z'; the map there is empty"},
        {Path("map.json"), "q/z", "'" + Path("map.json") + "' has no entry 'q/z'; no map holds it"},
        {Path("list.json"), "", "'" + Path("list.json") + "' holds a CValueVector, not a map"},
        {Path("broken.json"), "",
         Path("broken.json") + ": malformed JSON at line 2, column 4: syntax error while parsing "
                               "value - unexpected ','; expected '[', '{', or a literal"},
        {"NULL", "", "no file to read: filename is 'NULL'"},
    };
    for (const Case& c : cases) {
        CPReadMap node;
        Configure(node, Settings({{"filename", new CValueString(c.filename)},
                                  {"key", new CValueString(c.key)}}));
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  "(utility plugins) ReadMap::Run | " + c.message);
    }
}
