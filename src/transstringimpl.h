// TransStringImpl: the text of a TransString in UTF-16 and in multibyte form, plus the upper-case
// form used for ordering.
//
// A string made from UTF-16 stores only text_, one made from multibyte text only mbcs_; the other
// form is derived on first need and kept. upper_ is computed on first comparison. The derived forms
// are caches filled by const operations, hence mutable.
#ifndef TRANSSTRINGIMPL_H
#define TRANSSTRINGIMPL_H

#include "transstatus.h"
#include "transstring.h"

#include <string>
#include <unicode/unistr.h>

class TransStringImpl {
public:
    TransStringImpl() = default;
    explicit TransStringImpl(char16_t const* text);
    explicit TransStringImpl(char const* text);
    // Copies every member into buffers of the copy's own: an ICU string copied by assignment
    // shares its buffer, and the next getTerminatedBuffer() of the original would then move the
    // original's text and leave the pointers that asUTF16 handed out dangling.
    TransStringImpl(TransStringImpl const& other);
    TransStringImpl& operator=(TransStringImpl const&) = delete;

    // A new string that takes over UTF-16 text holding no NUL.
    static TransString* adopt(icu::UnicodeString&& text);
    // A new string that takes over multibyte text, up to its first NUL if it has one, as the
    // copying constructor would read it.
    static TransString* adopt(std::string&& text);

    TransStringImpl& trim(TransStatus& status);
    char16_t const* asUTF16(TransStatus& status) const;
    char const* asMBCS(TransStatus& status) const;
    bool empty() const noexcept { return text_.isEmpty() && mbcs_.empty(); }
    bool operator<(TransStringImpl const& other) const;

    // The UTF-16 text, derived from the multibyte text if needed. A conversion that gives nothing
    // leaves the text empty and is tried again at the next need.
    icu::UnicodeString const& mixedUTF16() const;
    // The multibyte text, derived from the UTF-16 text if needed.
    std::string const& mixedMBCS() const;
    // The text upper-cased in the current LC_CTYPE locale; empty for an empty string.
    icu::UnicodeString const& upperUTF16() const;

private:
    mutable icu::UnicodeString upper_;
    mutable icu::UnicodeString text_;
    mutable std::string mbcs_;
};

#endif // TRANSSTRINGIMPL_H
