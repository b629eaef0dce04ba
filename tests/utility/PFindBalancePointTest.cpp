#include "PFindBalancePoint.h"

#include <cmath>
#include <limits>
#include <random>

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

TEST(FindBalancePoint, RunsOfAnyLengthAsPixelByPixel) {
    // Labels 0 .. 3 in runs of 1 to 20 pixels, byte weights; sums of small integers are exact.
    std::mt19937 random(5);
    const CSize size(37, 5, 2);
    std::vector<uint16_t> labels;
    while (static_cast<int64_t>(labels.size()) < size.Elements())
        labels.insert(labels.end(), 1 + random() % 20, static_cast<uint16_t>(random() % 4));
    labels.resize(static_cast<size_t>(size.Elements()));
    std::vector<uint8_t> weights(labels.size());
    for (uint8_t& w : weights)
        w = static_cast<uint8_t>(random() % 5);
    for (bool weighted : {false, true}) {
        std::vector<CPFindBalancePoint::SMoments> expected(4), actual(4);
        for (int64_t i = 0; i < size.Elements(); ++i) {
            const double w = weighted ? weights[i] : 1.0;
            CPFindBalancePoint::SMoments& m = expected[labels[i]];
            m.weight += w;
            m.x += w * static_cast<double>(i % size.x);
            m.y += w * static_cast<double>(i / size.x % size.y);
            m.z += w * static_cast<double>(i / (size.x * size.y));
        }
        CPFindBalancePoint::Accumulate(labels.data(), weighted ? weights.data() : nullptr, size, 3,
                                       actual);
        for (size_t k = 1; k < 4; ++k)
            EXPECT_EQ(
                std::vector<double>({actual[k].weight, actual[k].x, actual[k].y, actual[k].z}),
                std::vector<double>(
                    {expected[k].weight, expected[k].x, expected[k].y, expected[k].z}))
                << k << " " << weighted;
    }
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
