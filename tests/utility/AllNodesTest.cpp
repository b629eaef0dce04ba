// Every node the factory makes, put through what any host may do to it: its document twice,
// NodeInit on an empty map, and runs without inputs, with images of every pixel type and with
// a value that is no image. Each run must end in a result or a CException, never a crash.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "tarsel.h"

using namespace ORVA;

namespace {

CPluginModule& Module() {
    return CPluginModule::Load(std::string(ORVA_BUILD_ROOT) + "/bin/utility.so");
}

// Parameters whose NodeInit falls back to a fixed text instead of the current value.
struct SFixedFallback {
    const char* node;
    const char* key;
    const char* value;
};
const SFixedFallback FIXED_FALLBACKS[] = {
    {"StaticStorage", "key", "READ"},   // the mode's default, as the node always had it
    {"ReadASCII", "filename", "NULL"},  // a host always passes the file name
};

std::unique_ptr<CPNode> Make(const std::string& name) {
    testing::internal::CaptureStdout();  // deprecation warnings
    std::unique_ptr<CPNode> node = Module().Create(name);
    testing::internal::GetCapturedStdout();
    return node;
}

std::vector<std::string> Split(const std::string& list) {
    std::vector<std::string> items;
    size_t start = 0;
    while (start <= list.size()) {
        size_t comma = list.find(',', start);
        if (comma == std::string::npos) comma = list.size();
        std::string item = list.substr(start, comma - start);
        item.erase(0, item.find_first_not_of(' '));
        items.push_back(item);
        start = comma + 1;
    }
    return items;
}

// Every name the factory accepts: the listed ones and those it keeps for old graphs.
std::vector<std::string> AllNames() {
    std::vector<std::string> names = Module().ListPlugins();
    for (const std::string& name : Split(UNLISTED_NODES))
        names.push_back(name);
    return names;
}

// A small image of `type` with a little of everything: zeros, ones, larger values.
std::unique_ptr<CValue> SampleImage(IImage::CType type) {
    auto image = std::make_unique<CImage>(type, CSize(4, 3, 2));
    uint8_t* bytes = image->Bytes();
    for (size_t i = 0; i < image->ByteCount(); ++i)
        bytes[i] = static_cast<uint8_t>((i * 37) % 5 == 0 ? 0 : i % 3);
    if (type.IsFloating() && type.ElementSize() == 4)
        for (int64_t i = 0; i < image->Samples(); ++i)
            image->Data<float>()[i] = static_cast<float>(i % 4);
    if (type == IMAGE_GREY_D)
        for (int64_t i = 0; i < image->Pixels(); ++i)
            image->Data<double>()[i] = static_cast<double>(i % 4);
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

class AllNodes : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        // Nodes that write files with their default names write them here.
        m_directory =
            std::filesystem::temp_directory_path() / ("orva-all-nodes-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_directory);
        m_previous = std::filesystem::current_path();
        std::filesystem::current_path(m_directory);
    }
    void TearDown() override {
        std::filesystem::current_path(m_previous);
        std::filesystem::remove_all(m_directory);
    }

    std::filesystem::path m_directory, m_previous;
};

// Runs `node`; a CException is a fine outcome, anything else fails the test.
void RunQuietly(CPNode& node, const std::string& what) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
        node.Run();
    } catch (const CException&) {
    } catch (const std::exception& error) {
        ADD_FAILURE() << what << ": " << error.what();
    }
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

}  // namespace

TEST_P(AllNodes, DocumentDefaultsAndRuns) {
    std::unique_ptr<CPNode> node = Make(GetParam());
    ASSERT_NE(node, nullptr);

    CValueMap first, second;
    node->GetPluginSetup(first);
    node->GetPluginSetup(second);
    ASSERT_TRUE(first.HasEntry("name", CValue::VAL_STRING));
    ASSERT_TRUE(first.HasEntry("parameters", CValue::VAL_MAP));
    ASSERT_TRUE(first.Entry("parameters")->EqualData(*second.Entry("parameters")));

    // Allowed values list the default.
    for (const auto& [key, parameter] : *first.Entry("parameters")->Map()) {
        const CValueMap* meta = parameter->MetaIfAny();
        if (!meta || !meta->HasEntry("val/enValues")) continue;
        std::vector<std::string> allowed = Split(meta->EntryString("val/enValues"));
        std::string current = parameter->String();
        EXPECT_NE(std::find(allowed.begin(), allowed.end(), current), allowed.end())
            << GetParam() << ": " << key << " = '" << current << "'";
    }

    // NodeInit on an empty map keeps the constructor's values, but for parameters that fall
    // back to a fixed text of their own.
    CValueMap empty;
    node->Init(&empty);
    node->NodeInit();
    CValueMap after;
    node->GetPluginSetup(after);
    for (const SFixedFallback& fixed : FIXED_FALLBACKS) {
        if (GetParam() != fixed.node) continue;
        std::string key = std::string("parameters/") + fixed.key;
        EXPECT_EQ(after.EntryString(key), fixed.value) << GetParam();
        after.SetEntry(key, first.Entry(key)->CloneUnique());
    }
    EXPECT_TRUE(first.Entry("parameters")->EqualData(*after.Entry("parameters"))) << GetParam();

    // Runs with the declared defaults, as a host sets them.
    CValueMap defaults(*first.Entry("parameters")->Map());
    node->Init(&defaults);
    node->NodeInit();
    RunQuietly(*node, GetParam() + " without inputs");

    long pins = 3;
    if (const CValue* inputs = first.Entry("inputs"); inputs && inputs->Map())
        pins = std::max<long>(pins, static_cast<long>(inputs->Map()->Size()));
    for (int i = 0; i < IImage::CType::COUNT; ++i) {
        IImage::CType type = IImage::CType::All()[i];
        std::unique_ptr<CValue> image = SampleImage(type);
        for (int pin = 0; pin < pins; ++pin)
            node->SetStackInput(pin, image.get());
        RunQuietly(*node, GetParam() + " with " + type.Name());
        node->ClearStackInputs();
    }
    CValueLong number(3);
    for (int pin = 0; pin < pins; ++pin)
        node->SetStackInput(pin, &number);
    RunQuietly(*node, GetParam() + " with a long");
}

// What the declaration promises a host: each default lies within its own range and allowed
// values, and every key Run reads by hand is declared as read in Run.
TEST_P(AllNodes, DeclarationKeepsItsPromises) {
    std::unique_ptr<CPNode> node = Make(GetParam());
    CSetupDocument doc;
    node->Declare(doc);
    ASSERT_TRUE(doc.IsDeclared()) << GetParam();
    for (const CSetupDocument::CParameter& parameter : doc.Parameters()) {
        std::unique_ptr<CValue> value = parameter.Value();
        if (!value) continue;
        const std::string where = GetParam() + ": " + parameter.Key();
        if (value->GenericType() == CValue::VAL_LONG ||
            value->GenericType() == CValue::VAL_DOUBLE) {
            const double number =
                value->GenericType() == CValue::VAL_LONG ? double(value->Long()) : value->Double();
            if (std::isnan(number)) continue;  // a NaN default means "no value"
            EXPECT_GE(number, parameter.RangeMinimum().value_or(number)) << where;
            EXPECT_LE(number, parameter.RangeMaximum().value_or(number)) << where;
            const auto& allowed = parameter.AllowedNumbers();
            if (!allowed.empty()) {
                EXPECT_NE(std::find(allowed.begin(), allowed.end(), value->Long()), allowed.end())
                    << where;
            }
        }
    }

    std::ifstream source(std::string(UTILITY_SOURCES) + "/P" + GetParam() + ".cpp");
    if (!source) return;  // a name kept for old graphs, made by another node's class
    const std::string text((std::istreambuf_iterator<char>(source)), {});
    std::set<std::string> readInRun;
    for (const CSetupDocument::CParameter* parameter : doc.ReadParameters())
        if (parameter->Read() == CSetupDocument::EnRead::RUN) readInRun.insert(parameter->Key());
    // Reads by hand look like `Parameters().EntryDouble("then", ...)`.
    const std::string call = "Parameters().";
    for (size_t at = text.find(call); at != std::string::npos; at = text.find(call, at + 1)) {
        const size_t open = text.find("(\"", at + call.size());
        const std::string reader = text.substr(at + call.size(), open - at - call.size());
        if (open == std::string::npos || (reader.rfind("Entry", 0) && reader != "HasEntry"))
            continue;
        const std::string key = text.substr(open + 2, text.find('"', open + 2) - open - 2);
        EXPECT_TRUE(readInRun.count(key)) << GetParam() << " reads " << key;
    }
}

INSTANTIATE_TEST_SUITE_P(Factory, AllNodes, testing::ValuesIn(AllNames()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             return info.param;
                         });
