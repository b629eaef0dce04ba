#include <cmath>
#include <deque>
#include <map>

#include "DrawingTesting.h"
#include "PRingBuffer.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Lays `parameters` over the node's own and runs NodeInit, as a host does.
void Change(CPRingBuffer& node, std::initializer_list<SParameter> parameters) {
    CValueMap values(node.Parameters());
    for (const SParameter& parameter : parameters)
        values.SetEntry(parameter.key, parameter.value->CloneUnique());
    node.Init(&values);
    node.NodeInit();
}

void Push(CPRingBuffer& node, CValue* value) {
    SetInputs(node, {value});
    node.Run();
}

// Output 0 in the text format, images by their first sample.
std::string Kept(CPRingBuffer& node) {
    std::string text;
    for (const auto& entry : *node.StackOutput(0)->Vector())
        text +=
            (HoldsType<CImage>(entry.get())
                 ? "image(" + std::to_string(UnwrapPointer<CImage>(entry.get())->Bytes()[0]) + ")"
                 : CTextSerializer::ToText(*entry, 0)) +
            " ";
    return text;
}

// The mean on output 1 with NaN as -99, or nothing when there is none.
std::vector<double> Mean(CPRingBuffer& node) {
    if (!UnwrapPointer<CImage>(node.StackOutput(1))) return {};
    EXPECT_EQ(OutputImage(node, 1).Type(), IMAGE_GREY_F);
    return NaNAs99(ValuesOf(OutputImage(node, 1)));
}

}  // namespace

TEST(RingBuffer, TheMeanFollowsTheKeptImagesOfAnyGreyType) {
    // Types change from image to image; the values keep every mean exact.
    CPRingBuffer node;
    Configure(node, {{"size", 3}});
    std::deque<std::vector<double>> kept;
    const IImage::CType types[] = {IMAGE_GREY_8, IMAGE_GREY_F,  IMAGE_GREY_16, IMAGE_GREY_D,
                                   IMAGE_GREY_F, IMAGE_GREY_32, IMAGE_GREY_8,  IMAGE_BINARY_FG};
    for (int run = 0; run < 8; ++run) {
        kept.push_back({double(run), double(2 * run + 1), 250.0 - run, 7.0});
        if (types[run] == IMAGE_BINARY_FG) kept.back() = {1, 0, 1, 1};
        if (kept.size() > 3) kept.pop_front();
        auto image = ImageOf(types[run], CSize(2, 2), kept.back());
        Push(node, image.get());
        std::vector<double> expected(4);
        for (int i = 0; i < 4; ++i) {
            for (const auto& values : kept)
                expected[i] += values[i];
            expected[i] = static_cast<float>(expected[i] / static_cast<double>(kept.size()));
        }
        EXPECT_EQ(Mean(node), expected) << "run " << run;
    }
}

TEST(RingBuffer, TheMeanComesBackWhenTheOddValuesAreDropped) {
    std::map<char, std::unique_ptr<CValue>> inputs;
    inputs['g'] = GreyF(CSize(2, 1), {2.0f, 4.0f});
    inputs['o'] = GreyF(CSize(1, 2), {8.0f});                           // another size
    inputs['c'] = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 1), {1});  // no grey image
    inputs['N'] = GreyF(CSize(2, 1), {std::nanf(""), 1.0f});
    inputs['I'] = GreyF(CSize(2, 1), {INFINITY, -INFINITY});
    inputs['n'] = std::make_unique<CValueLong>(1);
    // The means by name: none, that of 'g', and those of 'N' and 'I' next to a 'g'.
    const std::map<char, std::vector<double>> means = {
        {'-', {}}, {'m', {2, 4}}, {'N', {-99, 2.5}}, {'I', {INFINITY, -INFINITY}}};
    // Two values are kept: the mean comes back with the second grey image after an odd one.
    const std::string pushed = "gnggoggcggNggIgg", expected = "m--m--m--mNNmIIm";
    CPRingBuffer node;
    Configure(node, {{"size", 2}});
    for (size_t step = 0; step < pushed.size(); ++step) {
        Push(node, inputs[pushed[step]].get());
        EXPECT_EQ(Mean(node), means.at(expected[step])) << "step " << step;
    }
}

TEST(RingBuffer, KeepsCopiesOfTheLastValuesUntilClearedOrResized) {
    CPRingBuffer node;
    Configure(node, {{"size", 3}});
    CValueLong one(1), two(2);
    auto image = Grey8(CSize(1, 1), {5});
    Push(node, &one);
    Push(node, image.get());
    UnwrapPointer<CImage>(image.get())->Bytes()[0] = 9;  // the buffer holds its own copy
    Push(node, image.get());
    Push(node, &two);
    EXPECT_EQ(Kept(node), "image(5) image(9) 2 ");
    Push(node, nullptr);  // a run without input adds nothing
    EXPECT_EQ(Kept(node), "image(5) image(9) 2 ");
    Change(node, {{"size", 3}});  // the same size keeps what is there

    // clear empties at the next run, which keeps its input, and then turns itself off.
    Change(node, {{"clear", true}});
    Push(node, &one);
    EXPECT_EQ(Kept(node), "1 ");
    EXPECT_FALSE(node.Parameters().EntryBool("clear"));
    // An unwanted output 0 is not built.
    node.SetStackOutputWanted(0, false);
    node.TakeStackOutput(0);
    Push(node, &two);
    EXPECT_EQ(node.StackOutput(0), nullptr);
    EXPECT_EQ(node.Count(), 2u);

    // A new size empties it, also when a later parameter cannot be read.
    EXPECT_EQ(ErrorOf([&] {
                  Change(node, {{"size", 5}, {"clear", "maybe"}});
              }),
              "cannot read 'maybe' as a bool");
    EXPECT_EQ(node.Count(), 0u);
    Change(node, {{"size", 0}, {"clear", false}});
    EXPECT_EQ(RunError(node, {}),
              "(utility plugins) RingBuffer::Run | size must be at least 1, not 0");
}
