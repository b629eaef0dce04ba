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

template <class Node, class T>
std::vector<T> Projected(IImage::CType type, CSize size, std::vector<T> samples) {
    Node node;
    Configure(node);
    auto image = ImageValue<T>(type, size, samples);
    node.SetStackInput(0, image.get());
    node.Run();
    const CImage& out = OutputImage(node);
    EXPECT_EQ(out.Size(), CSize(size.x, size.y, 1));
    return Samples<T>(out);
}

}  // namespace

TEST(RayProjection, ExtremesAlongZ) {
    using U8 = std::vector<uint8_t>;
    // Rays (5, 9, 7) and (0, 0, 255).
    U8 rays = {5, 0, 9, 0, 7, 255};
    EXPECT_EQ((Projected<CPRayMaximum>(IMAGE_GREY_8, CSize(2, 1, 3), rays)), (U8{9, 255}));
    EXPECT_EQ((Projected<CPRayMinimum>(IMAGE_GREY_8, CSize(2, 1, 3), rays)), (U8{5, 0}));
    EXPECT_EQ((Projected<CPRayMaximum>(IMAGE_BINARY_FG, CSize(1, 1, 2), U8{1, 255})), (U8{255}));
    // Unsigned comparisons.
    EXPECT_EQ((Projected<CPRayMaximum, uint32_t>(IMAGE_GREY_32, CSize(1, 1, 2), {4294967295u, 1})),
              (std::vector<uint32_t>{4294967295u}));
    EXPECT_EQ((Projected<CPRayMinimum, uint16_t>(IMAGE_GREY_16, CSize(1, 1, 2), {65535, 1})),
              (std::vector<uint16_t>{1}));
    // A NaN in plane 0 stays; later NaNs are passed over.
    std::vector<float> rayNaNFirst = {NaN, 1, 2}, rayNaNLater = {1, NaN, 2};
    EXPECT_TRUE(std::isnan(Projected<CPRayMaximum>(IMAGE_GREY_F, CSize(1, 1, 3), rayNaNFirst)[0]));
    EXPECT_TRUE(std::isnan(Projected<CPRayMinimum>(IMAGE_GREY_F, CSize(1, 1, 3), rayNaNFirst)[0]));
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_F, CSize(1, 1, 3), rayNaNLater),
              (std::vector<float>{2}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_F, CSize(1, 1, 3), rayNaNLater),
              (std::vector<float>{1}));
    // A 2d input comes out as a copy of its pixels.
    EXPECT_EQ((Projected<CPRayMinimum>(IMAGE_GREY_8, CSize(3, 1), U8{4, 5, 6})), (U8{4, 5, 6}));
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
    CValueMap parameters;
    parameters.SetEntry("run_once", new CValueBool(true));
    Configure(node, parameters);
    // An empty input is passed on as a copy and does not count as a run.
    auto empty = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(3, 0, 2), {});
    node.SetStackInput(0, empty.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 0, 2));
    EXPECT_FALSE(node.HasRun());

    auto first = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1, 2), {1, 2});
    auto second = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1, 2), {7, 8});
    node.SetStackInput(0, first.get());
    node.Run();
    node.SetStackInput(0, second.get());
    node.Run();
    EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), (std::vector<uint8_t>{2}));
    node.NodeInit();
    node.Run();
    EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), (std::vector<uint8_t>{8}));
}

TEST(RayProjection, Errors) {
    CPRayMinimum node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) RayMinimum::Run | input image is NULL");
    CValueOwnedPointer<CImage> none;
    node.SetStackInput(0, &none);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) RayMaximum::Run | input image is NULL");
    for (IImage::CType type : {IMAGE_RGB_8, IMAGE_GREY_D}) {
        auto image = std::make_unique<CValueOwnedPointer<CImage>>(
            std::make_unique<CImage>(type, CSize(1, 1, 2)));
        node.SetStackInput(0, image.get());
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  "(utility plugins) RayMinimum::Run | input image must be IMAGE_GREY_F, "
                  "IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, or IMAGE_MONO_BINARY.");
    }
}
