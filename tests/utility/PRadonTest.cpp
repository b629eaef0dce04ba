#include "PRadon.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <random>
#include <vector>

#include "FileTesting.h"
#include "algorithms/Radon.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// The "RADON" sum as written down: angle by angle, row by row, with x cos and y sin built by
// repeated addition inside the loops; a flat index beyond the plane is dropped.
std::vector<float> LiteralSum(const std::vector<float>& image, int64_t width, int64_t height) {
    std::vector<float> out(image.size(), 0.0f);
    const double d = std::sqrt(static_cast<double>(height * height + width * width));
    for (int64_t k = 0; k < height; ++k) {
        const double theta =
            static_cast<double>(k) * std::numbers::pi / static_cast<double>(height);
        const double c = std::cos(theta), s = std::sin(theta);
        double ySin = 0.0;
        for (int64_t y = 0; y < height; ++y) {
            double xCos = 0.0;
            for (int64_t x = 0; x < width; ++x) {
                double position =
                    ((xCos + ySin) / d + 1.0) * (static_cast<double>(width) * 0.5) + 0.555;
                int64_t index = k * width + static_cast<int64_t>(position);
                if (index < width * height) out[index] += image[y * width + x];
                xCos += c;
            }
            ySin += s;
        }
    }
    return out;
}

std::vector<float> RunRadon(CSize size, std::vector<float> samples, const char* mode,
                            const std::string& raw = "NULL") {
    CPRadon node;
    Configure(node, {{"mode", mode}, {"raw_out_path", raw}});
    auto input = GreyF(size, std::move(samples));
    const CImage& out = RunImage(node, {input.get()});
    EXPECT_EQ(out.Size(), size);
    return Samples<float>(out);
}

// An image of `size` with the given pixels set, the rest zero.
std::vector<float> Pixels(CSize size, std::initializer_list<std::pair<int64_t, float>> pixels) {
    std::vector<float> image(static_cast<size_t>(size.Elements()), 0.0f);
    for (const auto& [index, value] : pixels)
        image[index] = value;
    return image;
}

class RadonFiles : public FileTest {};

}  // namespace

TEST(Radon, SumMatchesTheLiteralTransform) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> uniform(-3.0f, 3.0f);
    const CSize sizes[] = {{1, 1},   {1, 6},   {10, 1}, {20, 2},  {7, 5},
                           {16, 16}, {33, 17}, {5, 40}, {40, 30}, {64, 64}};
    for (const CSize& size : sizes) {
        std::vector<float> image(static_cast<size_t>(size.x * size.y));
        for (float& pixel : image)
            pixel = random() % 3 == 0 ? 0.0f : uniform(random);
        std::vector<float> ours(image.size(), 0.0f);
        RadonSum(image.data(), size.x, size.y, ours.data());
        std::vector<float> literal = LiteralSum(image, size.x, size.y);
        EXPECT_EQ(std::memcmp(ours.data(), literal.data(), ours.size() * sizeof(float)), 0)
            << size.ToString();
    }
}

TEST(Radon, PlaneByPlaneAndTheBinOfWidth) {
    struct Case {
        CSize size;
        std::vector<float> image;
        std::vector<float> expected;
    };
    const Case cases[] = {
        // Far right at angle 0: bin 20 = W, counted in column 0 of row 1.
        {{20, 2}, Pixels({20, 2}, {{19, 3.0f}}), Pixels({20, 2}, {{20, 3.0f}, {30, 3.0f}})},
        // Bin W in the last row of a plane is dropped; it does not reach the next plane.
        {{10, 1, 2}, Pixels({10, 1, 2}, {{9, 3.0f}, {10, 1.0f}}), Pixels({10, 1, 2}, {{15, 1.0f}})},
        // The origin of the second plane: bin trunc(W * 0.5 + 0.555) of each angle.
        {{4, 3, 2},
         Pixels({4, 3, 2}, {{12, 2.0f}}),
         Pixels({4, 3, 2}, {{14, 2.0f}, {18, 2.0f}, {22, 2.0f}})},
    };
    for (const char* mode : {"RADON", "HOUGH"})
        for (const Case& c : cases)
            EXPECT_EQ(RunRadon(c.size, c.image, mode), c.expected)
                << mode << " " << c.size.ToString();
}

TEST_F(RadonFiles, RawVotesOnlyInHoughModeWithAPath) {
    // One line per non-zero pixel and angle, plane after plane; an existing file is replaced.
    const std::string raw = Path("votes.txt");
    WriteFile(raw, "old");
    const std::vector<float> image = Pixels({4, 3, 2}, {{0, 2.0f}, {12, -1.0f}});
    const std::vector<float> expected = RunRadon({4, 3, 2}, image, "HOUGH", raw);
    const std::string origin = "0.000000 2.555000\n1.000000 2.555000\n2.000000 2.555000\n";
    EXPECT_EQ(FileBytes(raw), origin + origin);
    // "NULL" writes nothing; an unwritable path is no error; mode RADON writes no votes.
    std::filesystem::remove(raw);
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(m_directory);
    EXPECT_EQ(RunRadon({4, 3, 2}, image, "HOUGH"), expected);
    std::filesystem::current_path(previous);
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
    EXPECT_EQ(RunRadon({4, 3, 2}, image, "HOUGH", Path("none/votes.txt")), expected);
    RunRadon({4, 3}, image, "RADON", raw);
    EXPECT_FALSE(std::filesystem::exists(raw));
}

TEST(Radon, RunOnceSkipsUntilNodeInitAndFailures) {
    CPRadon node;
    Configure(node, {{"run_once", true}});
    auto first = GreyF(CSize(4, 3), {1.0f}), shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    RunImage(node, {first.get()});
    const CValue* output = node.StackOutput(0);
    SetInputs(node, {});
    node.Run();  // skipped before the input is looked at
    EXPECT_EQ(node.StackOutput(0), output);
    node.NodeInit();
    const std::string where = "(utility plugins) Radon::Run | ";
    EXPECT_EQ(RunError(node, {}), where + "input image is NULL");
    EXPECT_EQ(RunError(node, {shorts.get()}), where + "input image is not of type IMAGE_GREY_F");
    CValueString text("image");
    EXPECT_EQ(RunError(node, {&text}),
              where + "expected a value holding CImage, but found CValueString");
}
