// Helpers shared by the test suites: scoped process settings and owned results.
#ifndef TESTSUPPORT_H
#define TESTSUPPORT_H

#include "transstatus.h"
#include "transstring.h"
#include "transstringlist.h"

#include <memory>
#include <string>
#include <vector>

namespace testing_support {

// Sets a locale category for the scope of a test and restores the previous one. Fails the test if
// the locale is not installed (the setup script generates the ones the suite uses).
class ScopedLocale {
public:
    ScopedLocale(int category, char const* name);
    ~ScopedLocale();
    ScopedLocale(ScopedLocale const&) = delete;
    ScopedLocale& operator=(ScopedLocale const&) = delete;

private:
    int category_;
    std::string previous_;
};

// Sets the platform's UTF-8 mode and default code page for a scope and restores UTF-8 mode on and
// no code page afterwards.
class ScopedCodePage {
public:
    // utf8Mode 0 with a code page name, or 1 (the code page is then ignored).
    ScopedCodePage(int utf8Mode, std::string const& codePage = std::string());
    ~ScopedCodePage();
    ScopedCodePage(ScopedCodePage const&) = delete;
    ScopedCodePage& operator=(ScopedCodePage const&) = delete;
};

// Results that the library hands over are owned by the caller.
using OwnedString = std::unique_ptr<TransString>;
using OwnedList = std::unique_ptr<TransStringList>;

// UTF-16 and multibyte text of a string, copied out.
std::u16string utf16(TransString const& string);
std::string mbcs(TransString const& string);
std::u16string utf16(char16_t const* text);

// The UTF-16 entries of a list, copied out.
using Texts = std::vector<std::u16string>;
Texts entries(TransStringList const& list);

// The entries of a list that the caller owns; deletes the list. None for a null pointer.
Texts takeList(TransStringList* list);

// The flags of a status in a readable form: "none", "W", "F" or "F+W".
std::string flags(TransStatus const& status);

// The UTF-16 text of a string that the caller owns; deletes the string. "<null>" for a null
// pointer.
std::u16string take(TransString* string);

// A status with both flags set, to show that an operation resets the status it is given.
TransStatus dirtyStatus();

} // namespace testing_support

#endif // TESTSUPPORT_H
