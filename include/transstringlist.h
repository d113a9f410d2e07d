#ifndef TRANSSTRINGLIST_H
#define TRANSSTRINGLIST_H

#include "transexport.h"
#include "transstatus.h"

#include <memory>

class TransStringListImpl;

/// TransStringList: an append-only list of texts, read by index or as arrays of pointers.
///
/// The multibyte forms and both pointer arrays are built on first need and cached. Every pointer
/// handed out points into the list and stays valid until the next push_back, assignment, swap or
/// destruction of the list. The status-less forms drop the status and never assert.
class TRANS_EXPORT TransStringList {
public:
    /// An empty list.
    TransStringList();
    /// Copies the entries; the copy's caches start empty.
    TransStringList(TransStringList const& other);
    /// Destruction, assignment and swap.
    ///@{
    ~TransStringList();
    TransStringList& operator=(TransStringList other) noexcept;
    void swap(TransStringList& other) noexcept;
    ///@}

    /// Appends a copy of NUL-terminated UTF-16 text; a null pointer appends an empty entry.
    ///@{
    void push_back(char16_t const* text, TransStatus& status);
    void push_back(char16_t const* text);
    ///@}

    /// The number of entries.
    unsigned long size() const noexcept;
    /// True when the list has no entries.
    bool empty() const noexcept;

    /// Entry at index in UTF-16. Null with failure and warning when index >= size(); warning when
    /// the entry is empty.
    ///@{
    char16_t const* asUTF16(unsigned long index, TransStatus& status) const;
    char16_t const* asUTF16(unsigned long index) const;
    ///@}
    /// Entry at index in multibyte text; flags as for asUTF16.
    ///@{
    char const* asMBCS(unsigned long index, TransStatus& status) const;
    char const* asMBCS(unsigned long index) const;
    ///@}

    /// size() pointers to the entries in UTF-16, with no terminating null pointer. Null with
    /// failure and warning for an empty list; warning when an entry is empty, reported only by the
    /// call that builds the array.
    ///@{
    char16_t const* const* asUTF16Array(TransStatus& status) const;
    char16_t const* const* asUTF16Array() const;
    ///@}
    /// The same in multibyte text.
    ///@{
    char const* const* asMBCSArray(TransStatus& status) const;
    char const* const* asMBCSArray() const;
    ///@}

    /// Lexicographic order of the entries, each compared by UTF-16 code unit, case-sensitively.
    bool operator<(TransStringList const& other) const;

private:
    std::unique_ptr<TransStringListImpl> impl_;
};

#endif // TRANSSTRINGLIST_H
