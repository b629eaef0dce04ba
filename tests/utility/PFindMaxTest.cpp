#include "PFindMax.h"

#include <cmath>
#include <limits>
#include <random>

#include "NodeTesting.h"
#include "Threshold.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The maxima by their definition: every window scanned, plateaus flooded.
template <class T>
std::vector<std::pair<int64_t, double>> Literal(const std::vector<T>& data, CSize size, int64_t r,
                                                double threshold) {
    const int64_t plane = size.x * size.y;
    std::vector<bool> maximum(data.size()), seen(data.size());
    auto at = [&](int64_t x, int64_t y, int64_t z) { return (z * size.y + y) * size.x + x; };
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x) {
                const T v = data[at(x, y, z)];
                bool is = static_cast<double>(v) > threshold;
                for (int64_t v2 = std::max<int64_t>(0, y - r);
                     is && v2 <= std::min(size.y - 1, y + r); ++v2)
                    for (int64_t u = std::max<int64_t>(0, x - r); u <= std::min(size.x - 1, x + r);
                         ++u)
                        is = is && !(data[at(u, v2, z)] > v);
                maximum[at(x, y, z)] = is;
            }
    std::vector<std::pair<int64_t, double>> peaks;
    for (int64_t i = 0; i < static_cast<int64_t>(data.size()); ++i) {
        if (!maximum[i] || seen[i]) continue;
        peaks.push_back({i, static_cast<double>(data[i])});
        std::vector<int64_t> stack = {i};
        seen[i] = true;
        while (!stack.empty()) {
            const int64_t j = stack.back();
            stack.pop_back();
            const int64_t x = j % size.x, y = j % plane / size.x, z = j / plane;
            for (int64_t dy = -1; dy <= 1; ++dy)
                for (int64_t dx = -1; dx <= 1; ++dx) {
                    if (x + dx < 0 || x + dx >= size.x || y + dy < 0 || y + dy >= size.y) continue;
                    const int64_t k = at(x + dx, y + dy, z);
                    if (maximum[k] && !seen[k] && data[k] == data[i]) {
                        seen[k] = true;
                        stack.push_back(k);
                    }
                }
        }
    }
    return peaks;
}

template <class T>
void ExpectLiteralMaxima(CSize size, int levels, bool withNaN, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> data(static_cast<size_t>(size.Elements()));
    for (T& v : data) {
        v = static_cast<T>(random() % levels);
        if constexpr (std::is_floating_point_v<T>)
            if (withNaN && random() % 7 == 0) v = NaN;
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

std::vector<std::vector<float>> Rows(const CImage& table) {
    std::vector<std::vector<float>> rows;
    std::vector<float> cells = Samples<float>(table);
    for (int64_t y = 0; y < table.Size().y; ++y)
        rows.emplace_back(cells.begin() + y * table.Size().x,
                          cells.begin() + (y + 1) * table.Size().x);
    return rows;
}

}  // namespace

TEST(FindMax, MaximaAsDefinedWithPlateausOnce) {
    // Few levels make plateaus of every shape; radii beyond the image are clipped.
    ExpectLiteralMaxima<uint8_t>(CSize(9, 7, 2), 3, false, 1);
    ExpectLiteralMaxima<float>(CSize(13, 6, 1), 4, true, 2);
    ExpectLiteralMaxima<uint16_t>(CSize(40, 31, 1), 6, false, 3);
    ExpectLiteralMaxima<uint32_t>(CSize(1, 9, 2), 2, false, 4);
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
    auto run = [&](bool withLabels, int32_t maxCount, double threshold) {
        CPFindMax node;
        CValueMap parameters;
        parameters.SetEntry("max_count", new CValueLong(maxCount));
        parameters.SetEntry("threshold", new CValueDouble(threshold));
        Configure(node, parameters);
        node.SetStackInput(0, image.get());
        if (withLabels) node.SetStackInput(1, labels.get());
        node.Run();
        std::vector<std::vector<float>> rows = Rows(OutputImage(node));
        EXPECT_EQ(node.StackOutput(1)->Vector()->Size(), rows.size());
        return std::make_pair(rows, node.StackOutput(1)->Vector()->CloneUnique());
    };
    using Table = std::vector<std::vector<float>>;
    auto [all, records] = run(false, 0, 0);
    EXPECT_EQ(all, (Table{{0, 0, 2, 0, 9},
                          {0, 4, 0, 0, 7},
                          {0, 4, 2, 0, 7},
                          {0, 0, 0, 1, 6},
                          {0, 1, 0, 0, 5},
                          {0, 2, 2, 0, 3}}));
    const CValueMap& first = *(*records->Vector())[3]->Map();
    EXPECT_EQ(first.EntryLong("z"), 1);
    EXPECT_EQ(first.EntryDouble("value"), 6.0);
    EXPECT_TRUE(first.HasEntry("label", CValue::VAL_LONG));

    EXPECT_EQ(run(false, 2, 0).first, (Table{{0, 0, 2, 0, 9}, {0, 4, 0, 0, 7}}));
    EXPECT_EQ(run(false, 0, 6.5).first.size(), 3u);
    // Per label the largest, the first of equal ones; label 5 has none, the background's 6
    // is dropped.
    EXPECT_EQ(run(true, 0, 0).first, (Table{{3, 0, 2, 0, 9}, {2, 4, 0, 0, 7}, {1, 1, 0, 0, 5}}));
}

TEST(FindMax, ThresholdsAreExact) {
    EXPECT_TRUE(CAbove<uint8_t>(-0.5)(0));
    EXPECT_TRUE(CAbove<uint8_t>(254.5)(255));
    EXPECT_FALSE(CAbove<uint8_t>(254.5)(254));
    EXPECT_FALSE(CAbove<uint8_t>(255)(255));
    EXPECT_TRUE(CAbove<uint8_t>(1e300).None());
    EXPECT_TRUE(CAbove<uint32_t>(16777216.5)(16777217u));
    EXPECT_FALSE(CAbove<uint32_t>(16777216.5)(16777216u));
    EXPECT_TRUE(CAbove<float>(0.1)(0.1f));  // 0.1f is a little more than 0.1
    EXPECT_FALSE(CAbove<float>(double(0.1f))(0.1f));
    EXPECT_FALSE(CAbove<float>(-INFINITY)(-INFINITY));
    EXPECT_TRUE(CAbove<float>(-INFINITY)(-std::numeric_limits<float>::max()));
    EXPECT_TRUE(CAbove<float>(1e39)(INFINITY));
    EXPECT_FALSE(CAbove<float>(1e39)(std::numeric_limits<float>::max()));
    EXPECT_TRUE(CAbove<float>(INFINITY).None());
    EXPECT_FALSE(CAbove<float>(-1)(NaN));
}

TEST(FindMax, RefusesBadInput) {
    CPFindMax node;
    CValueMap parameters;
    parameters.SetEntry("radius", new CValueLong(-1));
    Configure(node, parameters);
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 2), {1});
    std::unique_ptr<CValue> labels = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {1});
    const std::string where = "(utility plugins) FindMax::Run | ";
    node.SetStackInput(0, image.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "radius must be 0 or more, but it is -1");
    node.SetStackInput(1, labels.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "input 1 has size (4, 1, 1), but input 0 has size (2, 2, 1)");
}
