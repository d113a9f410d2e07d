// ICU objects kept per thread between calls, but only while a space is alive.
//
// Making a number formatter or opening a converter costs microseconds, and a dictionary makes
// several per variable, so each thread keeps the ones it made. ICU objects must not outlive the
// XML libraries, though: a host may call u_cleanup() once the last space is gone, and an object
// used after that crashes. So every thread's caches are listed in one registry, and the last space
// empties them all; while no space is alive each call makes and drops its own objects.
#ifndef TRANSICUCACHE_H
#define TRANSICUCACHE_H

#include <mutex>

namespace trans {

// Whether ICU objects are kept between calls: true while a space is alive. false empties the
// caches of every thread.
void keepIcuObjects(bool keep);

// True while ICU objects may be kept.
bool icuObjectsKept() noexcept;

namespace detail {

// One thread's cache of one kind, as the registry sees it.
class RegisteredCache {
public:
    RegisteredCache(RegisteredCache const&) = delete;
    RegisteredCache& operator=(RegisteredCache const&) = delete;

    // Drops what the cache holds; called under mutex().
    virtual void clear() noexcept = 0;
    std::mutex& mutex() noexcept { return mutex_; }

protected:
    RegisteredCache();
    virtual ~RegisteredCache();
    // Leaves the registry; the most derived destructor calls it before its cache goes.
    void unregister() noexcept;

private:
    std::mutex mutex_; // taken by its thread for each use, and by the last space to empty it
};

template <typename Cache>
class ThreadCache final : public RegisteredCache {
public:
    ThreadCache() = default;
    ~ThreadCache() override { unregister(); }
    void clear() noexcept override { cache_ = Cache(); }
    Cache& cache() noexcept { return cache_; }

private:
    Cache cache_;
};

} // namespace detail

// Calls use(cache, kept) with this thread's Cache (a default-constructible type whose
// default value holds no ICU object), under the cache's lock. When kept is false, use must not
// leave ICU objects in the cache.
template <typename Cache, typename Use>
auto withThreadCache(Use const& use) {
    static thread_local detail::ThreadCache<Cache> registered;
    std::lock_guard<std::mutex> lock(registered.mutex());
    return use(registered.cache(), icuObjectsKept());
}

} // namespace trans

#endif // TRANSICUCACHE_H
