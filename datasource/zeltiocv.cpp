#include "zeltiocv.h"

#include <cmath>
#include <cstdio>

namespace {

constexpr long long secondsPerDay = 86400;
// 0001-01-01T00:00:00 and 10000-01-01T00:00:00, in seconds since 1970-01-01T00:00:00.
constexpr double firstSecond = -62135596800.0;
constexpr double endSecond = 253402300800.0;

struct CivilDate {
    long long year;
    unsigned month; // 1 to 12
    unsigned day;   // 1 to 31
};

// The proleptic Gregorian date of a day count since 1970-01-01, computed in 400-year eras of
// 146097 days that start on March 1st, so that the leap day is the last day of an era's year.
CivilDate civilFromDays(long long days) noexcept {
    days += 719468; // from 1970-01-01 to 0000-03-01
    long long const era = (days >= 0 ? days : days - 146096) / 146097;
    auto const dayOfEra = static_cast<unsigned>(days - era * 146097);
    unsigned const yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    unsigned const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    unsigned const monthIndex = (5 * dayOfYear + 2) / 153; // 0 is March
    unsigned const day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    unsigned const month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    long long const year = static_cast<long long>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
    return CivilDate{year, month, day};
}

} // namespace

int ToISODateTime(std::string& result, double timestamp, int, bool, bool) {
    result.clear();
    // The comparison is false for NaN, so it rejects every non-finite value too.
    if (! (timestamp >= firstSecond && timestamp < endSecond)) {
        return 0;
    }
    auto const seconds = static_cast<long long>(std::floor(timestamp));
    long long days = seconds / secondsPerDay;
    long long secondOfDay = seconds % secondsPerDay;
    if (secondOfDay < 0) {
        secondOfDay += secondsPerDay;
        --days;
    }
    CivilDate const date = civilFromDays(days);
    char text[64]; // room for any value the compiler cannot bound
    std::snprintf(text, sizeof text, "%04lld-%02u-%02uT%02lld:%02lld:%02lld", date.year, date.month,
                  date.day, secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60);
    result = text;
    return 1;
}
