#include "PRadon.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// The "RADON" sum as written down: angle by angle, row by row, with x cos and y sin built by
// repeated addition inside the loops; a flat index beyond the plane is dropped.
std::vector<float> LiteralSum(const std::vector<float>& image, int64_t width, int64_t height,
                              int64_t depth) {
    std::vector<float> out(image.size(), 0.0f);
    const double d = std::sqrt(static_cast<double>(height * height + width * width));
    for (int64_t z = 0; z < depth; ++z)
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
                    if (index < width * height)
                        out[z * width * height + index] += image[(z * height + y) * width + x];
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
    CValueMap parameters;
    parameters.SetEntry("mode", new CValueString(run.mode));
    parameters.SetEntry("raw_out_path", new CValueString(run.rawPath));
    parameters.SetEntry("run_once", new CValueBool(run.runOnce));
    Configure(node, parameters);
}

std::vector<float> RunRadon(CSize size, std::vector<float> samples, const SRadonRun& run) {
    CPRadon node;
    Prepare(node, run);
    std::unique_ptr<CValue> input = ImageValue<float>(IMAGE_GREY_F, size, std::move(samples));
    node.SetStackInput(0, input.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size(), size);
    return Samples<float>(OutputImage(node));
}

// An image of `size` with the given pixels set, the rest zero.
std::vector<float> Pixels(CSize size, std::initializer_list<std::pair<int64_t, float>> pixels) {
    std::vector<float> image(static_cast<size_t>(size.Elements()), 0.0f);
    for (const auto& [index, value] : pixels)
        image[index] = value;
    return image;
}

class RadonFiles : public testing::Test {
  protected:
    void SetUp() override {
        m_directory =
            std::filesystem::temp_directory_path() / ("orva-radon-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_directory);
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::vector<std::string> Lines(const std::filesystem::path& path) {
        std::vector<std::string> lines;
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }

    std::filesystem::path m_directory;
};

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
        std::vector<float> literal = LiteralSum(image, size.x, size.y, 1);
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
        {{5, 2}, Pixels({5, 2}, {{0, 2.0f}}), Pixels({5, 2}, {{3, 2.0f}, {8, 2.0f}})},
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
    const std::filesystem::path raw = m_directory / "votes.txt";
    std::vector<float> image = Pixels({4, 3, 2}, {{0, 2.0f}, {11, 1.0f}, {12, -1.0f}});
    RunRadon({4, 3, 2}, image, {"HOUGH", raw.string()});
    std::vector<std::string> lines = Lines(raw);
    ASSERT_EQ(lines.size(), 9u);  // three non-zero pixels, three angles each
    // The origin at every angle, then (3, 2): at angle 0 (3 / 5 + 1) * 2 + 0.555.
    EXPECT_EQ(lines[0], "0.000000 2.555000");
    EXPECT_EQ(lines[1], "1.000000 2.555000");
    EXPECT_EQ(lines[2], "2.000000 2.555000");
    EXPECT_EQ(lines[3], "0.000000 3.755000");
    EXPECT_EQ(lines[6], "0.000000 2.555000");  // the origin of the second plane

    // An existing file is replaced; "NULL" writes nothing; an unwritable path is no error.
    RunRadon({4, 3}, Pixels({4, 3}, {{0, 1.0f}}), {"HOUGH", raw.string()});
    EXPECT_EQ(Lines(raw).size(), 3u);
    std::filesystem::remove(raw);
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(m_directory);
    std::vector<float> expected = RunRadon({4, 3}, image, {"HOUGH"});
    std::filesystem::current_path(previous);
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
    EXPECT_EQ(RunRadon({4, 3}, image, {"HOUGH", (m_directory / "none" / "votes.txt").string()}),
              expected);
    // Mode RADON writes no votes.
    RunRadon({4, 3}, image, {"RADON", raw.string()});
    EXPECT_FALSE(std::filesystem::exists(raw));
}

TEST(Radon, RunOnceSkipsUntilNodeInit) {
    CPRadon node;
    Prepare(node, {"RADON", "NULL", true});
    std::unique_ptr<CValue> first = ImageValue<float>(IMAGE_GREY_F, CSize(4, 3), {1.0f});
    std::unique_ptr<CValue> second = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1.0f});
    node.SetStackInput(0, first.get());
    node.Run();
    const CValue* output = node.StackOutput(0);
    node.SetStackInput(0, second.get());
    node.Run();
    EXPECT_EQ(node.StackOutput(0), output);
    node.SetStackInput(0, nullptr);
    node.Run();  // skipped before the input is looked at
    node.NodeInit();
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "input image is NULL");
    node.SetStackInput(0, second.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size(), CSize(2, 2, 1));

    Prepare(node, {"RADON", "NULL", false});
    node.SetStackInput(0, first.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size(), CSize(4, 3, 1));
}

TEST(Radon, Failures) {
    std::unique_ptr<CValue> grey = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 2), {1});
    CPRadon node;
    Prepare(node, {"RADON"});
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Radon::Run | input image is NULL");
    node.SetStackInput(0, grey.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Radon::Run | input image is not of type IMAGE_GREY_F");
    CValueString text("image");
    node.SetStackInput(0, &text);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true).rfind("(utility plugins) Radon::Run | ", 0), 0u);
}

TEST(Radon, Document) {
    CPRadon node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString("subType"), "Transformation");
    EXPECT_EQ(setup.EntryString("parameters/mode"), "RADON");
    EXPECT_EQ(setup.EntryString("parameters/mode/val/enValues"), "RADON, HOUGH");
    EXPECT_EQ(setup.EntryString("parameters/raw_out_path"), "NULL");
    EXPECT_FALSE(setup.HasEntry("parameters/run_once"));
    EXPECT_FALSE(setup.HasEntry("parameters/run_flag"));
    std::string description = setup.EntryString("description");
    for (const char* text :
         {"On the determination of functions from their integral values along certain manifolds",
          "Machine Analysis of Bubble Chamber Pictures",
          "Use of the Hough Transformation to Detect Lines and Curves in Pictures",
          "PARAMETER run_flag\nThe type of this parameter is of type bool. INTERNAL Indicates "
          "whether the plugin already run before."})
        EXPECT_NE(description.find(text), std::string::npos) << text;
    const CValueVector& keywords = *setup.Entry("keywords")->Vector();
    ASSERT_EQ(keywords.Size(), 5u);
    EXPECT_EQ(keywords[4]->String(), "line detector");
    EXPECT_EQ(setup.EntryString("outputs/0/label"),
              "Output image of type IMAGE_GREY_F containing the Radon or Hough space.");
}
