#include <cmath>
#include <deque>
#include <limits>

#include "NodeTesting.h"
#include "PRingBuffer.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::unique_ptr<CPRingBuffer> Buffer(int32_t size, bool clear = false) {
    auto node = std::make_unique<CPRingBuffer>();
    CValueMap parameters;
    parameters.SetEntry("size", new CValueLong(size));
    parameters.SetEntry("clear", new CValueBool(clear));
    Configure(*node, parameters);
    return node;
}

void Push(CPRingBuffer& node, CValue* value) {
    node.SetStackInput(0, value);
    node.Run();
    node.ClearStackInputs();
}

// Output 0 in the text format, images by their first sample.
std::string Kept(CPRingBuffer& node) {
    std::string text;
    for (const auto& entry : *node.StackOutput(0)->Vector()) {
        if (HoldsType<CImage>(entry.get()))
            text += "image(" + std::to_string(UnwrapPointer<CImage>(entry.get())->Bytes()[0]) + ")";
        else
            text += CTextSerializer::ToText(*entry, 0);
        text += " ";
    }
    return text;
}

// The mean on output 1, or nothing.
std::vector<float> Mean(CPRingBuffer& node) {
    if (!UnwrapPointer<CImage>(node.StackOutput(1))) return {};
    const CImage& mean = OutputImage(node, 1);
    EXPECT_EQ(mean.Type(), IMAGE_GREY_F);
    return Samples<float>(mean);
}

}  // namespace

TEST(RingBuffer, KeepsTheLastValuesOldestFirst) {
    auto node = Buffer(3);
    std::vector<std::string> expected = {"1 ", "1 2 ", "1 2 3 ", "2 3 4 ", "3 4 5 "};
    for (int32_t i = 1; i <= 5; ++i) {
        CValueLong value(i);
        Push(*node, &value);
        EXPECT_EQ(Kept(*node), expected[i - 1]);
        EXPECT_TRUE(Mean(*node).empty());
    }
    // A run without input adds nothing.
    node->Run();
    EXPECT_EQ(Kept(*node), "3 4 5 ");
}

TEST(RingBuffer, TheMeanFollowsTheKeptImagesOfAnyGreyType) {
    // Types change from image to image; the values keep every mean exact.
    auto node = Buffer(3);
    std::deque<std::vector<double>> kept;
    const IImage::CType types[] = {IMAGE_GREY_8, IMAGE_GREY_F,  IMAGE_GREY_16, IMAGE_GREY_D,
                                   IMAGE_GREY_F, IMAGE_GREY_32, IMAGE_GREY_8,  IMAGE_BINARY_FG};
    for (int run = 0; run < 8; ++run) {
        std::vector<double> values = {double(run), double(2 * run + 1), 250.0 - run, 7.0};
        if (types[run] == IMAGE_BINARY_FG) values = {1, 0, 1, 1};
        auto image = std::make_unique<CImage>(types[run], CSize(2, 2));
        DispatchGrey(types[run], [&]<class T>(std::type_identity<T>) {
            for (int i = 0; i < 4; ++i)
                image->Data<T>()[i] = static_cast<T>(values[i]);
        });
        CValueOwnedPointer<CImage> value(std::move(image));
        Push(*node, &value);
        kept.push_back(values);
        if (kept.size() > 3) kept.pop_front();
        std::vector<float> expected;
        for (int i = 0; i < 4; ++i) {
            double sum = 0;
            for (const auto& image : kept)
                sum += image[i];
            expected.push_back(static_cast<float>(sum / kept.size()));
        }
        EXPECT_EQ(Mean(*node), expected) << "run " << run;
    }
}

TEST(RingBuffer, TheMeanComesBackWhenTheOddValuesAreDropped) {
    auto grey = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {2.0f, 4.0f});
    auto other = ImageValue<float>(IMAGE_GREY_F, CSize(1, 2), {8.0f});
    auto colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 1), {1});
    auto nan = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {std::nanf(""), 1.0f});
    auto inf = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {INFINITY, -INFINITY});
    CValueLong number(1);
    const float NaN = std::numeric_limits<float>::quiet_NaN();
    struct Step {
        CValue* input;
        std::vector<float> mean;  // empty: none
    } steps[] = {
        {grey.get(), {2, 4}},
        {&number, {}},
        {grey.get(), {}},
        {grey.get(), {2, 4}},
        {other.get(), {}},
        {grey.get(), {}},
        {grey.get(), {2, 4}},
        {colour.get(), {}},
        {grey.get(), {}},
        {grey.get(), {2, 4}},
        {nan.get(), {NaN, 2.5}},
        {grey.get(), {NaN, 2.5}},
        {grey.get(), {2, 4}},
        {inf.get(), {INFINITY, -INFINITY}},
        {grey.get(), {INFINITY, -INFINITY}},
        {grey.get(), {2, 4}},
    };
    auto node = Buffer(2);
    int index = 0;
    for (const Step& step : steps) {
        Push(*node, step.input);
        std::vector<float> mean = Mean(*node);
        ASSERT_EQ(mean.size(), step.mean.size()) << "step " << index;
        for (size_t i = 0; i < mean.size(); ++i)
            EXPECT_TRUE(mean[i] == step.mean[i] ||
                        (std::isnan(mean[i]) && std::isnan(step.mean[i])))
                << "step " << index << " pixel " << i << ": " << mean[i];
        ++index;
    }
}

TEST(RingBuffer, KeepsCopiesAndHandsOutCopies) {
    auto node = Buffer(2);
    auto input = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {5});
    Push(*node, input.get());
    UnwrapPointer<CImage>(input.get())->Bytes()[0] = 9;
    Push(*node, input.get());
    EXPECT_EQ(Kept(*node), "image(5) image(9) ");
    // What output 0 holds is the host's to change.
    UnwrapPointer<CImage>((*node->StackOutput(0)->Vector())[0])->Bytes()[0] = 100;
    node->Run();
    EXPECT_EQ(Kept(*node), "image(5) image(9) ");
    EXPECT_EQ(Mean(*node), std::vector<float>{7.0f});

    // An unwanted output 0 is not built; the mean still is.
    node->SetStackOutputWanted(0, false);
    node->TakeStackOutput(0);
    Push(*node, input.get());
    EXPECT_EQ(node->StackOutput(0), nullptr);
    EXPECT_EQ(Mean(*node), std::vector<float>{9.0f});
}

TEST(RingBuffer, ClearAndANewSizeEmptyIt) {
    CValueLong one(1), two(2), three(3);
    auto node = Buffer(3);
    Push(*node, &one);
    Push(*node, &two);

    // The same size keeps what is there.
    CValueMap same(node->Parameters());
    node->Init(&same);
    node->NodeInit();
    Push(*node, &three);
    EXPECT_EQ(Kept(*node), "1 2 3 ");

    // clear empties at the next run, which keeps its input, and then turns itself off.
    CValueMap clear(node->Parameters());
    clear.SetEntry("clear", new CValueBool(true));
    node->Init(&clear);
    node->NodeInit();
    EXPECT_EQ(Kept(*node), "1 2 3 ");
    Push(*node, &one);
    EXPECT_EQ(Kept(*node), "1 ");
    EXPECT_FALSE(node->Parameters().EntryBool("clear"));
    Push(*node, &two);
    EXPECT_EQ(Kept(*node), "1 2 ");

    CValueMap resized(node->Parameters());
    resized.SetEntry("size", new CValueLong(5));
    node->Init(&resized);
    node->NodeInit();
    EXPECT_EQ(node->Count(), 0u);
}

TEST(RingBuffer, ASizeBelowOneIsAnError) {
    for (int32_t size : {0, -3}) {
        auto node = Buffer(size);
        CValueLong value(1);
        node->SetStackInput(0, &value);
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
                  "(utility plugins) RingBuffer::Run | size must be at least 1, not " +
                      std::to_string(size));
    }
}
