#include "transnumbers.h"

#include "transicucache.h"

#include "transvalueimpl.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/numfmt.h>

namespace trans {

namespace {

// The formatters of one locale. Making a formatter costs tens of microseconds and a dictionary
// writes several numbers per variable, so the formatters of the last few locales are kept per
// thread while a space is alive (see transicucache.h). The locale is still read afresh at every
// call; only the formatter made for it is reused.
struct LocaleFormats {
    // What the formatters were made for: a locale's own name or the name the process gave its
    // LC_NUMERIC setting, and the default locale's name, which a locale without number data of its
    // own (such as the "C" locale's) falls back to.
    bool processName = false;
    std::string name;
    std::string defaultName;
    std::unique_ptr<icu::DecimalFormat> pattern; // "#0.###"; null without a decimal format
    std::unique_ptr<icu::NumberFormat> parser;   // the locale's default format
    bool plainIntegers = false; // the pattern writes integers exactly as std::to_chars does
};

// The integer in ASCII digits, as std::to_chars writes it.
void plainInteger(long long number, icu::UnicodeString& text) {
    char buffer[24];
    auto const end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
    text = icu::UnicodeString(buffer, static_cast<int32_t>(end - buffer), US_INV);
}

void makeFormats(icu::Locale const& locale, LocaleFormats& formats) {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(locale, error));
    if (U_SUCCESS(error) && format != nullptr) {
        formats.parser.reset(format->clone());
        if (auto* decimal = dynamic_cast<icu::DecimalFormat*>(format.get())) {
            format.release();
            formats.pattern.reset(decimal);
            // As before: the error code of applying the pattern is not examined.
            formats.pattern->applyPattern(icu::UnicodeString(u"#0.###"), error);
        }
    }
    // Integers may skip the formatter when it writes ASCII digits and a plain minus sign: the
    // probes hold every digit, both signs and both ends of the range.
    formats.plainIntegers = formats.pattern != nullptr;
    for (int64_t probe :
         {int64_t{0}, int64_t{1234567890}, int64_t{-9876543210},
          std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()}) {
        if (! formats.plainIntegers) {
            break;
        }
        icu::UnicodeString text;
        formats.pattern->format(probe, text);
        icu::UnicodeString plain;
        plainInteger(probe, plain);
        formats.plainIntegers = text == plain;
    }
}

// The formatters that one thread keeps, a few locales' worth.
struct ThreadFormats {
    std::array<LocaleFormats, 4> slots;
    std::size_t next = 0;
};

// Calls use with the formatters of the locale that `makeLocale` gives, known by `name` (a process
// setting's name when processName is true): this thread's kept ones while a space is alive,
// otherwise ones made for this call.
template <typename MakeLocale, typename Use>
auto withFormats(bool processName, char const* name, MakeLocale const& makeLocale, Use const& use) {
    return withThreadCache<ThreadFormats>([&](ThreadFormats& mine, bool kept) {
        if (! kept) {
            LocaleFormats formats;
            makeFormats(makeLocale(), formats);
            return use(formats);
        }
        char const* defaultName = icu::Locale::getDefault().getName();
        for (LocaleFormats const& formats : mine.slots) {
            if (formats.processName == processName && formats.name == name &&
                formats.defaultName == defaultName) {
                return use(formats);
            }
        }
        LocaleFormats& slot = mine.slots[mine.next];
        mine.next = (mine.next + 1) % mine.slots.size();
        slot = LocaleFormats();
        makeFormats(makeLocale(), slot);
        slot.processName = processName;
        slot.name = name;
        slot.defaultName = defaultName;
        return use(slot);
    });
}

template <typename Use>
auto withFormats(icu::Locale const& locale, Use const& use) {
    return withFormats(
        false, locale.getName(), [&]() -> icu::Locale const& { return locale; }, use);
}

char const* numericLocaleName() {
    char const* name = std::setlocale(LC_NUMERIC, nullptr);
    return name != nullptr ? name : "C";
}

// The formatters of the process's LC_NUMERIC locale, read afresh, kept under the setting's name.
template <typename Use>
auto withProcessFormats(Use const& use) {
    char const* name = numericLocaleName();
    return withFormats(
        true, name, [name] { return icu::Locale::createCanonical(name); }, use);
}

bool formatWith(LocaleFormats const& formats, long long number, icu::UnicodeString& text) {
    text.remove();
    if (formats.pattern == nullptr) {
        return false;
    }
    if (formats.plainIntegers) {
        plainInteger(number, text);
    } else {
        formats.pattern->format(static_cast<int64_t>(number), text);
    }
    return ! text.isEmpty();
}

bool formatWith(LocaleFormats const& formats, double number, icu::UnicodeString& text) {
    // A whole double that converts exactly (not -0, which the pattern writes with its sign) is
    // written as that integer.
    constexpr double exactLimit = 9007199254740992.0; // 2^53
    if (number == std::trunc(number) && number > -exactLimit && number < exactLimit &&
        ! (number == 0 && std::signbit(number))) {
        return formatWith(formats, static_cast<long long>(number), text);
    }
    text.remove();
    if (formats.pattern == nullptr) {
        return false;
    }
    formats.pattern->format(number, text);
    return ! text.isEmpty();
}

double parseWith(LocaleFormats const& formats, icu::UnicodeString const& text) {
    if (formats.parser == nullptr) {
        return TransMissingValue;
    }
    icu::Formattable result;
    UErrorCode error = U_ZERO_ERROR; // only a clean success counts, not even a warning
    formats.parser->parse(text, result, error);
    if (error != U_ZERO_ERROR) {
        return TransMissingValue;
    }
    switch (result.getType()) {
    case icu::Formattable::kDouble:
        return result.getDouble();
    case icu::Formattable::kLong:
        return static_cast<double>(result.getLong());
    case icu::Formattable::kInt64:
        return static_cast<double>(result.getInt64());
    default:
        return TransMissingValue;
    }
}

} // namespace

bool formatNumber(double number, icu::Locale const& locale, icu::UnicodeString& text) {
    return withFormats(
        locale, [&](LocaleFormats const& formats) { return formatWith(formats, number, text); });
}

bool formatNumber(long long number, icu::Locale const& locale, icu::UnicodeString& text) {
    return withFormats(
        locale, [&](LocaleFormats const& formats) { return formatWith(formats, number, text); });
}

bool formatNumber(double number, icu::UnicodeString& text) {
    return withProcessFormats(
        [&](LocaleFormats const& formats) { return formatWith(formats, number, text); });
}

bool formatNumber(long long number, icu::UnicodeString& text) {
    return withProcessFormats(
        [&](LocaleFormats const& formats) { return formatWith(formats, number, text); });
}

double parseNumber(icu::UnicodeString const& text, icu::Locale const& locale) {
    return withFormats(locale,
                       [&](LocaleFormats const& formats) { return parseWith(formats, text); });
}

double parseNumber(icu::UnicodeString const& text) {
    return withProcessFormats(
        [&](LocaleFormats const& formats) { return parseWith(formats, text); });
}

} // namespace trans
