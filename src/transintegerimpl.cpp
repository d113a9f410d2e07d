#include "transintegerimpl.h"

#include "transnumbers.h"
#include "transplaceholder.h"

#include <utility>

TransIntegerImpl::~TransIntegerImpl() = default;

TransIntegerImpl& TransIntegerImpl::operator=(TransIntegerImpl other) noexcept {
    swap(other);
    return *this;
}

TransIntegerImpl::TransIntegerImpl(long long value) noexcept : value_(value) {}

void TransIntegerImpl::swap(TransIntegerImpl& other) noexcept {
    std::swap(value_, other.value_);
}

TransString* TransIntegerImpl::asString(TransStatus& status) const {
    status.reset();
    icu::UnicodeString text;
    if (! trans::formatNumber(value_, text)) {
        return trans::failedString(status);
    }
    return new TransString(text.getTerminatedBuffer());
}

double TransIntegerImpl::asDouble(TransStatus& status) const {
    status.reset();
    return static_cast<double>(value_);
}

TransIntegerImpl* TransIntegerImpl::clone() const {
    return new TransIntegerImpl(*this);
}

TransString* TransIntegerImpl::asString(TransString const&, TransString const&,
                                        TransStatus& status) const {
    return trans::failedString(status);
}

TransStringList* TransIntegerImpl::asStringList(TransString const&, TransString const&,
                                                TransStatus& status) const {
    return trans::failedStringList(status);
}

TransString* TransIntegerImpl::asMBCSXML(TransStatus& status) const {
    return trans::failedString(status);
}

TransString* TransIntegerImpl::asUTF16XML(TransStatus& status) const {
    return trans::failedString(status);
}

double TransIntegerImpl::asDouble(TransString const&, TransString const&,
                                  TransStatus& status) const {
    return trans::failedDouble(status);
}

xalanc::XalanDocument* TransIntegerImpl::asXalanDocument(TransStatus& status) const {
    return trans::failedDocument(status);
}
