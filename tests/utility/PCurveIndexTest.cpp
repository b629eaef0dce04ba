#include "PCurveIndex.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// The node's table, rows of curve, index, x, y and arc length, for the pixels of `curves` that
// are not '.'; expects output 1 to hold the index of every curve pixel and 0 elsewhere.
std::vector<float> Trace(const std::vector<std::string>& curves) {
    const auto width = static_cast<int64_t>(curves[0].size());
    std::vector<float> pixels;
    for (const std::string& row : curves)
        for (char c : row)
            pixels.push_back(c == '.' ? 0.0f : 1.0f);
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(width, static_cast<int64_t>(curves.size())), pixels);
    CPCurveIndex node;
    RunNode(node, "{}", {image.get()});
    std::vector<float> table = Samples<float>(OutputImage(node, 0)), indices(pixels.size(), 0.0f);
    for (size_t i = 0; i + 4 < table.size(); i += 5)
        indices[static_cast<size_t>(table[i + 3] * width + table[i + 2])] = table[i + 1];
    EXPECT_EQ(Samples<float>(OutputImage(node, 1)), indices);
    return table;
}

// The rows for pixels numbered by curve in `curves` and by their place along it in `indices`;
// the arc length adds 1 per edge step and sqrt 2 per diagonal one.
std::vector<float> Rows(const std::vector<std::string>& curves,
                        const std::vector<std::string>& indices) {
    std::vector<float> rows;
    double length = 0, lastX = 0, lastY = 0;
    for (char curve = '1'; curve <= '9'; ++curve)
        for (char index = '1'; index <= '9'; ++index)
            for (size_t y = 0; y < curves.size(); ++y)
                for (size_t x = 0; x < curves[y].size(); ++x) {
                    if (curves[y][x] != curve || indices[y][x] != index) continue;
                    const auto fx = static_cast<double>(x), fy = static_cast<double>(y);
                    length = index == '1' ? 0.0 : length + std::hypot(fx - lastX, fy - lastY);
                    lastX = fx;
                    lastY = fy;
                    rows.insert(rows.end(), {static_cast<float>(curve - '0'),
                                             static_cast<float>(index - '0'), static_cast<float>(x),
                                             static_cast<float>(y), static_cast<float>(length)});
                }
    return rows;
}

}  // namespace

TEST(CurveIndex, CurvesWithTheirIndicesAndArcLengths) {
    struct Case {
        const char* what;
        std::vector<std::string> curves, indices;
    } cases[] = {
        {"open curve from its first end point",
         {"......", ".11...", "...1..", "....1.", "....1."},
         {"......", ".12...", "...3..", "....4.", "....5."}},
        {"closed curve from its first pixel to the right",
         {".....", ".111.", ".1.1.", ".111.", "....."},
         {".....", ".123.", ".8.4.", ".765.", "....."}},
        {"closed curve from its first pixel down",
         {"..1..", ".1.1.", "..1.."},
         {"..1..", ".4.2.", "..3.."}},
        {"staircase of edge steps", {"11..", ".11.", "..11"}, {"12..", ".34.", "..56"}},
        // The first arm keeps the branch point; an isolated pixel is a curve of its own.
        {"T and a pixel",
         {"11122", "..3..", "..3..", "..3.4"},
         {"12321", "..3..", "..2..", "..1.1"}},
        {"loop on a stick: the stick up to the branch point, then the rest of the loop",
         {".222.", ".2.2.", ".212.", "..1..", "..1.."},
         {".543.", ".6.2.", ".731.", "..2..", "..1.."}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Trace(c.curves), Rows(c.curves, c.indices)) << c.what;
}

TEST(CurveIndex, NonZeroPixelsOfTheFirstPlaneOfAnySingleChannelType) {
    std::unique_ptr<CValue> image =
        ImageValue<double>(IMAGE_GREY_D, CSize(3, 1, 2), {NAN, 0, -2, 1, 1, 1});
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 2), {1});
    CPCurveIndex node;
    RunNode(node, "{}", {image.get()});
    EXPECT_EQ(Samples<float>(OutputImage(node, 0)),
              (std::vector<float>{1, 1, 0, 0, 0, 2, 1, 2, 0, 0}));
    EXPECT_EQ(OutputImage(node, 1).Size(), CSize(3, 1, 1));
    ExpectJsonFailures<CPCurveIndex>(
        "(utility plugins) CurveIndex::Run",
        {{"{}", "input image must have a single channel, but it is IMAGE_RGB_8", {colour.get()}},
         {"{}", "input image is NULL", {nullptr}}});
}
