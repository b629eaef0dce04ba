#include "PHistogram.h"

#include <limits>

#include "NodeTesting.h"
#include "PHistogram2d.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();
using F = std::vector<float>;

CValueMap Settings(double rangeMin, double rangeMax, int bins, bool normalize = false) {
    return ParameterMap({{"range_min", rangeMin},
                         {"range_max", rangeMax},
                         {"bin_count", bins},
                         {"normalize", normalize}});
}

F Histogram(std::unique_ptr<CValue> image, const CValueMap& parameters,
            std::string* printed = nullptr) {
    CPHistogram node;
    Configure(node, parameters);
    SetInputs(node, {image.get()});
    std::string out = CapturedStdout([&] { node.Run(); });
    if (printed) *printed = out;
    return Samples<float>(OutputImage(node));
}

F Joint(std::unique_ptr<CValue> first, std::unique_ptr<CValue> second,
        const CValueMap& parameters) {
    CPHistogram2d node;
    Configure(node, parameters);
    return Samples<float>(RunImage(node, {first.get(), second.get()}));
}

}  // namespace

TEST(Histogram, BinsAtTheRangeEnds) {
    // [10, 12), [12, 14), ..., [18, 20]; NaN and values outside are not counted.
    F values = {10.0f, 11.9f, 12.0f, 20.0f, 9.99f, 20.01f, NaN, 17.99f};
    EXPECT_EQ(Histogram(GreyF(CSize(8, 1), values), Settings(10, 20, 5)), (F{2, 1, 0, 1, 1}));

    // Defaults: byte v in bin v, 255 in the last; a table with its attributes.
    CPHistogram node;
    auto bytes = Grey8(CSize(5, 1, 2), {0, 1, 255, 255, 128});
    const CImage& histogram = RunImage(node, {bytes.get()});
    EXPECT_EQ(histogram.Size(), CSize(1, 256, 1));
    F counts(256, 0.0f);
    counts[0] = counts[1] = counts[128] = 2;
    counts[255] = 4;
    EXPECT_EQ(Samples<float>(histogram), counts);
    EXPECT_EQ(CTextSerializer::ToText(histogram.Attributes(), 0),
              R"({"Image": {"ContentType": "table", "f-name": "count", "table-type": "histogram", )"
              R"("y-name": "greyvalue bin"}})");

    // No bins at all means 256; long bounds are read as well.
    EXPECT_EQ(Histogram(Grey8(CSize(1, 1), {3}),
                        ParameterMap({{"bin_count", -3}, {"range_min", 0}, {"range_max", 3}}))
                  .size(),
              256u);
}

TEST(Histogram, NormalizesAndWarnsAboutInexactCounts) {
    EXPECT_EQ(Histogram(Grey8(CSize(4, 1), {0, 0, 1, 3}), Settings(0, 3, 4, true)),
              (F{0.5f, 0.25f, 0.0f, 0.25f}));
    EXPECT_EQ(Histogram(Grey8(CSize(2, 1), {7, 9}), Settings(0, 3, 2, true)), (F{0.0f, 0.0f}));

    // 2^24 + 1 counts: stored as the nearest float, with one warning.
    std::string printed;
    EXPECT_EQ(Histogram(Grey8(CSize(24929, 673), {0}), Settings(0, 1, 2), &printed),
              (F{16777216.0f, 0.0f}));
    EXPECT_EQ(printed,
              "WARNING (utility plugins) Histogram::Run - histogram values greater 16777216 "
              "occure, those values are inexact due to floating point precision.\n");
}

TEST(Histogram, Failures) {
    CValueLong number(1);
    CValuePointer<CImage> empty;
    auto wide = Blank(IMAGE_GREY_16, CSize(1, 1)), bytes = Grey8(CSize(1, 1), {1});
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input is not an image"},
        {{&empty}, "Null image on slot 0."},
        {{wide.get()}, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {{bytes.get()}, "range_min >= m_range_max!", {{"range_min", 5.0}, {"range_max", 5.0}}},
    };
    ExpectFailures<CPHistogram>("(utility plugins) Histogram::Run | ", failures);
}

TEST(Histogram2d, CountsPairsIntoColumnsAndRows) {
    // Equal images fill the diagonal.
    F values = {0, 1, 2, 3, 3, 3};
    EXPECT_EQ(Joint(GreyF(CSize(3, 2), values), GreyF(CSize(3, 2), values), Settings(0, 3, 4)),
              (F{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 3}));

    // The first value picks the column, the second the row; NaN lands in bin 0; the second
    // image's width still counts as a position, which reads on in its next row, and positions
    // beyond its end are skipped.
    EXPECT_EQ(Joint(GreyF(CSize(3, 2), {3, NaN, 1, 0, 0, 2}), GreyF(CSize(2, 2), {0, 1, 3, 2}),
                    Settings(0, 3, 4)),
              (F{0, 0, 0, 1,     //
                 1, 0, 0, 0,     //
                 1, 0, 0, 0,     //
                 1, 1, 0, 0}));  // (1, row 3) from second[2]

    EXPECT_EQ(Joint(Grey8(CSize(4, 1), {0, 0, 1, 9}), Grey8(CSize(4, 1), {0, 0, 1, 1}),
                    Settings(0, 1, 2, true)),
              (F{2.0f / 3, 0, 0, 1.0f / 3}));
}

TEST(Histogram2d, Failures) {
    CPHistogram2d node;
    EXPECT_EQ(ErrorOf([&] { Configure(node, Settings(2, 2, 4)); }, true),
              "(utility plugins) Histogram2d | range_min >= m_range_max!");
    auto bytes = Grey8(CSize(1, 1), {1}), floats = GreyF(CSize(1, 1), {1});
    auto wide = Blank(IMAGE_GREY_16, CSize(1, 1));
    CValueLong number(1);
    CValuePointer<CImage> empty;
    const SFailure failures[] = {
        {{bytes.get()}, "One Input slot has no data!"},
        {{&number, bytes.get()}, "Data on slot 0 is not an image."},
        {{bytes.get(), &number}, "Data on slot 1 is not an image."},
        {{&empty, bytes.get()}, "Null image on slot 0."},
        {{bytes.get(), &empty}, "Null image on slot 1."},
        {{wide.get(), bytes.get()},
         "first input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {{bytes.get(), wide.get()},
         "second input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {{bytes.get(), floats.get()}, "both input images must have the same type"},
    };
    ExpectFailures<CPHistogram2d>("(utility plugins) Histogram2d | ", failures);
}
