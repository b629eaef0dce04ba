#include <filesystem>
#include <iostream>
#include <locale>

#include "FileTesting.h"
#include "PSaveASCII.h"

using namespace ORVA;
using namespace testing_support;

namespace {

class SaveASCII : public FileTest {
  protected:
    // Runs the file mode on `image` (by default into m_path), or the string mode, whose
    // string it returns.
    std::string Run(const CValue& image, CValueMap parameters = {}, bool toString = false) {
        if (!parameters.HasEntry("filename"))
            parameters.SetEntry("filename", new CValueString(m_path));
        CPSaveASCII node(toString);
        Configure(node, parameters);
        node.SetStackInput(0, const_cast<CValue*>(&image));
        node.Run();
        return toString ? node.StackOutput(0)->String() : std::string();
    }

    std::string m_path = Path("out.txt");
};

std::unique_ptr<CValue> Floats(std::vector<float> samples, CSize size = CSize(1, 1)) {
    return ImageValue<float>(IMAGE_GREY_F, size, samples);
}

CValueMap Format(const char* baseType, int32_t precision) {
    return Parameters({{"base_type", baseType}, {"precision", precision}});
}

TEST_F(SaveASCII, WritesRowsPlanesAndNumberFormats) {
    struct SCase {
        std::unique_ptr<CValue> image;
        CValueMap parameters;
        std::string text;
    } cases[] = {
        // Rows, planes and integer widths are the writer's, tested against a plain stream.
        {Floats({1, 2, 3, 4}, CSize(2, 1, 2)), {}, "1 2 \n\n\n3 4 \n"},
        {Floats({0.5f}), Format("fixed", 2), "0.50 \n"},
        {Floats({0.5f}), Format("scientific", 2), "5.00e-01 \n"},
        {Floats({1.0f}), Format("fixed", -1), "1.00000000 \n"},  // a negative precision is 8
        {Floats({1.0f / 3}), Format("other", 2), "0.33 \n"},
        // Precision 0 is one significant digit, not the default.
        {Floats({123.456f, -0.0f}, CSize(2, 1)), Format("dec", 0), "1e+02 -0 \n"},
        {Floats({1.0f}), Format("dec", 1001), "1 \n"},
        {ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {65, 255}), Format("fixed", 2),
         "65 255 \n"},
        {ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1}), {}, "0 1 \n"},
    };
    for (SCase& c : cases) {
        Run(*c.image, c.parameters);
        EXPECT_EQ(FileBytes(m_path), c.text);
        // The string mode reads base_type too, though it does not declare it, and no file name.
        std::filesystem::remove(m_path);
        EXPECT_EQ(Run(*c.image, c.parameters, true), c.text);
        EXPECT_FALSE(std::filesystem::exists(m_path));
    }
}

TEST_F(SaveASCII, AppendsAfterTheCommentAndBlock) {
    auto image = Floats({1.5f, 2.5f}, CSize(2, 1));
    CValueMap parameters = Parameters({{"text", "#made by a test"}});
    Run(*image, parameters);
    parameters.SetEntry("append", new CValueBool(true));
    Run(*image, parameters);
    EXPECT_EQ(FileBytes(m_path), "#made by a test\n1.5 2.5 \n#made by a test\n1.5 2.5 \n");
    parameters.SetEntry("append", new CValueBool(false));
    Run(*image, parameters);
    EXPECT_EQ(FileBytes(m_path), "#made by a test\n1.5 2.5 \n");
}

TEST_F(SaveASCII, StdoutKeepsTheStreamFormat) {
    auto bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {10, 255});
    auto floats = Floats({0.25f});
    auto toScreen = [](const char* baseType) {
        return Parameters({{"filename", "STDOUT"},
                           {"text", "# to the screen"},
                           {"base_type", baseType},
                           {"precision", 3}});
    };
    // A host that left standard output in hexadecimal: "dec" clears that for the bytes,
    // while the floats are written through the stream itself.
    std::ios::fmtflags flags = std::cout.flags();
    std::streamsize precision = std::cout.precision();
    std::cout << std::hex;
    std::cout.precision(5);
    std::cout.fill('*');
    std::string printed = CapturedStdout([&] {
        Run(*bytes, toScreen("dec"));
        Run(*floats, toScreen("scientific"));
    });
    EXPECT_EQ(printed, "# to the screen\n10 255 \n# to the screen\n2.500e-01 \n");
    EXPECT_EQ(std::cout.flags(), (flags & ~std::ios::basefield) | std::ios::hex);
    EXPECT_EQ(std::cout.precision(), 5);
    EXPECT_EQ(std::cout.fill(), '*');
    EXPECT_EQ(std::cout.getloc(), std::locale());
    EXPECT_FALSE(std::filesystem::exists(m_path));
    std::cout.flags(flags);
    std::cout.precision(precision);
    std::cout.fill(' ');
}

// The string mode, made as ExpectFailures makes its nodes.
struct CStringMode : CPSaveASCII {
    CStringMode() : CPSaveASCII(true) {}
};

TEST_F(SaveASCII, BadInputsAndDestinationsFailWithTheirMessage) {
    auto doubles = ImageValue<double>(IMAGE_GREY_D, CSize(1, 1), {1.0});
    auto floats = Floats({1.0f});
    CValueLong number(3);
    CValuePointer<CImage> empty;
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input 0 is not an image"},
        {{&empty}, "input image is NULL"},
        {{doubles.get()},
         "input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
         "nor IMAGE_MONO_BINARY"},
        {{floats.get()},
         "precision 1001 is too large for the fixed notation: at most 1000 digits are written",
         {{"base_type", "fixed"}, {"precision", 1001}}},
    };
    ExpectFailures<CStringMode>("(utility plugins) ImageToString | ", failures);

    const std::pair<std::string, const char*> destinations[] = {
        {m_directory.string(), "Can not open file for writing: '%F' (no permissions?)"},
        {"/dev/full", "Can not save file: '%F' (no permissions or disk full?)"},
    };
    for (const auto& [filename, message] : destinations) {
        const std::string error = ErrorOf(
            [&] {
                Run(*floats, Parameters({{"filename", filename}}));
            },
            true);
        EXPECT_EQ(Replaced(error, filename, "%F"),
                  std::string("(utility plugins) SaveASCII | ") + message);
    }
}

}  // namespace
