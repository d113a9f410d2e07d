#include "zeltplatform.h"

#include <atomic>
#include <langinfo.h>
#include <mutex>

namespace {

// The platform's two settings are process-wide by nature: every string conversion of the process
// follows them.
std::atomic<int> utf8Mode{1};

struct CodePageSetting {
    std::mutex mutex;
    std::string name;
};

CodePageSetting& codePageSetting() {
    static CodePageSetting setting;
    return setting;
}

} // namespace

int qUTF8mode() {
    return utf8Mode.load(std::memory_order_relaxed);
}

std::string ZELTMBDefaultCodePage() {
    {
        CodePageSetting& setting = codePageSetting();
        std::lock_guard<std::mutex> lock(setting.mutex);
        if (! setting.name.empty()) {
            return setting.name;
        }
    }
    char const* codeset = nl_langinfo(CODESET);
    return codeset != nullptr ? std::string(codeset) : std::string();
}

void ZELTSetUTF8mode(int mode) {
    utf8Mode.store(mode, std::memory_order_relaxed);
}

void ZELTSetMBDefaultCodePage(std::string const& name) {
    CodePageSetting& setting = codePageSetting();
    std::lock_guard<std::mutex> lock(setting.mutex);
    setting.name = name;
}
