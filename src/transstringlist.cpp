#include "transstringlist.h"

#include "transstringlistimpl.h"

TransStringList::TransStringList() : impl_(std::make_unique<TransStringListImpl>()) {}

TransStringList::TransStringList(TransStringList const& other)
    : impl_(std::make_unique<TransStringListImpl>(*other.impl_)) {}

TransStringList::~TransStringList() = default;

TransStringList& TransStringList::operator=(TransStringList other) noexcept {
    swap(other);
    return *this;
}

void TransStringList::swap(TransStringList& other) noexcept {
    impl_.swap(other.impl_);
}

void TransStringList::push_back(char16_t const* text, TransStatus& status) {
    impl_->push_back(text, status);
}

void TransStringList::push_back(char16_t const* text) {
    TransStatus status;
    push_back(text, status);
}

unsigned long TransStringList::size() const noexcept {
    return impl_->size();
}

bool TransStringList::empty() const noexcept {
    return impl_->empty();
}

char16_t const* TransStringList::asUTF16(unsigned long index, TransStatus& status) const {
    return impl_->asUTF16(index, status);
}

char16_t const* TransStringList::asUTF16(unsigned long index) const {
    TransStatus status;
    return asUTF16(index, status);
}

char const* TransStringList::asMBCS(unsigned long index, TransStatus& status) const {
    return impl_->asMBCS(index, status);
}

char const* TransStringList::asMBCS(unsigned long index) const {
    TransStatus status;
    return asMBCS(index, status);
}

char16_t const* const* TransStringList::asUTF16Array(TransStatus& status) const {
    return impl_->asUTF16Array(status);
}

char16_t const* const* TransStringList::asUTF16Array() const {
    TransStatus status;
    return asUTF16Array(status);
}

char const* const* TransStringList::asMBCSArray(TransStatus& status) const {
    return impl_->asMBCSArray(status);
}

char const* const* TransStringList::asMBCSArray() const {
    TransStatus status;
    return asMBCSArray(status);
}

bool TransStringList::operator<(TransStringList const& other) const {
    return *impl_ < *other.impl_;
}
