#include "transstatus.h"

#include "transstatusimpl.h"

TransStatus::TransStatus() : impl_(std::make_unique<TransStatusImpl>()) {}

TransStatus::TransStatus(TransStatus const& other)
    : impl_(std::make_unique<TransStatusImpl>(*other.impl_)) {}

TransStatus::~TransStatus() = default;

TransStatus& TransStatus::operator=(TransStatus other) noexcept {
    swap(other);
    return *this;
}

void TransStatus::swap(TransStatus& other) noexcept {
    impl_.swap(other.impl_);
}

bool TransStatus::warning() const noexcept {
    return impl_->warning();
}
bool TransStatus::warning(bool value) noexcept {
    return impl_->warning(value);
}
bool TransStatus::failure() const noexcept {
    return impl_->failure();
}
bool TransStatus::failure(bool value) noexcept {
    return impl_->failure(value);
}
void TransStatus::reset() noexcept {
    impl_->reset();
}

bool TransStatus::operator<(TransStatus const& other) const noexcept {
    return *impl_ < *other.impl_;
}
