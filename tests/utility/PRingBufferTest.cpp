#include <cmath>
#include <deque>
#include <map>

#include "DrawingTesting.h"
#include "PRingBuffer.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::unique_ptr<CPRingBuffer> Buffer(int32_t size) {
    auto node = std::make_unique<CPRingBuffer>();
    Configure(*node, {{"size", size}});
    return node;
}

// Lays `value` under `key` over the node's parameters and runs NodeInit, as a host does.
void Change(CPRingBuffer& node, const char* key, CValue* value) {
    CValueMap parameters(node.Parameters());
    parameters.SetEntry(key, value);
    node.Init(&parameters);
    node.NodeInit();
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

// The mean on output 1 with NaN as -99, or nothing when there is none.
std::vector<float> Mean(CPRingBuffer& node) {
    if (!UnwrapPointer<CImage>(node.StackOutput(1))) return {};
    const CImage& mean = OutputImage(node, 1);
    EXPECT_EQ(mean.Type(), IMAGE_GREY_F);
    return NaNAs99(Samples<float>(mean));
}

}  // namespace

TEST(RingBuffer, KeepsTheLastValuesOldestFirst) {
    auto node = Buffer(3);
    const char* expected[] = {"1 ", "1 2 ", "1 2 3 ", "2 3 4 ", "3 4 5 "};
    for (int32_t i = 1; i <= 5; ++i) {
        CValueLong value(i);
        Push(*node, &value);
        EXPECT_EQ(Kept(*node), expected[i - 1]);
        EXPECT_TRUE(Mean(*node).empty());
    }
    node->Run();  // a run without input adds nothing
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
    std::map<char, std::unique_ptr<CValue>> inputs;
    inputs['g'] = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {2.0f, 4.0f});
    inputs['o'] = ImageValue<float>(IMAGE_GREY_F, CSize(1, 2), {8.0f});  // another size
    inputs['c'] = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 1), {1});   // no grey image
    inputs['N'] = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {std::nanf(""), 1.0f});
    inputs['I'] = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {INFINITY, -INFINITY});
    inputs['n'] = std::make_unique<CValueLong>(1);
    // The means by name: none, that of 'g', and those of 'N' and 'I' next to a 'g'.
    const std::map<char, std::vector<float>> means = {
        {'-', {}}, {'m', {2, 4}}, {'N', {-99, 2.5}}, {'I', {INFINITY, -INFINITY}}};
    // Two values are kept: the mean comes back with the second grey image after an odd one.
    const std::string pushed = "gnggoggcggNggIgg", expected = "m--m--m--mNNmIIm";
    auto node = Buffer(2);
    for (size_t step = 0; step < pushed.size(); ++step) {
        Push(*node, inputs[pushed[step]].get());
        EXPECT_EQ(Mean(*node), means.at(expected[step])) << "step " << step;
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
    EXPECT_EQ(Mean(*node), std::vector<float>{7});

    // An unwanted output 0 is not built; the mean still is.
    node->SetStackOutputWanted(0, false);
    node->TakeStackOutput(0);
    Push(*node, input.get());
    EXPECT_EQ(node->StackOutput(0), nullptr);
    EXPECT_EQ(Mean(*node), std::vector<float>{9});
}

TEST(RingBuffer, ClearAndANewSizeEmptyIt) {
    CValueLong one(1), two(2), three(3);
    auto node = Buffer(3);
    Push(*node, &one);
    Push(*node, &two);
    Change(*node, "size", new CValueLong(3));  // the same size keeps what is there
    Push(*node, &three);
    EXPECT_EQ(Kept(*node), "1 2 3 ");

    // clear empties at the next run, which keeps its input, and then turns itself off.
    Change(*node, "clear", new CValueBool(true));
    EXPECT_EQ(Kept(*node), "1 2 3 ");
    Push(*node, &one);
    EXPECT_EQ(Kept(*node), "1 ");
    EXPECT_FALSE(node->Parameters().EntryBool("clear"));
    Push(*node, &two);
    EXPECT_EQ(Kept(*node), "1 2 ");

    Change(*node, "size", new CValueLong(5));
    EXPECT_EQ(node->Count(), 0u);
    Change(*node, "size", new CValueLong(0));
    EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
              "(utility plugins) RingBuffer::Run | size must be at least 1, not 0");
}
