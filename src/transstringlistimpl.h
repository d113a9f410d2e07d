// TransStringListImpl: the entries of a TransStringList and the caches built from them.
//
// A cache is current when it holds one item per entry; entries are only appended, so a cache of
// another length is stale and is rebuilt whole at its next use. Copies take the entries only.
#ifndef TRANSSTRINGLISTIMPL_H
#define TRANSSTRINGLISTIMPL_H

#include "transstatus.h"

#include <string>
#include <vector>

class TransStringListImpl {
public:
    TransStringListImpl() = default;
    TransStringListImpl(TransStringListImpl const& other) : strings_(other.strings_) {}
    TransStringListImpl& operator=(TransStringListImpl const&) = delete;

    void push_back(char16_t const* text, TransStatus& status);
    unsigned long size() const noexcept { return strings_.size(); }
    bool empty() const noexcept { return strings_.empty(); }

    char16_t const* asUTF16(unsigned long index, TransStatus& status) const;
    char const* asMBCS(unsigned long index, TransStatus& status) const;
    char16_t const* const* asUTF16Array(TransStatus& status) const;
    char const* const* asMBCSArray(TransStatus& status) const;
    bool operator<(TransStringListImpl const& other) const;

private:
    // Brings the multibyte strings and their array up to date; false (with failure and warning)
    // when the list is empty.
    bool fillMBCSArray(TransStatus& status) const;

    std::vector<std::u16string> strings_;
    mutable std::vector<std::string> mbcsStrings_;
    mutable std::vector<char16_t const*> utf16Array_;
    mutable std::vector<char const*> mbcsArray_;
};

#endif // TRANSSTRINGLISTIMPL_H
