#include "PFindBalancePoint.h"

#include <cmath>
#include <limits>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// Labels 1 at (0, 0), (1, 0), (1, 1) and 3 (3.9 truncated) in column 3; no label 2; 0.5 and
// NaN are background.
std::unique_ptr<CValue> Labels() {
    return ImageValue<float>(IMAGE_GREY_F, CSize(4, 3),
                             {1, 1, 0, 3.9f,  //
                              0, 1, 0, 3,     //
                              0.5f, 0, NaN, 3});
}

// The table, NaN written as -99 so that rows compare.
std::vector<float> Table(CPNode& node) {
    std::vector<float> cells = Samples<float>(OutputImage(node));
    for (float& cell : cells)
        if (std::isnan(cell)) cell = -99;
    return cells;
}

}  // namespace

TEST(FindBalancePoint, CentroidsByAreaAndByWeight) {
    std::unique_ptr<CValue> labels = Labels();
    CPFindBalancePoint node;
    Configure(node);
    node.SetStackInput(0, labels.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 3, 1));
    EXPECT_EQ(Table(node), (std::vector<float>{2.0f / 3, 1.0f / 3, 3, -99, -99, 0, 3, 1, 3}));
    const CValueVector& records = *node.StackOutput(1)->Vector();
    ASSERT_EQ(records.Size(), 3u);
    EXPECT_EQ(records[2]->Map()->Keys(), (std::vector<std::string>{"label", "weight", "x", "y"}));
    EXPECT_EQ(records[2]->Map()->EntryLong("label"), 3);
    EXPECT_EQ(records[0]->Map()->EntryDouble("x"), 2.0 / 3);

    std::unique_ptr<CValue> weights =
        ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 3), {1, 2, 9, 1, 9, 3, 9, 1, 9, 9, 9, 2});
    node.SetStackInput(1, weights.get());
    node.Run();
    EXPECT_EQ(Table(node), (std::vector<float>{5.0f / 6, 0.5f, 6, -99, -99, 0, 3, 1.25f, 4}));
}

TEST(FindBalancePoint, PlanesAddZ) {
    CPFindBalancePoint node;
    Configure(node);
    std::unique_ptr<CValue> labels =
        ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1, 2), {0, 1, 1, 0});
    node.SetStackInput(0, labels.get());
    node.Run();
    EXPECT_EQ(Table(node), (std::vector<float>{0.5f, 0, 0.5f, 2}));
    EXPECT_EQ(node.StackOutput(1)->Vector()->operator[](0)->Map()->EntryDouble("z"), 0.5);
}

TEST(FindBalancePoint, RefusesBadInput) {
    CPFindBalancePoint node;
    Configure(node);
    std::unique_ptr<CValue> labels = Labels();
    std::unique_ptr<CValue> small = ImageValue<float>(IMAGE_GREY_F, CSize(4, 2), {1});
    std::unique_ptr<CValue> huge = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {16777217});
    const std::string where = "(utility plugins) FindBalancePoint::Run | ";
    node.SetStackInput(0, labels.get());
    node.SetStackInput(1, small.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "input 1 has size (4, 2, 1), but input 0 has size (4, 3, 1)");
    node.ClearStackInputs();
    node.SetStackInput(0, huge.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "label 16777217 is too large (at most 16777216)");
}
