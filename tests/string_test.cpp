#include "testsupport.h"
#include "transstring.h"
#include "transutil.h"
#include "transvalue.h"

#include <clocale>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using testing_support::dirtyStatus;
using testing_support::flags;
using testing_support::mbcs;
using testing_support::ScopedCodePage;
using testing_support::ScopedLocale;
using testing_support::utf16;

namespace {

// Neither string orders before the other.
bool equivalent(TransString const& a, TransString const& b) {
    return ! (a < b) && ! (b < a);
}

} // namespace

TEST(String, NullAndDefaultConstructionGiveTheEmptyString) {
    TransString const strings[] = {TransString(), TransString(static_cast<char const*>(nullptr)),
                                   TransString(static_cast<char16_t const*>(nullptr))};
    for (TransString const& string : strings) {
        EXPECT_TRUE(string.empty());
        TransStatus status = dirtyStatus();
        char16_t const* text = string.asUTF16(status);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(utf16(text), u"");
        EXPECT_EQ(flags(status), "W");
        status = dirtyStatus();
        EXPECT_STREQ(string.asMBCS(status), "");
        EXPECT_EQ(flags(status), "W");
        EXPECT_STREQ(string.asMBCS(), ""); // a warning does not stop the status-less form
    }
}

TEST(String, UTF8ModeConvertsBothWaysWithoutFlag) {
    ScopedCodePage codePage(1);
    TransString const fromBytes("caf\xC3\xA9");
    TransStatus status = dirtyStatus();
    EXPECT_EQ(utf16(fromBytes.asUTF16(status)), u"caf\u00E9");
    EXPECT_EQ(flags(status), "none");
    TransString const fromUTF16(u"caf\u00E9 \u20AC");
    status = dirtyStatus();
    EXPECT_STREQ(fromUTF16.asMBCS(status), "caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(flags(status), "none");
    EXPECT_EQ(utf16(TransString("a\xFF")), u"a\uFFFD"); // malformed bytes are substituted
}

TEST(String, SingleByteCodePageConvertsBothWays) {
    ScopedCodePage codePage(0, "ISO-8859-1");
    EXPECT_EQ(TransUtil::codepage(), "ISO-8859-1");
    EXPECT_EQ(utf16(TransString("caf\xE9")), u"caf\u00E9");
    EXPECT_EQ(mbcs(TransString(u"caf\u00E9")), "caf\xE9");
    EXPECT_EQ(mbcs(TransString(u"1\u20AC")), "1\x1A"); // the code page's substitute byte
}

TEST(String, UnknownConverterGivesEmptyTextWithoutFlagAndIsRetriedLater) {
    // Longer than ICU's inline buffer: the failed and the retried conversions are on the heap.
    char const* const text = "a text longer than twenty-seven code units";
    TransString const fromBytes(text);
    TransString const fromUTF16(utf16(text).c_str());
    char16_t const* failedUTF16 = nullptr;
    char const* failedMBCS = nullptr;
    {
        ScopedCodePage codePage(0, "no-such-converter");
        TransStatus status = dirtyStatus();
        failedUTF16 = fromBytes.asUTF16(status);
        EXPECT_EQ(utf16(failedUTF16), u"");
        EXPECT_EQ(flags(status), "none"); // the string is not empty, only its conversion
        status = dirtyStatus();
        failedMBCS = fromUTF16.asMBCS(status);
        EXPECT_STREQ(failedMBCS, "");
        EXPECT_EQ(flags(status), "none");
        EXPECT_FALSE(fromBytes.empty());
    }
    EXPECT_EQ(utf16(fromBytes), utf16(text));
    EXPECT_EQ(mbcs(fromUTF16), text);
    // What the failed conversions handed out is still readable after the retry (ASan, valgrind).
    EXPECT_EQ(utf16(failedUTF16), u"");
    EXPECT_STREQ(failedMBCS, "");
}

TEST(String, DerivedFormUsesTheCodePageOfItsFirstUseAndCopiesKeepIt) {
    TransString const string(u"caf\u00E9");
    {
        ScopedCodePage codePage(0, "ISO-8859-1");
        EXPECT_EQ(mbcs(string), "caf\xE9");
    }
    EXPECT_EQ(mbcs(string), "caf\xE9");

    TransString const original(u"caf\u00E9");
    EXPECT_EQ(mbcs(original), "caf\xC3\xA9");
    TransString const copy(original);
    ScopedCodePage codePage(0, "ISO-8859-1");
    EXPECT_EQ(mbcs(copy), "caf\xC3\xA9");
}

TEST(String, CopiesAreIndependentAndSwapExchangesTexts) {
    TransStatus status;
    TransString original(u"  one  ");
    TransString const copy(original);
    TransString assigned;
    assigned = original;
    original.trim(status);
    EXPECT_EQ(utf16(original), u"one");
    EXPECT_EQ(utf16(copy), u"  one  ");
    EXPECT_EQ(utf16(assigned), u"  one  ");

    TransString other("two");
    original.swap(other);
    EXPECT_EQ(utf16(original), u"two");
    EXPECT_EQ(utf16(other), u"one");
}

// Texts longer than ICU's inline buffer are shared between copies; a pointer handed out before
// the copies must stay where it was, whatever is done to the copies and however the text was made.
TEST(String, PointersStayValidWhileCopiesComeAndGo) {
    std::u16string const text = u"a handle name that is longer than twenty-seven code units";
    std::string const bytes(text.begin(), text.end());
    using Use = void (*)(TransString const&);
    // Each use asks the string for its text again while the copies are alive.
    std::pair<char const*, Use> const uses[] = {
        {"copies in a container",
         [](TransString const& s) {
             std::vector<TransString> const copies(3, s);
             s.asUTF16();
         }},
        {"a text value",
         [](TransString const& s) {
             TransValue const value(s);
             s.asUTF16();
         }},
        {"a comparison",
         [](TransString const& s) {
             (void)(s < TransString(u"other"));
             s.asUTF16();
         }},
        {"a copy compared",
         [](TransString const& s) {
             TransString const copy(s);
             (void)(copy < s);
             s.asUTF16();
         }},
    };
    for (auto const& [use, run] : uses) {
        for (bool const fromBytes : {false, true}) {
            SCOPED_TRACE(std::string(use) + (fromBytes ? ", from bytes" : ", from UTF-16"));
            TransString const name =
                fromBytes ? TransString(bytes.c_str()) : TransString(text.c_str());
            char16_t const* utf16Text = name.asUTF16();
            char const* mbcsText = name.asMBCS();
            run(name);
            EXPECT_EQ(name.asUTF16(), utf16Text);
            EXPECT_EQ(name.asMBCS(), mbcsText);
            EXPECT_EQ(utf16(utf16Text), text); // read through the old pointer (ASan, valgrind)
            EXPECT_EQ(std::string(mbcsText), bytes);
        }
    }
}

TEST(String, OrderIgnoresLetterCase) {
    struct Case {
        char16_t const* left;
        char16_t const* right;
        bool less;
    };
    Case const cases[] = {{u"abc", u"ABD", true},
                          {u"ABD", u"abc", false},
                          {u"ABC", u"abc", false},
                          {u"abc", u"ABC", false},
                          {u"", u"a", true},
                          {u"a", u"", false},
                          {u"ab", u"ABC", true},
                          {u"a", u"Z", true},
                          {u"stra\u00DFe", u"STRASSF", true}, // full mapping: sharp s gives SS
                          {u"\U00010000", u"\uFF01", true}};  // by code unit, not code point
    for (Case const& c : cases) {
        EXPECT_EQ(TransString(c.left) < TransString(c.right), c.less)
            << mbcs(TransString(c.left)) << " < " << mbcs(TransString(c.right));
    }
    EXPECT_TRUE(equivalent(TransString("Handle"), TransString(u"HANDLE")));
}

TEST(String, TurkishLocaleKeepsDottedAndDotlessIApart) {
    ScopedLocale locale(LC_CTYPE, "tr_TR.UTF-8");
    EXPECT_TRUE(TransString(u"I") < TransString(u"i")); // 'i' upper-cases to U+0130
    EXPECT_FALSE(TransString(u"i") < TransString(u"I"));
    EXPECT_TRUE(equivalent(TransString(u"i"), TransString(u"\u0130")));
    EXPECT_TRUE(equivalent(TransString(u"\u0131"), TransString(u"I")));
}

TEST(String, UpperCaseFormIsKeptAfterLocaleChange) {
    TransString const englishLower(u"i");
    TransString const englishUpper(u"I");
    TransString const turkishLower(u"i");
    TransString const turkishUpper(u"I");
    {
        ScopedLocale locale(LC_CTYPE, "en_US.UTF-8");
        EXPECT_TRUE(equivalent(englishLower, englishUpper));
    }
    {
        ScopedLocale locale(LC_CTYPE, "tr_TR.UTF-8");
        EXPECT_TRUE(equivalent(englishLower, englishUpper));
        EXPECT_FALSE(equivalent(turkishLower, turkishUpper));
    }
    ScopedLocale locale(LC_CTYPE, "en_US.UTF-8");
    EXPECT_FALSE(equivalent(turkishLower, turkishUpper));
}

TEST(String, TrimRemovesWhiteSpaceAtBothEnds) {
    struct Case {
        char16_t const* text;
        char16_t const* trimmed;
        char const* flags;
    };
    Case const cases[] = {{u"  a b  ", u"a b", "none"},
                          {u"   ", u"", "W"},
                          {u"", u"", "W"},
                          {u"\t\r\n x\n", u"x", "none"},
                          {u"\u3000x\u2003", u"x", "none"},
                          {u"\u00A0x", u"\u00A0x", "none"}}; // no-break space is kept
    for (Case const& c : cases) {
        TransString string(c.text);
        TransStatus status = dirtyStatus();
        EXPECT_EQ(&string.trim(status), &string);
        EXPECT_EQ(utf16(string), c.trimmed);
        EXPECT_EQ(flags(status), c.flags) << "for '" << mbcs(TransString(c.text)) << "'";
        EXPECT_EQ(string.empty(), utf16(c.trimmed).empty());
    }
}

TEST(String, TrimOfMultibyteTextRederivesTheMultibyteForm) {
    TransString string("  caf\xC3\xA9 ");
    EXPECT_STREQ(string.asMBCS(), "  caf\xC3\xA9 ");
    TransStatus status;
    string.trim(status);
    EXPECT_STREQ(string.asMBCS(), "caf\xC3\xA9");
}

TEST(String, TrimRecomputesTheOrderingForm) {
    TransString string(u"  a");
    TransString const plain(u"A");
    EXPECT_TRUE(string < plain); // "  A" against "A"
    TransStatus status;
    string.trim(status);
    EXPECT_TRUE(equivalent(string, plain));
}
