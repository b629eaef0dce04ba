#include <bit>
#include <cmath>
#include <random>

#include "NodeTesting.h"
#include "PRayMaximum.h"
#include "PRayMinimum.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

template <class Node>
std::vector<double> Projected(IImage::CType type, CSize size, std::vector<double> samples) {
    Node node;
    auto image = ImageOf(type, size, samples);
    const CImage& out = RunImage(node, {image.get()});
    EXPECT_EQ(out.Size(), CSize(size.x, size.y, 1));
    return ValuesOf(out);
}

}  // namespace

TEST(RayProjection, ExtremesAlongZ) {
    using D = std::vector<double>;
    // Rays (5, 9, 7) and (0, 0, 255).
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_8, CSize(2, 1, 3), {5, 0, 9, 0, 7, 255}),
              (D{9, 255}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_8, CSize(2, 1, 3), {5, 0, 9, 0, 7, 255}),
              (D{5, 0}));
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_BINARY_FG, CSize(1, 1, 2), {1, 255}), (D{255}));
    // Unsigned comparisons.
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_32, CSize(1, 1, 2), {4294967295.0, 1}),
              (D{4294967295.0}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_16, CSize(1, 1, 2), {65535, 1}), (D{1}));
    // A NaN in plane 0 stays; later NaNs are passed over.
    EXPECT_TRUE(std::isnan(Projected<CPRayMaximum>(IMAGE_GREY_F, CSize(1, 1, 3), {NaN, 1, 2})[0]));
    EXPECT_TRUE(std::isnan(Projected<CPRayMinimum>(IMAGE_GREY_F, CSize(1, 1, 3), {NaN, 1, 2})[0]));
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_F, CSize(1, 1, 3), {1, NaN, 2}), (D{2}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_F, CSize(1, 1, 3), {1, NaN, 2}), (D{1}));
}

TEST(RayProjection, PlaneByPlaneEqualsTheRayByRayLoop) {
    std::mt19937 random(9);
    const CSize size(13, 7, 7);  // four planes in one pass, two more one by one
    std::vector<float> data(static_cast<size_t>(size.Elements()));
    for (float& v : data)
        v = random() % 40 == 0 ? NaN : static_cast<float>(random() % 1000) - 500.0f;
    const int64_t plane = size.x * size.y;
    std::vector<float> fast(static_cast<size_t>(plane));
    RayKernel::Project<EnRay::MAXIMUM>(data.data(), fast.data(), plane, size.z);
    for (int64_t i = 0; i < plane; ++i) {
        float m = data[static_cast<size_t>(i)];
        for (int64_t z = 1; z < size.z; ++z) {
            float v = data[static_cast<size_t>(i + z * plane)];
            m = v > m ? v : m;
        }
        ASSERT_EQ(std::bit_cast<uint32_t>(fast[static_cast<size_t>(i)]), std::bit_cast<uint32_t>(m))
            << i;
    }
}

TEST(RayProjection, RunOnceAndEmptyInputs) {
    CPRayMaximum node;
    Configure(node, {{"run_once", true}});
    // An empty input is passed on as a copy and does not count as a run.
    auto empty = Blank(IMAGE_GREY_8, CSize(3, 0, 2));
    EXPECT_EQ(RunImage(node, {empty.get()}).Size(), CSize(3, 0, 2));
    auto first = Grey8(CSize(1, 1, 2), {1, 2}), second = Grey8(CSize(1, 1, 2), {7, 8});
    RunImage(node, {first.get()});
    EXPECT_EQ(Samples<uint8_t>(RunImage(node, {second.get()})), (std::vector<uint8_t>{2}));
    node.NodeInit();
    EXPECT_EQ(Samples<uint8_t>(RunImage(node, {second.get()})), (std::vector<uint8_t>{8}));
}

TEST(RayProjection, Errors) {
    CPRayMinimum node;
    CValueOwnedPointer<CImage> none;
    auto doubles = Blank(IMAGE_GREY_D, CSize(1, 1, 2));
    const std::string where = "(utility plugins) RayMinimum::Run | ";
    EXPECT_EQ(RunError(node, {}), where + "input image is NULL");
    // A value holding no image is reported under RayMaximum's name.
    EXPECT_EQ(RunError(node, {&none}), "(utility plugins) RayMaximum::Run | input image is NULL");
    EXPECT_EQ(RunError(node, {doubles.get()}),
              where +
                  "input image must be IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                  "IMAGE_GREY_32, or IMAGE_MONO_BINARY.");
}
