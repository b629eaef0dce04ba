#include "PGetCoordinates.h"

#include <limits>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

struct Table {
    CSize size;
    std::vector<float> cells;
    std::string printed;
};

Table Coordinates(CValue* input, CValue* mask, bool label, bool threeD) {
    CPGetCoordinates node;
    Configure(node, {{"label", label}, {"3d", threeD}});
    SetInputs(node, {input, mask});
    Table table;
    table.printed = CapturedStdout([&] { node.Run(); });
    table.size = OutputImage(node).Size();
    table.cells = Samples<float>(OutputImage(node));
    return table;
}

}  // namespace

TEST(GetCoordinates, ListsSelectedPixels) {
    auto image = GreyF(CSize(3, 2, 2), {0, 0, 4, 7, 0, 0, 0, NaN, 0, 0, 0, 9});
    Table table = Coordinates(image.get(), nullptr, false, false);
    EXPECT_EQ(table.size, CSize(2, 2, 1));
    EXPECT_EQ(table.cells, (std::vector<float>{2, 0, 0, 1}));
    EXPECT_EQ(table.printed, "");

    table = Coordinates(image.get(), nullptr, false, true);
    EXPECT_EQ(table.cells, (std::vector<float>{2, 0, 0, 0, 1, 0, 1, 0, 1, 2, 1, 1}));

    // The mask selects, the first column holds input 0's value, 0 included; a shorter mask
    // selects nothing beyond its end.
    auto mask = GreyF(CSize(2, 2), {1, 0, 1, 0});
    table = Coordinates(image.get(), mask.get(), true, true);
    EXPECT_EQ(table.size, CSize(4, 2, 1));
    EXPECT_EQ(table.cells, (std::vector<float>{0, 0, 0, 0, 4, 2, 0, 0}));

    auto zeros = GreyF(CSize(2, 2), {0});
    table = Coordinates(zeros.get(), nullptr, true, false);
    EXPECT_EQ(table.size, CSize(3, 0, 1));
    EXPECT_EQ(table.printed,
              "(utility plugins) GetCoordinates::Run Warning: No non-zero pixel found, resulting "
              "image is zero-sized!\n");
}

TEST(GetCoordinates, Failures) {
    auto floats = GreyF(CSize(1, 1), {1}), bytes = Grey8(CSize(1, 1), {1});
    CValueLong number(1);
    CValuePointer<CImage> empty;
    const SFailure failures[] = {
        {{nullptr, floats.get()}, "input 0 is NULL"},
        {{&number, floats.get()}, "input 0 is not an image"},
        {{&empty, &number}, "input 1 is not an image"},
        {{&empty, floats.get()}, "input 0 is NULL"},
        {{bytes.get(), bytes.get()}, "input image 0 is not of type IMAGE_GREY_F"},
        {{floats.get(), bytes.get()}, "input image 1 is not of type IMAGE_GREY_F"},
    };
    ExpectFailures<CPGetCoordinates>("(utility plugins) GetCoordinates::Run | ", failures);
}
