#include "testsupport.h"
#include "transstringlist.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

using testing_support::dirtyStatus;
using testing_support::entries;
using testing_support::flags;
using testing_support::ScopedCodePage;
using testing_support::Texts;
using testing_support::utf16;

namespace {

TransStringList makeList(std::initializer_list<char16_t const*> entries) {
    TransStringList list;
    for (char16_t const* entry : entries) {
        list.push_back(entry);
    }
    return list;
}

} // namespace

TEST(StringList, EntriesReadBackByIndexWithWarningForEmptyOnes) {
    TransStringList list;
    TransStatus status = dirtyStatus();
    list.push_back(u"a", status);
    EXPECT_EQ(flags(status), "none");
    list.push_back(u"");
    list.push_back(nullptr); // appends an empty entry
    list.push_back(u"caf\u00E9");
    ASSERT_EQ(list.size(), 4u);
    EXPECT_FALSE(list.empty());
    TransStringList const empty;
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_TRUE(empty.empty());

    struct Case {
        TransStringList const* list;
        unsigned long index;
        char16_t const* text;
        char const* bytes;
        char const* flags;
    };
    // The first multibyte read builds the cache, which meets the empty entries: its warning is not
    // the entry's.
    Case const cases[] = {{&list, 0, u"a", "a", "none"},
                          {&list, 1, u"", "", "W"},
                          {&list, 2, u"", "", "W"},
                          {&list, 3, u"caf\u00E9", "caf\xC3\xA9", "none"},
                          {&list, 4, nullptr, nullptr, "F+W"},
                          {&empty, 0, nullptr, nullptr, "F+W"}};
    for (Case const& c : cases) {
        status = dirtyStatus();
        char16_t const* text = c.list->asUTF16(c.index, status);
        EXPECT_EQ(text == nullptr, c.text == nullptr);
        EXPECT_EQ(utf16(text), utf16(c.text));
        EXPECT_EQ(flags(status), c.flags) << "asUTF16, row " << &c - cases;
        status = dirtyStatus();
        char const* bytes = c.list->asMBCS(c.index, status);
        EXPECT_EQ(bytes == nullptr, c.bytes == nullptr);
        if (bytes != nullptr && c.bytes != nullptr) {
            EXPECT_STREQ(bytes, c.bytes);
        }
        EXPECT_EQ(flags(status), c.flags) << "asMBCS, row " << &c - cases;
    }
    EXPECT_EQ(list.asUTF16(99), nullptr); // the status-less forms do not assert
    EXPECT_EQ(list.asMBCS(99), nullptr);
}

TEST(StringList, ArrayWarningIsReportedOnlyByTheBuildingCall) {
    TransStringList list = makeList({u"a", u"", u"c"});
    TransStatus utf16Status = dirtyStatus();
    TransStatus mbcsStatus = dirtyStatus();
    char16_t const* const* utf16Array = list.asUTF16Array(utf16Status);
    char const* const* mbcsArray = list.asMBCSArray(mbcsStatus);
    ASSERT_NE(utf16Array, nullptr);
    ASSERT_NE(mbcsArray, nullptr);
    EXPECT_EQ(flags(utf16Status), "W");
    EXPECT_EQ(flags(mbcsStatus), "W");
    EXPECT_EQ(Texts(utf16Array, utf16Array + 3), (Texts{u"a", u"", u"c"}));
    EXPECT_EQ(std::vector<std::string>(mbcsArray, mbcsArray + 3),
              (std::vector<std::string>{"a", "", "c"}));

    utf16Status = dirtyStatus();
    mbcsStatus = dirtyStatus();
    EXPECT_EQ(list.asUTF16Array(utf16Status), utf16Array);
    EXPECT_EQ(list.asMBCSArray(mbcsStatus), mbcsArray);
    EXPECT_EQ(flags(utf16Status), "none");
    EXPECT_EQ(flags(mbcsStatus), "none");

    list.push_back(u"d");
    utf16Array = list.asUTF16Array(utf16Status);
    mbcsArray = list.asMBCSArray(mbcsStatus);
    EXPECT_EQ(flags(utf16Status), "W");
    EXPECT_EQ(flags(mbcsStatus), "W");
    EXPECT_EQ(Texts(utf16Array, utf16Array + 4), (Texts{u"a", u"", u"c", u"d"}));
    EXPECT_STREQ(mbcsArray[3], "d");
}

TEST(StringList, ArraysAreNullForAnEmptyListAndCleanWithoutEmptyEntries) {
    struct Case {
        TransStringList list;
        bool null;
        char const* flags;
    };
    Case const cases[] = {{makeList({}), true, "F+W"}, {makeList({u"x", u"y"}), false, "none"}};
    for (Case const& c : cases) {
        TransStatus status = dirtyStatus();
        EXPECT_EQ(c.list.asUTF16Array(status) == nullptr, c.null);
        EXPECT_EQ(flags(status), c.flags) << "asUTF16Array " << c.list.size();
        status = dirtyStatus();
        EXPECT_EQ(c.list.asMBCSArray(status) == nullptr, c.null);
        EXPECT_EQ(flags(status), c.flags) << "asMBCSArray " << c.list.size();
    }
}

TEST(StringList, MultibyteCacheIsRebuiltOnlyWhenTheListGrows) {
    TransStringList list = makeList({u"caf\u00E9"});
    EXPECT_STREQ(list.asMBCS(0), "caf\xC3\xA9");
    ScopedCodePage codePage(0, "ISO-8859-1");
    EXPECT_STREQ(list.asMBCS(0), "caf\xC3\xA9");
    list.push_back(u"\u00FC");
    EXPECT_STREQ(list.asMBCS(0), "caf\xE9");
    EXPECT_STREQ(list.asMBCS(1), "\xFC");
}

TEST(StringList, FailedConversionGivesEmptyTextWithWarning) {
    ScopedCodePage codePage(0, "no-such-converter");
    TransStringList const list = makeList({u"a"});
    TransStatus status;
    EXPECT_STREQ(list.asMBCS(0, status), "");
    EXPECT_EQ(flags(status), "W");
}

TEST(StringList, CopyTakesTheEntriesButNotTheCaches) {
    TransStringList original = makeList({u"a", u""});
    TransStatus status;
    ASSERT_NE(original.asUTF16Array(status), nullptr);
    TransStringList const copy(original);
    original.push_back(u"b");
    EXPECT_EQ(entries(copy), (Texts{u"a", u""}));
    ASSERT_NE(copy.asUTF16Array(status), nullptr);
    EXPECT_EQ(flags(status), "W"); // built afresh for the copy
    EXPECT_FALSE(copy < makeList({u"a", u""}));
    EXPECT_FALSE(makeList({u"a", u""}) < copy);
}

TEST(StringList, AssignmentCopiesAndSwapExchangesWholeLists) {
    TransStringList first = makeList({u"a"});
    TransStringList second = makeList({u"x", u"y"});
    TransStringList assigned;
    assigned = first;
    first.push_back(u"b");
    EXPECT_EQ(entries(assigned), (Texts{u"a"}));
    first.swap(second);
    EXPECT_EQ(entries(first), (Texts{u"x", u"y"}));
    EXPECT_EQ(entries(second), (Texts{u"a", u"b"}));
}

TEST(StringList, OrdersEntriesLexicographicallyAndCaseSensitively) {
    struct Case {
        TransStringList left;
        TransStringList right;
        bool less;
    };
    Case const cases[] = {{makeList({u"a"}), makeList({u"a", u"b"}), true},
                          {makeList({u"a", u"b"}), makeList({u"a"}), false},
                          {makeList({u"a"}), makeList({u"b"}), true},
                          {makeList({u"B"}), makeList({u"a"}), true},
                          {makeList({u"a"}), makeList({u"A"}), false},
                          {makeList({}), makeList({u""}), true},
                          {makeList({u"a", u"z"}), makeList({u"b", u"a"}), true},
                          {makeList({u"\U00010000"}), makeList({u"\uFF01"}), true}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.left < c.right, c.less) << "case " << &c - cases;
    }
}
