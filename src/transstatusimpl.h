// TransStatusImpl: the two flags behind a TransStatus.
#ifndef TRANSSTATUSIMPL_H
#define TRANSSTATUSIMPL_H

class TransStatusImpl {
public:
    bool warning() const noexcept { return warning_; }
    bool warning(bool value) noexcept {
        bool const previous = warning_;
        warning_ = value;
        return previous;
    }
    bool failure() const noexcept { return failure_; }
    bool failure(bool value) noexcept {
        bool const previous = failure_;
        failure_ = value;
        return previous;
    }
    void reset() noexcept { warning_ = failure_ = false; }
    bool operator<(TransStatusImpl const& other) const noexcept {
        return ! failure_ && other.failure_ && ! warning_ && other.warning_;
    }

private:
    bool warning_ = false;
    bool failure_ = false;
};

#endif // TRANSSTATUSIMPL_H
