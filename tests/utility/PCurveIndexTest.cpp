#include "PCurveIndex.h"

#include <chrono>
#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float R2 = static_cast<float>(std::sqrt(2.0));

struct SRow {
    float curve, index, x, y, length;
    friend bool operator==(const SRow&, const SRow&) = default;
    friend std::ostream& operator<<(std::ostream& out, const SRow& r) {
        return out << "{" << r.curve << ", " << r.index << ", " << r.x << ", " << r.y << ", "
                   << r.length << "}";
    }
};

// The node's table for a picture of '#' curve pixels.
std::vector<SRow> Trace(const std::vector<std::string>& picture, CImage* indices = nullptr) {
    const auto width = static_cast<int64_t>(picture[0].size());
    const auto height = static_cast<int64_t>(picture.size());
    std::vector<float> pixels;
    for (const std::string& row : picture)
        for (char c : row)
            pixels.push_back(c == '#' ? 1.0f : 0.0f);
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(width, height), pixels);
    CPCurveIndex node;
    RunNode(node, "{}", {image.get()});
    if (indices) *indices = OutputImage(node, 1);
    std::vector<float> table = Samples<float>(OutputImage(node, 0));
    std::vector<SRow> rows;
    for (size_t i = 0; i + 4 < table.size(); i += 5)
        rows.push_back({table[i], table[i + 1], table[i + 2], table[i + 3], table[i + 4]});
    return rows;
}

}  // namespace

TEST(CurveIndex, OpenCurveFromItsFirstEndPoint) {
    CImage indices;
    EXPECT_EQ(Trace({"......", ".##...", "...#..", "....#.", "....#."}, &indices),
              (std::vector<SRow>{{1, 1, 1, 1, 0},
                                 {1, 2, 2, 1, 1},
                                 {1, 3, 3, 2, 1 + R2},
                                 {1, 4, 4, 3, static_cast<float>(1 + 2 * std::sqrt(2.0))},
                                 {1, 5, 4, 4, static_cast<float>(2 + 2 * std::sqrt(2.0))}}));
    EXPECT_EQ(indices.Size(), CSize(6, 5, 1));
    EXPECT_EQ(Samples<float>(indices),
              (std::vector<float>{0, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0,
                                  3, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 5, 0}));
}

TEST(CurveIndex, ClosedCurvesFromTheirFirstPixelToTheRightOrDown) {
    CImage indices;
    std::vector<SRow> square = Trace({".....", ".###.", ".#.#.", ".###.", "....."}, &indices);
    ASSERT_EQ(square.size(), 8u);
    EXPECT_EQ(Samples<float>(indices), (std::vector<float>{0, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 8, 0,
                                                           4, 0, 0, 7, 6, 5, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(square.back(), (SRow{1, 8, 1, 2, 7}));

    EXPECT_EQ(Trace({"..#..", ".#.#.", "..#.."}),
              (std::vector<SRow>{{1, 1, 2, 0, 0},
                                 {1, 2, 3, 1, R2},
                                 {1, 3, 2, 2, static_cast<float>(2 * std::sqrt(2.0))},
                                 {1, 4, 1, 1, static_cast<float>(3 * std::sqrt(2.0))}}));
}

TEST(CurveIndex, StaircasesAreOnePathOfEdgeSteps) {
    EXPECT_EQ(Trace({"##..", ".##.", "..##"}), (std::vector<SRow>{{1, 1, 0, 0, 0},
                                                                  {1, 2, 1, 0, 1},
                                                                  {1, 3, 1, 1, 2},
                                                                  {1, 4, 2, 1, 3},
                                                                  {1, 5, 2, 2, 4},
                                                                  {1, 6, 3, 2, 5}}));
}

TEST(CurveIndex, BranchPointsEndACurveAndTheRestStartsNewOnes) {
    // A T: the first arm keeps the branch point; an isolated pixel is a curve of its own.
    EXPECT_EQ(Trace({"#####", "..#..", "..#..", "..#.#"}), (std::vector<SRow>{{1, 1, 0, 0, 0},
                                                                              {1, 2, 1, 0, 1},
                                                                              {1, 3, 2, 0, 2},
                                                                              {2, 1, 4, 0, 0},
                                                                              {2, 2, 3, 0, 1},
                                                                              {3, 1, 2, 3, 0},
                                                                              {3, 2, 2, 2, 1},
                                                                              {3, 3, 2, 1, 2},
                                                                              {4, 1, 4, 3, 0}}));
    // A loop on a stick: the stick up to the branch point, then the whole rest of the loop.
    std::vector<SRow> lollipop = Trace({".###.", ".#.#.", ".###.", "..#..", "..#.."});
    ASSERT_EQ(lollipop.size(), 10u);
    EXPECT_EQ(lollipop[2], (SRow{1, 3, 2, 2, 2}));
    EXPECT_EQ(lollipop[3], (SRow{2, 1, 3, 2, 0}));
    EXPECT_EQ(lollipop[9], (SRow{2, 7, 1, 2, 6}));
}

TEST(CurveIndex, NonZeroPixelsOfTheFirstPlaneOfAnySingleChannelType) {
    std::unique_ptr<CValue> image =
        ImageValue<double>(IMAGE_GREY_D, CSize(3, 1, 2), {NAN, 0, -2, 1, 1, 1});
    CPCurveIndex node;
    RunNode(node, "{}", {image.get()});
    EXPECT_EQ(Samples<float>(OutputImage(node, 0)),
              (std::vector<float>{1, 1, 0, 0, 0, 2, 1, 2, 0, 0}));
    EXPECT_EQ(OutputImage(node, 1).Size(), CSize(3, 1, 1));

    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 2), {1});
    EXPECT_EQ(ErrorOf([&] { RunNode(node, "{}", {colour.get()}); }, true),
              "(utility plugins) CurveIndex::Run | input image must have a single channel, but "
              "it is IMAGE_RGB_8");
    EXPECT_EQ(ErrorOf([&] { RunNode(node, "{}", {nullptr}); }, true),
              "(utility plugins) CurveIndex::Run | input image is NULL");
}

TEST(CurveIndex, LongCurvesAndManyClosedCurvesInLinearTime) {
    // A serpentine of 1000 rows of 1000 pixels is one curve; 250 nested square rings are 250.
    const int64_t n = 1000;
    std::vector<uint8_t> serpentine(static_cast<size_t>(n * n), 0), rings = serpentine;
    for (int64_t y = 0; y < n; y += 2) {
        std::fill_n(serpentine.begin() + y * n, n, 1);
        if (y + 1 < n) serpentine[static_cast<size_t>((y + 1) * n + (y % 4 == 0 ? n - 1 : 0))] = 1;
    }
    for (int64_t r = 0; r < n / 4; ++r)
        for (int64_t i = 2 * r; i < n - 2 * r; ++i)
            for (int64_t p :
                 {2 * r * n + i, (n - 1 - 2 * r) * n + i, i * n + 2 * r, i * n + n - 1 - 2 * r})
                rings[static_cast<size_t>(p)] = 1;
    const auto start = std::chrono::steady_clock::now();
    for (auto [pixels, curves] : {std::pair{&serpentine, 1}, {&rings, 250}}) {
        std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(n, n), *pixels);
        CPCurveIndex node;
        RunNode(node, "{}", {image.get()});
        const std::vector<float> table = Samples<float>(OutputImage(node, 0));
        EXPECT_EQ(table[table.size() - 5], curves);
        if (curves == 1) {
            EXPECT_EQ(table.back(), static_cast<float>(table.size() / 5 - 1));  // edge steps
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}
