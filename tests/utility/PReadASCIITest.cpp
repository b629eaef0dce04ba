#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <locale>
#include <random>
#include <sstream>

#include "FileTesting.h"
#include "PReadASCII.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// ---- numbers: the reader against `stream >> float` itself ----

// The values read (as bit patterns) and where reading stopped after each.
using Reading = std::vector<std::pair<uint32_t, size_t>>;

uint32_t Bits(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

Reading StreamReading(std::string text, char separator) {
    if (separator != '\0') std::replace(text.begin(), text.end(), separator, ' ');
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    Reading reading;
    for (float value; stream >> value;)
        reading.emplace_back(Bits(value),
                             stream.eof() ? text.size() : static_cast<size_t>(stream.tellg()));
    return reading;
}

void ExpectSameReading(const std::string& text, char separator = '\0') {
    CFloatReader reader(separator);
    const char* p = text.data();
    Reading ours;
    for (float value; reader.Read(p, text.data() + text.size(), value);)
        ours.emplace_back(Bits(value), static_cast<size_t>(p - text.data()));
    EXPECT_EQ(ours, StreamReading(text, separator)) << "'" << text << "' by '" << separator << "'";
    EXPECT_EQ(reader.Count(text), static_cast<int64_t>(ours.size())) << text;
}

std::string Printed(const char* format, double value) {
    char text[512];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

TEST(FloatReader, ReadsTokensAndStopsAsTheStream) {
    // Signs, points, exponents, words, hexadecimal, the ends of the float range.
    std::string tokens =
        "1|+1|-1|1e|1e+|1e-|1E5|1e+05|1.5.3|0x1p3|0X10|inf|-inf|nan|NaN|infinity|.|-|+|+.|-.|.5|"
        "-.5|5.|-.e5|0.e5|1.e|e5|--5|+-5|1e5e3|1ex|1ee5|1-2|1+2|1e--5|1e+-5|1.2e-3.4|00012|-0|"
        "-0.0e0|0e999999999999999999|1e40|-1e40|3.4028235e38|3.40282356e38|3.4028236e38|"
        "340282356779733661637539395458142568448|340282366920938463463374607431768211456|1e-38|"
        "1.17549435e-38|1e-45|1.4e-45|7e-46|7.006e-46|7.0064923216240854e-46|7.1e-46|1e-50|"
        "-1e-50|1e-400|1e400|1e99999999999999999999|1e-99999999999999999999|123456789012345678|"
        "0.000000000000000000000000000000001234|9007199254740993|16777217|16777216.5|0.1|1,5|"
        "\x01"
        "5|5\x85|\xa0"
        "2|1\t2|1\v2|1\f2|1\r2|1\n2|   | 7";
    std::string joined;
    for (size_t start = 0; start <= tokens.size();) {
        size_t bar = std::min(tokens.find('|', start), tokens.size());
        ExpectSameReading(tokens.substr(start, bar - start));
        joined += tokens.substr(start, bar - start);
        start = bar + 1;
    }
    ExpectSameReading(joined);  // where one token stops, the next starts

    std::mt19937 random(3);
    auto digits = [&](int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text.push_back(static_cast<char>('0' + random() % 10));
        return text;
    };
    // Mantissas of 400 digits, with the point and the exponent anywhere.
    for (int i = 0; i < 200; ++i) {
        std::string mantissa = digits(400);
        mantissa.insert(random() % 401, ".");
        ExpectSameReading(mantissa + "e" + std::to_string(static_cast<int>(random() % 900) - 450));
    }
    // Random text of number characters and others, with and without a separator.
    const std::string alphabet = "0123456789.eE+- \t\r,;x#inaf";
    for (int i = 0; i < 30000; ++i) {
        std::string text;
        for (size_t k = random() % 24; k > 0; --k)
            text.push_back(alphabet[random() % alphabet.size()]);
        ExpectSameReading(text);
        ExpectSameReading(text, alphabet[random() % alphabet.size()]);
    }
}

TEST(FloatReader, RoundsAsTheStream) {
    std::mt19937 random(11);
    for (int i = 0; i < 100000; ++i) {
        // Short decimals at every scale, the ground of the fast conversion.
        std::string mantissa = std::to_string(random() % 100000000) + std::to_string(random());
        mantissa = mantissa.substr(0, 1 + random() % mantissa.size());
        mantissa.insert(random() % (mantissa.size() + 1), ".");
        ExpectSameReading((random() % 2 ? "-" : "") + mantissa + "e" +
                          std::to_string(static_cast<int>(random() % 70) - 35));

        // Every float as printf writes it, the exact midpoint to its neighbour, and short
        // mantissas as close to that midpoint as they get: the hardest cases of rounding
        // through a double.
        float value = std::bit_cast<float>(static_cast<uint32_t>(random()));
        if (!std::isfinite(value)) continue;
        double middle = (static_cast<double>(value) + std::nextafter(value, HUGE_VALF)) / 2;
        for (const char* format : {"%.9g", "%.8g", "%a"})
            ExpectSameReading(Printed(format, value));
        for (const char* format : {"%.160g", "%.8e", "%.11e", "%.14e", "%.16e"})
            ExpectSameReading(Printed(format, middle));
        ExpectSameReading(Printed("%.160f", middle) + "0000001");
    }
}

TEST(LineSeparatorCandidate, PointsAreDecimalPointsUnlessTheyPartEveryRun) {
    const std::pair<const char*, char> cases[] = {
        {"1.5,2.5", ','}, {"1.2.3", '.'}, {"1.5 2.5", '\0'}, {"1.5E+3", '\0'}, {"1;2;3", ';'},
        {"-1e5 2", '\0'}, {"", '\0'},     {"1.5", '.'},      {"1.", '\0'},     {"a,b;c", '\0'},
        {"1,5;6", ','},   {"1\t2", '\t'}, {"1.5;2.5;", ';'}, {"1 2\r", '\r'},  {"x.1", 'x'}};
    for (const auto& [line, separator] : cases)
        EXPECT_EQ(LineSeparatorCandidate(line), separator) << line;
}

// ---- the node ----

class ReadASCII : public FileTest {
  protected:
    // Reads `content` with `separator`: what the node printed (with verbose), then the size and
    // the samples of the image, or the location and message of the failure.
    std::string Outcome(const std::string& content, const char* separator = "WHITE_SPACE",
                        bool verbose = false) {
        WriteFile(Path("matrix.txt"), content);
        CPReadASCII node;
        Configure(node, Parameters({{"filename", Path("matrix.txt")},
                                    {"separator", separator},
                                    {"verbose", verbose}}));
        std::string error;
        std::string printed = CapturedStdout([&] { error = ErrorOf([&] { node.Run(); }, true); });
        if (error != "no exception") {
            EXPECT_FALSE(node.IsStackOutputSet(0)) << content;
            return printed + error;
        }
        const CImage& image = OutputImage(node);
        EXPECT_EQ(image.Type(), IMAGE_GREY_F);
        std::ostringstream text;
        text << printed << image.Size().ToString();
        for (float value : Samples<float>(image))
            text << " " << value;
        return text.str();
    }
};

TEST_F(ReadASCII, SizesComeFromTheLayout) {
    const std::string inconsistent = "(file plugins) ReadASCII::Run | inconsistent data in ";
    const std::pair<const char*, std::string> cases[] = {
        {"1 2 3", "(3, 1, 1) 1 2 3"},
        {"", "(0, 0, 1)"},
        {"1 2\n3 4\n\n\n5 6\n7 8\n", "(2, 2, 2) 1 2 3 4 5 6 7 8"},
        {"1 2\n3 4\n\n5 6\n7 8\n", "(2, 4, 1) 1 2 3 4 5 6 7 8"},
        // After the first pair of empty lines one is enough.
        {"1\n\n\n2\n\n3\n", "(1, 1, 3) 1 2 3"},
        // A comment between the empty lines and the data suppresses the break.
        {"1\n2\n\n\n3\n\n#c\n4\n", "(1, 2, 2) 1 2 3 4"},
        // A value-less line after a break still opens a plane.
        {"# only a comment\n\n\nno numbers here\n", "(0, 0, 2)"},
        // A carriage return keeps a line from being empty.
        {"1 2\r\n\r\n\r\n3 4\r\n", "(2, 2, 1) 1 2 3 4"},
        // Values up to the first token that does not convert; value-less lines are no rows.
        {"1 2 x 3\n4 5 1e\nwords\n   \n6 7", "(2, 3, 1) 1 2 4 5 6 7"},
        {"1.5.5 -2e1-3\n", "(4, 1, 1) 1.5 0.5 -20 -3"},
        // Values kept by the first pass until the file turns denser than they are.
        {"1.25000000000000000000 2.5\n3 4\n3 4\n3 4\n3 4\n3 4\n3 4\n3 4\n3 4\n3 4\n3 4\n",
         "(2, 11, 1) 1.25 2.5 3 4 3 4 3 4 3 4 3 4 3 4 3 4 3 4 3 4 3 4"},
        {"1 2 3\n4 5\n", inconsistent + "x direction!"},
        {"1\n2\n\n\n3\n4\n\n\n5\n6\n7\n", inconsistent + "the last plane in z direction!"},
        {"1\n2\n\n\n3\n4\n5\n\n\n6\n7\n8\n", inconsistent + "z direction!"},
        // "x" opens an empty plane; two empty lines first give an empty first plane.
        {"1\n\n\nx\n\n2\n", inconsistent + "z direction!"},
        {"\n\n1 2\n", inconsistent + "the last plane in z direction!"},
    };
    for (const auto& [content, expected] : cases)
        EXPECT_EQ(Outcome(content), expected) << content;
}

TEST_F(ReadASCII, SeparatorChoices) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"1,2,3\n", "COMMA", "Chosen separator: ,\nthe depth is 1\n(3, 1, 1) 1 2 3"},
        {"1,2,3\n", "WHITE_SPACE", "the depth is 1\n(1, 1, 1) 1"},
        {"1.5\n", ".", "Chosen separator: .\nthe depth is 1\n(2, 1, 1) 1 5"},
        {"1W2\n", "WHITE SPACE", "Chosen separator: W\nthe depth is 1\n(2, 1, 1) 1 2"},
        {"1;2\n3;4\n5;6\n", "AUTO", "Separator is: ;\nthe depth is 1\n(2, 3, 1) 1 2 3 4 5 6"},
        {"1,2\n3,4\n5;6\n", "AUTO", "Unexpected Error\nthe depth is 1\n(1, 3, 1) 1 3 5"},
        {"1 2\n3 4\n", "AUTO", "No separator found\nthe depth is 1\n(2, 2, 1) 1 2 3 4"},
        {"# a;b\n\n1.5|2.5\n", "AUTO", "Separator is: |\nthe depth is 1\n(2, 1, 1) 1.5 2.5"},
    };
    for (const auto& [content, separator, expected] : cases)
        EXPECT_EQ(Outcome(content, separator, true), expected) << content << " with " << separator;
}

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

TEST_F(ReadASCII, BadFilesEndInAnImageOrAClearError) {
    const std::string location = "(file plugins) ReadASCII::Run";
    for (std::string path : {Path("missing.txt"), m_directory.string()}) {
        CPReadASCII node;
        Configure(node, Parameters({{"filename", path}}));
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  location + " | " + location + "Can not open file: '" + path + "'");
    }

    std::mt19937 random(5);
    std::string garbage;  // NUL bytes included
    for (int i = 0; i < 200000; ++i)
        garbage.push_back(static_cast<char>(random()));
    std::string outcome = Outcome(garbage);
    EXPECT_TRUE(outcome.find("(") == 0 || outcome.find(location + " | inconsistent") == 0)
        << outcome.substr(0, 200);

    // Lines far longer than the reading window.
    std::string line;
    for (int i = 0; i < 1000000; ++i)
        line += std::to_string(i % 10) + " ";
    std::string wide = Outcome(line + "\n" + line);
    EXPECT_EQ(wide.size(), 15 + 2 * 2000000u);
    EXPECT_EQ(wide.substr(0, 23) + wide.substr(wide.size() - 6), "(1000000, 2, 1) 0 1 2 3 7 8 9");

    // A big file whose only inconsistent row is near its end.
    std::string rows;
    for (int i = 0; i < 200000; ++i)
        rows += "1.25 2.5 3.75 4\n";
    EXPECT_EQ(Outcome(rows + "1 2 3\n" + rows.substr(0, 100)),
              location + " | inconsistent data in x direction!");
}

}  // namespace
