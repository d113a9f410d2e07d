#include "transutil.h"

#include "transnumbers.h"
#include "zeltplatform.h"

#include <cstdint>
#include <limits>
#include <new>
#include <unicode/ucnv.h>
#include <vector>

namespace {

// Opens the converter for the process code page; null when the name is not accepted.
icu::LocalUConverterPointer openProcessConverter(UErrorCode& error) {
    std::string const name = TransUtil::codepage();
    return icu::LocalUConverterPointer(ucnv_open(name.c_str(), &error));
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
    icu::LocalUConverterPointer converter = openProcessConverter(error);
    if (U_FAILURE(error) || converter.isNull()) {
        return result;
    }
    auto const length = static_cast<int32_t>(text.size());
    int32_t const capacity = 2 * length + 1;
    char16_t* buffer = result.getBuffer(capacity);
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    int32_t const converted =
        ucnv_toUChars(converter.getAlias(), buffer, capacity, text.data(), length, &error);
    result.releaseBuffer(converted); // the string clamps the count to its capacity
    if (U_FAILURE(error)) {
        result.remove();
    }
    return result;
}

std::string TransUtil::UTF16toMBCS(icu::UnicodeString const& text) {
    if (text.isEmpty()) {
        return std::string();
    }
    UErrorCode error = U_ZERO_ERROR;
    icu::LocalUConverterPointer converter = openProcessConverter(error);
    if (U_FAILURE(error) || converter.isNull()) {
        return std::string();
    }
    int64_t const capacity = (static_cast<int64_t>(text.length()) + 10) *
                             static_cast<int64_t>(ucnv_getMaxCharSize(converter.getAlias()));
    if (capacity > std::numeric_limits<int32_t>::max()) {
        return std::string();
    }
    std::vector<char> buffer(static_cast<std::size_t>(capacity));
    int32_t const converted =
        ucnv_fromUChars(converter.getAlias(), buffer.data(), static_cast<int32_t>(capacity),
                        text.getBuffer(), text.length(), &error);
    if (U_FAILURE(error)) {
        return std::string();
    }
    return std::string(buffer.data(), static_cast<std::size_t>(converted));
}

double TransUtil::UTF16toDouble(icu::UnicodeString const& text) {
    return trans::parseNumber(text, trans::processNumericLocale());
}
