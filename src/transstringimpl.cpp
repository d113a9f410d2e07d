#include "transstringimpl.h"

#include "transutil.h"

#include <clocale>
#include <cstring>
#include <memory>
#include <unicode/locid.h>

TransStringImpl::TransStringImpl(char16_t const* text) {
    if (text != nullptr) {
        text_.setTo(text);
    }
}

TransStringImpl::TransStringImpl(char const* text) {
    if (text != nullptr) {
        mbcs_.assign(text);
    }
}

namespace {

// A copy of the text in a buffer of its own, never shared with the source.
icu::UnicodeString unshared(icu::UnicodeString const& text) {
    return icu::UnicodeString(text.getBuffer(), text.length());
}

} // namespace

TransStringImpl::TransStringImpl(TransStringImpl const& other)
    : upper_(unshared(other.upper_)), text_(unshared(other.text_)), mbcs_(other.mbcs_) {
    text_.getTerminatedBuffer(); // terminated now: asUTF16 never has to move it
}

TransString* TransStringImpl::adopt(icu::UnicodeString&& text) {
    auto impl = std::make_unique<TransStringImpl>();
    impl->text_ = std::move(text);
    return new TransString(std::move(impl));
}

TransString* TransStringImpl::adopt(std::string&& text) {
    text.resize(std::strlen(text.c_str()));
    auto impl = std::make_unique<TransStringImpl>();
    impl->mbcs_ = std::move(text);
    return new TransString(std::move(impl));
}

icu::UnicodeString const& TransStringImpl::mixedUTF16() const {
    if (text_.isEmpty() && ! mbcs_.empty()) {
        text_ = TransUtil::MBCStoUTF16(mbcs_);
    }
    text_.getTerminatedBuffer(); // asUTF16 hands out the buffer
    return text_;
}

std::string const& TransStringImpl::mixedMBCS() const {
    if (mbcs_.empty() && ! text_.isEmpty()) {
        mbcs_ = TransUtil::UTF16toMBCS(text_);
    }
    return mbcs_;
}

icu::UnicodeString const& TransStringImpl::upperUTF16() const {
    if (upper_.isEmpty() && ! empty()) {
        upper_ = unshared(mixedUTF16());
        char const* name = std::setlocale(LC_CTYPE, nullptr);
        upper_.toUpper(icu::Locale::createCanonical(name != nullptr ? name : "C"));
    }
    return upper_;
}

bool TransStringImpl::operator<(TransStringImpl const& other) const {
    return upperUTF16().compare(other.upperUTF16()) < 0;
}

TransStringImpl& TransStringImpl::trim(TransStatus& status) {
    status.reset();
    mixedUTF16();
    text_.trim();
    upper_.remove();
    mbcs_.clear();
    status.warning(empty());
    return *this;
}

char16_t const* TransStringImpl::asUTF16(TransStatus& status) const {
    status.reset();
    status.warning(empty());
    // An empty form (no text, or a conversion that failed) is derived again on the next request:
    // what is handed out for it is a static empty text, which no later derivation can free.
    if (mixedUTF16().isEmpty()) {
        return u"";
    }
    return text_.getTerminatedBuffer();
}

char const* TransStringImpl::asMBCS(TransStatus& status) const {
    status.reset();
    status.warning(empty());
    std::string const& text = mixedMBCS();
    return text.empty() ? "" : text.c_str();
}
