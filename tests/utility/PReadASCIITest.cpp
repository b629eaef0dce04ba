#include <random>

#include "FileTesting.h"
#include "PReadASCII.h"

using namespace ORVA;
using namespace testing_support;

namespace {

using ReadASCII = FileTest;
const std::string LOCATION = "(file plugins) ReadASCII::Run";

TEST_F(ReadASCII, CommentsPathsAndLabels) {
    WriteFile(Path("values.txt"), "#first,line\n1,2\n# second\n");
    CScopedVariable directory("ORVA_TEST_ASCII_DIR", m_directory.c_str());
    CScopedVariable unset("ORVA_TEST_ASCII_UNSET", nullptr);
    CPReadASCII node;
    Configure(node, {{"filename", "%ORVA_TEST_ASCII_DIR%/%ORVA_TEST_ASCII_UNSET%values.txt"},
                     {"separator", "COMMA"}});
    node.Run();
    const CImage& image = OutputImage(node);
    EXPECT_EQ(Samples<float>(image), (std::vector<float>{1, 2}));
    EXPECT_EQ(image.Attributes().EntryString("comments"), "#first line\n# second\n");
    EXPECT_EQ(image.Attributes().EntryString("image_path"), Path("values.txt"));
    EXPECT_EQ(node.Parameters().EntryString("ui/tooltip"), Path("values.txt"));
    EXPECT_EQ(node.Parameters().EntryString("ui/label"), "values.txt");
}

TEST_F(ReadASCII, RunOnceReadsOnceUntilNodeInit) {
    WriteFile(Path("m.txt"), "1 2\n");
    CPReadASCII node;
    Configure(node, {{"filename", Path("m.txt")}, {"run_once", true}});
    node.Run();
    WriteFile(Path("m.txt"), "3\n");
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{1, 2}));
    // A NodeInit without the key keeps the switch but reads again.
    node.Parameters().RemoveEntry("run_once");
    node.NodeInit();
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{3}));
    WriteFile(Path("m.txt"), "4\n");
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{3}));
}

TEST_F(ReadASCII, PipesAreReadOnceWhateverTheSeparator) {
    for (const char* separator : {"AUTO", "WHITE_SPACE"}) {
        CPipe pipe("# c\n1;2\n3;4\n\n\n5;6\n7;8\n", true);
        CPReadASCII node;
        Configure(node, {{"filename", pipe.Path()}, {"separator", separator}});
        node.Run();
        const CImage& image = OutputImage(node);
        const std::vector<float> expected = std::string(separator) == "AUTO"
                                                ? std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8}
                                                : std::vector<float>{1, 3, 5, 7};
        EXPECT_EQ(Samples<float>(image), expected) << separator;
        EXPECT_EQ(image.Attributes().EntryString("comments"), "# c\n");
    }
}

TEST_F(ReadASCII, BadFilesEndInAnImageOrAClearError) {
    for (std::string path : {Path("missing.txt"), m_directory.string()}) {
        CPReadASCII node;
        Configure(node, Parameters({{"filename", path}}));
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  LOCATION + " | " + LOCATION + "Can not open file: '" + path + "'");
    }
    // Random bytes, NUL included.
    std::mt19937 random(5);
    std::string garbage;
    for (int i = 0; i < 200000; ++i)
        garbage.push_back(static_cast<char>(random()));
    WriteFile(Path("garbage.txt"), garbage);
    CPReadASCII node;
    Configure(node, Parameters({{"filename", Path("garbage.txt")}}));
    std::string error = ErrorOf([&] { node.Run(); }, true);
    EXPECT_TRUE(error == "no exception" || error.starts_with(LOCATION + " | inconsistent"))
        << error;
}

}  // namespace
