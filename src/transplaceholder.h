// The placeholder answers of a query that does not apply: reset the status, set failure and
// warning, and return a new empty string or list, the missing value or a null document.
#ifndef TRANSPLACEHOLDER_H
#define TRANSPLACEHOLDER_H

#include "transstatus.h"
#include "transstring.h"
#include "transstringlist.h"
#include "transvalueimpl.h"

namespace trans {

inline void setFailed(TransStatus& status) noexcept {
    status.reset();
    status.failure(true);
    status.warning(true);
}

inline TransString* failedString(TransStatus& status) {
    setFailed(status);
    return new TransString();
}

inline TransStringList* failedStringList(TransStatus& status) {
    setFailed(status);
    return new TransStringList();
}

inline double failedDouble(TransStatus& status) noexcept {
    setFailed(status);
    return TransMissingValue;
}

inline xalanc::XalanDocument* failedDocument(TransStatus& status) noexcept {
    setFailed(status);
    return nullptr;
}

} // namespace trans

#endif // TRANSPLACEHOLDER_H
