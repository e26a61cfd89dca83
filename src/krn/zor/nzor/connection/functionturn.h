/** @file Who uses a connection while a function of the user runs on it. */
#pragma once

#include <condition_variable>
#include <mutex>

/**
 * The function's thread parks the connection as long as it doesn't use it itself. Then another thread, which
 * ends the server, may take it; it never comes back to the function.
 */
class FunctionTurn {
  public:
    /** Known to the function's thread without the lock: nobody else changes it. */
    bool isParked() const noexcept { return parked; }

    void park() noexcept {
        const std::lock_guard lock(functionTurn);
        parked = true;
    }

    /** The function's thread goes on with the connection; false if it was taken, and whoever took it is done.
     */
    bool resume() noexcept {
        std::unique_lock lock(functionTurn);
        done.wait(lock, [this] { return !taking; });
        parked = false;
        return !taken;
    }

    /** True if the connection is the caller's now, until it calls `finish`. */
    bool take() noexcept {
        const std::lock_guard lock(functionTurn);
        if (!parked || taken) return false;
        return taken = taking = true;
    }

    void finish() noexcept {
        const std::lock_guard lock(functionTurn);
        taking = false;
        done.notify_all();
    }

  private:
    std::mutex functionTurn;  ///< Guards the members below.
    std::condition_variable done;
    bool parked = false;
    bool taken = false;
    bool taking = false;  ///< Who took it isn't done yet.
};
