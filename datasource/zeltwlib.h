// Host work library: locale names.
#ifndef ZELTWLIB_H
#define ZELTWLIB_H

#include "zeltexport.h"

#include <string>
#include <vector>

// Maps the process locale name `name` (as setlocale reports it) to the locales to report. For
// "C", "POSIX" and names beginning with "C." it returns 0 and leaves both arguments alone. For any
// other name it replaces `list` with one entry, the Unicode library's canonical locale ID for the
// name ("de_DE.UTF-8" gives "de_DE"), and returns 1. `name` is never changed.
ZELT_EXPORT int GetServerLocaleList(std::string& name, std::vector<std::string>& list);

#endif // ZELTWLIB_H
