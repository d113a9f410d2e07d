#include "transutil.h"

#include "transcodepage.h"
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

namespace {

// Converts `length` bytes into `buffer`, which holds 2 * length + 1 code units; the count of code
// units written, or -1 when the conversion is not possible or fails.
int32_t convertFromCodePage(char const* bytes, int32_t length, char16_t* buffer) {
    UErrorCode error = U_ZERO_ERROR;
    return withProcessConverter(error, [&](UConverter* converter) {
        if (U_FAILURE(error) || converter == nullptr) {
            return int32_t{-1};
        }
        int32_t const converted =
            ucnv_toUChars(converter, buffer, 2 * length + 1, bytes, length, &error);
        return U_FAILURE(error) ? int32_t{-1} : converted;
    });
}

// 2n + 1 code units always hold the conversion; inputs whose buffer size would not fit the
// converter's 32-bit counts are refused.
constexpr std::size_t maxInput = (std::numeric_limits<int32_t>::max() - 1) / 2;

} // namespace

icu::UnicodeString TransUtil::MBCStoUTF16(std::string const& text) {
    icu::UnicodeString result;
    if (text.empty() || text.size() > maxInput) {
        return result;
    }
    auto const length = static_cast<int32_t>(text.size());
    char16_t* buffer = result.getBuffer(2 * length + 1);
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    int32_t const converted = convertFromCodePage(text.data(), length, buffer);
    result.releaseBuffer(converted > 0 ? converted : 0);
    return result;
}

void trans::mbcsToUTF16(char const* bytes, std::size_t length, std::u16string& result) {
    result.clear();
    if (length == 0 || length > maxInput) {
        return;
    }
    result.resize(2 * length + 1);
    int32_t const converted =
        convertFromCodePage(bytes, static_cast<int32_t>(length), result.data());
    result.resize(converted > 0 ? static_cast<std::size_t>(converted) : 0);
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
