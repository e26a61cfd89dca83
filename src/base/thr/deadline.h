/** @file A time limit that several waits share. */
#pragma once

#include <algorithm>
#include <chrono>

/** A time limit that runs from its making. Without a positive limit the clock isn't read. */
class Deadline {
  public:
    explicit Deadline(int timeout) : timeout(timeout) {
        if (timeout > 0) end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    }
    /** Milliseconds left, rounded up: -1 for ever, 0 when the time is up. */
    int left() const {
        if (timeout <= 0) return timeout;
        const auto rest =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
    }

  private:
    int timeout;
    std::chrono::steady_clock::time_point end;
};
