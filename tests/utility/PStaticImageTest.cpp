#include "PStaticImage.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Runs a StaticImage node in `mode` on `input`; its output 0, or null.
std::unique_ptr<CValue> StaticImage(const char* mode, CValue* input = nullptr) {
    CPStaticImage node;
    Configure(node, {{"mode", mode}});
    SetInputs(node, {input});
    node.Run();
    return node.TakeStackOutput(0);
}

}  // namespace

TEST(StaticImage, KeepsACopyOfTheLastImageWritten) {
    // Other modes do nothing: a read before any write gives the empty image the module starts
    // with.
    auto ignored = GreyF(CSize(2, 2), {1.0f});
    for (const char* mode : {"DELETE", "write"})
        EXPECT_EQ(StaticImage(mode, ignored.get()), nullptr) << mode;
    EXPECT_EQ(UnwrapPointer<CImage>(StaticImage("READ").get())->Size(), CSize(0, 0, 0));

    for (CSize size : {CSize(4, 3), CSize(2, 1, 3)}) {
        std::vector<float> samples(static_cast<size_t>(size.Elements()));
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(i) - 2.5f;
        auto input = GreyF(size, samples);
        EXPECT_EQ(StaticImage("WRITE", input.get()), nullptr);
        UnwrapPointer<CImage>(input.get())->Data<float>()[0] = 100.0f;
        std::unique_ptr<CValue> read = StaticImage("READ");
        CImage* copy = UnwrapPointer<CImage>(read.get());
        EXPECT_EQ(copy->Size(), size);
        EXPECT_EQ(Samples<float>(*copy), samples);
        copy->Data<float>()[1] = 100.0f;
        EXPECT_EQ(Samples<float>(*UnwrapPointer<CImage>(StaticImage("READ").get())), samples);
    }
}

TEST(StaticImage, WriteChecksItsInput) {
    auto bytes = Grey8(CSize(2, 2), {1});
    CValueOwnedPointer<CImage> none;
    CPStaticImage node;
    Configure(node, {{"mode", "WRITE"}});
    const std::string where = "(utility plugins) StaticImage::Run | ";
    EXPECT_EQ(RunError(node, {}), where + "input image is NULL");
    EXPECT_EQ(RunError(node, {&none}), where + "input image is NULL");
    EXPECT_EQ(RunError(node, {bytes.get()}), where + "input image must be of type IMAGE_GREY_F");
}
