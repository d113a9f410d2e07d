#include "transnumbers.h"

#include "transvalueimpl.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <clocale>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/numfmt.h>
#include <vector>

namespace trans {

namespace {

// The formatters of one locale. Making a formatter costs tens of microseconds and a dictionary
// writes several numbers per variable, so the formatters of the last few locales are kept per
// thread while a space is alive. The locale is still read afresh at every call; only the formatter
// made for it is reused.
struct LocaleFormats {
    std::string key; // the locale's name, and the default locale's for names that fall back to it
    std::unique_ptr<icu::DecimalFormat> pattern; // "#0.###"; null without a decimal format
    std::unique_ptr<icu::NumberFormat> parser;   // the locale's default format
    bool plainIntegers = false; // the pattern writes integers exactly as std::to_chars does
};

std::string cacheKey(icu::Locale const& locale) {
    // A locale without number data of its own (such as the "C" locale's) uses ICU's default one.
    return std::string(locale.getName()) + '|' + icu::Locale::getDefault().getName();
}

std::string plainText(int64_t number) {
    char buffer[24];
    auto const end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
    return std::string(buffer, end);
}

void makeFormats(icu::Locale const& locale, LocaleFormats& formats) {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(locale, error));
    if (U_SUCCESS(error) && format != nullptr) {
        formats.parser.reset(format->clone());
        if (auto* decimal = dynamic_cast<icu::DecimalFormat*>(format.get())) {
            format.release();
            formats.pattern.reset(decimal);
            // As before: the error code of applying the pattern is not examined.
            formats.pattern->applyPattern(icu::UnicodeString(u"#0.###"), error);
        }
    }
    // Integers may skip the formatter when it writes ASCII digits and a plain minus sign: the
    // probes hold every digit, both signs and both ends of the range.
    formats.plainIntegers = formats.pattern != nullptr;
    for (int64_t probe :
         {int64_t{0}, int64_t{1234567890}, int64_t{-9876543210},
          std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()}) {
        if (! formats.plainIntegers) {
            break;
        }
        icu::UnicodeString text;
        formats.pattern->format(probe, text);
        std::string narrow;
        text.toUTF8String(narrow);
        formats.plainIntegers = narrow == plainText(probe);
    }
}

// The formatters that one thread keeps, a few locales' worth.
struct ThreadFormats {
    std::mutex mutex; // taken by its thread for each use, and by the last space to release them
    std::array<LocaleFormats, 4> slots;
    std::size_t next = 0;
};

// Every thread's formatters. They are kept only while a space is alive (and with it the XML
// libraries): ICU objects must not outlive that, since a host may call u_cleanup() once the last
// space is gone, and a formatter used after it crashes. The last space releases them on every
// thread; without a live space each call makes and drops its own.
struct FormatRegistry {
    std::mutex mutex;
    std::vector<ThreadFormats*> threads;
    std::atomic<bool> keep{false};
};

FormatRegistry& registry() {
    static FormatRegistry formats;
    return formats;
}

// A thread's formatters, listed in the registry for as long as the thread lives.
class RegisteredFormats {
public:
    RegisteredFormats() {
        FormatRegistry& all = registry();
        std::lock_guard<std::mutex> lock(all.mutex);
        all.threads.push_back(&formats_);
    }
    ~RegisteredFormats() {
        FormatRegistry& all = registry();
        std::lock_guard<std::mutex> lock(all.mutex);
        all.threads.erase(std::find(all.threads.begin(), all.threads.end(), &formats_));
    }
    RegisteredFormats(RegisteredFormats const&) = delete;
    RegisteredFormats& operator=(RegisteredFormats const&) = delete;

    ThreadFormats& formats() noexcept { return formats_; }

private:
    ThreadFormats formats_;
};

// Calls use with the formatters of the locale: this thread's kept ones while a space is alive,
// otherwise ones made for this call.
template <typename Use>
auto withFormats(icu::Locale const& locale, Use const& use) {
    static thread_local RegisteredFormats registered;
    ThreadFormats& mine = registered.formats();
    std::lock_guard<std::mutex> lock(mine.mutex);
    if (! registry().keep.load(std::memory_order_acquire)) {
        LocaleFormats formats;
        makeFormats(locale, formats);
        return use(formats);
    }
    std::string key = cacheKey(locale);
    for (LocaleFormats const& formats : mine.slots) {
        if (formats.key == key) {
            return use(formats);
        }
    }
    LocaleFormats& slot = mine.slots[mine.next];
    mine.next = (mine.next + 1) % mine.slots.size();
    slot = LocaleFormats();
    makeFormats(locale, slot);
    slot.key = std::move(key);
    return use(slot);
}

} // namespace

void keepFormatters(bool keep) {
    FormatRegistry& all = registry();
    all.keep.store(keep, std::memory_order_release);
    if (keep) {
        return;
    }
    std::lock_guard<std::mutex> lock(all.mutex);
    for (ThreadFormats* formats : all.threads) {
        std::lock_guard<std::mutex> own(formats->mutex);
        formats->slots = {};
        formats->next = 0;
    }
}

icu::Locale processNumericLocale() {
    char const* name = std::setlocale(LC_NUMERIC, nullptr);
    return icu::Locale::createCanonical(name != nullptr ? name : "C");
}

bool formatNumber(double number, icu::Locale const& locale, icu::UnicodeString& text) {
    text.remove();
    return withFormats(locale, [&](LocaleFormats const& formats) {
        if (formats.pattern == nullptr) {
            return false;
        }
        formats.pattern->format(number, text);
        return ! text.isEmpty();
    });
}

bool formatNumber(long long number, icu::Locale const& locale, icu::UnicodeString& text) {
    text.remove();
    return withFormats(locale, [&](LocaleFormats const& formats) {
        if (formats.pattern == nullptr) {
            return false;
        }
        if (formats.plainIntegers) {
            char buffer[24];
            auto const end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
            text = icu::UnicodeString(buffer, static_cast<int32_t>(end - buffer), US_INV);
        } else {
            formats.pattern->format(static_cast<int64_t>(number), text);
        }
        return ! text.isEmpty();
    });
}

double parseNumber(icu::UnicodeString const& text, icu::Locale const& locale) {
    icu::Formattable result;
    bool const parsed = withFormats(locale, [&](LocaleFormats const& formats) {
        if (formats.parser == nullptr) {
            return false;
        }
        UErrorCode error = U_ZERO_ERROR; // only a clean success counts, not even a warning
        formats.parser->parse(text, result, error);
        return error == U_ZERO_ERROR;
    });
    if (! parsed) {
        return TransMissingValue;
    }
    switch (result.getType()) {
    case icu::Formattable::kDouble:
        return result.getDouble();
    case icu::Formattable::kLong:
        return static_cast<double>(result.getLong());
    case icu::Formattable::kInt64:
        return static_cast<double>(result.getInt64());
    default:
        return TransMissingValue;
    }
}

} // namespace trans
