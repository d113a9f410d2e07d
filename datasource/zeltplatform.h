// Host platform library: how the process encodes multibyte text.
//
// The library asks these afresh at every conversion. The setters exist for hosts and tests; the
// library itself never calls them. Both settings are process-wide and safe to read and write from
// any thread.
#ifndef ZELTPLATFORM_H
#define ZELTPLATFORM_H

#include "zeltexport.h"

#include <string>

// Non-zero: multibyte text is UTF-8. Default 1.
ZELT_EXPORT int qUTF8mode();

// Converter name for multibyte text when UTF-8 mode is off: the name last set with
// ZELTSetMBDefaultCodePage, or, while none (or the empty name) is set, the character set of the
// current LC_CTYPE locale (nl_langinfo(CODESET)), read afresh at each call.
ZELT_EXPORT std::string ZELTMBDefaultCodePage();

ZELT_EXPORT void ZELTSetUTF8mode(int mode);
ZELT_EXPORT void ZELTSetMBDefaultCodePage(std::string const& name);

#endif // ZELTPLATFORM_H
