#ifndef TRANSSTRING_H
#define TRANSSTRING_H

#include "transexport.h"
#include "transstatus.h"

#include <memory>

class TransStringImpl;

/// TransString: text in UTF-16 and in the process's multibyte code page.
///
/// A string keeps the form it was made from and derives the other on first need, with the code page
/// current at that moment; derived forms and the upper-case form used for ordering are cached.
/// Ordering is case-insensitive (upper-casing in the LC_CTYPE locale of the first comparison), so
/// TransString serves as the handle type of a TransSpace.
class TRANS_EXPORT TransString {
public:
    /// The empty string.
    TransString();
    /// Copies NUL-terminated UTF-16 text; a null pointer gives the empty string.
    TransString(char16_t const* text);
    /// Copies NUL-terminated multibyte text, unconverted; a null pointer gives the empty string.
    TransString(char const* text);
    /// Copies the text and the caches.
    TransString(TransString const& other);
    /// Destruction, assignment and swap.
    ///@{
    ~TransString();
    TransString& operator=(TransString other) noexcept;
    void swap(TransString& other) noexcept;
    ///@}

    /// Removes white space at both ends, in place. Warning when the string is then empty.
    TransString& trim(TransStatus& status);

    /// The string's own NUL-terminated UTF-16 text, valid until the string is trimmed, assigned,
    /// swapped or destroyed. Warning when the string is empty; never failure.
    ///@{
    char16_t const* asUTF16(TransStatus& status) const;
    char16_t const* asUTF16() const;
    ///@}
    /// The string's own NUL-terminated multibyte text in the process code page; lifetime and flags
    /// as for asUTF16.
    ///@{
    char const* asMBCS(TransStatus& status) const;
    char const* asMBCS() const;
    ///@}

    /// True when both the UTF-16 and the multibyte text are empty.
    bool empty() const noexcept;

    /// Case-insensitive order: compares the upper-cased UTF-16 texts by code unit.
    bool operator<(TransString const& other) const;

private:
    friend class TransStringImpl; // hands over text it already holds, without copying it
    explicit TransString(std::unique_ptr<TransStringImpl> impl) noexcept;

    std::unique_ptr<TransStringImpl> impl_;
};

#endif // TRANSSTRING_H
