#include "transassert.h"

#include <cstdio>
#include <cstdlib>

extern char* program_invocation_short_name; // glibc: the program's name, as assert prints it

void transAssertFail(char const* condition, char const* file, int line,
                     char const* function) noexcept {
    std::fprintf(stderr, "%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name,
                 file, line, function, condition);
    std::fflush(stderr);
    std::abort();
}
