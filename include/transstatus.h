#ifndef TRANSSTATUS_H
#define TRANSSTATUS_H

#include "transexport.h"

#include <memory>

class TransStatusImpl;

/// TransStatus: how an operation went.
///
/// Every operation that takes a TransStatus& resets it first, then sets flags:
/// - no flag: success with a real result;
/// - warning alone: success, but the answer is empty, missing or a placeholder;
/// - failure + warning: not possible for these arguments or this value; the result is a
///   placeholder.
class TRANS_EXPORT TransStatus {
public:
    /// Both flags false.
    TransStatus();
    /// Copies, assignment and swap: a status is a value.
    ///@{
    TransStatus(TransStatus const& other);
    ~TransStatus();
    TransStatus& operator=(TransStatus other) noexcept;
    void swap(TransStatus& other) noexcept;
    ///@}

    /// The warning flag.
    bool warning() const noexcept;
    /// Stores the warning flag; returns its previous value.
    bool warning(bool value) noexcept;
    /// The failure flag.
    bool failure() const noexcept;
    /// Stores the failure flag; returns its previous value.
    bool failure(bool value) noexcept;
    /// Sets both flags false.
    void reset() noexcept;

    /// True only when this status has neither flag while the other has both.
    bool operator<(TransStatus const& other) const noexcept;

private:
    std::unique_ptr<TransStatusImpl> impl_;
};

#endif // TRANSSTATUS_H
