#include <gtest/gtest.h>

#include <cstdlib>

#include "tarsel.h"

using namespace ORVA;

namespace {

std::string Modules() {
    const char* directory = std::getenv("ORVA_TEST_MODULES");
    return directory ? directory : "";
}

std::string ErrorOf(const std::string& address) {
    try {
        RunPlugin(value(address), value("x"));
    } catch (const CException& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace

TEST(RunPlugin, RunsANodeByItsAddress) {
    ASSERT_FALSE(Modules().empty());
    // Default parameters come from the node's setup document; given ones are laid over them.
    value_list out = RunPlugin("%ORVA_TEST_MODULES%/testmodule::Echo", value("hi"));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->String(), "hi!");
    out = RunPlugin("%ORVA_TEST_MODULES%/testmodule::Echo", value("hi"), param("suffix", "?"));
    EXPECT_EQ(out[0]->String(), "hi?");

    CValueMap parameters;
    std::vector<value> inputs{value(std::make_unique<CValueOwnedPointer<CImage>>(
        std::make_unique<CImage>(IMAGE_GREY_F, CSize(3, 1))))};
    out = RunPlugin(Modules() + "/testmodule.so::Echo", inputs, parameters);
    ASSERT_NE(UnwrapPointer<CImage>(out[0].get()), nullptr);
    EXPECT_NE(out[0]->VoidPointer(), inputs[0]->VoidPointer());
}

TEST(RunPlugin, ResultsOutliveTheNode) {
    value_list out = RunPlugin(value(Modules() + "/testmodule::Keeper"));
    ASSERT_EQ(out.size(), 3u);
    const CImage* image = UnwrapPointer<CImage>(out[0].get());
    ASSERT_NE(image, nullptr);  // the borrowed image was copied before the node died
    EXPECT_EQ(image->Bytes()[0], 5);
    EXPECT_TRUE(out[1].empty());
    EXPECT_EQ(out[2]->Long(), 2);
}

TEST(RunPlugin, FailuresSayWhatFailed) {
    std::string modules = Modules();
    EXPECT_EQ(ErrorOf(modules + "/missing::Echo"),
              "module file '" + modules + "/missing.so' not found");
    EXPECT_EQ(ErrorOf(modules + "/brokenmodule::Echo"),
              "module '" + modules + "/brokenmodule.so' does not export 'CreatePluginInstanceEx'");
    EXPECT_EQ(ErrorOf(modules + "/testmodule::Nope"),
              "module '" + modules + "/testmodule.so' has no node 'Nope'");
    EXPECT_EQ(ErrorOf(modules + "/testmodule::Moved"),
              "plugin 'testmodule::Moved' has moved to 'elsewhere::Moved'");
    EXPECT_THROW(RunPlugin(value(modules + "/testmodule::Moved")), CExPluginRelocation);
    EXPECT_EQ(ErrorOf("no-separator"),
              "malformed plugin address 'no-separator': expected MODULE::NODE");
    EXPECT_EQ(ErrorOf(modules + "/testmodule::Echo"), "no error");
    EXPECT_THROW(RunPlugin(value(modules + "/testmodule::Echo")),
                 CException);  // the node's own failure
}

TEST(PluginModule, LoadsOnceAndListsItsNodes) {
    CPluginModule& module = CPluginModule::Load(Modules() + "/testmodule.so");
    CPluginModule& again = CPluginModule::Load(Modules() + "/../modules/testmodule.so");
    EXPECT_EQ(&module, &again);
    EXPECT_EQ(module.ListPlugins(), (std::vector<std::string>{"Echo", "Keeper", "Params"}));
    EXPECT_EQ(module.Create("echo"), nullptr);
}

TEST(PluginModule, ValuesAModuleMadeOutliveItsUnloading) {
    value_list out = RunPlugin(value(Modules() + "/testmodule::Maker"));
    ASSERT_EQ(out.size(), 1u);
    std::unique_ptr<CValue> shared = out[0]->CloneUnique(OWNERSHIP_SHALLOW);
    ASSERT_TRUE(CPluginModule::Unload(Modules() + "/testmodule.so"));
    EXPECT_EQ(UnwrapPointer<CImage>(shared.get())->Size(), CSize(3, 1));
    out.clear();
    shared.reset();  // the last owner frees the image with the framework's code
    EXPECT_FALSE(CPluginModule::Unload(Modules() + "/testmodule.so"));
}
