#include "server/zorserverclock.h"

#include <atomic>
#include <chrono>

#include "config/immortal.h"

namespace {

std::atomic<ZorServerClock*> used{nullptr};

}  // namespace

void ZorServerClock::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                          std::time_t until) {
    changed.wait_for(lock, std::chrono::seconds(until - now()));
}

ZorServerClock& ZorServerClock::get() noexcept {
    static Immortal<ZorServerClock> system;
    ZorServerClock* const clock = used.load();
    return clock != nullptr ? *clock : system.value;
}

void ZorServerClock::set(ZorServerClock* clock) noexcept {
    used.store(clock);
}
