#include "PFindBalancePoint.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Labels 1 at (0, 0), (1, 0), (1, 1) and 3 (3.9 truncated) in column 3; no label 2; 0.5 and
// NaN are background.
std::unique_ptr<CValue> Labels() {
    return ImageValue<float>(IMAGE_GREY_F, CSize(4, 3),
                             {1, 1, 0, 3.9f,  //
                              0, 1, 0, 3,     //
                              0.5f, 0, NAN, 3});
}

}  // namespace

TEST(FindBalancePoint, CentroidsByAreaAndByWeight) {
    // Rows x, y, weight per label from 1 up; a missing label's centre is NaN.
    std::unique_ptr<CValue> labels = Labels();
    std::unique_ptr<CValue> weights =
        ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 3), {1, 2, 9, 1, 9, 3, 9, 1, 9, 9, 9, 2});
    CPFindBalancePoint node;
    RunNode(node, "{}", {labels.get()});
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 3, 1));
    EXPECT_EQ(NaNAs99(Samples<float>(OutputImage(node))),
              (std::vector<float>{2.0f / 3, 1.0f / 3, 3, -99, -99, 0, 3, 1, 3}));
    const CValueVector& records = *node.StackOutput(1)->Vector();
    ASSERT_EQ(records.Size(), 3u);
    EXPECT_EQ(records[2]->Map()->Keys(), (std::vector<std::string>{"label", "weight", "x", "y"}));
    EXPECT_EQ(records[2]->Map()->EntryLong("label"), 3);

    RunNode(node, "{}", {labels.get(), weights.get()});
    EXPECT_EQ(NaNAs99(Samples<float>(OutputImage(node))),
              (std::vector<float>{5.0f / 6, 0.5f, 6, -99, -99, 0, 3, 1.25f, 4}));

    // Planes add z: x, y, z, weight.
    std::unique_ptr<CValue> planes =
        ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1, 2), {0, 1, 1, 0});
    RunNode(node, "{}", {planes.get(), nullptr});
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{0.5f, 0, 0.5f, 2}));
}

TEST(FindBalancePoint, Failures) {
    std::unique_ptr<CValue> labels = Labels();
    std::unique_ptr<CValue> small = ImageValue<float>(IMAGE_GREY_F, CSize(4, 2), {1});
    std::unique_ptr<CValue> huge = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {16777217});
    ExpectJsonFailures<CPFindBalancePoint>(
        "(utility plugins) FindBalancePoint::Run",
        {{"{}",
          "input 1 has size (4, 2, 1), but input 0 has size (4, 3, 1)",
          {labels.get(), small.get()}},
         {"{}", "label 16777217 is too large (at most 16777216)", {huge.get()}}});
}
