// Number text in a locale: the pattern "#0.###" for output, the locale's default format for input.
#ifndef TRANSNUMBERS_H
#define TRANSNUMBERS_H

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace trans {

// The number with the pattern "#0.###" in the locale's symbols: no grouping, at most three
// fraction digits, half-even rounding. False (and no text) when the locale has no decimal format.
bool formatNumber(double number, icu::Locale const& locale, icu::UnicodeString& text);
bool formatNumber(long long number, icu::Locale const& locale, icu::UnicodeString& text);

// The same in the locale of the process's LC_NUMERIC setting, read afresh at each call (the
// formatters made for a setting are kept, not the setting).
bool formatNumber(double number, icu::UnicodeString& text);
bool formatNumber(long long number, icu::UnicodeString& text);

// The text parsed with the locale's default number format; the missing value when the parse does
// not succeed cleanly or gives no number.
double parseNumber(icu::UnicodeString const& text, icu::Locale const& locale);
double parseNumber(icu::UnicodeString const& text); // in the process's LC_NUMERIC locale

} // namespace trans

#endif // TRANSNUMBERS_H
