#include "transtextimpl.h"

#include "transplaceholder.h"
#include "transutil.h"

TransTextImpl::~TransTextImpl() = default;

TransTextImpl& TransTextImpl::operator=(TransTextImpl other) noexcept {
    swap(other);
    return *this;
}

TransTextImpl::TransTextImpl(TransString const& text) : text_(text) {}

void TransTextImpl::swap(TransTextImpl& other) noexcept {
    text_.swap(other.text_);
}

TransString* TransTextImpl::asString(TransStatus& status) const {
    status.reset();
    status.warning(text_.empty());
    return new TransString(text_);
}

double TransTextImpl::asDouble(TransStatus& status) const {
    status.reset();
    TransStatus textStatus;
    double const number = TransUtil::UTF16toDouble(icu::UnicodeString(text_.asUTF16(textStatus)));
    if (number == TransMissingValue) {
        status.failure(true);
        status.warning(true);
    }
    return number;
}

TransTextImpl* TransTextImpl::clone() const {
    return new TransTextImpl(*this);
}

TransString* TransTextImpl::asString(TransString const&, TransString const&,
                                     TransStatus& status) const {
    return trans::failedString(status);
}

TransStringList* TransTextImpl::asStringList(TransString const&, TransString const&,
                                             TransStatus& status) const {
    return trans::failedStringList(status);
}

TransString* TransTextImpl::asMBCSXML(TransStatus& status) const {
    return trans::failedString(status);
}

TransString* TransTextImpl::asUTF16XML(TransStatus& status) const {
    return trans::failedString(status);
}

double TransTextImpl::asDouble(TransString const&, TransString const&, TransStatus& status) const {
    return trans::failedDouble(status);
}

xalanc::XalanDocument* TransTextImpl::asXalanDocument(TransStatus& status) const {
    return trans::failedDocument(status);
}
