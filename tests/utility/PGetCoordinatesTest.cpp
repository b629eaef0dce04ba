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
    CValueMap parameters;
    parameters.SetEntry("label", new CValueBool(label));
    parameters.SetEntry("3d", new CValueBool(threeD));
    Configure(node, parameters);
    node.SetStackInput(0, input);
    node.SetStackInput(1, mask);
    Table table;
    table.printed = CapturedStdout([&] { node.Run(); });
    table.size = OutputImage(node).Size();
    table.cells = Samples<float>(OutputImage(node));
    return table;
}

}  // namespace

TEST(GetCoordinates, ListsSelectedPixels) {
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(3, 2, 2), {0, 0, 4, 7, 0, 0, 0, NaN, 0, 0, 0, 9});
    Table table = Coordinates(image.get(), nullptr, false, false);
    EXPECT_EQ(table.size, CSize(2, 2, 1));
    EXPECT_EQ(table.cells, (std::vector<float>{2, 0, 0, 1}));
    EXPECT_EQ(table.printed, "");

    table = Coordinates(image.get(), nullptr, false, true);
    EXPECT_EQ(table.cells, (std::vector<float>{2, 0, 0, 0, 1, 0, 1, 0, 1, 2, 1, 1}));

    // The mask selects, the first column holds input 0's value, 0 included; a shorter mask
    // selects nothing beyond its end.
    std::unique_ptr<CValue> mask = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1, 0, 1, 0});
    table = Coordinates(image.get(), mask.get(), true, true);
    EXPECT_EQ(table.size, CSize(4, 2, 1));
    EXPECT_EQ(table.cells, (std::vector<float>{0, 0, 0, 0, 4, 2, 0, 0}));

    std::unique_ptr<CValue> zeros = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {0});
    table = Coordinates(zeros.get(), nullptr, true, false);
    EXPECT_EQ(table.size, CSize(3, 0, 1));
    EXPECT_EQ(table.printed,
              "(utility plugins) GetCoordinates::Run Warning: No non-zero pixel found, resulting "
              "image is zero-sized!\n");
}

TEST(GetCoordinates, Failures) {
    CPGetCoordinates node;
    Configure(node);
    std::unique_ptr<CValue> floats = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1});
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    CValueLong number(1);
    CValuePointer<CImage> empty;
    struct Case {
        CValue *input, *mask;
        const char* message;
    } cases[] = {
        {nullptr, floats.get(), "input 0 is NULL"},
        {&number, floats.get(), "input 0 is not an image"},
        {&empty, &number, "input 1 is not an image"},
        {&empty, floats.get(), "input 0 is NULL"},
        {bytes.get(), bytes.get(), "input image 0 is not of type IMAGE_GREY_F"},
        {floats.get(), bytes.get(), "input image 1 is not of type IMAGE_GREY_F"},
    };
    for (const Case& c : cases) {
        node.SetStackInput(0, c.input);
        node.SetStackInput(1, c.mask);
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  std::string("(utility plugins) GetCoordinates::Run | ") + c.message);
    }
}
