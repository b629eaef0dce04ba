#include "PHistogram.h"

#include <limits>
#include <random>

#include "NodeTesting.h"
#include "PHistogram2d.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

CValueMap Settings(double rangeMin, double rangeMax, int32_t bins, bool normalize = false) {
    CValueMap parameters;
    parameters.SetEntry("range_min", new CValueDouble(rangeMin));
    parameters.SetEntry("range_max", new CValueDouble(rangeMax));
    parameters.SetEntry("bin_count", new CValueLong(bins));
    parameters.SetEntry("normalize", new CValueBool(normalize));
    return parameters;
}

std::vector<float> Histogram(std::unique_ptr<CValue> image, const CValueMap& parameters,
                             std::string* printed = nullptr) {
    CPHistogram node;
    Configure(node, parameters);
    node.SetStackInput(0, image.get());
    std::string out = CapturedStdout([&] { node.Run(); });
    if (printed) *printed = out;
    return Samples<float>(OutputImage(node));
}

std::vector<float> Joint(std::unique_ptr<CValue> first, std::unique_ptr<CValue> second,
                         const CValueMap& parameters) {
    CPHistogram2d node;
    Configure(node, parameters);
    node.SetStackInput(0, first.get());
    node.SetStackInput(1, second.get());
    node.Run();
    return Samples<float>(OutputImage(node));
}

}  // namespace

TEST(Histogram, BinsAtTheRangeEnds) {
    // [10, 12), [12, 14), ..., [18, 20]; NaN and values outside are not counted.
    std::vector<float> values = {10.0f, 11.9f, 12.0f, 20.0f, 9.99f, 20.01f, NaN, 17.99f};
    EXPECT_EQ(Histogram(ImageValue<float>(IMAGE_GREY_F, CSize(8, 1), values), Settings(10, 20, 5)),
              (std::vector<float>{2, 1, 0, 1, 1}));

    // Defaults: byte v in bin v, 255 in the last.
    CPHistogram node;
    Configure(node);
    std::unique_ptr<CValue> bytes =
        ImageValue<uint8_t>(IMAGE_GREY_8, CSize(5, 1, 2), {0, 1, 255, 255, 128});
    node.SetStackInput(0, bytes.get());
    node.Run();
    const CImage& histogram = OutputImage(node);
    EXPECT_EQ(histogram.Size(), CSize(1, 256, 1));
    std::vector<float> counts = Samples<float>(histogram);
    EXPECT_EQ(counts[0], 2);
    EXPECT_EQ(counts[1], 2);
    EXPECT_EQ(counts[128], 2);
    EXPECT_EQ(counts[255], 4);
    EXPECT_EQ(histogram.Attributes().EntryString("Image/ContentType"), "table");
    EXPECT_EQ(histogram.Attributes().EntryString("Image/table-type"), "histogram");
    EXPECT_EQ(histogram.Attributes().EntryString("Image/y-name"), "greyvalue bin");
    EXPECT_EQ(histogram.Attributes().EntryString("Image/f-name"), "count");

    // No bins at all means 256; long bounds are read as well.
    CValueMap parameters;
    parameters.SetEntry("bin_count", new CValueLong(-3));
    parameters.SetEntry("range_min", new CValueLong(0));
    parameters.SetEntry("range_max", new CValueLong(3));
    EXPECT_EQ(Histogram(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {3}), parameters).size(),
              256u);
}

TEST(Histogram, BytesAreBinnedAsThePixelFormulaBinsThem) {
    std::mt19937 random(11);
    std::vector<uint8_t> bytes(4099);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random());
    std::vector<float> floats(bytes.begin(), bytes.end());
    struct Range {
        double low, high;
        int64_t bins;
    } ranges[] = {{0, 255, 256},  {0, 255, 7},       {-3.5, 100.25, 13},
                  {17, 18, 1000}, {0.1, 254.9, 255}, {200, 1e6, 3}};
    for (const Range& r : ranges) {
        std::vector<uint64_t> byBytes(static_cast<size_t>(r.bins)),
            byPixels(static_cast<size_t>(r.bins));
        CPHistogram::Count(bytes.data(), static_cast<int64_t>(bytes.size()), r.low, r.high, r.bins,
                           byBytes.data());
        CPHistogram::Count(floats.data(), static_cast<int64_t>(floats.size()), r.low, r.high,
                           r.bins, byPixels.data());
        EXPECT_EQ(byBytes, byPixels) << r.low << " " << r.high << " " << r.bins;
    }
}

TEST(Histogram, NormalizesAndWarnsAboutInexactCounts) {
    EXPECT_EQ(Histogram(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 0, 1, 3}),
                        Settings(0, 3, 4, true)),
              (std::vector<float>{0.5f, 0.25f, 0.0f, 0.25f}));
    EXPECT_EQ(
        Histogram(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {7, 9}), Settings(0, 3, 2, true)),
        (std::vector<float>{0.0f, 0.0f}));

    // 2^24 + 1 counts: stored as the nearest float, with one warning.
    std::string printed;
    std::vector<float> counts = Histogram(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(24929, 673), {0}),
                                          Settings(0, 1, 2), &printed);
    EXPECT_EQ(counts, (std::vector<float>{16777216.0f, 0.0f}));
    EXPECT_EQ(printed,
              "WARNING (utility plugins) Histogram::Run - histogram values greater 16777216 "
              "occure, those values are inexact due to floating point precision.\n");
}

TEST(Histogram, Failures) {
    CPHistogram node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Histogram::Run | input image is NULL");
    CValueLong number(1);
    node.SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "input is not an image");
    CValuePointer<CImage> empty;
    node.SetStackInput(0, &empty);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "Null image on slot 0.");
    std::unique_ptr<CValue> wide = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    node.SetStackInput(0, wide.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }),
              "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    node.SetStackInput(0, bytes.get());
    Configure(node, Settings(5, 5, 4));
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Histogram::Run | range_min >= m_range_max!");
}

TEST(Histogram2d, CountsPairsIntoColumnsAndRows) {
    // Equal images fill the diagonal.
    std::vector<float> values = {0, 1, 2, 3, 3, 3};
    std::vector<float> joint =
        Joint(ImageValue<float>(IMAGE_GREY_F, CSize(3, 2), values),
              ImageValue<float>(IMAGE_GREY_F, CSize(3, 2), values), Settings(0, 3, 4));
    EXPECT_EQ(joint, (std::vector<float>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 3}));

    // The first value picks the column, the second the row; NaN lands in bin 0; the second
    // image's width still counts as a position, which reads on in its next row, and positions
    // beyond its end are skipped.
    joint = Joint(ImageValue<float>(IMAGE_GREY_F, CSize(3, 2), {3, NaN, 1, 0, 0, 2}),
                  ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {0, 1, 3, 2}), Settings(0, 3, 4));
    EXPECT_EQ(joint, (std::vector<float>{0, 0, 0, 1,     //
                                         1, 0, 0, 0,     //
                                         1, 0, 0, 0,     //
                                         1, 1, 0, 0}));  // (1, row 3) from second[2]

    EXPECT_EQ(Joint(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 0, 1, 9}),
                    ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 0, 1, 1}),
                    Settings(0, 1, 2, true)),
              (std::vector<float>{2.0f / 3, 0, 0, 1.0f / 3}));
}

TEST(Histogram2d, Failures) {
    CPHistogram2d node;
    CValueMap parameters = Settings(2, 2, 4);
    EXPECT_EQ(ErrorOf([&] { Configure(node, parameters); }, true),
              "(utility plugins) Histogram2d | range_min >= m_range_max!");
    Configure(node, Settings(0, 255, 4));
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    std::unique_ptr<CValue> floats = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1});
    std::unique_ptr<CValue> wide = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    CValueLong number(1);
    CValuePointer<CImage> empty;
    struct Case {
        CValue *first, *second;
        const char* message;
    } cases[] = {
        {bytes.get(), nullptr, "One Input slot has no data!"},
        {&number, bytes.get(), "Data on slot 0 is not an image."},
        {bytes.get(), &number, "Data on slot 1 is not an image."},
        {&empty, bytes.get(), "Null image on slot 0."},
        {bytes.get(), &empty, "Null image on slot 1."},
        {wide.get(), bytes.get(), "first input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {bytes.get(), wide.get(), "second input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {bytes.get(), floats.get(), "both input images must have the same type"},
    };
    for (const Case& c : cases) {
        node.SetStackInput(0, c.first);
        node.SetStackInput(1, c.second);
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  std::string("(utility plugins) Histogram2d | ") + c.message);
    }
}
