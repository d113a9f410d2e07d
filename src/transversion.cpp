#include "transversion.h"

char const* transVersion() noexcept {
    return TRANSSPACE_VERSION_STRING;
}
