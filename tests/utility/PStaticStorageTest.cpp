#include "PStaticStorage.h"

#include "FileTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// A StaticStorage node set to `mode`, `key` and `storage`.
std::unique_ptr<CPStaticStorage> Storage(const char* mode, const char* key,
                                         const char* storage = "STATIC") {
    auto node = std::make_unique<CPStaticStorage>();
    Configure(*node, {{"mode", mode}, {"key", key}, {"storage", storage}});
    return node;
}

// Runs a fresh node in `mode` on `input`; what it outputs, taken over from it.
std::unique_ptr<CValue> Access(const char* mode, const char* key, const char* storage,
                               CValue* input = nullptr) {
    auto node = Storage(mode, key, storage);
    SetInputs(*node, {input});
    node->Run();
    return node->TakeStackOutput(0);
}

// Runs a fresh node on `input` (in the text format; null: none): its output in the text format,
// "-" when it sets none, or "L | message" for a failure at the node's location.
std::string Outcome(const char* mode, const char* key, const char* storage, const char* input) {
    auto node = Storage(mode, key, storage);
    std::unique_ptr<CValue> value = input ? CTextSerializer::FromText(input) : nullptr;
    SetInputs(*node, {value.get()});
    std::string error = ErrorOf([&] { node->Run(); }, true);
    if (error != "no exception") return Replaced(error, "StaticStorage |", "L |");
    return node->StackOutput(0) ? CTextSerializer::ToText(*node->StackOutput(0), 0) : "-";
}

}  // namespace

TEST(StaticStorage, EveryKindSurvivesWriteAndReadInEitherStorage) {
    std::unique_ptr<CValue> values = CTextSerializer::FromText(R"({
        "long": 5, "double": -0.25, "bool": true, "string": "text", "vector": [3, 4, 5],
        "map": {"a": {"b": 0.5}, "list": [1, 2]},
        "image": {"@image": {"type": "IMAGE_GREY_F", "size": [3, 2, 1],
                             "data": [1.5, -2, 7, 0, 0, 1], "attributes": {"unit": "mm"}}}})");
    CImage borrowedImage(IMAGE_GREY_16, CSize(2, 1));
    borrowedImage.Data<uint16_t>()[1] = 300;
    values->Map()->SetEntry("borrowed", new CValuePointer<CImage>(&borrowedImage));

    for (const char* storage : {"STATIC", "REGISTRY"}) {
        for (const auto& [key, value] : *values->Map())
            Access("WRITE", key.c_str(), storage, value.get());
        for (const auto& [key, value] : *values->Map()) {
            std::unique_ptr<CValue> read = Access("READ", key.c_str(), storage);
            ASSERT_NE(read, nullptr) << key;
            EXPECT_TRUE(read->EqualData(*value)) << storage << " " << key;
            if (!HoldsType<CImage>(value.get())) {
                EXPECT_EQ(read->Type(), value->Type()) << key;
                continue;
            }
            // A deep copy, owned by the output, stored apart from what was read.
            EXPECT_EQ(read->Type(), typeid(CValueOwnedPointer<CImage>)) << key;
            CImage* copy = UnwrapPointer<CImage>(read.get());
            EXPECT_NE(copy, value->VoidPointer()) << key;
            copy->Bytes()[0] = 99;
            copy->Attributes().Clear();
            EXPECT_TRUE(Access("READ", key.c_str(), storage)->EqualData(*value)) << key;
        }
    }
}

TEST(StaticStorage, KeyStorageAndModeRules) {
    struct SStep {
        const char* mode;
        const char* key;
        const char* input;
        const char* outcome;
        const char* storage = "STATIC";
    } steps[] = {
        {"WRITE", "apart", "1", "-"},  // the second write under a key wins
        {"WRITE", "apart", "2", "-", "REGISTRY"},
        {"READ", "apart", nullptr, "1"},
        {"READ", "apart", nullptr, "2", "REGISTRY"},
        {"DELETE", "apart", nullptr, "-", "REGISTRY"},
        {"READ", "apart", nullptr, "L | No value is stored under key 'apart'.", "REGISTRY"},
        {"READ", "apart", nullptr, "1"},
        {"CLEAR", "", nullptr, "-"},
        {"READ", "apart", nullptr, "L | No value is stored under key 'apart'."},
        // An empty key, or one that begins with ../, is taken only with an input.
        {"READ", "", nullptr, "L | Invalid key ''. Please enter a valid key."},
        {"READ", "../up", nullptr, "L | Invalid key '../up'. Please enter a valid key."},
        {"WRITE", "../up", "5", "-"},
        {"READ", "../up", "1", "5"},
        {"WRITE", "given", nullptr, "L | No value on input 0 to store."},
        {"read", "", "1",
         "L | Invalid mode set. Must be READ, WRITE, DELETE, SHADOW_READ or SHADOW_WRITE."},
        {"NONSENSE", "k", nullptr, "L | Invalid storage type set. Must be STATIC or REGISTRY.",
         "static"},
        // Kinds without a copy are named; a shadow entry of one can be had, but not a copy.
        {"WRITE", "odd", "null", "L | Unsupported input type: CValueNull"},
        {"WRITE", "odd", R"({"@vector": [1]})",
         "L | Unsupported input type: CValueOwnedPointer<CValueVector>"},
        {"SHADOW_WRITE", "odd", R"({"@vector": [1]})", "-"},
        {"READ", "odd", nullptr, "L | Unsupported input type: CValueOwnedPointer<CValueVector>"},
        {"SHADOW_READ", "odd", nullptr, R"({"@vector": [1]})"},
    };
    for (const SStep& step : steps)
        EXPECT_EQ(Outcome(step.mode, step.key, step.storage, step.input), step.outcome)
            << step.mode << " '" << step.key << "' " << step.storage;
}
