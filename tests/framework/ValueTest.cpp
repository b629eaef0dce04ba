#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "tarsel.h"

using namespace ORVA;

TEST(ValueMap, SlashKeysAddressNestedMapsAndMetadata) {
    CValueMap map;
    map.SetEntry("gui/order/0", new CValueString("time"));
    map.SetEntry("parameters/time", new CValueLong(10));
    // A step into a value that is not a map goes into its metadata.
    map.SetEntry("parameters/time/desc", new CValueString("how long"));
    EXPECT_EQ(CTextSerializer::ToText(map, 0),
              R"({"gui": {"order": {"0": "time"}}, )"
              R"("parameters": {"time": {"@value": 10, "@meta": {"desc": "how long"}}}})");
    EXPECT_EQ(map.EntryString("parameters/time/desc"), "how long");

    // Empty steps are skipped: "a//b" and "/a" name the entries "a/b" and "a".
    map.SetEntry("/gui//order/1", new CValueString("count"));
    EXPECT_EQ(map.EntryString("gui/order/1"), "count");
    EXPECT_EQ(map.EntryString("//parameters/time"), "10");
    EXPECT_TRUE(map.RemoveEntry("gui/order/1"));

    EXPECT_EQ(map.Entry("gui/missing/deeper"), nullptr);
    EXPECT_NE(map.Entry("a/b/c", true), nullptr);
    EXPECT_NE(map.Detach("parameters/time"), nullptr);
    // The lookup made nothing; the creating one made the maps on its way.
    EXPECT_EQ(CTextSerializer::ToText(map, 0),
              R"({"a": {"b": {"c": null}}, "gui": {"order": {"0": "time"}}, "parameters": {}})");
}

TEST(ValueMap, TypedReadersFallBackAndConvert) {
    CValueMap map;
    map.SetEntry("long", new CValueLong(7));
    map.SetEntry("double", new CValueDouble(2.75));
    map.SetEntry("text", new CValueString("12"));
    map.SetEntry("null", new CValueNull());

    EXPECT_EQ(map.EntryLong("missing", 4), 4);
    EXPECT_EQ(map.EntryLong("null", 4), 4);
    EXPECT_EQ(map.EntryLong("double", 0), 2);  // truncated
    EXPECT_EQ(map.EntryLong("text", 0), 12);
    EXPECT_DOUBLE_EQ(map.EntryDouble("long", 0.0), 7.0);
    EXPECT_TRUE(map.EntryBool("long", false));
    EXPECT_EQ(map.EntryString("double", ""), "2.75");
    EXPECT_THROW(map.EntryLong("missing"), CException);

    map.SetEntry("word", new CValueString("seven"));
    map.SetEntry("huge", new CValueDouble(1e12));
    map.SetEntry("nan", new CValueDouble(NAN));
    for (const char* unconvertible : {"word", "huge", "nan"})
        EXPECT_THROW(map.EntryLong(unconvertible, 0), CException) << unconvertible;
}

TEST(ValueVector, IndicesHolesAndRemoval) {
    CValueVector vector;
    vector.SetEntry(2, new CValueLong(2));
    ASSERT_EQ(vector.Size(), 3u);
    EXPECT_EQ(vector[0]->GenericType(), CValue::VAL_NULL);
    vector.SetEntry(vector.Size(), new CValueLong(3));
    EXPECT_EQ(vector.EntryLong("3", 0), 3);
    EXPECT_EQ(vector.Find(CValueLong(2)), 2);
    EXPECT_EQ(vector.Find(CValueLong(9)), -1);
    vector.RemoveEntry(0);
    EXPECT_EQ(vector.Size(), 3u);
    EXPECT_EQ(vector[1]->Long(), 2);
    EXPECT_THROW(vector.SetEntry("x", new CValueLong(1)), CException);
}

TEST(ValueClone, StrategiesForPointerValues) {
    auto* image = new CImage(IMAGE_GREY_8, CSize(2, 1));
    CValueOwnedPointer<CImage> owned(image, 1);
    owned.Meta().SetEntry("label", new CValueString("in"));

    std::unique_ptr<CValue> standard = owned.CloneUnique(OWNERSHIP_DEFAULT);
    std::unique_ptr<CValue> deep = owned.CloneUnique(OWNERSHIP_DEEP);
    std::unique_ptr<CValue> shallow = owned.CloneUnique(OWNERSHIP_SHALLOW);
    EXPECT_NE(standard->VoidPointer(), image);
    EXPECT_NE(deep->VoidPointer(), image);
    EXPECT_EQ(shallow->VoidPointer(), image);
    EXPECT_TRUE(standard->Equal(owned));  // same pixels and metadata
    EXPECT_EQ(shallow->MetaIfAny()->EntryString("label"), "in");

    // A borrowed pointer stays borrowed by default and is copied only when deep.
    CImage local(IMAGE_GREY_F, CSize(1, 1));
    CValuePointer<CImage> borrowed(&local);
    std::unique_ptr<CValue> borrowedClone = borrowed.CloneUnique(OWNERSHIP_DEFAULT);
    std::unique_ptr<CValue> borrowedDeep = borrowed.CloneUnique(OWNERSHIP_DEEP);
    EXPECT_EQ(borrowedClone->VoidPointer(), &local);
    EXPECT_FALSE(borrowedClone->Pointer()->Owns());
    EXPECT_NE(borrowedDeep->VoidPointer(), &local);
    EXPECT_TRUE(borrowedDeep->Pointer()->Owns());
}

TEST(ValueClone, ShallowCloneSharesOwnershipSafely) {
    std::unique_ptr<CValue> shallow;
    {
        CValueOwnedPointer<CImage> owned(new CImage(IMAGE_GREY_8, CSize(3, 3)), 1);
        shallow = owned.CloneUnique(OWNERSHIP_SHALLOW);
    }
    // The original is gone; the shared image lives on (ASan would report a use after free).
    auto* image = UnwrapPointer<CImage>(shallow.get());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->Size(), CSize(3, 3));
}

TEST(ValueClone, ReleaseGivesUpOwnership) {
    auto* image = new CImage(IMAGE_GREY_8, CSize(1, 1));
    {
        CValueOwnedPointer<CImage> owned(image, 1);
        owned.Release();
        EXPECT_FALSE(owned.Owns());
    }
    delete image;  // still ours: the value did not delete it
}

TEST(ValueCopy, CopiesContentAcrossSameKind) {
    CValueMap source;
    source.SetEntry("a", new CValueLong(1));
    source.Meta().SetEntry("m", new CValueBool(true));
    CValueMap target;
    target.SetEntry("b", new CValueLong(2));
    target.Copy(source, OWNERSHIP_DEFAULT, false);
    EXPECT_EQ(CTextSerializer::ToText(target, 0), R"({"a": 1})");  // no metadata either
    CValueLong number(0);
    EXPECT_THROW(number.Copy(source), CException);
}

TEST(ValueEquality, DoublesCompareBitwiseAndMetadataCounts) {
    EXPECT_TRUE(CValueDouble(NAN).EqualData(CValueDouble(NAN)));
    EXPECT_FALSE(CValueDouble(0.0).EqualData(CValueDouble(-0.0)));
    EXPECT_FALSE(CValueLong(1).EqualData(CValueDouble(1.0)));
    CValueString a("x"), b("x");
    b.Meta().SetEntry("k", new CValueLong(1));
    EXPECT_TRUE(a.EqualData(b));
    EXPECT_FALSE(a.Equal(b));
}

TEST(Unwrap, ChecksThePointeeType) {
    CValueOwnedPointer<CImage> image(new CImage(), 1);
    CValueLong number(3);
    EXPECT_EQ(UnwrapPointer<CImage>(nullptr), nullptr);
    EXPECT_NE(UnwrapPointer<CImage>(&image), nullptr);
    try {
        UnwrapPointer<CImage>(&number, "Here::Run");
        FAIL();
    } catch (const CException& error) {
        EXPECT_EQ(error.Location(), "Here::Run");
        EXPECT_STREQ(error.what(), "expected a value holding CImage, but found CValueLong");
    }
    EXPECT_THROW(UnwrapPointer<CValueVector>(&image), CException);
    EXPECT_TRUE(HoldsType<CImage>(&image));
    EXPECT_FALSE(HoldsType<CImage>(&number));
}

TEST(Time, VectorRoundTripAndDifferences) {
    CTime now(true);
    std::unique_ptr<CValueVector> vector(now.Vectorize());
    ASSERT_EQ(vector->Size(), 3u);
    EXPECT_EQ(CTime(vector.get()), now);

    CTime before = CTime::FromMicroseconds(-1'500'000);  // before the epoch
    std::unique_ptr<CValueVector> old(before.Vectorize());
    EXPECT_EQ(CTime(old.get()).ToMicroseconds(), -1'500'000);

    CTime later = CTime::FromMicroseconds(now.ToMicroseconds() + 125'999);
    EXPECT_EQ((later - now).ToMilliseconds(), 125);
    EXPECT_EQ((now - later).ToMilliseconds(), -125);
    EXPECT_EQ(CTime::FromMicroseconds(int64_t(1) << 50).ToMilliseconds(), INT32_MAX);
    EXPECT_EQ(CTime::FromMicroseconds(86'400'000'000 + 3'723'000'004).ToString(),
              "1970-01-02T01:02:03.000004Z");

    EXPECT_THROW(CTime(static_cast<const CValueVector*>(nullptr)), CException);
    CValueVector shortVector;
    shortVector.PushBack(new CValueLong(1));
    EXPECT_THROW(CTime{&shortVector}, CException);
}

TEST(Registry, SharedAcrossThreads) {
    CRegistry& registry = CRegistry::Obj();
    registry.SetEntry("test/counter", std::make_unique<CValueLong>(0));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                auto lock = registry.Lock();
                CValue* counter = registry.Entry("test/counter");
                counter->SetLong(counter->Long() + 1);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(registry.Entry("test/counter")->Long(), 4000);
    registry.Detach("test");
}
