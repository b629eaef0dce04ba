#include "PConvertType.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::unique_ptr<CPConvertType> Node(const char* outType, bool runOnce = false) {
    auto node = std::make_unique<CPConvertType>();
    Configure(*node, {{"out_type", outType}, {"run_once", runOnce}});
    return node;
}

}  // namespace

TEST(ConvertType, Errors) {
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2)), shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input 0 is not an image"},
        {{&none}, "input image is NULL"},
        {{doubles.get()},
         "Cannot convert input image type IMAGE_GREY_D to output type IMAGE_GREY_F"},
        {{shorts.get()},
         "Cannot convert input image type IMAGE_GREY_16 to output type IMAGE_GREY_8",
         {{"out_type", "IMAGE_GREY_8"}}},
    };
    ExpectFailures<CPConvertType>("ConverType | ", failures);

    // Names are compared exactly; an unknown one falls back to IMAGE_GREY_F with a warning.
    std::unique_ptr<CPConvertType> node;
    EXPECT_EQ(CapturedStderr([&] { node = Node("image_grey_8"); }),
              "ConverType: unsupported out type 'image_grey_8'. resetting type to IMAGE_GREY_F\n");
    EXPECT_EQ(node->OutputType(), "IMAGE_GREY_F");
    EXPECT_NE(CapturedStderr([&] { node = Node("IMAGE_GREY_16"); }), "");
}

TEST(ConvertType, RunOnceKeepsHandingOutTheFirstResult) {
    auto node = Node("IMAGE_GREY_8", true);
    auto first = GreyF(CSize(1, 1), {7.0f}), second = GreyF(CSize(1, 1), {9.0f});
    CValueLong number(3);
    // A failed run leaves the node computing on the next one.
    EXPECT_EQ(RunError(*node, {&number}), "ConverType | input 0 is not an image");
    const CImage* kept = &RunImage(*node, {first.get()});
    EXPECT_FALSE(node->StackOutput(0)->Pointer()->Owns());
    for (CValue* input : {second.get(), static_cast<CValue*>(&number)}) {
        EXPECT_EQ(&RunImage(*node, {input}), kept);
        EXPECT_EQ(Samples<uint8_t>(*kept), (std::vector<uint8_t>{7}));
    }
    // NodeInit computes again.
    node->NodeInit();
    EXPECT_EQ(Samples<uint8_t>(RunImage(*node, {second.get()})), (std::vector<uint8_t>{9}));
}
