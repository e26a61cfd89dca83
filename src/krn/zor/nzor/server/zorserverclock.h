/** @file The clock of automated servers, which tests advance. */
#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>

class ZorServerClock {
  public:
    virtual ~ZorServerClock() = default;
    virtual std::time_t now() const { return std::time(nullptr); }
    /** Waits until `changed` is notified or the time is near; may come back early. */
    virtual void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                      std::time_t until);

    /** The clock in use; the system's unless a test has set its own. */
    static ZorServerClock& get() noexcept;
    /** NULL goes back to the system's. Not while a server runs. */
    static void set(ZorServerClock* clock) noexcept;
};
