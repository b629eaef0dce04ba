#include <cmath>

#include "DrawingTesting.h"
#include "PRayMaximum.h"
#include "PRayMinimum.h"

using namespace ORVA;
using namespace testing_support;

namespace {

template <class Node>
std::vector<double> Projected(IImage::CType type, CSize size, std::vector<double> samples) {
    Node node;
    auto image = ImageOf(type, size, samples);
    const CImage& out = RunImage(node, {image.get()});
    EXPECT_EQ(out.Size(), CSize(size.x, size.y, 1));
    return NaNAs99(ValuesOf(out));
}

}  // namespace

TEST(RayProjection, ExtremesAlongZ) {
    using D = std::vector<double>;
    // Rays (5, 9, 7) and (0, 0, 255).
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_8, CSize(2, 1, 3), {5, 0, 9, 0, 7, 255}),
              (D{9, 255}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_8, CSize(2, 1, 3), {5, 0, 9, 0, 7, 255}),
              (D{5, 0}));
    // Unsigned comparisons.
    EXPECT_EQ(Projected<CPRayMaximum>(IMAGE_GREY_32, CSize(1, 1, 2), {4294967295.0, 1}),
              (D{4294967295.0}));
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_16, CSize(1, 1, 2), {65535, 1}), (D{1}));
    // A NaN in plane 0 stays; later NaNs are passed over.
    EXPECT_EQ(Projected<CPRayMinimum>(IMAGE_GREY_F, CSize(2, 1, 3), {NAN, 1, 1, NAN, 2, 0}),
              (D{-99, 0}));
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
