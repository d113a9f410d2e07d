#include "transvalue.h"

#include "transdomimpl.h"
#include "transdoubleimpl.h"
#include "transnullimpl.h"
#include "transtextimpl.h"

TransValue::TransValue() : impl_(std::make_unique<TransNullImpl>()) {}

TransValue::TransValue(TransString const& text) : impl_(std::make_unique<TransTextImpl>(text)) {}

TransValue::TransValue(double number) : impl_(std::make_unique<TransDoubleImpl>(number)) {}

TransValue::TransValue(xercesc::DOMDocument const* document)
    : impl_(std::make_unique<TransDOMImpl>(document)) {}

TransValue::TransValue(ZELT_DataSource const& source)
    : impl_(std::make_unique<TransDOMImpl>(source)) {}

TransValue::TransValue(TransValue const& other) : impl_(other.impl_->clone()) {}

TransValue::~TransValue() = default;

TransValue& TransValue::operator=(TransValue other) noexcept {
    swap(other);
    return *this;
}

void TransValue::swap(TransValue& other) noexcept {
    impl_.swap(other.impl_);
}

TransString* TransValue::asString(TransString const& context, TransString const& path,
                                  TransStatus& status) const {
    return impl_->asString(context, path, status);
}

TransString* TransValue::asString(TransString const& context, TransString const& path) const {
    TransStatus status;
    return asString(context, path, status);
}

TransStringList* TransValue::asStringList(TransString const& context, TransString const& path,
                                          TransStatus& status) const {
    return impl_->asStringList(context, path, status);
}

TransStringList* TransValue::asStringList(TransString const& context,
                                          TransString const& path) const {
    TransStatus status;
    return asStringList(context, path, status);
}

double TransValue::asDouble(TransString const& context, TransString const& path,
                            TransStatus& status) const {
    return impl_->asDouble(context, path, status);
}

double TransValue::asDouble(TransString const& context, TransString const& path) const {
    TransStatus status;
    return asDouble(context, path, status);
}

TransString* TransValue::asMBCSXML(TransStatus& status) const {
    return impl_->asMBCSXML(status);
}

TransString* TransValue::asMBCSXML() const {
    TransStatus status;
    return asMBCSXML(status);
}

TransString* TransValue::asUTF16XML(TransStatus& status) const {
    return impl_->asUTF16XML(status);
}

TransString* TransValue::asUTF16XML() const {
    TransStatus status;
    return asUTF16XML(status);
}

TransString* TransValue::asXML() const {
    return asUTF16XML();
}

TransString* TransValue::asString(TransStatus& status) const {
    return impl_->asString(status);
}

TransString* TransValue::asString() const {
    TransStatus status;
    return asString(status);
}

double TransValue::asDouble(TransStatus& status) const {
    return impl_->asDouble(status);
}

double TransValue::asDouble() const {
    TransStatus status;
    return asDouble(status);
}

xalanc::XalanDocument* TransValue::asXalanDocument(TransStatus& status) const {
    return impl_->asXalanDocument(status);
}

xalanc::XalanDocument* TransValue::asXalanDocument() const {
    TransStatus status;
    return asXalanDocument(status);
}

void TransValue::releaseString(TransString*& string, TransStatus& status) {
    status.reset();
    if (string == nullptr) {
        status.warning(true);
    }
    delete string;
    string = nullptr;
}

void TransValue::releaseString(TransString*& string) {
    TransStatus status;
    releaseString(string, status);
}

void TransValue::releaseStringList(TransStringList*& strings, TransStatus& status) {
    status.reset();
    if (strings == nullptr) {
        status.warning(true);
    }
    delete strings;
    strings = nullptr;
}

void TransValue::releaseStringList(TransStringList*& strings) {
    TransStatus status;
    releaseStringList(strings, status);
}
