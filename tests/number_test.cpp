#include "testsupport.h"
#include "transdoubleimpl.h"
#include "transintegerimpl.h"
#include "transspace.h"
#include "transutil.h"
#include "transvalue.h"

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <unicode/decimfmt.h>
#include <unicode/uclean.h>

using testing_support::flags;
using testing_support::mbcs;
using testing_support::ScopedLocale;
using testing_support::take;

namespace {

char const* const english = "en_US.UTF-8";
char const* const german = "de_DE.UTF-8";

} // namespace

TEST(Number, DoublesFormatInTheProcessNumericLocale) {
    struct Case {
        char const* locale;
        double value;
        char16_t const* text;
    };
    Case const cases[] = {{english, 2.5, u"2.5"},
                          {english, 3.14159, u"3.142"},
                          {english, 1.0, u"1"},
                          {english, 0.0, u"0"},
                          {english, -0.5, u"-0.5"},
                          {english, 0.12345, u"0.123"},
                          {english, 0.0625, u"0.062"},
                          {english, 0.1875, u"0.188"},          // half-even
                          {english, 1234567.25, u"1234567.25"}, // no grouping
                          {german, 2.5, u"2,5"},
                          {german, -0.5, u"-0,5"},
                          {german, 3.14159, u"3,142"},
                          {german, 1234567.25, u"1234567,25"}};
    for (Case const& c : cases) {
        ScopedLocale locale(LC_NUMERIC, c.locale);
        TransStatus status;
        EXPECT_EQ(take(TransDoubleImpl(c.value).asString(status)), c.text)
            << c.value << " in " << c.locale;
        EXPECT_EQ(flags(status), "none");
    }
}

TEST(Number, ExplicitLocaleOverridesTheProcessLocale) {
    ScopedLocale locale(LC_NUMERIC, english);
    TransStatus status;
    EXPECT_EQ(take(TransDoubleImpl(2.5).asString(icu::Locale::getGerman(), status)), u"2,5");
    EXPECT_EQ(flags(status), "none");
}

TEST(Number, XMLTextIsEnglishWhateverTheProcessLocale) {
    struct Case {
        double value;
        char16_t const* text;
    };
    Case const cases[] = {
        {2.5, u"2.5"}, {0.12345, u"0.123"}, {1234567.25, u"1234567.25"}, {-0.5, u"-0.5"}};
    ScopedLocale locale(LC_NUMERIC, german);
    for (Case const& c : cases) {
        TransStatus status;
        EXPECT_EQ(take(TransDoubleImpl(c.value).asXMLString(status)), c.text) << c.value;
        EXPECT_EQ(flags(status), "none");
    }
}

TEST(Number, IntegersFormatExactlyWithoutGrouping) {
    struct Case {
        long long value;
        char16_t const* text;
    };
    Case const cases[] = {{42, u"42"},
                          {-7, u"-7"},
                          {1234567, u"1234567"},
                          {9007199254740993LL, u"9007199254740993"}, // not exact as a double
                          {std::numeric_limits<std::int64_t>::max(), u"9223372036854775807"},
                          {std::numeric_limits<std::int64_t>::min(), u"-9223372036854775808"}};
    for (char const* name : {english, german}) {
        ScopedLocale locale(LC_NUMERIC, name);
        for (Case const& c : cases) {
            TransStatus status;
            EXPECT_EQ(take(TransIntegerImpl(c.value).asString(status)), c.text)
                << c.value << " in " << name;
            EXPECT_EQ(flags(status), "none");
        }
    }
}

// Whole doubles skip the formatter; the text must be the formatter's own, native digits and the
// sign of -0 included.
TEST(Number, WholeDoublesFormatAsTheLocalesPatternDoes) {
    double const values[] = {
        0.0,  -0.0, 1.0, -7.0, 12345.0, 9007199254740991.0, -9007199254740991.0, 9007199254740992.0,
        1e20, 0.5,  -2.5};
    for (char const* name : {"en", "de", "ar_EG", "fa_IR", "C"}) {
        icu::Locale const locale(name);
        UErrorCode error = U_ZERO_ERROR;
        icu::DecimalFormat pattern(icu::UnicodeString(u"#0.###"),
                                   icu::DecimalFormatSymbols(locale, error), error);
        ASSERT_TRUE(U_SUCCESS(error)) << name;
        for (double const value : values) {
            icu::UnicodeString expected;
            pattern.format(value, expected);
            TransStatus status;
            EXPECT_EQ(take(TransDoubleImpl(value).asString(locale, status)),
                      std::u16string(expected.getBuffer(), expected.length()))
                << value << " in " << name;
        }
    }
}

TEST(Number, TextParsesInTheProcessNumericLocale) {
    struct Case {
        char const* locale;
        char16_t const* text;
        double value;
    };
    Case const cases[] = {{english, u"12.5", 12.5},
                          {english, u"42", 42.0},
                          {english, u"-3.25", -3.25},
                          {english, u"1,234.5", 1234.5}, // grouping is accepted
                          {english, u"9007199254740993", 9007199254740992.0},
                          {english, u"", TransMissingValue},
                          {english, u"abc", TransMissingValue},
                          {german, u"12,5", 12.5},
                          {german, u"1.234,5", 1234.5},
                          {german, u"abc", TransMissingValue}};
    for (Case const& c : cases) {
        ScopedLocale locale(LC_NUMERIC, c.locale);
        EXPECT_EQ(TransUtil::UTF16toDouble(icu::UnicodeString(c.text)), c.value)
            << "'" << mbcs(TransString(c.text)) << "' in " << c.locale;
    }
}

TEST(Number, TextValueParsesWithTheLocaleOfTheCall) {
    TransValue const value(TransString(u"12,5"));
    {
        ScopedLocale locale(LC_NUMERIC, german);
        TransStatus status;
        EXPECT_EQ(value.asDouble(status), 12.5);
        EXPECT_EQ(flags(status), "none");
    }
    ScopedLocale locale(LC_NUMERIC, english);
    EXPECT_NE(value.asDouble(), 12.5);
}

// Formatters and converters are kept while a space is alive and released with the last one, on
// every thread: a host may then call u_cleanup(), and conversions work afterwards, with or without
// a new space.
TEST(NumberDeathTest, ConversionsWorkAfterTheHostCleansUpTheUnicodeLibrary) {
    auto converts = [] {
        TransStatus status;
        return take(TransDoubleImpl(2.5).asString(status)) == u"2,5" &&
               take(TransIntegerImpl(-7).asString(status)) == u"-7" &&
               TransUtil::UTF16toDouble(icu::UnicodeString(u"12,5")) == 12.5 &&
               TransUtil::MBCStoUTF16("caf\303\251") == icu::UnicodeString(u"café") &&
               TransUtil::UTF16toMBCS(icu::UnicodeString(u"café")) == "caf\303\251";
    };
    EXPECT_EXIT(
        {
            ScopedLocale locale(LC_NUMERIC, german);
            // The other thread formats while the space is alive, waits while the host cleans up,
            // and formats again afterwards.
            std::promise<void> cleanedUp;
            std::future<bool> otherConverted;
            std::thread other;
            bool ok = true;
            bool otherOk = false;
            {
                TransSpace space;
                std::promise<bool> formatted;
                otherConverted = formatted.get_future();
                other = std::thread([&, formatted = std::move(formatted)]() mutable {
                    bool const before = converts();
                    formatted.set_value(before);
                    cleanedUp.get_future().wait();
                    otherOk = converts() && before;
                });
                ok = converts() && otherConverted.get();
            }
            u_cleanup();
            cleanedUp.set_value();
            other.join();
            ok = converts() && otherOk && ok;
            {
                TransSpace space;
                ok = converts() && converts() && ok;
            }
            std::exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
