#include "PStaticImage.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::unique_ptr<CPStaticImage> StaticImage(const char* mode) {
    auto node = std::make_unique<CPStaticImage>();
    CValueMap parameters;
    parameters.SetEntry("mode", new CValueString(mode));
    Configure(*node, parameters);
    return node;
}

std::unique_ptr<CValue> ReadStored() {
    auto node = StaticImage("READ");
    node->Run();
    return node->TakeStackOutput(0);
}

}  // namespace

TEST(StaticImage, KeepsACopyOfTheLastImageWritten) {
    for (CSize size : {CSize(4, 3), CSize(2, 1, 3)}) {
        std::vector<float> samples(static_cast<size_t>(size.Elements()));
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(i) - 2.5f;
        std::unique_ptr<CValue> input = ImageValue<float>(IMAGE_GREY_F, size, samples);
        auto writer = StaticImage("WRITE");
        writer->SetStackInput(0, input.get());
        writer->Run();
        EXPECT_FALSE(writer->IsStackOutputSet(0));
        UnwrapPointer<CImage>(input.get())->Data<float>()[0] = 100.0f;

        std::unique_ptr<CValue> read = ReadStored();
        CImage* copy = UnwrapPointer<CImage>(read.get());
        EXPECT_EQ(copy->Size(), size);
        EXPECT_EQ(Samples<float>(*copy), samples);
        copy->Data<float>()[1] = 100.0f;
        EXPECT_EQ(Samples<float>(*UnwrapPointer<CImage>(ReadStored().get())), samples);
    }
}

TEST(StaticImage, OtherModesDoNothing) {
    std::unique_ptr<CValue> input = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1.0f});
    for (const char* mode : {"DELETE", "write"}) {
        auto node = StaticImage(mode);
        node->SetStackInput(0, input.get());
        EXPECT_EQ(ErrorOf([&] { node->Run(); }), "no exception") << mode;
        EXPECT_FALSE(node->IsStackOutputSet(0)) << mode;
    }
    // Nothing was written: a read gives the empty float image the module starts with.
    std::unique_ptr<CValue> empty = ReadStored();
    EXPECT_EQ(UnwrapPointer<CImage>(empty.get())->Type(), IMAGE_GREY_F);
    EXPECT_EQ(UnwrapPointer<CImage>(empty.get())->Size(), CSize(0, 0, 0));
}

TEST(StaticImage, WriteChecksItsInput) {
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 2), {1});
    CValueOwnedPointer<CImage> none;
    auto node = StaticImage("WRITE");
    EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
              "(utility plugins) StaticImage::Run | input image is NULL");
    node->SetStackInput(0, &none);
    EXPECT_EQ(ErrorOf([&] { node->Run(); }), "input image is NULL");
    node->SetStackInput(0, bytes.get());
    EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
              "(utility plugins) StaticImage::Run | input image must be of type IMAGE_GREY_F");
}
