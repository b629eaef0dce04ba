#include "FileTesting.h"
#include "PStringToImage.h"

using namespace ORVA;
using namespace testing_support;

namespace {

CValueMap Data(const char* text) {
    return Parameters({{"data_string", text}});
}

TEST(StringToImage, ReadsRowsOfTheString) {
    struct SCase {
        const char* text;
        CSize size;
        std::vector<float> pixels;
    } cases[] = {
        {nullptr, CSize(3, 3, 1), {1, 0, 0, 0, 1, 0, 0, 0, 1}},
        {"1 0 0 \n 0 1 0 \n 0 0 1\n", CSize(3, 3, 1), {1, 0, 0, 0, 1, 0, 0, 0, 1}},
        // No planes: empty lines and comments are skipped; value-less lines are no rows.
        {"# header\\n1.5 -2\\n\\n\\n3e1 4 x 7\\nwords\\n5 6",
         CSize(2, 3, 1),
         {1.5f, -2, 30, 4, 5, 6}},
        {"", CSize(0, 0, 1), {}},
    };
    for (const SCase& c : cases) {
        CPStringToImage node;
        Configure(node, c.text ? Data(c.text) : CValueMap());
        node.Run();
        const CImage& image = OutputImage(node);
        EXPECT_EQ(image.Size(), c.size) << (c.text ? c.text : "default");
        EXPECT_EQ(Samples<float>(image), c.pixels) << (c.text ? c.text : "default");
    }
}

TEST(StringToImage, RowsOfDifferentLengthPrintAndSetNothing) {
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
}

}  // namespace
