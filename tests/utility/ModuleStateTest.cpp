// The state the module shares between nodes, seen as a host sees it: nodes made through the
// loaded bin/utility.so, the module unloaded and loaded again in one process.
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "tarsel.h"

using namespace ORVA;

namespace {

std::string ModulePath() {
    return std::string(ORVA_BUILD_ROOT) + "/bin/utility.so";
}

// A node of the loaded module with `parameters` laid over its declared ones.
std::unique_ptr<CPNode> Node(
    const char* name, std::initializer_list<std::pair<const char*, const char*>> parameters) {
    std::unique_ptr<CPNode> node = CPluginModule::Load(ModulePath()).Create(name);
    if (!node) throw CException("test", std::string("no node ") + name);
    CValueMap setup;
    node->GetPluginSetup(setup);
    CValueMap values(*setup.Entry("parameters")->Map());
    for (const auto& [key, value] : parameters)
        values.SetEntry(key, new CValueString(value));
    node->Init(&values);
    node->NodeInit();
    return node;
}

void Store(const char* storage, const char* key, CValue* value) {
    auto node = Node("StaticStorage", {{"mode", "WRITE"}, {"key", key}, {"storage", storage}});
    node->SetStackInput(0, value);
    node->Run();
}

std::unique_ptr<CValue> Fetch(const char* storage, const char* key) {
    auto node = Node("StaticStorage", {{"mode", "READ"}, {"key", key}, {"storage", storage}});
    node->Run();
    return node->StackOutput(0)->CloneUnique(OWNERSHIP_DEEP);
}

std::unique_ptr<CValue> Image(float first) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(2, 1));
    image->Data<float>()[0] = first;
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

CValueMap& RegistryMap() {
    CValue* map = CRegistry::Obj().Entry("tmp/StaticStorage");
    if (!map || !map->Map()) throw CException("test", "no registry map");
    return *map->Map();
}

}  // namespace

TEST(ModuleState, RegistryEntriesOutliveTheModuleAndItsOwnStateDoesNot) {
    std::unique_ptr<CValue> kept = Image(1.5f), replaced = Image(2.5f);
    CValueLong number(5);
    Store("REGISTRY", "kept", kept.get());
    Store("REGISTRY", "replaced", replaced.get());
    Store("REGISTRY", "number", &number);
    Store("STATIC", "number", &number);
    {
        auto node = Node("StaticImage", {{"mode", "WRITE"}});
        node->SetStackInput(0, kept.get());
        node->Run();
    }
    ASSERT_TRUE(CPluginModule::Unload(ModulePath()));

    // With the module gone its entries must still be whole: dropping one runs no code of it.
    {
        auto lock = CRegistry::Obj().Lock();
        EXPECT_TRUE(RegistryMap().RemoveEntry("replaced"));
        EXPECT_TRUE(RegistryMap().Entry("kept")->EqualData(*kept));
    }

    EXPECT_TRUE(Fetch("REGISTRY", "kept")->EqualData(*kept));
    EXPECT_TRUE(Fetch("REGISTRY", "number")->Equal(number));
    try {
        Fetch("STATIC", "number");
        ADD_FAILURE() << "the static map survived the module";
    } catch (const CException& error) {
        EXPECT_STREQ(error.what(), "No value is stored under key 'number'.");
    }
    {
        auto node = Node("StaticImage", {{"mode", "READ"}});
        node->Run();
        const CImage* image = UnwrapPointer<CImage>(node->StackOutput(0));
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->Size(), CSize(0, 0, 0));
    }
    Node("StaticStorage", {{"mode", "CLEAR"}, {"storage", "REGISTRY"}})->Run();
    ASSERT_TRUE(CPluginModule::Unload(ModulePath()));
}

TEST(ModuleState, NodesOnSeveralThreadsShareTheStateSafely) {
    constexpr int THREADS = 4, ROUNDS = 1000;
    std::latch start(THREADS);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t, &start] {
            const std::string key = "thread" + std::to_string(t);
            std::vector<std::unique_ptr<CPNode>> nodes;  // write, read, delete per storage
            for (const char* storage : {"STATIC", "REGISTRY"})
                for (const char* mode : {"WRITE", "READ", "DELETE"})
                    nodes.push_back(
                        Node("StaticStorage",
                             {{"mode", mode}, {"key", key.c_str()}, {"storage", storage}}));
            auto image = Node("StaticImage", {{"mode", t % 2 ? "READ" : "WRITE"}});
            std::unique_ptr<CValue> picture = Image(static_cast<float>(t));
            image->SetStackInput(0, picture.get());
            start.arrive_and_wait();
            for (int round = 0; round < ROUNDS; ++round) {
                CValueLong value(round);
                for (size_t i = 0; i < nodes.size(); i += 3) {
                    nodes[i]->SetStackInput(0, &value);
                    nodes[i]->Run();
                    nodes[i + 1]->Run();
                    EXPECT_EQ(nodes[i + 1]->StackOutput(0)->Long(), round);
                    nodes[i + 2]->Run();  // the map's tree changes on every round
                }
                image->Run();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}
