#include "transdoubleimpl.h"

#include "transnumbers.h"
#include "transplaceholder.h"

#include <utility>

TransDoubleImpl::~TransDoubleImpl() = default;

TransDoubleImpl& TransDoubleImpl::operator=(TransDoubleImpl other) noexcept {
    swap(other);
    return *this;
}

TransDoubleImpl::TransDoubleImpl(double value) noexcept : value_(value) {}

void TransDoubleImpl::swap(TransDoubleImpl& other) noexcept {
    std::swap(value_, other.value_);
}

TransString* TransDoubleImpl::asString(icu::Locale const& locale, TransStatus& status) const {
    status.reset();
    icu::UnicodeString text;
    if (! trans::formatNumber(value_, locale, text)) {
        return trans::failedString(status);
    }
    return new TransString(text.getTerminatedBuffer());
}

TransString* TransDoubleImpl::asString(TransStatus& status) const {
    status.reset();
    icu::UnicodeString text;
    if (! trans::formatNumber(value_, text)) {
        return trans::failedString(status);
    }
    return new TransString(text.getTerminatedBuffer());
}

TransString* TransDoubleImpl::asXMLString(TransStatus& status) const {
    return asString(icu::Locale::getEnglish(), status);
}

double TransDoubleImpl::asDouble(TransStatus& status) const {
    status.reset();
    if (value_ == TransMissingValue) {
        status.warning(true);
    }
    return value_;
}

TransDoubleImpl* TransDoubleImpl::clone() const {
    return new TransDoubleImpl(*this);
}

TransString* TransDoubleImpl::asString(TransString const&, TransString const&,
                                       TransStatus& status) const {
    return trans::failedString(status);
}

TransStringList* TransDoubleImpl::asStringList(TransString const&, TransString const&,
                                               TransStatus& status) const {
    return trans::failedStringList(status);
}

TransString* TransDoubleImpl::asMBCSXML(TransStatus& status) const {
    return trans::failedString(status);
}

TransString* TransDoubleImpl::asUTF16XML(TransStatus& status) const {
    return trans::failedString(status);
}

double TransDoubleImpl::asDouble(TransString const&, TransString const&,
                                 TransStatus& status) const {
    return trans::failedDouble(status);
}

xalanc::XalanDocument* TransDoubleImpl::asXalanDocument(TransStatus& status) const {
    return trans::failedDocument(status);
}
