// The filters module as a host sees it: each node made by bin/filters.so's factory, given its
// declared defaults with settings laid over them, run on small images with known results.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "NodeTesting.h"

using namespace ORVA;

namespace {

CPluginModule& Module() {
    return CPluginModule::Load(std::string(ORVA_BUILD_ROOT) + "/bin/filters.so");
}

using CT = IImage::CType;
using testing_support::ErrorOf;
using testing_support::ImageOf;
using testing_support::OutputImage;
using testing_support::ValuesOf;

// A node of the module with its defaults and `settings` (JSON), and `inputs` on its pins.
std::unique_ptr<CPNode> Prepare(const std::string& name, const std::string& settings,
                                const std::vector<CValue*>& inputs) {
    std::unique_ptr<CPNode> node = Module().Create(name);
    if (!node) return node;
    testing_support::Configure(*node, *CTextSerializer::FromText(settings)->Map());
    testing_support::SetInputs(*node, inputs);
    return node;
}

struct SCase {
    const char* node;
    const char* settings;
    CT inType;
    CSize size;
    std::vector<double> in;
    std::vector<double> second;  // input 1 of the same type and size, when not empty
    CT outType;
    std::vector<double> out;
    CSize outSize = CSize(0, 0, 0);  // the input's size when 0
    double threshold = NAN;          // the value on output 1, when a number
};

// Expected values worked out by hand from each node's stated definition.
// clang-format off
const SCase CASES[] = {
    // v > 128 is foreground; the threshold used comes out on pin 1.
    {"Threshold", "{}", CT::GREY_8, CSize(4, 1), {10, 128, 129, 255}, {}, CT::BINARY_FG,
     {0, 0, 1, 1}, CSize(0, 0, 0), 128},
    {"Threshold", R"({"value": 7})", CT::GREY_D, CSize(2, 1), {0, 255}, {}, CT::BINARY_FG,
     {0, 1}, CSize(0, 0, 0), 7},
    {"Threshold", R"({"method": "TRIANGLE"})", CT::GREY_F, CSize(4, 1), {3, 3, 3, 3}, {},
     CT::BINARY_FG, {0, 0, 0, 0}, CSize(0, 0, 0), 3},
    // 16-bit samples compare with floor(128.7) = 128.
    {"Threshold", R"({"value": 128.7, "maximum": 200, "mode": "BINARY_INV", "out_type": "INPUT"})",
     CT::GREY_16, CSize(4, 1), {10, 128, 129, 65535}, {}, CT::GREY_16, {200, 200, 0, 0}},
    {"Threshold", R"({"value": 0.5, "mode": "TRUNC", "out_type": "INPUT"})", CT::GREY_F,
     CSize(3, 1), {-1.5, 0.25, 3}, {}, CT::GREY_F, {-1.5, 0.25, 0.5}},
    // Otsu over both slices at once: {0, 10} against {100, 110}, first best split at 10. A
    // threshold per slice would split the second slice too.
    {"Threshold", R"({"method": "OTSU"})", CT::GREY_8, CSize(2, 1, 2), {0, 10, 100, 110}, {},
     CT::BINARY_FG, {0, 0, 1, 1}, CSize(0, 0, 0), 10},
    // Binomial 1 2 1 weights in fixed point: 255 * 128 * 128 / 2^16 = 63.75 -> 64, and so on;
    // zeros beyond the border. Only the green channel of the interleaved image has the impulse.
    {"GaussianBlur", R"({"sigma": 0, "size": 3, "border": "CONSTANT"})", CT::RGB_8I, CSize(3, 3),
     {0, 0, 0,  0, 0, 0,  0, 0, 0,  0, 0, 0,  0, 255, 0,  0, 0, 0,  0, 0, 0,  0, 0, 0,  0, 0, 0}, {},
     CT::RGB_8I,
     {0, 16, 0,  0, 32, 0,  0, 16, 0,  0, 32, 0,  0, 64, 0,  0, 32, 0,  0, 16, 0,  0, 32, 0,  0, 16, 0}},
    {"GaussianBlur", R"({"sigma": 0, "size": 3, "border": "REPLICATE"})", CT::GREY_F, CSize(3, 1),
     {0, 4, 0}, {}, CT::GREY_F, {1, 2, 1}},
    // Slices are filtered apart: the first row of slice 1 never sees slice 0's 9.
    {"MedianBlur", "{}", CT::GREY_D, CSize(1, 3, 2), {1, 5, 9, 100, 0, 50}, {}, CT::GREY_D,
     {1, 5, 9, 100, 50, 50}},
    {"Morphology", "{}", CT::GREY_8, CSize(4, 3), {9, 9, 9, 9, 9, 0, 9, 9, 9, 9, 9, 9}, {},
     CT::GREY_8, {0, 0, 0, 9, 0, 0, 0, 9, 0, 0, 0, 9}},
    {"Morphology", R"({"operation": "DILATE", "shape": "CROSS"})", CT::BINARY_FG, CSize(3, 3),
     {0, 0, 0, 0, 1, 0, 0, 0, 0}, {}, CT::BINARY_FG, {0, 1, 0, 1, 1, 1, 0, 1, 0}},
    // The top-hat keeps only the lone 9, which an opening drops with the 3-wide bar kept.
    {"Morphology", R"({"operation": "TOPHAT"})", CT::GREY_F, CSize(5, 3),
     {9, 7, 7, 7, 0, 0, 7, 7, 7, 0, 0, 7, 7, 7, 0}, {}, CT::GREY_F,
     {9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    // Two iterations of a 3-wide erosion carry the 1 two pixels further.
    {"Morphology", R"({"width": 3, "height": 1, "iterations": 2})", CT::GREY_16, CSize(6, 1),
     {5, 5, 5, 5, 5, 1}, {}, CT::GREY_16, {5, 5, 5, 1, 1, 1}},
    {"Arithmetic", "{}", CT::GREY_8, CSize(3, 1), {250, 10, 0}, {10, 5, 0}, CT::GREY_8,
     {255, 15, 0}},
    {"Arithmetic", R"({"saturate": false})", CT::GREY_8, CSize(3, 1), {250, 10, 0}, {10, 5, 0},
     CT::GREY_8, {4, 15, 0}},
    {"Arithmetic", R"({"operation": "SUBTRACT", "constant": 10, "constant_first": true, "out_type": "IMAGE_GREY_F"})",
     CT::GREY_8, CSize(2, 1), {3, 20}, {}, CT::GREY_F, {7, -10}},
    // 3.5 rounds half to even; a zero divisor gives 0.
    {"Arithmetic", R"({"operation": "DIVIDE"})", CT::GREY_16, CSize(3, 1), {7, 9, 5}, {2, 0, 2},
     CT::GREY_16, {4, 0, 2}},
    {"Arithmetic", R"({"operation": "MULTIPLY", "constant": 0.5})", CT::GREY_8, CSize(2, 1),
     {5, 7}, {}, CT::GREY_8, {2, 4}},
    {"Arithmetic", R"({"operation": "ABSDIFF"})", CT::RGB_8I, CSize(1, 1), {1, 200, 30},
     {5, 100, 30}, CT::RGB_8I, {4, 100, 0}},
    {"Arithmetic", R"({"operation": "MAX"})", CT::RGB_FI, CSize(1, 1), {-1, 2.5, 3},
     {0, 2, 3.5}, CT::RGB_FI, {0, 2.5, 3.5}},
    {"Invert", "{}", CT::BINARY_FG, CSize(2, 1), {0, 1}, {}, CT::BINARY_FG, {1, 0}},
    {"Invert", "{}", CT::GREY_F, CSize(1, 1), {0.25}, {}, CT::GREY_F, {0.75}},
    // Below zero, integers wrap around.
    {"Invert", R"({"maximum": 100})", CT::GREY_16, CSize(2, 1), {30, 130}, {}, CT::GREY_16,
     {70, 65506}},
    {"Invert", "{}", CT::RGB_8, CSize(1, 1), {0, 1, 255}, {}, CT::RGB_8, {255, 254, 0}},
    {"Resize", R"({"width": 2, "height": 1, "interpolation": "NEAREST"})", CT::GREY_8, CSize(4, 1),
     {1, 2, 3, 4}, {}, CT::GREY_8, {1, 3}, CSize(2, 1)},
    // fx = fy = 0.5 halves exactly: (1 + 2 + 3 + 5 + 2) >> 2.
    {"Resize", "{}", CT::GREY_8, CSize(2, 2), {1, 2, 3, 5}, {}, CT::GREY_8, {3}, CSize(1, 1)},
    // Source positions -0.25, 0.25, 0.75, 1.25: the ends clamp to the edge samples.
    {"Resize", R"({"fx": 2, "fy": 1})", CT::GREY_F, CSize(2, 1), {0, 4}, {}, CT::GREY_F,
     {0, 1, 3, 4}, CSize(4, 1)},
    {"Crop", R"({"x": 1, "y": 1, "width": 2})", CT::GREY_8, CSize(4, 3),
     {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {}, CT::GREY_8, {5, 6, 9, 10}, CSize(2, 2)},
    {"Crop", R"({"x": 1, "width": 1, "height": 1})", CT::RGB_8, CSize(2, 1, 2),
     {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {}, CT::RGB_8, {1, 3, 5, 7, 9, 11}, CSize(1, 1, 2)},
    // Pixels swap; the channels of each stay in order.
    {"Flip", "{}", CT::RGB_8I, CSize(2, 1), {1, 2, 3, 4, 5, 6}, {}, CT::RGB_8I,
     {4, 5, 6, 1, 2, 3}},
    {"Transpose", "{}", CT::GREY_8, CSize(3, 2), {1, 2, 3, 4, 5, 6}, {}, CT::GREY_8,
     {1, 4, 2, 5, 3, 6}, CSize(2, 3)},
    {"Rotate90", "{}", CT::GREY_8, CSize(3, 2), {1, 2, 3, 4, 5, 6}, {}, CT::GREY_8,
     {4, 1, 5, 2, 6, 3}, CSize(2, 3)},
    // Reflection without the edge repeats beyond a margin wider than the image.
    {"Pad", R"({"left": 2, "top": 0, "right": 1, "bottom": 1, "border": "REFLECT_101"})",
     CT::GREY_8, CSize(2, 1), {1, 2}, {}, CT::GREY_8, {1, 2, 1, 2, 1, 1, 2, 1, 2, 1}, CSize(5, 2)},
    {"Pad", R"({"top": 0, "right": 0, "bottom": 0, "value": 300})", CT::GREY_8, CSize(2, 1),
     {1, 2}, {}, CT::GREY_8, {255, 1, 2}, CSize(3, 1)},
    // (s + 1) * 21845 >> 16 for windows of 3.
    {"BoxBlur", R"({"height": 1, "border": "REPLICATE"})", CT::GREY_8, CSize(3, 1), {0, 3, 9},
     {}, CT::GREY_8, {1, 4, 7}},
    // Replicated ramp: 4 (1 2 1 smoothing) times the central difference.
    {"Sobel", R"({"border": "REPLICATE"})", CT::GREY_8, CSize(3, 3), {0, 1, 2, 0, 1, 2, 0, 1, 2},
     {}, CT::GREY_F, {4, 8, 4, 4, 8, 4, 4, 8, 4}},
    // Size 1, second order: 1 -2 1 along x only, reflected without the edge.
    {"Sobel", R"({"dx": 2, "size": 1, "out_type": "IMAGE_GREY_D"})", CT::GREY_16, CSize(3, 1),
     {1, 4, 9}, {}, CT::GREY_D, {6, 2, -10}},
    // gx = gy = 4 everywhere on a replicated diagonal ramp.
    {"Sobel", R"({"output": "MAGNITUDE", "border": "REPLICATE"})", CT::GREY_F, CSize(2, 2),
     {0, 1, 1, 2}, {}, CT::GREY_F, std::vector<double>(4, double(std::sqrt(32.0f)))},
    {"Sobel", R"({"output": "DIRECTION", "border": "REPLICATE"})", CT::GREY_F, CSize(2, 2),
     {0, 1, 1, 2}, {}, CT::GREY_F, {45, 45, 45, 45}},
    // 3 10 3 across sums identical rows to 16 times the central difference.
    {"Scharr", "{}", CT::GREY_8, CSize(3, 1), {0, 0, 9}, {}, CT::GREY_F, {0, 144, 0}},
    {"Laplacian", R"({"out_type": "IMAGE_GREY_D", "border": "CONSTANT"})", CT::GREY_8, CSize(3, 3),
     {0, 0, 0, 0, 1, 0, 0, 0, 0}, {}, CT::GREY_D, {0, 1, 0, 1, -4, 1, 0, 1, 0}},
    // A vertical step: |gx| = 400 at x = 2 and 3; suppression keeps the first of the equal pair.
    {"Canny", "{}", CT::GREY_8, CSize(6, 2), {0, 0, 0, 100, 100, 100, 0, 0, 0, 100, 100, 100}, {},
     CT::GREY_8, {0, 0, 255, 0, 0, 0, 0, 0, 255, 0, 0, 0}},
    {"DistanceTransform", "{}", CT::BINARY_FG, CSize(3, 3), {0, 1, 1, 1, 1, 1, 1, 1, 1}, {},
     CT::GREY_F,
     {0, 1, 2, 1, double(std::sqrt(2.0f)), double(std::sqrt(5.0f)), 2, double(std::sqrt(5.0f)),
      double(std::sqrt(8.0f))}},
    // (4899 r + 9617 g + 1868 b + 2^13) >> 14.
    {"ColorToGrey", "{}", CT::RGB_8I, CSize(2, 1), {255, 0, 0, 10, 20, 30}, {}, CT::GREY_8,
     {76, 18}},
    // Planar with two slices: each channel is one plane of both slices, so green is 3, 4.
    {"ColorToGrey", R"({"mode": "GREEN"})", CT::RGB_8, CSize(1, 1, 2), {1, 2, 3, 4, 5, 6}, {},
     CT::GREY_8, {3, 4}},
    {"GreyToColor", R"({"map": "GREY"})", CT::GREY_8, CSize(2, 1), {0, 255}, {}, CT::RGB_8I,
     {0, 0, 0, 255, 255, 255}},
    // JET at the ends: 0.5 * 255 = 127.5 rounds to 128; planar output.
    {"GreyToColor", R"({"out_type": "IMAGE_RGB_8"})", CT::GREY_8, CSize(2, 1), {0, 255}, {},
     CT::RGB_8, {0, 128, 0, 0, 128, 0}},
    {"Blend", "{}", CT::GREY_8, CSize(2, 1), {100, 200}, {50, 255}, CT::GREY_8, {75, 228}},
    {"Blend", R"({"alpha": 1, "beta": -1, "gamma": 0.25, "out_type": "IMAGE_GREY_F"})",
     CT::GREY_8, CSize(2, 1), {100, 200}, {50, 255}, CT::GREY_F, {50.25, -54.75}},
};
// clang-format on

TEST(FilterNodes, ComputeTheirDefinitions) {
    for (const SCase& c : CASES) {
        SCOPED_TRACE(std::string(c.node) + " " + c.settings + " on " +
                     IImage::CType(c.inType).Name());
        std::unique_ptr<CValue> a = ImageOf(c.inType, c.size, c.in);
        std::unique_ptr<CValue> b =
            c.second.empty() ? nullptr : ImageOf(c.inType, c.size, c.second);
        std::unique_ptr<CPNode> node = Prepare(c.node, c.settings, {a.get(), b.get()});
        ASSERT_NE(node, nullptr);
        node->Run();
        const CImage& out = OutputImage(*node);
        EXPECT_EQ(out.Type(), IImage::CType(c.outType));
        EXPECT_EQ(out.Size(), c.outSize == CSize(0, 0, 0) ? c.size : c.outSize);
        EXPECT_EQ(ValuesOf(out), c.out);
        if (std::isnan(c.threshold)) continue;
        ASSERT_NE(node->StackOutput(1), nullptr);
        EXPECT_EQ(node->StackOutput(1)->Double(), c.threshold);
    }
}

TEST(FilterNodes, CropCutsEveryBoxOfATable) {
    // ZoneList's table: ax, bx, ay, by per row (a fifth column is ignored).
    std::unique_ptr<CValue> image =
        ImageOf(CT::GREY_8, CSize(4, 3), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    std::unique_ptr<CValue> boxes =
        ImageOf(CT::GREY_F, CSize(5, 3), {0, 0, 0, 0, 9, 2, 3, 0, 1, 9, 1, 3, 2, 2, 9});
    std::unique_ptr<CPNode> node = Prepare("Crop", R"({"row": 1})", {image.get(), boxes.get()});
    node->Run();
    EXPECT_EQ(OutputImage(*node).Size(), CSize(2, 2));
    EXPECT_EQ(ValuesOf(OutputImage(*node)), (std::vector<double>{2, 3, 6, 7}));
    const CValueVector* every = node->StackOutput(1)->Vector();
    ASSERT_NE(every, nullptr);
    const std::vector<double> expected[] = {{0}, {2, 3, 6, 7}, {9, 10, 11}};
    ASSERT_EQ(every->Size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        auto* cut = dynamic_cast<const CValuePointer<CImage>*>((*every)[i]);
        ASSERT_NE(cut, nullptr) << i;
        EXPECT_EQ(ValuesOf(*cut->Get()), expected[i]) << i;
    }
    // A table without rows (no zones upstream) cuts nothing, whatever `row` says.
    std::unique_ptr<CValue> none = ImageOf(CT::GREY_F, CSize(5, 0), {});
    node = Prepare("Crop", R"({"row": 1})", {image.get(), none.get()});
    node->Run();
    EXPECT_EQ(OutputImage(*node).Type(), IImage::CType(CT::GREY_8));
    EXPECT_EQ(OutputImage(*node).Size(), CSize(0, 0, 1));
    ASSERT_NE(node->StackOutput(1)->Vector(), nullptr);
    EXPECT_EQ(node->StackOutput(1)->Vector()->Size(), 0u);
    // A box leaving the image fails the run, whichever row output 0 takes.
    std::unique_ptr<CValue> outside = ImageOf(CT::GREY_F, CSize(4, 2), {0, 0, 0, 0, 3, 4, 0, 0});
    node = Prepare("Crop", "{}", {image.get(), outside.get()});
    EXPECT_THROW(node->Run(), CException);
}

TEST(FilterNodes, RegionPropertiesTableAndMaps) {
    // A 2 x 2 square and two pixels apart with one label; intensities 1 to 12.
    std::unique_ptr<CValue> labels =
        ImageOf(CT::GREY_8, CSize(4, 3), {1, 1, 0, 2, 1, 1, 0, 0, 0, 0, 0, 2});
    std::unique_ptr<CValue> intensity =
        ImageOf(CT::GREY_16, CSize(4, 3), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const double pi = 3.141592653589793;
    // label, area, centroid x y, box, perimeter, diameter, orientation, eccentricity, mean,
    // minimum, maximum
    const std::vector<std::vector<double>> expected = {
        {1, 4, 0.5, 0.5, 0, 0, 1, 1, 4, std::sqrt(16 / pi), pi / 4, 0, 3.5, 1, 6},
        {2, 2, 3, 1, 3, 0, 3, 2, 0, std::sqrt(8 / pi), 0, 1, 8, 4, 12}};
    for (bool measured : {false, true}) {
        std::unique_ptr<CPNode> node =
            Prepare("RegionProperties", "{}", {labels.get(), measured ? intensity.get() : nullptr});
        node->Run();
        const CImage* table = &OutputImage(*node);
        const size_t columns = measured ? 15 : 12;
        ASSERT_EQ(table->Size(), CSize(int64_t(columns), 2));
        const CValueVector* maps = node->StackOutput(1)->Vector();
        ASSERT_EQ(maps->Size(), 2u);
        const CValueVector* names = table->Attributes().Entry("columns")->Vector();
        ASSERT_EQ(names->Size(), columns);
        for (size_t r = 0; r < 2; ++r)
            for (size_t c = 0; c < columns; ++c) {
                const double want = expected[r][c];
                EXPECT_EQ(table->Data<float>()[r * columns + c], float(want)) << r << " " << c;
                const std::string key = (*names)[c]->String();
                EXPECT_DOUBLE_EQ((*maps)[r]->Map()->Entry(key)->Double(), want) << key;
            }
        EXPECT_EQ((*maps)[0]->Map()->Entry("area")->GenericType(), CValue::VAL_LONG);
    }
}

TEST(FilterNodes, ConvolveCorrelatesOrConvolvesWithTheKernelImage) {
    // Anchor at 1 of 2 taps: out(x) = k0 in(x - 1) + k1 in(x), reflected without the edge.
    std::unique_ptr<CValue> image = ImageOf(CT::GREY_8, CSize(3, 1), {1, 2, 3});
    std::unique_ptr<CValue> kernel = ImageOf(CT::GREY_16, CSize(2, 1), {1, 10});
    for (auto [settings, expected] :
         {std::pair{"{}", std::vector<double>{12, 21, 32}},
          std::pair{R"({"flip": true})", std::vector<double>{21, 12, 23}}}) {
        std::unique_ptr<CPNode> node = Prepare("Convolve", settings, {image.get(), kernel.get()});
        node->Run();
        EXPECT_EQ(OutputImage(*node).Type(), IMAGE_GREY_F);
        EXPECT_EQ(ValuesOf(OutputImage(*node)), expected) << settings;
    }
}

TEST(FilterNodes, RefuseWhatTheyCannotTakeAndSayWhy) {
    struct SRefusal {
        const char* node;
        const char* settings;
        CT type;
        const char* message;
        std::optional<CT> second = {};  // an image of this type on input 1
    } cases[] = {
        {"Threshold", "{}", CT::RGB_8,
         "input image is of type IMAGE_RGB_8; IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
         "IMAGE_GREY_64, IMAGE_GREY_F or IMAGE_GREY_D expected"},
        {"Threshold", R"({"mode": "TRUNC"})", CT::GREY_8, "mode TRUNC gives no mask"},
        {"Threshold", R"({"method": "MEAN"})", CT::GREY_8,
         "method 'MEAN' is not one of FIXED, OTSU, TRIANGLE"},
        {"GaussianBlur", "{}", CT::BINARY_FG, "input image is of type IMAGE_BINARY_FG; "},
        {"GaussianBlur", R"({"size": 4})", CT::GREY_8, "size must be odd"},
        {"GaussianBlur", R"({"sigma": 0})", CT::GREY_8, "size must be odd"},
        {"GaussianBlur", R"({"border": "WRAP"})", CT::GREY_8, "border 'WRAP' is not one of"},
        {"MedianBlur", R"({"size": 4})", CT::GREY_8, "size must be odd"},
        {"MedianBlur", R"({"size": 257})", CT::GREY_8, "size must be 1 to 255"},
        {"Morphology", R"({"iterations": 0})", CT::GREY_8, "iterations must be 1 to 1000"},
        {"Arithmetic", "{}", CT::GREY_8, "input images differ in type", CT::GREY_16},
        {"Arithmetic", R"({"out_type": "IMAGE_GREY_F"})", CT::RGB_8I,
         "a colour image keeps its type"},
        {"Arithmetic", "{}", CT::BINARY_BG, "input image is of type IMAGE_BINARY_BG; "},
        {"Crop", R"({"x": 2, "width": 1})", CT::GREY_8,
         "the rectangle (2, 0; 1 x 2) leaves the image of size (2, 2, 1)"},
        {"Crop", "{}", CT::GREY_8, "input image 1 is of type IMAGE_GREY_8; IMAGE_GREY_F expected",
         CT::GREY_8},
        {"Resize", R"({"fx": 0})", CT::GREY_8, "fx must be"},
        {"RegionProperties", "{}", CT::RGB_8I, "input image is of type IMAGE_RGB_8I; "},
        {"Sobel", R"({"size": 4})", CT::GREY_8, "size must be 1, 3, 5 or 7"},
        {"Sobel", R"({"dx": 3})", CT::GREY_8, "dx must be 0 to 2"},
        {"Scharr", R"({"dy": 1})", CT::GREY_8, "dx and dy must be 1 and 0 or 0 and 1, not 1 and 1"},
        {"ColorToGrey", "{}", CT::GREY_8,
         "input image is of type IMAGE_GREY_8; IMAGE_RGB_8, IMAGE_RGB_8I or IMAGE_RGB_FI expected"},
        {"GreyToColor", "{}", CT::GREY_16,
         "input image is of type IMAGE_GREY_16; IMAGE_GREY_8 expected"},
        {"Blend", "{}", CT::GREY_8, "no image on input 1"},
        {"Convolve", "{}", CT::GREY_8, "input image 1 is of type IMAGE_RGB_8I; IMAGE_GREY_8",
         CT::RGB_8I},
    };
    for (const SRefusal& c : cases) {
        SCOPED_TRACE(std::string(c.node) + " " + c.settings);
        auto image = [](CT type) {
            return ImageOf(type, CSize(2, 2), std::vector<double>(4 * type.Channels(), 1));
        };
        std::unique_ptr<CValue> a = image(c.type), b = c.second ? image(*c.second) : nullptr;
        std::unique_ptr<CPNode> node = Prepare(c.node, c.settings, {a.get(), b.get()});
        const std::string error = ErrorOf([&] { node->Run(); });
        EXPECT_NE(error.find(c.message), std::string::npos) << error;
    }
}

// What any host may do to any node of the module: its document twice, its defaults, runs
// without inputs and with every pixel type. Each run ends in a result or a CException.
TEST(FilterNodes, EveryNodeTakesAnyInputWithoutCrashing) {
    for (const std::string& name : Module().ListPlugins()) {
        SCOPED_TRACE(name);
        std::unique_ptr<CPNode> node = Module().Create(name);
        ASSERT_NE(node, nullptr);
        CValueMap first, second;
        node->GetPluginSetup(first);
        node->GetPluginSetup(second);
        ASSERT_TRUE(first.Entry("parameters")->EqualData(*second.Entry("parameters")));

        // A complete declaration: texts, a help page of its own, labelled pins, and parameters
        // whose allowed values hold their defaults.
        CSetupDocument doc;
        node->Declare(doc);
        EXPECT_EQ(doc.Name(), name);
        EXPECT_FALSE(doc.Summary().empty() || doc.LongDescription().empty() ||
                     doc.KeywordList().empty() || doc.SubType().empty());
        EXPECT_NE(doc.HelpPageAddress().find("/filters/P" + name + "/"), std::string::npos);
        EXPECT_FALSE(doc.IsStateful());
        for (const CSetupDocument::CParameter& parameter : doc.Parameters()) {
            EXPECT_FALSE(parameter.Text().empty()) << parameter.Key();
            const std::vector<std::string> allowed = parameter.AllowedValues();
            if (allowed.empty()) continue;
            EXPECT_NE(std::find(allowed.begin(), allowed.end(), parameter.Value()->String()),
                      allowed.end())
                << parameter.Key();
        }
        for (const char* group : {"inputs", "outputs"})
            for (const auto& [pin, placeholder] : *first.Entry(group)->Map())
                EXPECT_TRUE(placeholder->MetaIfAny() &&
                            !placeholder->MetaIfAny()->EntryString("label").empty())
                    << group << " " << pin;

        // NodeInit on an empty map keeps the declared values.
        CValueMap empty, after;
        node->Init(&empty);
        node->NodeInit();
        node->GetPluginSetup(after);
        EXPECT_TRUE(first.Entry("parameters")->EqualData(*after.Entry("parameters")));

        CValueMap defaults(*first.Entry("parameters")->Map());
        node->Init(&defaults);
        node->NodeInit();
        EXPECT_THROW(node->Run(), CException);
        for (int i = 0; i < IImage::CType::COUNT; ++i) {
            const IImage::CType type = IImage::CType::All()[i];
            for (CSize size : {CSize(5, 4, 2), CSize(0, 3)}) {
                std::vector<double> values(static_cast<size_t>(size.Elements() * type.Channels()));
                for (size_t v = 0; v < values.size(); ++v)
                    values[v] = static_cast<double>(v % 7);
                std::unique_ptr<CValue> image = ImageOf(type, size, values);
                node->SetStackInput(0, image.get());
                node->SetStackInput(1, image.get());
                try {
                    node->Run();
                } catch (const CException&) {
                }
                node->ClearStackInputs();
            }
        }
    }
}

}  // namespace
