#include "PFindMax.h"

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(FindMax, SortedTableLabelsAndCount) {
    // Maxima 5 at (1, 0), 7 at (4, 0) and (4, 2), 9 at (0, 2), 3 at (2, 2); a U-shaped
    // plateau of 6 in the plane below counts once.
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(6, 3, 2), {1, 5, 1, 0, 7, 0,  //
                                                         1, 1, 1, 0, 0, 0,  //
                                                         9, 0, 3, 0, 7, 0,  //
                                                         6, 0, 0, 0, 6, 0,  //
                                                         6, 6, 6, 6, 6, 0,  //
                                                         0, 0, 0, 0, 0, 0});
    std::unique_ptr<CValue> labels =
        ImageValue<uint8_t>(IMAGE_GREY_8, CSize(6, 3, 2), {1, 1, 0, 0, 2, 2,  //
                                                           1, 1, 0, 5, 2, 2,  //
                                                           3, 3, 3, 0, 2, 2,  //
                                                           0, 0, 0, 0, 0, 0,  //
                                                           0, 0, 0, 0, 0, 0,  //
                                                           0, 0, 0, 0, 0, 0});
    const struct {
        const char* json;
        const CValue* labels;
        std::vector<float> rows;  // label, x, y, z, value
    } cases[] = {
        {"{}", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7, 0, 4, 2, 0, 7,
                         0, 0, 0, 1, 6, 0, 1, 0, 0, 5, 0, 2, 2, 0, 3}},
        {R"({"max_count": 2})", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7}},
        {R"({"threshold": 6.5})", nullptr, {0, 0, 2, 0, 9, 0, 4, 0, 0, 7, 0, 4, 2, 0, 7}},
        // Per label the largest, the first of equal ones; label 5 has none, the background's 6
        // is dropped.
        {"{}", labels.get(), {3, 0, 2, 0, 9, 2, 4, 0, 0, 7, 1, 1, 0, 0, 5}},
    };
    for (const auto& c : cases) {
        CPFindMax node;
        RunNode(node, c.json, {image.get(), c.labels});
        EXPECT_EQ(Samples<float>(OutputImage(node)), c.rows) << c.json;
        // The same rows as records, whole numbers as longs.
        const CValueVector& records = *node.StackOutput(1)->Vector();
        EXPECT_EQ(records.Size() * 5, c.rows.size());
        EXPECT_TRUE(records[0]->Map()->HasEntry("label", CValue::VAL_LONG) &&
                    records[0]->Map()->EntryDouble("value") == c.rows[4]);
    }
}

TEST(FindMax, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 2), {1});
    std::unique_ptr<CValue> labels = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {1});
    CValuePointer<CImage> empty;
    ExpectJsonFailures<CPFindMax>(
        "(utility plugins) FindMax::Run", {image.get()},
        {{"{}", "input 1 is NULL", {image.get(), &empty}},
         {"{}",
          "input 1 has size (4, 1, 1), but input 0 has size (2, 2, 1)",
          {image.get(), labels.get()}},
         {R"({"radius": -1})", "radius must be 0 or more, but it is -1"},
         {R"({"threshold": {"@double": "nan"}})", "threshold is NaN, not a number"}});
}
