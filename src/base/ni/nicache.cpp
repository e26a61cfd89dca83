#include "base/ni/nicache.h"

#include <atomic>
#include <chrono>

#include "base/ni/niparam.h"
#include "base/ni/niresolve.h"

namespace {

constexpr NI_TTL LIFETIMES{.mTtlValidEntry = 0, .mTtlUnknownName = 600, .mTtlUnknownValue = 600};

std::atomic<std::int64_t (*)()> cacheClock{nullptr};

struct Caches {
    NI_HOST_CACHE hosts;
    NI_SERV_CACHE services;

    Caches() { init(); }
    void init() {
        const std::size_t count = NiISettings().cacheDisabled ? 0 : NI_CACHE_ENTRIES;
        hosts.init(count, LIFETIMES);
        services.init(count, LIFETIMES);
    }
};

/** Never destroyed: threads connect until the process ends. */
Caches& caches() noexcept {
    static auto* all = new Caches;
    return *all;
}

}  // namespace

std::int64_t NiICacheNow() noexcept {
    if (const auto clock = cacheClock.load()) return clock();
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

void NiISetCacheClock(std::int64_t (*clock)()) noexcept {
    cacheClock = clock;
}

NI_HOST_CACHE& NiIHostCache() noexcept {
    return caches().hosts;
}

NI_SERV_CACHE& NiIServCache() noexcept {
    return caches().services;
}

void NiIHSBufInit(std::size_t indexSize, const NI_TTL& hosts, const NI_TTL& services) noexcept {
    caches().hosts.init(indexSize, hosts);
    caches().services.init(indexSize, services);
}

void NiIResetCaches() noexcept {
    caches().init();
}
