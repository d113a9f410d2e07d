#include "transspace.h"

#include "transassert.h"
#include "transicucache.h"
#include "transspacedata.h"

#include <cstring>
#include <mutex>
#include <optional>
#include <xalanc/Include/XalanMemoryManagement.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

// ---------------------------------------------------------------------------------------------
// Initialisation of the XML libraries

TransSpace::Data::XMLPlatformInit::XMLPlatformInit() {
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                          nullptr);
}

TransSpace::Data::XMLPlatformInit::~XMLPlatformInit() {
    try {
        xercesc::XMLPlatformUtils::Terminate();
    } catch (...) {
    }
}

namespace {

// Live XPathEvaluatorInit objects in the process. Spaces are created and destroyed by one thread at
// a time; the mutex only keeps the count itself sound if a host breaks that rule.
struct EvaluatorUsers {
    std::mutex mutex;
    long count = 0;
};

EvaluatorUsers& evaluatorUsers() {
    static EvaluatorUsers users;
    return users;
}

} // namespace

TransSpace::Data::XPathEvaluatorInit::XPathEvaluatorInit() {
    EvaluatorUsers& users = evaluatorUsers();
    std::lock_guard<std::mutex> lock(users.mutex);
    if (users.count == 0) {
        xalanc::XPathEvaluator::initialize(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
        trans::keepIcuObjects(true);
    }
    ++users.count;
}

TransSpace::Data::XPathEvaluatorInit::~XPathEvaluatorInit() {
    EvaluatorUsers& users = evaluatorUsers();
    std::lock_guard<std::mutex> lock(users.mutex);
    if (--users.count == 0) {
        trans::keepIcuObjects(false);
        try {
            xalanc::XPathEvaluator::terminate();
        } catch (...) {
        }
    }
}

TransSpace::Data::Data() : sourceTreeInit(xalanc::XalanMemMgrs::getDefaultXercesMemMgr()) {}

// ---------------------------------------------------------------------------------------------
// Handles and names

namespace {

// The trimmed copy of a handle or name; the status reports, as trimming does, a warning when the
// copy is empty.
TransString trimmedCopy(TransString const& text, TransStatus& status) {
    TransString copy(text);
    copy.trim(status);
    return copy;
}

// The first steps of every operation on a handle: reset the status and trim a copy of the handle.
// A blank handle sets the failure flag (trimming set the warning) and gives no key.
std::optional<TransString> prepareKey(TransString const& handle, TransStatus& status) {
    status.reset();
    TransString key = trimmedCopy(handle, status);
    if (key.empty()) {
        status.failure(true);
        return std::nullopt;
    }
    return key;
}

void setFlags(TransStatus& status, bool failed) noexcept {
    status.failure(failed);
    status.warning(failed);
}

// Whether the image's name, trimmed, equals the trimmed name byte for byte in the process code
// page. Leaves the warning flag set when the image's trimmed name is empty.
bool imageMatches(TransImage const& image, TransString const& trimmedName, TransStatus& status) {
    TransString const imageName = trimmedCopy(image.name, status);
    char const* wanted = trimmedName.asMBCS(status);
    char const* candidate = imageName.asMBCS(status);
    return std::strcmp(wanted, candidate) == 0;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Lifecycle

TransSpace::TransSpace() : data_(std::make_unique<Data>()) {}

TransSpace::~TransSpace() = default;

// ---------------------------------------------------------------------------------------------
// Values

bool TransSpace::add(TransString const& handle, TransValue const& value, TransStatus& status) {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return false;
    }
    bool const inserted = data_->values.try_emplace(std::move(*key), value).second;
    setFlags(status, ! inserted);
    return inserted;
}

bool TransSpace::add(TransString const& handle, TransValue const& value) {
    TransStatus status;
    bool const result = add(handle, value, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::add(handle,value)");
    return result;
}

bool TransSpace::remove(TransString const& handle, TransStatus& status) {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return false;
    }
    bool const removed = data_->values.erase(*key) > 0;
    if (! removed) {
        setFlags(status, true);
    }
    return removed;
}

bool TransSpace::remove(TransString const& handle) {
    TransStatus status;
    bool const result = remove(handle, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::remove(handle)");
    return result;
}

bool TransSpace::exists(TransString const& handle, TransStatus& status) const {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return false;
    }
    bool const found = data_->values.count(*key) > 0;
    if (! found) {
        status.warning(true);
    }
    return found;
}

bool TransSpace::exists(TransString const& handle) const {
    TransStatus status;
    bool const result = exists(handle, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::exists(handle)");
    return result;
}

TransValue const& TransSpace::find(TransString const& handle, TransStatus& status) const {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return data_->emptyValue;
    }
    auto const entry = data_->values.find(*key);
    if (entry == data_->values.end()) {
        setFlags(status, true);
        return data_->emptyValue;
    }
    return entry->second;
}

TransValue const& TransSpace::find(TransString const& handle) const {
    TransStatus status;
    TransValue const& result = find(handle, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::find(handle)");
    return result;
}

TransStringList* TransSpace::list(TransStatus& status) const {
    status.reset();
    auto* handles = new TransStringList();
    if (data_->values.empty()) {
        status.warning(true);
    }
    TransStatus local;
    for (auto const& entry : data_->values) {
        handles->push_back(entry.first.asUTF16(local), local);
    }
    return handles;
}

TransStringList* TransSpace::list() const {
    TransStatus status;
    TransStringList* result = list(status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::list()");
    return result;
}

void TransSpace::releaseString(TransString*& string, TransStatus& status) {
    TransValue::releaseString(string, status);
}

void TransSpace::releaseString(TransString*& string) {
    TransStatus status;
    releaseString(string, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::releaseString(string)");
}

void TransSpace::releaseStringList(TransStringList*& strings, TransStatus& status) {
    TransValue::releaseStringList(strings, status);
}

void TransSpace::releaseStringList(TransStringList*& strings) {
    TransStatus status;
    releaseStringList(strings, status);
    TRANS_ASSERT(! status.failure() && "Failure: TransString::releaseStringList(strings)");
}

// ---------------------------------------------------------------------------------------------
// Images

bool TransSpace::addImage(TransString const& handle, TransImage const& image, TransStatus& status) {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return false;
    }
    auto const entry = data_->images.find(*key);
    if (entry != data_->images.end()) {
        entry->second.push_back(image);
    } else {
        data_->images.emplace(std::move(*key), std::vector<TransImage>{image});
    }
    setFlags(status, false);
    return true;
}

bool TransSpace::removeImage(TransString const& handle, TransString const& name,
                             TransStatus& status) {
    status.reset();
    TransString const key = trimmedCopy(handle, status);
    TransString const trimmedName = trimmedCopy(name, status);
    if (key.empty() || trimmedName.empty()) {
        status.failure(true);
        return false;
    }
    auto const entry = data_->images.find(key);
    if (entry == data_->images.end()) {
        return false;
    }
    std::vector<TransImage>& images = entry->second;
    for (auto image = images.begin(); image != images.end(); ++image) {
        if (imageMatches(*image, trimmedName, status)) {
            images.erase(image);
            return true;
        }
    }
    return false;
}

bool TransSpace::removeAll(TransString const& handle, TransStatus& status) {
    std::optional<TransString> key = prepareKey(handle, status);
    if (! key) {
        return false;
    }
    bool const removed = data_->values.erase(*key) > 0;
    data_->images.erase(*key);
    setFlags(status, ! removed);
    return removed;
}

bool TransSpace::existsImage(TransString const& handle, TransString const& name,
                             TransStatus& status) const {
    status.reset();
    TransString const key = trimmedCopy(handle, status);
    TransString const trimmedName = trimmedCopy(name, status);
    if (key.empty() || trimmedName.empty()) {
        status.failure(true);
        return false;
    }
    auto const entry = data_->images.find(key);
    if (entry == data_->images.end()) {
        status.warning(true);
        return false;
    }
    for (TransImage const& image : entry->second) {
        if (imageMatches(image, trimmedName, status)) {
            return true;
        }
        status.warning(true);
    }
    return false;
}

TransImage const& TransSpace::findImage(TransString const& handle, TransString const& name,
                                        TransStatus& status) const {
    status.reset();
    TransString const key = trimmedCopy(handle, status);
    TransString const trimmedName = trimmedCopy(name, status);
    if (key.empty() || trimmedName.empty()) {
        setFlags(status, true);
        return data_->emptyImage;
    }
    auto const entry = data_->images.find(key);
    if (entry == data_->images.end()) {
        setFlags(status, true);
        return data_->emptyImage;
    }
    for (TransImage const& image : entry->second) {
        if (imageMatches(image, trimmedName, status)) {
            return image;
        }
    }
    return data_->emptyImage;
}
