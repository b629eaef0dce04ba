#include <bit>
#include <cfloat>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

#include "FileTesting.h"
#include "PSaveASCII.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// ---- numbers: the writer against `stream << value` itself ----

const std::ios::fmtflags NOTATIONS[] = {std::ios::fmtflags(0), std::ios::fixed,
                                        std::ios::scientific};

// The matrix text as a plain classic-locale stream writes it, value by value.
template <class T>
std::string LiteralMatrix(const std::vector<T>& data, CSize size, const std::string& comment,
                          std::ios::fmtflags floatfield, int precision) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.setf(floatfield, std::ios::floatfield);
    stream.precision(precision);
    if (!comment.empty()) stream << comment << "\n";
    size_t i = 0;
    for (int64_t z = 0; z < size.z; ++z) {
        for (int64_t y = 0; y < size.y; ++y) {
            for (int64_t x = 0; x < size.x; ++x, ++i) {
                if constexpr (std::is_floating_point_v<T>)
                    stream << data[i] << " ";
                else
                    stream << static_cast<unsigned>(data[i]) << " ";
            }
            stream << "\n";
        }
        if (z + 1 < size.z) stream << "\n\n";
    }
    return stream.str();
}

template <class T>
std::string Formatted(const std::vector<T>& data, CSize size, const std::string& comment,
                      std::ios::fmtflags floatfield, int precision) {
    std::string text;
    FormatMatrix(data.data(), size, comment, CNumberWriter(floatfield, precision),
                 [&](const char* piece, size_t length) { text.append(piece, length); });
    return text;
}

void ExpectSameText(float value, std::ios::fmtflags notation, int precision) {
    CNumberWriter writer(notation, precision);
    std::string ours(writer.MaxLength(), '\0');
    ours.resize(static_cast<size_t>(writer.Write(ours.data(), value) - ours.data()));
    EXPECT_EQ(ours + " \n", LiteralMatrix<float>({value}, CSize(1, 1), "", notation, precision))
        << std::hexfloat << value << " notation " << notation << " precision " << precision;
}

TEST(NumberWriter, WritesFloatsAsTheStream) {
    // Ties of every kind, powers of ten and their neighbours, the ends of the float range.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> values = {
        0.0f,     -0.0f,   0.5f,         1.5f,       2.5f,       0.125f,    0.375f,        1.0f / 3,
        9.5f,     99.5f,   1e8f,         9999999.5f, 0.0001f,    123456.5f, 9.9999997e-5f, FLT_MAX,
        -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, HUGE_VALF,  -HUGE_VALF, nan,       -nan};
    for (int e = -45; e <= 38; ++e) {
        float power = std::pow(10.0f, static_cast<float>(e));
        for (float v : {power, std::nextafter(power, 0.0f), std::nextafter(power, HUGE_VALF)})
            values.push_back(v);
    }
    for (int k = 0; k < 2000; ++k)  // odd numbers halved again and again
        values.push_back(std::ldexp(static_cast<float>(2 * k + 1), -(k % 30)));
    for (float value : values)
        for (std::ios::fmtflags notation : NOTATIONS)
            for (int precision : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 12, 17, 40, 150})
                ExpectSameText(value, notation, precision);

    std::mt19937 random(13);
    std::uniform_real_distribution<float> uniform(-1000.0f, 1000.0f);
    for (int i = 0; i < 200000; ++i) {
        float value =
            i % 2 ? std::bit_cast<float>(static_cast<uint32_t>(random())) : uniform(random);
        std::ios::fmtflags notation = NOTATIONS[random() % 3];
        if (notation != std::ios::fixed || std::fabs(value) < 1e30f)
            ExpectSameText(value, notation, static_cast<int>(random() % 12));
    }
}

TEST(FormatMatrix, WritesAsTheLiteralStreamLoop) {
    std::mt19937 random(17);
    std::uniform_real_distribution<float> uniform(-5.0f, 5.0f);
    CSize size(301, 97, 3);  // fills the writer's buffer several times
    std::vector<float> floats(static_cast<size_t>(size.Elements()));
    for (float& v : floats)
        v = uniform(random);
    for (std::ios::fmtflags notation : NOTATIONS)
        EXPECT_EQ(Formatted(floats, size, "# c", notation, 6),
                  LiteralMatrix(floats, size, "# c", notation, 6));
    std::vector<uint8_t> bytes(floats.size());
    std::vector<uint16_t> shorts(floats.size());
    std::vector<uint32_t> longs(floats.size());
    for (size_t i = 0; i < floats.size(); ++i)
        longs[i] = shorts[i] = bytes[i] = static_cast<uint8_t>(random());
    longs[0] = 4294967295u;
    EXPECT_EQ(Formatted(bytes, size, "", {}, 8), LiteralMatrix(bytes, size, "", {}, 8));
    EXPECT_EQ(Formatted(shorts, size, "", {}, 8), LiteralMatrix(shorts, size, "", {}, 8));
    EXPECT_EQ(Formatted(longs, size, "", {}, 8), LiteralMatrix(longs, size, "", {}, 8));
    // Empty rows and planes still end their lines, however many there are.
    for (CSize empty : {CSize(0, 300000, 1), CSize(2, 0, 3), CSize(0, 2, 2)})
        EXPECT_EQ(Formatted(floats, empty, "", {}, 8), LiteralMatrix(floats, empty, "", {}, 8));
}

// ---- the nodes ----

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
        {Floats({1, 2, 3, 4}, CSize(2, 2)), {}, "1 2 \n3 4 \n"},
        {Floats({1, 2, 3, 4}, CSize(2, 1, 2)), {}, "1 2 \n\n\n3 4 \n"},
        {Floats({0.5f}), Format("fixed", 2), "0.50 \n"},
        {Floats({0.5f}), Format("scientific", 2), "5.00e-01 \n"},
        {Floats({1.0f}), Format("fixed", -1), "1.00000000 \n"},  // a negative precision is 8
        {Floats({1.0f / 3}), Format("other", 2), "0.33 \n"},
        {Floats({1e10f, -0.0f}, CSize(2, 1)), Format("dec", 0), "1e+10 -0 \n"},
        {Floats({1.0f}), Format("dec", 1001), "1 \n"},
        {ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {65, 255}), Format("fixed", 2),
         "65 255 \n"},
        {ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1}), {}, "0 1 \n"},
        {ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {65535}), {}, "65535 \n"},
        {ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {4294967295u}), {}, "4294967295 \n"},
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
