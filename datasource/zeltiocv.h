// Host I/O-conversion library: rendering of date and time values as text.
#ifndef ZELTIOCV_H
#define ZELTIOCV_H

#include "zeltexport.h"

#include <string>

// Writes `timestamp` (seconds since 1970-01-01T00:00:00 UTC) into `result` as the UTC date and
// time "YYYY-MM-DDThh:mm:ss"; fractions of a second are dropped (rounded down). A timestamp that
// is not finite or falls outside the years 1 to 9999 gives the empty text. The int and the two
// flags select the form; only the ISO form is provided, so they are accepted and ignored (the
// library passes 2, true, true). Returns 1 when a date was written, 0 for the empty text.
ZELT_EXPORT int ToISODateTime(std::string& result, double timestamp, int, bool, bool);

#endif // ZELTIOCV_H
