#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "tarsel.h"

using namespace ORVA;

namespace {

std::unique_ptr<CValue> RoundTrip(const CValue& value, int indent = 2) {
    return CTextSerializer::FromText(CTextSerializer::ToText(value, indent));
}

std::string ErrorOf(std::string_view text) {
    try {
        CTextSerializer::FromText(text);
    } catch (const CException& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace

TEST(Serializer, ScalarsAsJson) {
    struct Case {
        std::unique_ptr<CValue> value;
        const char* text;
    };
    Case cases[] = {
        {std::make_unique<CValueLong>(-42), "-42"},
        {std::make_unique<CValueDouble>(1.0), "1.0"},
        {std::make_unique<CValueDouble>(0.1), "0.1"},
        {std::make_unique<CValueDouble>(1e300), "1e+300"},
        {std::make_unique<CValueDouble>(NAN), "{\"@double\": \"nan\"}"},
        {std::make_unique<CValueDouble>(-INFINITY), "{\"@double\": \"-inf\"}"},
        {std::make_unique<CValueBool>(true), "true"},
        {std::make_unique<CValueString>("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\n\\u0001\""},
        {std::make_unique<CValueNull>(), "null"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CTextSerializer::ToText(*c.value), c.text);
        std::unique_ptr<CValue> back = CTextSerializer::FromText(c.text);
        EXPECT_TRUE(back->Equal(*c.value)) << c.text;
        EXPECT_EQ(back->Type(), c.value->Type()) << c.text;
    }
}

TEST(Serializer, DoublesRoundTripToTheLastBit) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 2000; ++i) {
        uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        CValueDouble original(value);
        std::unique_ptr<CValue> back = RoundTrip(original, 0);
        ASSERT_TRUE(back->EqualData(original)) << CTextSerializer::ToText(original);
        EXPECT_EQ(back->Type(), typeid(CValueDouble));
    }
}

TEST(Serializer, ContainersPointersAndMetadataRoundTrip) {
    CValueMap map;
    map.SetEntry("list", new CValueVector());
    map.Entry("list")->Vector()->PushBack(new CValueLong(1));
    map.Entry("list")->Vector()->PushBack(new CValueString("two"));
    map.SetEntry("empty", new CValueMap());
    map.SetEntry("@double", new CValueLong(5));  // a key that looks like a form
    map.SetEntry("described", new CValueLong(3));
    map.Entry("described")->Meta().SetEntry("desc", new CValueString("three"));

    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(2, 1, 2));
    float samples[] = {1.3333334f, -0.0f, NAN, 3.4028235e38f};
    std::memcpy(image->Data<float>(), samples, sizeof samples);
    image->Attributes().SetEntry("image_path", new CValueString("/x.txt"));
    map.SetEntry("image", new CValueOwnedPointer<CImage>(image.release(), 1));
    map.SetEntry("nothing", new CValueOwnedPointer<CImage>(nullptr, 1));
    auto rgb = std::make_unique<CImage>(IMAGE_RGB_8I, CSize(1, 1));
    rgb->Bytes()[2] = 255;
    map.SetEntry("rgb", new CValueOwnedPointer<CImage>(rgb.release(), 1));
    CTime time = CTime::FromMicroseconds(123456789);
    map.SetEntry("time", new CValuePointer<CValueVector>(time.Vectorize(), true));

    for (int indent : {0, 2}) {
        std::unique_ptr<CValue> back = RoundTrip(map, indent);
        EXPECT_TRUE(back->Equal(map)) << CTextSerializer::ToText(map, indent);
    }
    EXPECT_EQ(CTextSerializer::ToText(*map.Entry("empty"), 2), "{}");
}

TEST(Serializer, TypedFormsAndIntegerWidths) {
    EXPECT_EQ(CTextSerializer::FromText("{\"@long\": 5}")->Type(), typeid(CValueLong));
    EXPECT_EQ(CTextSerializer::FromText("{\"@double\": 5}")->Type(), typeid(CValueDouble));
    EXPECT_EQ(CTextSerializer::FromText("2147483647")->Type(), typeid(CValueLong));
    EXPECT_EQ(CTextSerializer::FromText("2147483648")->Type(), typeid(CValueDouble));
    EXPECT_EQ(CTextSerializer::FromText("{\"ui/label\": \"x\"}")->Map()->EntryString("ui/label"),
              "x");
}

TEST(Serializer, MalformedTextNamesLineAndColumn) {
    struct Case {
        const char* text;
        const char* start;
    } cases[] = {
        {"{\n  \"a\": 1,\n  \"b\": ]\n}", "malformed JSON at line 3, column 8"},
        {"[1, 2", "malformed JSON at line 1, column 5"},
        {"", "malformed JSON at line 1, column 1"},
        {"{\"@image\": {\"type\": \"IMAGE_GREY_8\", \"size\": [1000000, 1000000, 1], \"data\": "
         "[]}}",
         "invalid value at /@image/data"},
        {"{\"@image\": {\"type\": \"IMAGE_GREY_8\", \"size\": [1, 1, 1], \"data\": [256]}}",
         "invalid value at /@image/data/0"},
        {"{\"@long\": 1.5}", "invalid value at /@long"},
        {"{\"@nope\": 1}", "invalid value at /@nope"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ErrorOf(c.text).rfind(c.start, 0), 0u) << ErrorOf(c.text);
    EXPECT_THROW(
        CTextSerializer::FromText(
            "{\"@image\": {\"type\": \"IMAGE_NONE\", \"size\": [1, 1, 1], \"data\": [0]}}"),
        CException);
    EXPECT_THROW(CTextSerializer::FromText(std::string(100000, '[')), CException);
}

TEST(Serializer, WritesToTheGivenStream) {
    std::ostringstream out;
    CValueMap map;
    map.SetEntry("type", new CValueString("IMAGE_GREY_8"));
    map.SetEntry("width", new CValueLong(640));
    CTextSerializer(1, 0, &out).Write(map);
    EXPECT_EQ(out.str(), "{\n \"type\": \"IMAGE_GREY_8\",\n \"width\": 640\n}\n");
}
