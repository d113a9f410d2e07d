#include "transicucache.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace trans {

namespace {

struct CacheRegistry {
    std::mutex mutex;
    std::vector<detail::RegisteredCache*> caches;
    std::atomic<bool> keep{false};
};

CacheRegistry& registry() {
    static CacheRegistry caches;
    return caches;
}

} // namespace

namespace detail {

RegisteredCache::RegisteredCache() {
    CacheRegistry& all = registry();
    std::lock_guard<std::mutex> lock(all.mutex);
    all.caches.push_back(this);
}

RegisteredCache::~RegisteredCache() = default;

void RegisteredCache::unregister() noexcept {
    CacheRegistry& all = registry();
    std::lock_guard<std::mutex> lock(all.mutex);
    auto const found = std::find(all.caches.begin(), all.caches.end(), this);
    if (found != all.caches.end()) {
        all.caches.erase(found);
    }
}

} // namespace detail

void keepIcuObjects(bool keep) {
    CacheRegistry& all = registry();
    all.keep.store(keep, std::memory_order_release);
    if (keep) {
        return;
    }
    std::lock_guard<std::mutex> lock(all.mutex);
    for (detail::RegisteredCache* cache : all.caches) {
        std::lock_guard<std::mutex> own(cache->mutex());
        cache->clear();
    }
}

bool icuObjectsKept() noexcept {
    return registry().keep.load(std::memory_order_acquire);
}

} // namespace trans
