#include "transnumbers.h"

#include "transvalueimpl.h"

#include <clocale>
#include <memory>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/numfmt.h>

namespace trans {

namespace {

// A formatter set to "#0.###", or null when the locale's default formatter is not a decimal
// format (such a formatter cannot take the pattern, and its output would not follow it).
std::unique_ptr<icu::DecimalFormat> patternFormatter(icu::Locale const& locale) {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(locale, error));
    auto* decimal = dynamic_cast<icu::DecimalFormat*>(format.get());
    if (U_FAILURE(error) || decimal == nullptr) {
        return nullptr;
    }
    format.release();
    std::unique_ptr<icu::DecimalFormat> result(decimal);
    result->applyPattern(icu::UnicodeString(u"#0.###"), error);
    return result;
}

template <typename Number>
bool formatWithPattern(Number number, icu::Locale const& locale, icu::UnicodeString& text) {
    text.remove();
    std::unique_ptr<icu::DecimalFormat> format = patternFormatter(locale);
    if (format == nullptr) {
        return false;
    }
    format->format(number, text);
    return ! text.isEmpty();
}

} // namespace

icu::Locale processNumericLocale() {
    char const* name = std::setlocale(LC_NUMERIC, nullptr);
    return icu::Locale::createCanonical(name != nullptr ? name : "C");
}

bool formatNumber(double number, icu::Locale const& locale, icu::UnicodeString& text) {
    return formatWithPattern(number, locale, text);
}

bool formatNumber(long long number, icu::Locale const& locale, icu::UnicodeString& text) {
    return formatWithPattern(static_cast<int64_t>(number), locale, text);
}

double parseNumber(icu::UnicodeString const& text, icu::Locale const& locale) {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(locale, error));
    if (format == nullptr || U_FAILURE(error)) {
        return TransMissingValue;
    }
    icu::Formattable result;
    UErrorCode parseError = U_ZERO_ERROR; // a warning (e.g. a fallback locale) must not leak in
    format->parse(text, result, parseError);
    if (parseError != U_ZERO_ERROR) {
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

} // namespace trans
