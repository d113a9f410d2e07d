#include "transstring.h"

#include "transassert.h"
#include "transstringimpl.h"

TransString::TransString() : impl_(std::make_unique<TransStringImpl>()) {}

TransString::TransString(char16_t const* text) : impl_(std::make_unique<TransStringImpl>(text)) {}

TransString::TransString(char const* text) : impl_(std::make_unique<TransStringImpl>(text)) {}

TransString::TransString(std::unique_ptr<TransStringImpl> impl) noexcept : impl_(std::move(impl)) {}

TransString::TransString(TransString const& other)
    : impl_(std::make_unique<TransStringImpl>(*other.impl_)) {}

TransString::~TransString() = default;

TransString& TransString::operator=(TransString other) noexcept {
    swap(other);
    return *this;
}

void TransString::swap(TransString& other) noexcept {
    impl_.swap(other.impl_);
}

TransString& TransString::trim(TransStatus& status) {
    impl_->trim(status);
    return *this;
}

char16_t const* TransString::asUTF16(TransStatus& status) const {
    return impl_->asUTF16(status);
}

char16_t const* TransString::asUTF16() const {
    TransStatus status;
    char16_t const* text = asUTF16(status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::asUTF16()");
    return text;
}

char const* TransString::asMBCS(TransStatus& status) const {
    return impl_->asMBCS(status);
}

char const* TransString::asMBCS() const {
    TransStatus status;
    char const* text = asMBCS(status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::asMBCS()");
    return text;
}

bool TransString::empty() const noexcept {
    return impl_->empty();
}

bool TransString::operator<(TransString const& other) const {
    return *impl_ < *other.impl_;
}
