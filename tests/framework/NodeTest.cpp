#include <gtest/gtest.h>

#include "tarsel.h"

using namespace ORVA;

namespace {

// Doubles its long parameter "factor" into output 0 and passes input 0 on to output 1.
class CPTwice : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override {
        CSetupDocument doc("Image", "Utility", "Twice");
        doc.Parameter("factor", m_factor, "the number doubled");
        doc.Input(0, "any value").Optional();
        doc.Output(0, "the double", CSetupDocument::PIN_LONG);
        doc.Output(1, "the input");
        doc.WriteTo(setup);
    }
    void NodeInit() override { m_factor = Parameters().EntryLong("factor", m_factor); }
    void Run() override {
        SetStackOutput(0, new CValueLong(2 * m_factor));
        if (HasStackOutput(1)) SetStackOutput(1, PassOnCopy(GetStackInput(0)));
    }
    int32_t m_factor = 21;
};

}  // namespace

TEST(Node, ParametersAreCopiedAndMissingKeysKeepMembers) {
    CPTwice node;
    CValueMap parameters;
    node.Init(&parameters);
    node.NodeInit();
    EXPECT_EQ(node.m_factor, 21);

    parameters.SetEntry("factor", new CValueLong(5));
    node.Init(&parameters);
    parameters.SetEntry("factor", new CValueLong(6));  // the node holds its own copy
    node.NodeInit();
    EXPECT_EQ(node.m_factor, 5);
    node.Init(nullptr);
    EXPECT_TRUE(node.Parameters().IsEmpty());
}

TEST(Node, OutputsOutliveTheNodeAndStayUntilReplaced) {
    std::unique_ptr<CValue> kept;
    {
        auto node = std::make_unique<CPTwice>();
        node->Run();
        EXPECT_EQ(node->StackOutputs(), 2);
        EXPECT_TRUE(node->IsStackOutputSet(1));
        EXPECT_EQ(node->StackOutput(1), nullptr);  // passed on nothing
        kept = node->TakeStackOutput(0);
        EXPECT_FALSE(node->IsStackOutputSet(0));
        node->SetStackOutputWanted(1, false);
        node->Run();
        EXPECT_FALSE(node->HasStackOutput(1));
        EXPECT_EQ(node->StackOutput(0)->Long(), 42);
    }
    EXPECT_EQ(kept->Long(), 42);
}

TEST(Node, InputsAreBorrowedOrKept) {
    CPTwice node;
    CValueLong borrowed(3);
    node.SetStackInput(2, &borrowed);
    EXPECT_EQ(node.StackInputs(), 3);
    EXPECT_FALSE(node.HasStackInput(0));
    EXPECT_EQ(node.GetStackInput(2), &borrowed);
    EXPECT_EQ(node.GetStackInput(7), nullptr);
    EXPECT_THROW(node.GetStackInput(0, true), CException);
    node.SetStackInput(0, std::make_unique<CValueString>("owned"));
    EXPECT_EQ(node.GetStackInput(0)->String(), "owned");
    node.ClearStackInputs();
    EXPECT_EQ(node.StackInputs(), 0);
    EXPECT_THROW(node.SetStackInput(-1, &borrowed), CException);
}

TEST(Node, PassOnClonesValuesAndDeepCopiesImages) {
    CValueLong number(7);
    number.Meta().SetEntry("unit", new CValueString("ms"));
    std::unique_ptr<CValue> copy = CPNode::PassOnCopy(&number);
    EXPECT_NE(copy.get(), &number);
    EXPECT_TRUE(copy->Equal(number));

    CImage image(IMAGE_GREY_8, CSize(2, 2));
    image.Bytes()[3] = 9;
    CValuePointer<CImage> borrowed(&image);
    std::unique_ptr<CValue> passed = CPNode::PassOnCopy(&borrowed);
    CImage* passedImage = UnwrapPointer<CImage>(passed.get());
    ASSERT_NE(passedImage, nullptr);
    EXPECT_NE(passedImage, &image);
    EXPECT_EQ(*passedImage, image);
    EXPECT_TRUE(passed->Pointer()->Owns());

    auto shared = std::make_shared<CImage>(IMAGE_GREY_8, CSize(1, 1));
    CValueSmart smart(shared);
    std::unique_ptr<CValue> again = CPNode::PassOnCopy(&smart);
    EXPECT_EQ(again->VoidPointer(), shared.get());

    CValueOwnedPointer<CImage> empty(nullptr, 1);
    EXPECT_EQ(CPNode::PassOnCopy(&empty), nullptr);
    EXPECT_EQ(CPNode::PassOnCopy(nullptr), nullptr);
}

TEST(Node, VectorizeKeepsParametersAndInstance) {
    CPTwice node;
    node.SetInstance("first");
    node.Parameters().SetEntry("factor", new CValueLong(8));
    std::unique_ptr<CValueVector> state(node.Vectorize());
    CPTwice other;
    other.Devectorize(state.get());
    EXPECT_EQ(other.Instance(), "first");
    EXPECT_EQ(other.Parameters().EntryLong("factor"), 8);
    EXPECT_THROW(other.Devectorize(nullptr), CException);
    EXPECT_TRUE(other.TestInterface("IVectorizable"));
    EXPECT_FALSE(other.TestInterface("CPSleep"));
}

TEST(Node, DebugDataFollowsTheDebugLevel) {
    CPTwice node;
    node.AddDebugData(1, CValueLong(1), "hidden");
    node.Parameters().SetEntry("debug_level", new CValueLong(1));
    node.AddDebugData(1, CValueLong(2), "shown");
    ASSERT_EQ(node.DebugData().Size(), 1u);
    EXPECT_EQ(node.DebugData()[0]->Long(), 2);
    EXPECT_EQ(node.DebugData()[0]->MetaIfAny()->EntryString("label"), "shown");
}
