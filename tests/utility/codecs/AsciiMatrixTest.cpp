// The text matrix format: its number reader and writer against the classic-locale streams
// they stand in for, separators, layouts of files and strings.
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

#include "FileTesting.h"
#include "codecs/AsciiMatrix.h"

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

TEST(LineSeparatorCandidate, PointsAreDecimalPointsUnlessTheyPartEveryRun) {
    const std::pair<const char*, char> cases[] = {
        {"1.5,2.5", ','}, {"1.2.3", '.'}, {"1.5 2.5", '\0'}, {"1.5E+3", '\0'}, {"1;2;3", ';'},
        {"-1e5 2", '\0'}, {"", '\0'},     {"1.5", '.'},      {"1.", '\0'},     {"a,b;c", '\0'},
        {"1,5;6", ','},   {"1\t2", '\t'}, {"1.5;2.5;", ';'}, {"1 2\r", '\r'},  {"x.1", 'x'}};
    for (const auto& [line, separator] : cases)
        EXPECT_EQ(LineSeparatorCandidate(line), separator) << line;
}

template <class T>
std::string Formatted(const std::vector<T>& data, CSize size, const std::string& comment,
                      std::ios::fmtflags floatfield, int precision) {
    std::string text;
    FormatMatrix(data.data(), size, comment, CNumberWriter(floatfield, precision),
                 [&](const char* piece, size_t length) { text.append(piece, length); });
    return text;
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

// ---- matrix files and strings ----

class MatrixFile : public FileTest {
  protected:
    // Reads `content` with `separator`: what was said on the log, then the size and the
    // samples of the image, or the location and message of the failure.
    std::string Outcome(const std::string& content, const char* separator = "WHITE_SPACE",
                        bool verbose = false) {
        WriteFile(Path("matrix.txt"), content);
        std::ostringstream log, text;
        SMatrixFile matrix;
        std::string error = ErrorOf(
            [&] {
                matrix =
                    ReadMatrixFile(Path("matrix.txt"), separator, verbose ? &log : nullptr, "here");
            },
            true);
        if (!matrix.image) return log.str() + error;
        text << log.str() << matrix.image->Size().ToString();
        for (float value : Samples<float>(*matrix.image))
            text << " " << value;
        return text.str();
    }
};

TEST_F(MatrixFile, SizesComeFromTheLayout) {
    const std::string inconsistent = "here | inconsistent data in ";
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

TEST_F(MatrixFile, SeparatorChoices) {
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

TEST_F(MatrixFile, LinesLongerThanTheWindow) {
    std::string line;
    for (int i = 0; i < 1000000; ++i)
        line += std::to_string(i % 10) + " ";
    std::string wide = Outcome(line + "\n" + line);
    EXPECT_EQ(wide.size(), 15 + 2 * 2000000u);
    EXPECT_EQ(wide.substr(0, 23) + wide.substr(wide.size() - 6), "(1000000, 2, 1) 0 1 2 3 7 8 9");
}

TEST(MatrixString, RowsWithoutPlanes) {
    struct SCase {
        const char* text;
        CSize size;
        std::vector<float> pixels;
    } cases[] = {
        {"1 0 0 \n 0 1 0 \n 0 0 1\n", CSize(3, 3, 1), {1, 0, 0, 0, 1, 0, 0, 0, 1}},
        // Empty lines and comments are skipped; value-less lines are no rows.
        {"# header\n1.5 -2\n\n\n3e1 4 x 7\nwords\n5 6", CSize(2, 3, 1), {1.5f, -2, 30, 4, 5, 6}},
        {"", CSize(0, 0, 1), {}},
    };
    for (const SCase& c : cases) {
        std::unique_ptr<CImage> image = ReadMatrixString(c.text);
        ASSERT_TRUE(image) << c.text;
        EXPECT_EQ(image->Size(), c.size) << c.text;
        EXPECT_EQ(Samples<float>(*image), c.pixels) << c.text;
    }
    EXPECT_FALSE(ReadMatrixString("1 2 3\n4 5"));
}

}  // namespace
