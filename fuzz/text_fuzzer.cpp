// Text conversions. The first input byte picks the multibyte setting (UTF-8 mode or one of several
// code pages, among them a name no converter has); the rest is split in half: the first half is
// multibyte text, the second UTF-16 code units. Both go through the constructors, trim, ordering,
// both conversions and a string list.
#include "transstring.h"
#include "transstringlist.h"
#include "zeltplatform.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

char const* const codePages[] = {"ISO-8859-1", "windows-1252",      "Shift_JIS", "UTF-16",
                                 "UTF-8",      "no-such-code-page", ""};

void check(bool condition) {
    if (! condition) {
        std::abort();
    }
}

void checkStatus(TransStatus const& status) {
    check(! status.failure() || status.warning());
}

// Every conversion and the trimmed copy of one string.
void convert(TransString const& string) {
    TransStatus status;
    char16_t const* utf16 = string.asUTF16(status);
    check(utf16 != nullptr);
    checkStatus(status);
    char const* mbcs = string.asMBCS(status);
    check(mbcs != nullptr);
    checkStatus(status);

    // Both ways again, from each form alone.
    TransString fromUTF16(utf16);
    fromUTF16.asMBCS(status);
    checkStatus(status);
    TransString fromMBCS(mbcs);
    fromMBCS.asUTF16(status);
    checkStatus(status);

    TransString trimmed(string);
    trimmed.trim(status);
    checkStatus(status);
    check(status.warning() == trimmed.empty());
    check(! (trimmed < trimmed));
}

bool wellFormed(std::u16string const& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char16_t const unit = text[i];
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (i + 1 == text.size() || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) {
                return false;
            }
            ++i;
        } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::size_t const setting = data[0] % (std::size(codePages) + 1);
    bool const utf8Mode = setting == std::size(codePages);
    ZELTSetUTF8mode(utf8Mode ? 1 : 0);
    ZELTSetMBDefaultCodePage(utf8Mode ? "" : codePages[setting]);
    ++data;
    --size;

    std::size_t const half = size / 2;
    std::string const bytes(reinterpret_cast<char const*>(data), half); // cut at a NUL
    std::u16string units((size - half) / 2, u'\0');
    std::memcpy(units.data(), data + half, units.size() * sizeof(char16_t));

    TransString const multibyte(bytes.c_str());
    TransString const wide(units.c_str());
    convert(multibyte);
    convert(wide);

    // In UTF-8 mode, well-formed UTF-16 survives the way to multibyte text and back.
    std::u16string const text(units.c_str());
    if (utf8Mode && wellFormed(text)) {
        TransString const back(TransString(text.c_str()).asMBCS());
        check(std::u16string(back.asUTF16()) == text);
    }

    // The order is strict.
    bool const less = multibyte < wide;
    bool const greater = wide < multibyte;
    check(! (less && greater));

    TransStringList list;
    TransStatus status;
    list.push_back(multibyte.asUTF16(), status);
    list.push_back(nullptr, status);
    list.push_back(wide.asUTF16(), status);
    check(list.size() == 3);
    char16_t const* const* utf16Array = list.asUTF16Array(status);
    checkStatus(status);
    char const* const* mbcsArray = list.asMBCSArray(status);
    checkStatus(status);
    check(utf16Array != nullptr && mbcsArray != nullptr);
    for (unsigned long i = 0; i <= list.size(); ++i) {
        list.asUTF16(i, status);
        checkStatus(status);
        check(status.failure() == (i == list.size()));
        list.asMBCS(i, status);
        checkStatus(status);
    }
    TransStringList copy(list);
    copy.push_back(multibyte.asUTF16());
    check(list < copy);
    check(! (copy < list));
    return 0;
}
