#include "transstringlistimpl.h"

#include "transutil.h"

#include <algorithm>

void TransStringListImpl::push_back(char16_t const* text, TransStatus& status) {
    status.reset();
    strings_.emplace_back(text != nullptr ? text : u"");
}

char16_t const* TransStringListImpl::asUTF16(unsigned long index, TransStatus& status) const {
    status.reset();
    if (index >= strings_.size()) {
        status.failure(true);
        status.warning(true);
        return nullptr;
    }
    std::u16string const& entry = strings_[index];
    status.warning(entry.empty());
    return entry.c_str();
}

char const* TransStringListImpl::asMBCS(unsigned long index, TransStatus& status) const {
    status.reset();
    if (index >= strings_.size()) {
        status.failure(true);
        status.warning(true);
        return nullptr;
    }
    fillMBCSArray(status);
    status.reset();
    status.warning(mbcsStrings_[index].empty());
    return mbcsArray_[index];
}

bool TransStringListImpl::fillMBCSArray(TransStatus& status) const {
    if (strings_.empty()) {
        status.failure(true);
        status.warning(true);
        return false;
    }
    if (mbcsStrings_.size() == strings_.size()) {
        return true;
    }
    mbcsStrings_.clear();
    mbcsStrings_.reserve(strings_.size());
    for (std::u16string const& entry : strings_) {
        // A read-only alias: the entry is converted without being copied first.
        icu::UnicodeString const alias(false, entry.data(), static_cast<int32_t>(entry.size()));
        mbcsStrings_.push_back(TransUtil::UTF16toMBCS(alias));
    }
    mbcsArray_.clear();
    mbcsArray_.reserve(mbcsStrings_.size());
    for (std::string const& text : mbcsStrings_) {
        mbcsArray_.push_back(text.c_str());
        if (text.empty()) {
            status.warning(true);
        }
    }
    return true;
}

char const* const* TransStringListImpl::asMBCSArray(TransStatus& status) const {
    status.reset();
    return fillMBCSArray(status) ? mbcsArray_.data() : nullptr;
}

char16_t const* const* TransStringListImpl::asUTF16Array(TransStatus& status) const {
    status.reset();
    if (strings_.empty()) {
        status.failure(true);
        status.warning(true);
        return nullptr;
    }
    if (utf16Array_.size() != strings_.size()) {
        utf16Array_.clear();
        utf16Array_.reserve(strings_.size());
        for (std::u16string const& entry : strings_) {
            utf16Array_.push_back(entry.c_str());
            if (entry.empty()) {
                status.warning(true);
            }
        }
    }
    return utf16Array_.data();
}

bool TransStringListImpl::operator<(TransStringListImpl const& other) const {
    // u16string compares code unit by code unit, as unsigned values: the UTF-16 code-unit order.
    return std::lexicographical_compare(strings_.begin(), strings_.end(), other.strings_.begin(),
                                        other.strings_.end());
}
