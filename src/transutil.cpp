#include "transutil.h"

#include "transicucache.h"
#include "transnumbers.h"
#include "zeltplatform.h"

#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <unicode/ucnv.h>
#include <utility>
#include <vector>

namespace {

// The converters that one thread keeps, by code-page name (see transicucache.h).
struct ThreadConverters {
    std::array<std::pair<std::string, icu::LocalUConverterPointer>, 2> slots;
    std::size_t next = 0;
};

// Calls use with a converter for the process code page, read afresh, or with null when the name
// is not accepted; error holds why. While a space is alive this thread's converter for the name is
// reused (each conversion resets it); otherwise one is opened for this call.
template <typename Use>
auto withProcessConverter(UErrorCode& error, Use const& use) {
    std::string name = TransUtil::codepage();
    return trans::withThreadCache<ThreadConverters>([&](ThreadConverters& mine, bool kept) {
        if (! kept) {
            icu::LocalUConverterPointer const converter(ucnv_open(name.c_str(), &error));
            return use(converter.getAlias());
        }
        for (auto const& [key, converter] : mine.slots) {
            if (key == name && converter.isValid()) {
                return use(converter.getAlias());
            }
        }
        icu::LocalUConverterPointer converter(ucnv_open(name.c_str(), &error));
        if (U_FAILURE(error) || converter.isNull()) {
            return use(converter.getAlias());
        }
        auto& slot = mine.slots[mine.next];
        mine.next = (mine.next + 1) % mine.slots.size();
        slot.first = std::move(name);
        slot.second.adoptInstead(converter.orphan());
        return use(slot.second.getAlias());
    });
}

} // namespace

std::string TransUtil::codepage() {
    return qUTF8mode() != 0 ? "UTF-8" : ZELTMBDefaultCodePage();
}

icu::UnicodeString TransUtil::MBCStoUTF16(std::string const& text) {
    icu::UnicodeString result;
    if (text.empty()) {
        return result;
    }
    // 2n + 1 code units always hold the conversion; refuse inputs whose buffer size would not fit
    // the converter's 32-bit counts.
    constexpr std::size_t maxInput = (std::numeric_limits<int32_t>::max() - 1) / 2;
    if (text.size() > maxInput) {
        return result;
    }
    UErrorCode error = U_ZERO_ERROR;
    withProcessConverter(error, [&](UConverter* converter) {
        if (U_FAILURE(error) || converter == nullptr) {
            return;
        }
        auto const length = static_cast<int32_t>(text.size());
        int32_t const capacity = 2 * length + 1;
        char16_t* buffer = result.getBuffer(capacity);
        if (buffer == nullptr) {
            throw std::bad_alloc();
        }
        int32_t const converted =
            ucnv_toUChars(converter, buffer, capacity, text.data(), length, &error);
        result.releaseBuffer(converted); // the string clamps the count to its capacity
        if (U_FAILURE(error)) {
            result.remove();
        }
    });
    return result;
}

std::string TransUtil::UTF16toMBCS(icu::UnicodeString const& text) {
    if (text.isEmpty()) {
        return std::string();
    }
    UErrorCode error = U_ZERO_ERROR;
    return withProcessConverter(error, [&](UConverter* converter) {
        if (U_FAILURE(error) || converter == nullptr) {
            return std::string();
        }
        int64_t const capacity = (static_cast<int64_t>(text.length()) + 10) *
                                 static_cast<int64_t>(ucnv_getMaxCharSize(converter));
        if (capacity > std::numeric_limits<int32_t>::max()) {
            return std::string();
        }
        std::vector<char> buffer(static_cast<std::size_t>(capacity));
        int32_t const converted =
            ucnv_fromUChars(converter, buffer.data(), static_cast<int32_t>(capacity),
                            text.getBuffer(), text.length(), &error);
        if (U_FAILURE(error)) {
            return std::string();
        }
        return std::string(buffer.data(), static_cast<std::size_t>(converted));
    });
}

double TransUtil::UTF16toDouble(icu::UnicodeString const& text) {
    return trans::parseNumber(text);
}
