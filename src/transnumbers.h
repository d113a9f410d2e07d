// Number text in a locale: the pattern "#0.###" for output, the locale's default format for input.
#ifndef TRANSNUMBERS_H
#define TRANSNUMBERS_H

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace trans {

// Whether number formatters are kept between calls: true while a space is alive. false releases
// the formatters that every thread kept, so that no ICU object outlives the XML libraries.
void keepFormatters(bool keep);

// The locale named by the process's current LC_NUMERIC setting, read afresh.
icu::Locale processNumericLocale();

// The number with the pattern "#0.###" in the locale's symbols: no grouping, at most three
// fraction digits, half-even rounding. False (and no text) when the locale has no decimal format.
bool formatNumber(double number, icu::Locale const& locale, icu::UnicodeString& text);
bool formatNumber(long long number, icu::Locale const& locale, icu::UnicodeString& text);

// The text parsed with the locale's default number format; the missing value when the parse does
// not succeed cleanly or gives no number.
double parseNumber(icu::UnicodeString const& text, icu::Locale const& locale);

} // namespace trans

#endif // TRANSNUMBERS_H
