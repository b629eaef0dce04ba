#include "PSort.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(Sort, SortsByTheChosenColumnOrFails) {
    CPSort node;
    Configure(node, {{"column", 1}});
    auto table = ImageOf(IMAGE_GREY_32, CSize(2, 3), {3, 4294967295.0, 1, 30, 2, 20});
    EXPECT_EQ(ValuesOf(RunImage(node, {table.get()})),
              (std::vector<double>{2, 20, 1, 30, 3, 4294967295.0}));  // unsigned keys

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
