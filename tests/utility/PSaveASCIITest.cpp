#include <unistd.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

#include "NodeTesting.h"
#include "PReadASCII.h"
#include "PSaveASCII.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// ---- numbers: the writer against the stream itself ----

std::string StreamText(float value, std::ios::fmtflags floatfield, int precision) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.setf(floatfield, std::ios::floatfield);
    stream.precision(precision);
    stream << value;
    return stream.str();
}

std::string OurText(float value, std::ios::fmtflags floatfield, int precision) {
    CNumberWriter writer(floatfield, precision);
    std::string text(writer.MaxLength(), '\0');
    text.resize(static_cast<size_t>(writer.Write(text.data(), value) - text.data()));
    return text;
}

float FromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

const std::ios::fmtflags NOTATIONS[] = {std::ios::fmtflags(0), std::ios::fixed,
                                        std::ios::scientific};

void ExpectSameText(float value, std::ios::fmtflags floatfield, int precision) {
    EXPECT_EQ(OurText(value, floatfield, precision), StreamText(value, floatfield, precision))
        << std::hexfloat << value << " floatfield " << floatfield << " precision " << precision;
}

TEST(NumberWriter, WritesFloatsAsTheStream) {
    // Ties of every kind, powers of ten and their neighbours, the ends of the float range.
    std::vector<float> values = {
        0.0f,        -0.0f,        0.5f,     1.5f,          2.5f,       0.125f,     0.375f,
        1.0f / 3,    2.0f / 3,     9.5f,     99.5f,         999.5f,     9999999.5f, 1e8f,
        99999995.0f, 0.0001f,      0.00001f, 9.9999997e-5f, 123456.5f,  FLT_MAX,    -FLT_MAX,
        FLT_MIN,     FLT_TRUE_MIN, 1e-40f,   16777216.0f,   16777215.0f};
    values.push_back(std::numeric_limits<float>::infinity());
    values.push_back(-std::numeric_limits<float>::infinity());
    values.push_back(std::numeric_limits<float>::quiet_NaN());
    values.push_back(-std::numeric_limits<float>::quiet_NaN());
    for (int e = -45; e <= 38; ++e) {
        float power = std::pow(10.0f, static_cast<float>(e));
        for (float v : {power, std::nextafter(power, 0.0f), std::nextafter(power, HUGE_VALF)})
            values.push_back(v);
    }
    // Halves at every scale: k + 0.5 for small k, divided by powers of two.
    for (int k = 0; k < 2000; ++k)
        values.push_back(std::ldexp(static_cast<float>(2 * k + 1), -(k % 30)));
    for (float value : values)
        for (std::ios::fmtflags notation : NOTATIONS)
            for (int precision : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 12, 17, 40, 150})
                ExpectSameText(value, notation, precision);

    std::mt19937 random(13);
    std::uniform_real_distribution<float> uniform(-1000.0f, 1000.0f);
    for (int i = 0; i < 200000; ++i) {
        float value = i % 2 ? FromBits(static_cast<uint32_t>(random())) : uniform(random);
        std::ios::fmtflags notation = NOTATIONS[random() % 3];
        if (notation == std::ios::fixed && std::fabs(value) > 1e30f) continue;
        ExpectSameText(value, notation, static_cast<int>(random() % 12));
    }
}

TEST(NumberWriter, WritesIntegersAsTheStream) {
    for (uint32_t value : {0u, 1u, 9u, 10u, 65u, 255u, 65535u, 1000000u, 4294967295u}) {
        std::ostringstream stream;
        stream << value;
        char text[32];
        EXPECT_EQ(std::string(text, CNumberWriter::Write(text, value)), stream.str());
        EXPECT_EQ(std::string(text, CNumberWriter::Write(text, static_cast<uint8_t>(value))),
                  std::to_string(static_cast<uint8_t>(value)));
    }
}

// The matrix text as the plain stream writes it, value by value.
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

TEST(FormatMatrix, MatchesTheLiteralStreamLoop) {
    std::mt19937 random(17);
    std::uniform_real_distribution<float> uniform(-5.0f, 5.0f);
    // Enough values to fill the writer's buffer several times.
    CSize size(301, 97, 3);
    std::vector<float> floats(static_cast<size_t>(size.Elements()));
    for (float& v : floats)
        v = uniform(random);
    std::vector<uint16_t> shorts(floats.size());
    for (uint16_t& v : shorts)
        v = static_cast<uint16_t>(random());
    for (std::ios::fmtflags notation : NOTATIONS) {
        std::string text;
        auto append = [&](const char* piece, size_t length) { text.append(piece, length); };
        FormatMatrix(floats.data(), size, "# c", CNumberWriter(notation, 6), append);
        EXPECT_EQ(text, LiteralMatrix(floats, size, "# c", notation, 6));
    }
    std::string text;
    FormatMatrix(shorts.data(), size, "", CNumberWriter({}, 8),
                 [&](const char* piece, size_t length) { text.append(piece, length); });
    EXPECT_EQ(text, LiteralMatrix(shorts, size, "", {}, 8));

    // Empty rows and planes still end their lines, however many there are.
    for (CSize empty : {CSize(0, 300000, 1), CSize(2, 0, 3), CSize(0, 2, 2)}) {
        text.clear();
        FormatMatrix(floats.data(), empty, "", CNumberWriter({}, 8),
                     [&](const char* piece, size_t length) { text.append(piece, length); });
        EXPECT_EQ(text, LiteralMatrix(floats, empty, "", {}, 8));
    }
}

// ---- the nodes ----

class SaveASCII : public testing::Test {
  protected:
    void SetUp() override {
        m_directory = std::filesystem::temp_directory_path() /
                      ("orva-save-ascii-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_directory);
        m_path = (m_directory / "out.txt").string();
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    // Runs a file-mode node on `image` with `parameters` (filename defaults to m_path).
    void Save(const CValue& image, CValueMap parameters = {}) {
        if (!parameters.HasEntry("filename"))
            parameters.SetEntry("filename", new CValueString(m_path));
        CPSaveASCII node(false);
        Configure(node, parameters);
        node.SetStackInput(0, const_cast<CValue*>(&image));
        node.Run();
    }
    std::string Written() const {
        std::ifstream file(m_path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    // The string of ImageToString on `image`.
    static std::string AsString(const CValue& image, CValueMap parameters = {}) {
        CPSaveASCII node(true);
        Configure(node, parameters);
        node.SetStackInput(0, const_cast<CValue*>(&image));
        node.Run();
        return node.StackOutput(0)->String();
    }

    std::filesystem::path m_directory;
    std::string m_path;
};

CValueMap Format(const char* baseType, int32_t precision) {
    CValueMap parameters;
    parameters.SetEntry("base_type", new CValueString(baseType));
    parameters.SetEntry("precision", new CValueLong(precision));
    return parameters;
}

TEST_F(SaveASCII, WritesRowsPlanesAndNumberFormats) {
    struct SCase {
        std::unique_ptr<CValue> image;
        CValueMap parameters;
        std::string text;
    };
    SCase cases[] = {
        {ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1, 2, 3, 4}), {}, "1 2 \n3 4 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(2, 1, 2), {1, 2, 3, 4}), {}, "1 2 \n\n\n3 4 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {0.5f}), Format("fixed", 2), "0.50 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {0.5f}), Format("scientific", 2),
         "5.00e-01 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f / 3}), Format("dec", 8),
         "0.33333334 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f / 3}), Format("floatfield", 3),
         "0.333 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f / 3}), Format("dec", -4),
         "0.33333334 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f / 3}), Format("other", 2), "0.33 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {1e10f, -0.0f}), Format("dec", 0),
         "1e+10 -0 \n"},
        {ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {65, 255}), Format("fixed", 2),
         "65 255 \n"},
        {ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1}), {}, "0 1 \n"},
        {ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {65535}), {}, "65535 \n"},
        {ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {4294967295u}), {}, "4294967295 \n"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(0, 2), {}), {}, "\n\n"},
    };
    for (SCase& c : cases) {
        Save(*c.image, c.parameters);
        EXPECT_EQ(Written(), c.text);
        EXPECT_EQ(AsString(*c.image, c.parameters), c.text);
    }
}

TEST_F(SaveASCII, AppendsAndWritesTheCommentFirst) {
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {1.5f, 2.5f});
    CValueMap parameters;
    parameters.SetEntry("text", new CValueString("#made by a test"));
    Save(*image, parameters);
    parameters.SetEntry("append", new CValueBool(true));
    parameters.SetEntry("text", new CValueString(""));
    Save(*image, parameters);
    EXPECT_EQ(Written(), "#made by a test\n1.5 2.5 \n1.5 2.5 \n");
    parameters.SetEntry("append", new CValueBool(false));
    Save(*image, parameters);
    EXPECT_EQ(Written(), "1.5 2.5 \n");
}

TEST_F(SaveASCII, RoundTripsFloatsBitForBit) {
    std::mt19937 random(19);
    for (CSize size : {CSize(37, 23), CSize(11, 7, 5)}) {
        auto value = ImageValue<float>(IMAGE_GREY_F, size, {0.0f});
        CImage* image = UnwrapPointer<CImage>(value.get());
        float* data = image->Data<float>();
        for (int64_t i = 0; i < image->Pixels(); ++i) {
            uint32_t bits = static_cast<uint32_t>(random());
            std::memcpy(&data[i], &bits, sizeof bits);
            if (!std::isfinite(data[i])) data[i] = static_cast<float>(i) - 0.1f;
        }
        data[0] = -0.0f;
        data[1] = FLT_TRUE_MIN;
        data[2] = -FLT_MAX;
        CValueMap parameters = Format("dec", 9);
        parameters.SetEntry("text", new CValueString("# random floats"));
        Save(*value, parameters);

        CPReadASCII reader;
        CValueMap readParameters;
        readParameters.SetEntry("filename", new CValueString(m_path));
        Configure(reader, readParameters);
        reader.Run();
        const CImage& back = OutputImage(reader);
        EXPECT_EQ(back.Size(), size);
        ASSERT_EQ(back.ByteCount(), image->ByteCount());
        EXPECT_EQ(std::memcmp(back.Bytes(), image->Bytes(), image->ByteCount()), 0);
        EXPECT_EQ(back.Attributes().EntryString("comments"), "# random floats\n");
    }
}

TEST_F(SaveASCII, StdoutKeepsTheStreamFormat) {
    auto bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {10, 255});
    auto floats = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {0.25f});
    CValueMap decimal = Format("dec", 3), scientific = Format("scientific", 3);
    for (CValueMap* parameters : {&decimal, &scientific}) {
        parameters->SetEntry("filename", new CValueString("STDOUT"));
        parameters->SetEntry("text", new CValueString("# to the screen"));
        parameters->SetEntry("verbose", new CValueBool(true));
    }

    // A host that left standard output in hexadecimal: "dec" clears that for the bytes,
    // while the floats are written through the stream itself.
    std::ios::fmtflags flags = std::cout.flags();
    std::streamsize precision = std::cout.precision();
    std::cout << std::hex;
    std::cout.precision(5);
    std::cout.fill('*');
    std::string printed = CapturedStdout([&] {
        Save(*bytes, decimal);
        Save(*floats, scientific);
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

TEST_F(SaveASCII, VerboseSaysWhatItWrites) {
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f});
    CValueMap parameters = Format("fixed", -1);
    parameters.SetEntry("verbose", new CValueBool(true));
    EXPECT_EQ(CapturedStdout([&] { Save(*image, parameters); }),
              "(utility plugins) SaveASCII: writing image to '" + m_path +
                  "' in fixed notation and precision of -1\n");
    EXPECT_EQ(Written(), "1.00000000 \n");
    std::string text;
    EXPECT_EQ(CapturedStdout([&] { text = AsString(*image, parameters); }),
              "(utility plugins) ImageToString: converting image to string with in fixed "
              "notation and precision of -1\n");
    EXPECT_EQ(text, "1.00000000 \n");
}

TEST_F(SaveASCII, BadInputsAndDestinationsFailWithTheirMessage) {
    auto floats = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f});
    auto doubles = ImageValue<double>(IMAGE_GREY_D, CSize(1, 1), {1.0});
    CValueLong number(3);
    CValuePointer<CImage> empty;
    CPSaveASCII toString(true);
    Configure(toString);
    EXPECT_EQ(ErrorOf([&] { toString.Run(); }, true),
              "(utility plugins) ImageToString | input image is NULL");
    toString.SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { toString.Run(); }), "input 0 is not an image");
    toString.SetStackInput(0, &empty);
    EXPECT_EQ(ErrorOf([&] { toString.Run(); }), "input image is NULL");
    toString.SetStackInput(0, doubles.get());
    EXPECT_EQ(ErrorOf([&] { toString.Run(); }),
              "input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
              "IMAGE_GREY_32, nor IMAGE_MONO_BINARY");

    struct SCase {
        std::string filename;
        std::string message;
    } cases[] = {
        {m_directory.string(),
         "Can not open file for writing: '" + m_directory.string() + "' (no permissions?)"},
        {(m_directory / "missing" / "out.txt").string(),
         "Can not open file for writing: '" + (m_directory / "missing" / "out.txt").string() +
             "' (no permissions?)"},
        {"/dev/full", "Can not save file: '/dev/full' (no permissions or disk full?)"},
    };
    for (const SCase& c : cases) {
        CValueMap parameters;
        parameters.SetEntry("filename", new CValueString(c.filename));
        EXPECT_EQ(ErrorOf([&] { Save(*floats, parameters); }, true),
                  "(utility plugins) SaveASCII | " + c.message);
    }
    EXPECT_EQ(ErrorOf([&] { AsString(*floats, Format("fixed", 1001)); }),
              "precision 1001 is too large for the fixed notation: at most 1000 digits are "
              "written");
    EXPECT_EQ(AsString(*floats, Format("dec", 1001)), "1 \n");
}

TEST(ImageToString, DocumentDeclaresOnlyThePrecision) {
    CPSaveASCII node(true);
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString("name"), "ImageToString");
    EXPECT_EQ(setup.Entry("parameters")->Map()->Keys(), std::vector<std::string>{"precision"});
    EXPECT_EQ(setup.EntryString("__vimbroDocumentation"),
              "%ORVADIR%/doc/vimbro/html/utility/PImageToString/index.html");
    // The string mode reads no file name even when one is given.
    CValueMap parameters;
    parameters.SetEntry("filename", new CValueString("ignored.txt"));
    parameters.SetEntry("base_type", new CValueString("scientific"));
    Configure(node, parameters);
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {2.0f});
    node.SetStackInput(0, image.get());
    node.Run();
    EXPECT_EQ(node.StackOutput(0)->String(), "2.00000000e+00 \n");
    EXPECT_FALSE(std::filesystem::exists("ignored.txt"));
}

}  // namespace
