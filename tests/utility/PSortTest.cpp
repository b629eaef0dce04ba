#include "PSort.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(Sort, SortsByTheChosenColumn) {
    struct Case {
        IImage::CType type;
        CSize size;
        std::vector<double> samples;
        int column;
        std::vector<double> expected;
    } cases[] = {
        {IMAGE_GREY_F, CSize(2, 3), {3, 10, 1, 30, 2, 20}, 1, {3, 10, 2, 20, 1, 30}},
        {IMAGE_GREY_32, CSize(1, 2), {4294967295.0, 1}, 0, {1, 4294967295.0}},  // unsigned
    };
    for (const Case& c : cases) {
        CPSort node;
        Configure(node, {{"column", c.column}});
        auto image = ImageOf(c.type, c.size, c.samples);
        EXPECT_EQ(ValuesOf(RunImage(node, {image.get()})), c.expected) << c.type.Name();
    }
}

TEST(Sort, Errors) {
    auto grey = Blank(IMAGE_GREY_8, CSize(2, 2)), doubles = Blank(IMAGE_GREY_D, CSize(2, 2));
    CValueLong number(1);
    const std::string column = "Invalid parameter column. It should be 0..width-1";
    const SFailure failures[] = {
        {{}, "input 0 is NULL"},
        {{&number}, "input 0 is not an image"},
        {{grey.get()}, column, {{"column", 2}}},
        {{grey.get()}, column, {{"column", -1}}},
        {{doubles.get()},
         "image type is not IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, nor "
         "IMAGE_MONO_BINARY"},
    };
    ExpectFailures<CPSort>("(utility plugins) Sort::Run | ", failures);
}
