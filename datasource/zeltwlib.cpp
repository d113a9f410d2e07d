#include "zeltwlib.h"

#include <unicode/locid.h>

int GetServerLocaleList(std::string& name, std::vector<std::string>& list) {
    // The C locale has no language: there is nothing to report for it.
    if (name == "C" || name == "POSIX" || name.compare(0, 2, "C.") == 0) {
        return 0;
    }
    icu::Locale const locale = icu::Locale::createCanonical(name.c_str());
    if (locale.isBogus()) {
        return 0;
    }
    list.assign(1, locale.getName());
    return 1;
}
