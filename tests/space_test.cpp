#include "testsupport.h"
#include "transspace.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using testing_support::flags;
using testing_support::mbcs;
using testing_support::OwnedList;
using testing_support::OwnedString;
using testing_support::utf16;

namespace {

std::vector<std::string> handles(TransSpace const& space) {
    OwnedList list(space.list());
    std::vector<std::string> result;
    for (unsigned long i = 0; i < list->size(); ++i) {
        result.emplace_back(list->asMBCS(i));
    }
    return result;
}

TransImage image(char const* name, char const* bytes = "", int number = 0) {
    TransImage result;
    result.name = TransString(name);
    result.bytes = bytes;
    result.text = TransString(u"text");
    result.number = number;
    return result;
}

} // namespace

TEST(SpaceLifecycle, ThousandsOfSpacesInARow) {
    for (int i = 0; i < 2000; ++i) {
        TransSpace space;
        ASSERT_TRUE(space.add(TransString("h"), TransValue(1.0)));
    }
}

TEST(SpaceLifecycle, SeveralAliveDestroyedInAnyOrder) {
    for (int order = 0; order < 2; ++order) {
        auto first = std::make_unique<TransSpace>();
        auto second = std::make_unique<TransSpace>();
        auto third = std::make_unique<TransSpace>();
        if (order == 0) {
            first.reset();
            third.reset();
        } else {
            second.reset();
            first.reset();
        }
        TransSpace& alive = order == 0 ? *second : *third;
        EXPECT_TRUE(alive.add(TransString("x"), TransValue(2.0)));
        EXPECT_EQ(2.0, alive.find(TransString("X")).asDouble());
    }
}

TEST(SpaceValues, HandlesAreTrimmedCaseInsensitiveAndKeepFirstSpelling) {
    TransSpace space;
    TransStatus status;
    EXPECT_TRUE(space.add(TransString(" Total "), TransValue(7.0), status));
    EXPECT_EQ("none", flags(status));

    EXPECT_TRUE(space.exists(TransString("  TOTAL "), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(7.0, space.find(TransString(u"total"), status).asDouble());
    EXPECT_EQ("none", flags(status));

    EXPECT_FALSE(space.add(TransString("total"), TransValue(8.0), status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_EQ(7.0, space.find(TransString("Total")).asDouble());
    EXPECT_EQ(std::vector<std::string>{"Total"}, handles(space));
}

TEST(SpaceValues, FailureTable) {
    TransSpace space;
    TransStatus status;
    TransString const blank("   ");

    EXPECT_FALSE(space.add(blank, TransValue(1.0), status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.remove(blank, status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.exists(TransString(), status));
    EXPECT_EQ("F+W", flags(status));
    space.find(blank, status);
    EXPECT_EQ("F+W", flags(status));

    EXPECT_FALSE(space.remove(TransString("nothing"), status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.exists(TransString("nothing"), status));
    EXPECT_EQ("W", flags(status));

    TransValue const& missing = space.find(TransString("nothing"), status);
    EXPECT_EQ("F+W", flags(status));
    OwnedString text(missing.asString(status));
    EXPECT_EQ("F+W", flags(status)); // the empty value is a null value

    OwnedList list(space.list(status));
    ASSERT_NE(nullptr, list);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ("W", flags(status));

    TransString* nothing = nullptr;
    space.releaseString(nothing, status);
    EXPECT_EQ("W", flags(status));
    TransStringList* noList = nullptr;
    space.releaseStringList(noList, status);
    EXPECT_EQ("W", flags(status));
}

TEST(SpaceValues, RemoveThenAddReplaces) {
    TransSpace space;
    TransStatus status;
    space.add(TransString("v"), TransValue(1.0));
    EXPECT_TRUE(space.remove(TransString(" V"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_FALSE(space.exists(TransString("v")));
    EXPECT_TRUE(space.add(TransString("V"), TransValue(2.0)));
    EXPECT_EQ(2.0, space.find(TransString("v")).asDouble());
}

TEST(SpaceValues, ListsHandlesInCaseInsensitiveOrder) {
    TransSpace space;
    for (char const* handle : {"b", "A", "c"}) {
        space.add(TransString(handle), TransValue());
    }
    EXPECT_EQ((std::vector<std::string>{"A", "b", "c"}), handles(space));
}

TEST(SpaceValues, StoresDeepCopies) {
    TransSpace space;
    TransValue value(TransString("before"));
    space.add(TransString("t"), value);
    value = TransValue(TransString("after"));
    OwnedString text(space.find(TransString("t")).asString());
    EXPECT_EQ("before", mbcs(*text));

    TransValue out = space.find(TransString("t"));
    space.remove(TransString("t"));
    OwnedString copied(out.asString());
    EXPECT_EQ("before", mbcs(*copied));
}

TEST(SpaceValues, ReleaseDeletesAndNulls) {
    TransSpace space;
    space.add(TransString("d"), TransValue(2.5));
    TransString* text = space.find(TransString("d")).asString();
    TransStatus status;
    space.releaseString(text, status);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ("none", flags(status));
    TransStringList* list = space.list();
    space.releaseStringList(list);
    EXPECT_EQ(nullptr, list);
}

using SpaceDeathTest = ::testing::Test;

TEST_F(SpaceDeathTest, StatusLessFormsStopOnFailureWithTheirMessage) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    TransSpace space;
    space.add(TransString("present"), TransValue(1.0));
    EXPECT_DEATH(space.add(TransString("PRESENT"), TransValue(2.0)),
                 "Assertion `! status.failure\\(\\) && \"Failure: "
                 "TransString::add\\(handle,value\\)\"' failed");
    EXPECT_DEATH(space.remove(TransString("absent")),
                 "! status.failure\\(\\) && \"Failure: TransString::remove\\(handle\\)\"");
    EXPECT_DEATH(space.exists(TransString(" ")),
                 "! status.failure\\(\\) && \"Failure: TransString::exists\\(handle\\)\"");
    EXPECT_DEATH(space.find(TransString("absent")),
                 "! status.failure\\(\\) && \"Failure: TransString::find\\(handle\\)\"");
}

TEST(Space, StatusLessFormsPassWarnings) {
    TransSpace space;
    EXPECT_FALSE(space.exists(TransString("absent"))); // warning only: no stop
    OwnedList list(space.list());
    EXPECT_TRUE(list->empty());
    TransString* nothing = nullptr;
    space.releaseString(nothing);
    TransStringList* noList = nullptr;
    space.releaseStringList(noList);
}

// ---------------------------------------------------------------------------------------------
// Images

TEST(SpaceImages, SameNameImagesAreKeptInOrderAndRemovedFirstFirst) {
    TransSpace space;
    TransStatus status;
    EXPECT_TRUE(space.addImage(TransString("chart"), image("pic", "one", 1), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_TRUE(space.addImage(TransString(" CHART "), image("pic", "two", 2), status));

    EXPECT_EQ("one", space.findImage(TransString("chart"), TransString("pic"), status).bytes);
    EXPECT_EQ("none", flags(status));
    EXPECT_TRUE(space.removeImage(TransString("Chart"), TransString(" pic "), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(2, space.findImage(TransString("chart"), TransString("pic"), status).number);
    EXPECT_TRUE(space.removeImage(TransString("chart"), TransString("pic"), status));

    // The list is empty now but stays: no warning, unlike a handle that never had images.
    EXPECT_FALSE(space.existsImage(TransString("chart"), TransString("pic"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_FALSE(space.existsImage(TransString("never"), TransString("pic"), status));
    EXPECT_EQ("W", flags(status));
    EXPECT_TRUE(space.findImage(TransString("chart"), TransString("pic"), status).name.empty());
    EXPECT_EQ("none", flags(status));
    EXPECT_FALSE(space.removeImage(TransString("chart"), TransString("pic"), status));
    EXPECT_EQ("none", flags(status));
}

TEST(SpaceImages, NamesMatchAfterTrimmingButCaseSensitively) {
    TransSpace space;
    TransStatus status;
    space.addImage(TransString("h"), image("  Logo "), status);
    EXPECT_TRUE(space.existsImage(TransString("H"), TransString("Logo"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_FALSE(space.existsImage(TransString("h"), TransString("logo"), status));
    EXPECT_EQ("W", flags(status));
    EXPECT_TRUE(space.findImage(TransString("h"), TransString("LOGO"), status).name.empty());
    EXPECT_EQ("none", flags(status));
}

TEST(SpaceImages, BlankArgumentsFailWithTheirFlags) {
    TransSpace space;
    TransStatus status;
    TransString const blank(" \t");
    space.addImage(TransString("h"), image("a"), status);

    EXPECT_FALSE(space.addImage(blank, image("a"), status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.removeImage(blank, TransString("a"), status));
    EXPECT_EQ("F", flags(status));
    EXPECT_FALSE(space.existsImage(blank, TransString("a"), status));
    EXPECT_EQ("F", flags(status));
    space.findImage(blank, TransString("a"), status);
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.removeAll(blank, status));
    EXPECT_EQ("F+W", flags(status));

    EXPECT_FALSE(space.removeImage(TransString("h"), blank, status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.existsImage(TransString("h"), blank, status));
    EXPECT_EQ("F+W", flags(status));
    space.findImage(TransString("h"), blank, status);
    EXPECT_EQ("F+W", flags(status));
    space.findImage(TransString("nothing"), TransString("a"), status);
    EXPECT_EQ("F+W", flags(status));
}

TEST(SpaceImages, BlankNamedLastImageWarnsWhenNothingMatches) {
    TransSpace space;
    TransStatus status;
    space.addImage(TransString("h"), image("a"), status);
    space.addImage(TransString("h"), image("   "), status);
    EXPECT_EQ("none", flags(status)); // a blank image name is accepted

    EXPECT_FALSE(space.removeImage(TransString("h"), TransString("b"), status));
    EXPECT_EQ("W", flags(status));
    EXPECT_TRUE(space.findImage(TransString("h"), TransString("b"), status).name.empty());
    EXPECT_EQ("W", flags(status));
    EXPECT_TRUE(space.existsImage(TransString("h"), TransString("a"), status));
    EXPECT_EQ("none", flags(status));
}

TEST(SpaceImages, RemoveAllReportsTheValueAndDropsTheImages) {
    TransSpace space;
    TransStatus status;
    space.addImage(TransString("only images"), image("a"), status);
    EXPECT_FALSE(space.removeAll(TransString("ONLY IMAGES"), status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_FALSE(space.existsImage(TransString("only images"), TransString("a"), status));
    EXPECT_EQ("W", flags(status));

    space.add(TransString("both"), TransValue(1.0));
    space.addImage(TransString("both"), image("a"), status);
    EXPECT_TRUE(space.removeAll(TransString("both"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_FALSE(space.exists(TransString("both")));
    space.findImage(TransString("both"), TransString("a"), status);
    EXPECT_EQ("F+W", flags(status));
}

TEST(SpaceImages, StoresCopiesIndependentOfTheCaller) {
    TransSpace space;
    TransStatus status;
    TransImage original = image("pic", "bytes", 5);
    space.addImage(TransString("h"), original, status);
    original.bytes = "changed";
    original.name = TransString("other");
    TransImage const& stored = space.findImage(TransString("h"), TransString("pic"), status);
    EXPECT_EQ("bytes", stored.bytes);
    EXPECT_EQ(5, stored.number);
    EXPECT_EQ(u"text", utf16(stored.text));
}
