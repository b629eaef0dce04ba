#include "FileTesting.h"
#include "PStringToImage.h"

using namespace ORVA;
using namespace testing_support;

namespace {

CValueMap Data(const char* text) {
    return Parameters({{"data_string", text}});
}

TEST(StringToImage, RaggedRowsPrintAndSetNothing) {
    CPStringToImage node;
    Configure(node, Data("1 2 3\\n4 5"));
    EXPECT_EQ(CapturedStdout([&] { node.Run(); }), "inconsistent data\n");
    EXPECT_FALSE(node.IsStackOutputSet(0));
}

TEST(StringToImage, RunRewritesTheTextAndRunOnceSkips) {
    CPStringToImage node;
    CValueMap parameters = Data("1 2\\n3 4");
    Configure(node, parameters);
    node.Run();
    EXPECT_EQ(node.DataString(), "1 2\n3 4 \\n");
    node.Run();
    EXPECT_EQ(node.DataString(), "1 2\n3 4 \n \\n");
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{1, 2, 3, 4}));
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString("parameters/data_string"), "1 2\n3 4 \n \\n");

    parameters.SetEntry("run_once", new CValueBool(true));
    Configure(node, parameters);
    EXPECT_EQ(node.DataString(), "1 2\\n3 4");
    node.Run();
    const CImage* first = &OutputImage(node);
    node.Run();
    EXPECT_EQ(&OutputImage(node), first);
    EXPECT_EQ(node.DataString(), "1 2\n3 4 \\n");
    // Without the keys NodeInit goes back to the identity and to running every time.
    node.Parameters().RemoveEntry("data_string");
    node.Parameters().RemoveEntry("run_once");
    node.NodeInit();
    node.Run();
    const CImage* again = &OutputImage(node);
    node.Run();
    EXPECT_NE(&OutputImage(node), again);
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 3, 1));
}

}  // namespace
