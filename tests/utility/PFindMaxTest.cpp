#include "PFindMax.h"

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "DrawingTesting.h"
#include "Threshold.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The maxima by their definition: every window scanned, plateaus flooded.
template <class T>
std::vector<std::pair<int64_t, double>> Literal(const std::vector<T>& data, CSize size, int64_t r,
                                                double threshold) {
    auto at = [&](int64_t x, int64_t y, int64_t z) { return (z * size.y + y) * size.x + x; };
    auto inside = [&](int64_t x, int64_t y) {
        return x >= 0 && y >= 0 && x < size.x && y < size.y;
    };
    std::vector<bool> maximum(data.size()), seen(data.size());
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x) {
                bool is = static_cast<double>(data[at(x, y, z)]) > threshold;
                for (int64_t v = y - r; v <= y + r; ++v)
                    for (int64_t u = x - r; is && u <= x + r; ++u)
                        is = !(inside(u, v) && data[at(u, v, z)] > data[at(x, y, z)]);
                maximum[at(x, y, z)] = is;
            }
    std::function<void(int64_t, int64_t, int64_t, T)> flood = [&](int64_t x, int64_t y, int64_t z,
                                                                  T value) {
        if (!inside(x, y) || seen[at(x, y, z)] || !maximum[at(x, y, z)] ||
            data[at(x, y, z)] != value)
            return;
        seen[at(x, y, z)] = true;
        for (int64_t dy = -1; dy <= 1; ++dy)
            for (int64_t dx = -1; dx <= 1; ++dx)
                flood(x + dx, y + dy, z, value);
    };
    std::vector<std::pair<int64_t, double>> peaks;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x)
                if (maximum[at(x, y, z)] && !seen[at(x, y, z)]) {
                    peaks.push_back({at(x, y, z), static_cast<double>(data[at(x, y, z)])});
                    flood(x, y, z, data[at(x, y, z)]);
                }
    return peaks;
}

// Maxima of a random image of `levels` values (and NaN among floats) as defined, for radii of
// both filters and beyond the image.
template <class T>
void ExpectLiteralMaxima(CSize size, int levels, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> data(static_cast<size_t>(size.Elements()));
    for (T& v : data) {
        v = static_cast<T>(random() % levels);
        if constexpr (std::is_floating_point_v<T>)
            if (random() % 7 == 0) v = NaN;
    }
    for (int64_t r : {0, 1, 2, 3, 4, 7, 40})
        for (double threshold : {-1.0, 0.0, 1.5}) {
            std::vector<std::pair<int64_t, double>> found;
            for (const CPFindMax::SPeak& p : CPFindMax::Maxima(data.data(), size, r, threshold))
                found.push_back({p.index, p.value});
            EXPECT_EQ(found, Literal(data, size, r, threshold))
                << size.ToString() << " radius " << r << " threshold " << threshold;
        }
}

}  // namespace

TEST(FindMax, MaximaAsDefinedWithPlateausOnce) {
    // Few levels make plateaus of every shape.
    ExpectLiteralMaxima<uint8_t>(CSize(9, 7, 2), 3, 1);
    ExpectLiteralMaxima<float>(CSize(13, 6, 1), 4, 2);
    ExpectLiteralMaxima<uint16_t>(CSize(40, 31, 1), 6, 3);
    ExpectLiteralMaxima<uint32_t>(CSize(1, 9, 2), 2, 4);
}

TEST(FindMax, SortedTableLabelsAndCount) {
    // Maxima 5 at (1, 0), 7 at (4, 0) and (4, 2), 9 at (0, 2), 3 at (2, 2); a U-shaped
    // plateau of 6 in the plane below counts once.
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(6, 3, 2), {1, 5, 1, 0, 7, 0,  //
                                                         1, 1, 1, 0, 0, 0,  //
                                                         9, 0, 3, 0, 7, 0,  //
                                                         6, 0, 0, 0, 6, 0,  //
                                                         6, 6, 6, 6, 6, 0,  //
                                                         0, 0, 0, 0, 0, 0});
    std::unique_ptr<CValue> labels =
        ImageValue<uint8_t>(IMAGE_GREY_8, CSize(6, 3, 2), {1, 1, 0, 0, 2, 2,  //
                                                           1, 1, 0, 5, 2, 2,  //
                                                           3, 3, 3, 0, 2, 2,  //
                                                           0, 0, 0, 0, 0, 0,  //
                                                           0, 0, 0, 0, 0, 0,  //
                                                           0, 0, 0, 0, 0, 0});
    const struct {
        const char* json;
        const CValue* labels;
        std::vector<float> rows;  // label, x, y, z, value
    } cases[] = {
        {"{}", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7, 0, 4, 2, 0, 7,
                         0, 0, 0, 1, 6, 0, 1, 0, 0, 5, 0, 2, 2, 0, 3}},
        {R"({"max_count": 2})", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7}},
        {R"({"threshold": 6.5})", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7, 0, 4, 2, 0, 7}},
        // Per label the largest, the first of equal ones; label 5 has none, the background's 6
        // is dropped.
        {"{}", labels.get(), {3, 0, 2, 0, 9, 2, 4, 0, 0, 7, 1, 1, 0, 0, 5}},
    };
    for (const auto& c : cases) {
        CPFindMax node;
        RunNode(node, c.json, {image.get(), c.labels});
        EXPECT_EQ(Samples<float>(OutputImage(node)), c.rows) << c.json;
        // The same rows as records, whole numbers as longs.
        const CValueVector& records = *node.StackOutput(1)->Vector();
        EXPECT_EQ(records.Size() * 5, c.rows.size());
        EXPECT_TRUE(records[0]->Map()->HasEntry("label", CValue::VAL_LONG) &&
                    records[0]->Map()->EntryDouble("value") == c.rows[4]);
    }
}

TEST(FindMax, ThresholdsAreExact) {
    // Integers: the smallest one above, none when it is beyond the type.
    EXPECT_TRUE(CAbove<uint8_t>(-0.5)(0));
    EXPECT_TRUE(CAbove<uint8_t>(254.5)(255) && !CAbove<uint8_t>(254.5)(254));
    EXPECT_TRUE(CAbove<uint8_t>(255).None());
    EXPECT_TRUE(CAbove<uint32_t>(16777216.5)(16777217u) &&
                !CAbove<uint32_t>(16777216.5)(16777216u));
    // Floats: the smallest float above, strictly; infinities and NaN.
    EXPECT_TRUE(CAbove<float>(0.1)(0.1f));  // 0.1f is a little more than 0.1
    EXPECT_FALSE(CAbove<float>(double(0.1f))(0.1f));
    EXPECT_FALSE(CAbove<float>(-INFINITY)(-INFINITY));
    EXPECT_TRUE(CAbove<float>(-INFINITY)(-std::numeric_limits<float>::max()));
    EXPECT_TRUE(CAbove<float>(1e39)(INFINITY) && !CAbove<float>(1e39)(FLT_MAX));
    EXPECT_TRUE(CAbove<float>(INFINITY).None());
    EXPECT_FALSE(CAbove<float>(-1)(NaN));
}

TEST(FindMax, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 2), {1});
    std::unique_ptr<CValue> labels = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {1});
    ExpectJsonFailures<CPFindMax>(
        "(utility plugins) FindMax::Run",
        {{"{}",
          {image.get(), labels.get()},
          "input 1 has size (4, 1, 1), but input 0 has size (2, 2, 1)"},
         {R"({"radius": -1})", {image.get()}, "radius must be 0 or more, but it is -1"},
         {R"({"threshold": {"@double": "nan"}})",
          {image.get()},
          "threshold is NaN, not a number"}});
}
