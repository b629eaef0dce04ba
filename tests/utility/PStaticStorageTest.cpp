#include "PStaticStorage.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// A StaticStorage node set to `mode`, `key` and `storage`.
std::unique_ptr<CPStaticStorage> Storage(const char* mode, const char* key,
                                         const char* storage = "STATIC") {
    auto node = std::make_unique<CPStaticStorage>();
    CValueMap parameters;
    parameters.SetEntry("mode", new CValueString(mode));
    parameters.SetEntry("key", new CValueString(key));
    parameters.SetEntry("storage", new CValueString(storage));
    Configure(*node, parameters);
    return node;
}

void Write(const char* key, CValue* value, const char* storage = "STATIC",
           const char* mode = "WRITE") {
    auto node = Storage(mode, key, storage);
    node->SetStackInput(0, value);
    node->Run();
}

// What a fresh node outputs for `key` (taken over from it).
std::unique_ptr<CValue> Read(const char* key, const char* storage = "STATIC",
                             const char* mode = "READ") {
    auto node = Storage(mode, key, storage);
    node->Run();
    return node->TakeStackOutput(0);
}

std::unique_ptr<CValue> Values(std::initializer_list<int32_t> numbers) {
    auto vector = std::make_unique<CValueVector>();
    for (int32_t number : numbers)
        vector->PushBack(new CValueLong(number));
    return vector;
}

}  // namespace

TEST(StaticStorage, EveryKindSurvivesWriteAndReadInEitherStorage) {
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("a/b", new CValueDouble(0.5));
    map->SetEntry("list", Values({1, 2}));
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(3, 2), {1.5f, -2.0f, 7.0f});
    UnwrapPointer<CImage>(image.get())->Attributes().SetEntry("unit", new CValueString("mm"));
    CImage borrowedImage(IMAGE_GREY_16, CSize(2, 1));
    borrowedImage.Data<uint16_t>()[1] = 300;
    CValuePointer<CImage> borrowed(&borrowedImage);

    std::vector<std::pair<const char*, std::unique_ptr<CValue>>> values;
    values.emplace_back("long", std::make_unique<CValueLong>(5));
    values.emplace_back("double", std::make_unique<CValueDouble>(-0.25));
    values.emplace_back("bool", std::make_unique<CValueBool>(true));
    values.emplace_back("string", std::make_unique<CValueString>("text"));
    values.emplace_back("map", std::move(map));
    values.emplace_back("vector", Values({3, 4, 5}));
    values.emplace_back("image", std::move(image));
    values.emplace_back("borrowed", borrowed.CloneUnique());

    for (const char* storage : {"STATIC", "REGISTRY"}) {
        for (auto& [key, value] : values)
            Write(key, value.get(), storage);
        for (auto& [key, value] : values) {
            std::unique_ptr<CValue> read = Read(key, storage);
            ASSERT_NE(read, nullptr) << key;
            if (HoldsType<CImage>(value.get()))
                EXPECT_EQ(read->Type(), typeid(CValueOwnedPointer<CImage>)) << key;
            else
                EXPECT_EQ(read->Type(), value->Type()) << key;
            EXPECT_TRUE(read->EqualData(*value)) << storage << " " << key;
            if (HoldsType<CImage>(value.get())) {
                // A deep copy, owned by the output, stored apart from what was read.
                CImage* copy = UnwrapPointer<CImage>(read.get());
                EXPECT_NE(copy, value->VoidPointer()) << key;
                EXPECT_TRUE(read->Pointer()->Owns()) << key;
                copy->Bytes()[0] = 99;
                copy->Attributes().Clear();
                EXPECT_TRUE(Read(key, storage)->EqualData(*value)) << storage << " " << key;
            }
        }
    }
}

TEST(StaticStorage, TheSecondWriteUnderAKeyWins) {
    CValueLong first(1);
    CValueString second("two");
    Write("twice", &first);
    Write("twice", &second);
    EXPECT_TRUE(Read("twice")->Equal(CValueString("two")));
}

TEST(StaticStorage, KeyStorageAndModeRules) {
    CValueLong value(1);
    struct Case {
        const char* mode;
        const char* key;
        bool input;
        const char* error;
        const char* storage = "STATIC";
    } cases[] = {
        {"READ", "", false, "Invalid key ''. Please enter a valid key."},
        {"DELETE", "", false, "Invalid key ''. Please enter a valid key."},
        {"SHADOW_READ", "../up", false, "Invalid key '../up'. Please enter a valid key."},
        {"READ", "../up", false, "Invalid key '../up'. Please enter a valid key."},
        {"WRITE", "../up", true, "no exception"},
        {"WRITE", "", true, "no exception"},
        {"CLEAR", "", false, "no exception"},
        {"READ", "..up", false, "No value is stored under key '..up'."},
        {"SHADOW_READ", "a/../b", false, "No value is stored under key 'a/../b'."},
        {"WRITE", "given", false, "No value on input 0 to store."},
        {"SHADOW_WRITE", "given", false, "No value on input 0 to store."},
        {"read", "", true,
         "Invalid mode set. Must be READ, WRITE, DELETE, SHADOW_READ or SHADOW_WRITE."},
        {"NONSENSE", "k", false, "Invalid storage type set. Must be STATIC or REGISTRY.", "static"},
        {"NONSENSE", "k", false, "Invalid storage type set. Must be STATIC or REGISTRY.", ""},
    };
    for (const Case& c : cases) {
        auto node = Storage(c.mode, c.key, c.storage);
        if (c.input) node->SetStackInput(0, &value);
        std::string expected = c.error;
        if (expected != "no exception") expected = "StaticStorage | " + expected;
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), expected) << c.mode << " '" << c.key << "'";
    }
    // The key that passed with an input is a key like any other, and a read of it returns it.
    Write("../up", &value);
    auto node = Storage("READ", "../up");
    node->SetStackInput(0, &value);
    node->Run();
    EXPECT_TRUE(node->StackOutput(0)->Equal(value));
}

TEST(StaticStorage, StaticAndRegistryAreApart) {
    CValueLong inStatic(1), inRegistry(2);
    Write("apart", &inStatic, "STATIC");
    Write("apart", &inRegistry, "REGISTRY");
    EXPECT_TRUE(Read("apart", "STATIC")->Equal(inStatic));
    EXPECT_TRUE(Read("apart", "REGISTRY")->Equal(inRegistry));
    Storage("DELETE", "apart", "REGISTRY")->Run();
    EXPECT_EQ(ErrorOf([] { Read("apart", "REGISTRY"); }), "No value is stored under key 'apart'.");
    EXPECT_TRUE(Read("apart", "STATIC")->Equal(inStatic));

    Write("other", &inStatic, "STATIC");
    Storage("CLEAR", "", "STATIC")->Run();
    for (const char* key : {"apart", "other"})
        EXPECT_EQ(ErrorOf([&] { Read(key, "STATIC"); }),
                  std::string("No value is stored under key '") + key + "'.");
}

TEST(StaticStorage, UnsupportedKindsAreNamed) {
    CValueNull none;
    CValuePointer<CValueVector> vector(new CValueVector(), true);
    EXPECT_EQ(ErrorOf([&] { Write("odd", &none); }), "Unsupported input type: CValueNull");
    EXPECT_EQ(ErrorOf([&] { Write("odd", &vector); }),
              "Unsupported input type: CValuePointer<CValueVector>");
    // A shadow entry of such a kind can be had, but not read as a copy.
    Write("odd", &vector, "STATIC", "SHADOW_WRITE");
    EXPECT_EQ(ErrorOf([] { Read("odd"); }), "Unsupported input type: CValuePointer<CValueVector>");
    std::unique_ptr<CValue> shadow = Read("odd", "STATIC", "SHADOW_READ");
    EXPECT_TRUE(HoldsType<CValueVector>(shadow.get()));
}

TEST(StaticStorage, ShadowEntriesKeepOnlyThePointer) {
    // A borrowed image stays borrowed: the entry and what SHADOW_READ gives point to it.
    CImage image(IMAGE_GREY_8, CSize(2, 2));
    CValuePointer<CImage> borrowed(&image);
    Write("shadow", &borrowed, "REGISTRY", "SHADOW_WRITE");
    image.Data<uint8_t>()[0] = 42;
    std::unique_ptr<CValue> shadow = Read("shadow", "REGISTRY", "SHADOW_READ");
    EXPECT_EQ(shadow->VoidPointer(), &image);
    EXPECT_FALSE(shadow->Pointer()->Owns());
    std::unique_ptr<CValue> copy = Read("shadow", "REGISTRY");
    EXPECT_NE(copy->VoidPointer(), &image);
    EXPECT_EQ(UnwrapPointer<CImage>(copy.get())->Data<uint8_t>()[0], 42);
    Storage("DELETE", "shadow", "REGISTRY")->Run();
    EXPECT_EQ(image.Data<uint8_t>()[0], 42);  // not freed by the entry

    // An owned image is shared: it outlives the input value that held it, and is freed once.
    std::unique_ptr<CValue> owned = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {7, 8});
    Write("shared", owned.get(), "STATIC", "SHADOW_WRITE");
    owned.reset();
    std::unique_ptr<CValue> read = Read("shared");
    EXPECT_EQ(Samples<uint8_t>(*UnwrapPointer<CImage>(read.get())), (std::vector<uint8_t>{7, 8}));
    Storage("CLEAR", "", "STATIC")->Run();
    EXPECT_EQ(Samples<uint8_t>(*UnwrapPointer<CImage>(read.get())), (std::vector<uint8_t>{7, 8}));
}
