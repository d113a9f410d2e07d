#include "transnullimpl.h"

#include "transplaceholder.h"

TransNullImpl::~TransNullImpl() = default;

TransNullImpl& TransNullImpl::operator=(TransNullImpl other) noexcept {
    swap(other);
    return *this;
}

void TransNullImpl::swap(TransNullImpl&) noexcept {}

TransString* TransNullImpl::asString(TransStatus& status) const {
    return trans::failedString(status);
}

double TransNullImpl::asDouble(TransStatus& status) const {
    return trans::failedDouble(status);
}

TransNullImpl* TransNullImpl::clone() const {
    return new TransNullImpl(*this);
}

TransString* TransNullImpl::asString(TransString const&, TransString const&,
                                     TransStatus& status) const {
    return trans::failedString(status);
}

TransStringList* TransNullImpl::asStringList(TransString const&, TransString const&,
                                             TransStatus& status) const {
    return trans::failedStringList(status);
}

TransString* TransNullImpl::asMBCSXML(TransStatus& status) const {
    return trans::failedString(status);
}

TransString* TransNullImpl::asUTF16XML(TransStatus& status) const {
    return trans::failedString(status);
}

double TransNullImpl::asDouble(TransString const&, TransString const&, TransStatus& status) const {
    return trans::failedDouble(status);
}

xalanc::XalanDocument* TransNullImpl::asXalanDocument(TransStatus& status) const {
    return trans::failedDocument(status);
}
