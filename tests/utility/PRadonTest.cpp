#include "PRadon.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <random>

#include "FileTesting.h"

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

struct SRadonRun {
    const char* mode;
    std::string rawPath = "NULL";
    bool runOnce = false;
};

void Prepare(CPRadon& node, const SRadonRun& run) {
    Configure(node, {{"mode", run.mode}, {"raw_out_path", run.rawPath}, {"run_once", run.runOnce}});
}

std::vector<float> RunRadon(CSize size, std::vector<float> samples, const SRadonRun& run) {
    CPRadon node;
    Prepare(node, run);
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

TEST(Radon, OriginPixelAndTheBinOfWidth) {
    struct Case {
        CSize size;
        std::vector<float> image;
        std::vector<float> expected;
    };
    const Case cases[] = {
        // The origin is at distance 0: bin trunc(W * 0.5 + 0.555) of every angle.
        {{4, 3}, Pixels({4, 3}, {{0, 2.0f}}), Pixels({4, 3}, {{2, 2.0f}, {6, 2.0f}, {10, 2.0f}})},
        // Far right at angle 0: bin 20 = W, counted in column 0 of row 1.
        {{20, 2}, Pixels({20, 2}, {{19, 3.0f}}), Pixels({20, 2}, {{20, 3.0f}, {30, 3.0f}})},
        // Bin W in the last row of a plane is dropped; it does not reach the next plane.
        {{10, 1, 2}, Pixels({10, 1, 2}, {{9, 3.0f}, {10, 1.0f}}), Pixels({10, 1, 2}, {{15, 1.0f}})},
        // Planes are transformed one by one.
        {{4, 3, 2},
         Pixels({4, 3, 2}, {{12, 2.0f}}),
         Pixels({4, 3, 2}, {{14, 2.0f}, {18, 2.0f}, {22, 2.0f}})},
    };
    for (const char* mode : {"RADON", "HOUGH"})
        for (const Case& c : cases)
            EXPECT_EQ(RunRadon(c.size, c.image, {mode}), c.expected)
                << mode << " " << c.size.ToString();
}

TEST_F(RadonFiles, RawVotesOnePerPixelAndAngle) {
    const std::string raw = Path("votes.txt");
    std::vector<float> image = Pixels({4, 3, 2}, {{0, 2.0f}, {11, 1.0f}, {12, -1.0f}});
    RunRadon({4, 3, 2}, image, {"HOUGH", raw});
    // Three non-zero pixels, three angles each: the origin at every angle, then (3, 2): at
    // angle 0 (3 / 5 + 1) * 2 + 0.555; the origin of the second plane.
    EXPECT_EQ(FileBytes(raw),
              "0.000000 2.555000\n1.000000 2.555000\n2.000000 2.555000\n"
              "0.000000 3.755000\n1.000000 3.847820\n2.000000 2.647820\n"
              "0.000000 2.555000\n1.000000 2.555000\n2.000000 2.555000\n");

    // An existing file is replaced; "NULL" writes nothing; an unwritable path is no error.
    RunRadon({4, 3}, Pixels({4, 3}, {{0, 1.0f}}), {"HOUGH", raw});
    EXPECT_EQ(FileBytes(raw), "0.000000 2.555000\n1.000000 2.555000\n2.000000 2.555000\n");
    std::filesystem::remove(raw);
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(m_directory);
    std::vector<float> expected = RunRadon({4, 3}, image, {"HOUGH"});
    std::filesystem::current_path(previous);
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
    EXPECT_EQ(RunRadon({4, 3}, image, {"HOUGH", Path("none/votes.txt")}), expected);
    // Mode RADON writes no votes.
    RunRadon({4, 3}, image, {"RADON", raw});
    EXPECT_FALSE(std::filesystem::exists(raw));
}

TEST(Radon, RunOnceSkipsUntilNodeInit) {
    CPRadon node;
    Prepare(node, {"RADON", "NULL", true});
    auto first = GreyF(CSize(4, 3), {1.0f}), second = GreyF(CSize(2, 2), {1.0f});
    RunImage(node, {first.get()});
    const CValue* output = node.StackOutput(0);
    RunImage(node, {second.get()});
    EXPECT_EQ(node.StackOutput(0), output);
    SetInputs(node, {});
    node.Run();  // skipped before the input is looked at
    node.NodeInit();
    EXPECT_EQ(RunError(node, {}), "(utility plugins) Radon::Run | input image is NULL");
    EXPECT_EQ(RunImage(node, {second.get()}).Size(), CSize(2, 2, 1));

    Prepare(node, {"RADON", "NULL", false});
    RunImage(node, {first.get()});
    EXPECT_EQ(RunImage(node, {second.get()}).Size(), CSize(2, 2, 1));
}

TEST(Radon, Failures) {
    auto shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    CValueString text("image");
    CPRadon node;
    const std::string where = "(utility plugins) Radon::Run | ";
    EXPECT_EQ(RunError(node, {shorts.get()}), where + "input image is not of type IMAGE_GREY_F");
    EXPECT_EQ(RunError(node, {&text}),
              where + "expected a value holding CImage, but found CValueString");
}
