/** @file How many calls run on a connection, and whether they are to be given up. */
#pragma once

#include <atomic>

/**
 * One number for both, so that a cancel either meets a running call or finds none: it never hits the next
 * call and is never lost. One thread begins and ends calls, any thread may cancel.
 */
class ZorCallCount {
  public:
    /** A call begins; calls nest. */
    void begin() noexcept { ++state; }
    /** A call ends. True if it is the outermost one and was cancelled. */
    bool end() noexcept { return state.fetch_sub(1) == (CANCELLED | 1U); }
    /** Cancels what is running; false if nothing is. */
    bool cancel() noexcept {
        unsigned now = state;
        do {
            if ((now & ~CANCELLED) == 0) return false;
        } while (!state.compare_exchange_weak(now, now | CANCELLED));
        return true;
    }

  private:
    static constexpr unsigned CANCELLED = 1U << 31;
    std::atomic<unsigned> state = 0;
};
