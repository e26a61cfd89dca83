/** @file A progress bar on standard error. */
#pragma once

#include <chrono>
#include <cstdint>

namespace zortool {

/** A bar of one line that is drawn over itself and is gone when its object ends. */
class ProgressBar {
  public:
    /** @param enabled whether there is anybody to look at it. */
    ProgressBar(std::uint64_t total, bool enabled);
    ProgressBar(const ProgressBar&) = delete;
    ~ProgressBar();

    void show(std::uint64_t done);

  private:
    const std::uint64_t total_;
    const bool enabled_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool shown_ = false;
};

}  // namespace zortool
