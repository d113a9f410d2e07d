#include "testsupport.h"

#include "zeltplatform.h"

#include <clocale>
#include <gtest/gtest.h>

namespace testing_support {

ScopedLocale::ScopedLocale(int category, char const* name) : category_(category) {
    char const* current = std::setlocale(category, nullptr);
    previous_ = current != nullptr ? current : "C";
    if (std::setlocale(category, name) == nullptr) {
        ADD_FAILURE() << "locale " << name << " is not installed; run scripts/setup.sh";
    }
}

ScopedLocale::~ScopedLocale() {
    std::setlocale(category_, previous_.c_str());
}

ScopedCodePage::ScopedCodePage(int utf8Mode, std::string const& codePage) {
    ZELTSetUTF8mode(utf8Mode);
    ZELTSetMBDefaultCodePage(codePage);
}

ScopedCodePage::~ScopedCodePage() {
    ZELTSetUTF8mode(1);
    ZELTSetMBDefaultCodePage(std::string());
}

std::u16string utf16(TransString const& string) {
    TransStatus status;
    return std::u16string(string.asUTF16(status));
}

std::string mbcs(TransString const& string) {
    TransStatus status;
    return std::string(string.asMBCS(status));
}

std::u16string utf16(char16_t const* text) {
    return text != nullptr ? std::u16string(text) : std::u16string();
}

Texts entries(TransStringList const& list) {
    Texts result;
    for (unsigned long i = 0; i < list.size(); ++i) {
        result.emplace_back(utf16(list.asUTF16(i)));
    }
    return result;
}

Texts takeList(TransStringList* list) {
    OwnedList const owned(list);
    return owned != nullptr ? entries(*owned) : Texts();
}

std::string flags(TransStatus const& status) {
    if (status.failure()) {
        return status.warning() ? "F+W" : "F";
    }
    return status.warning() ? "W" : "none";
}

std::u16string take(TransString* string) {
    OwnedString const owned(string);
    return owned != nullptr ? utf16(*owned) : u"<null>";
}

TransStatus dirtyStatus() {
    TransStatus status;
    status.failure(true);
    status.warning(true);
    return status;
}

} // namespace testing_support
