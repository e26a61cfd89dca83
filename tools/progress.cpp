#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace zortool {

namespace {

constexpr std::uint64_t width = 30;
// Carriage return, and what the terminal clears to the end of the line.
constexpr const char* clearLine = "\r\x1B[K";

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total, bool enabled)
    : total_(std::max<std::uint64_t>(total, 1)), enabled_(enabled) {}

ProgressBar::~ProgressBar() {
    if (shown_) std::fputs(clearLine, stderr);
}

void ProgressBar::show(std::uint64_t done) {
    if (!enabled_) return;
    done = std::min(done, total_);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    const double part = static_cast<double>(done) / static_cast<double>(total_);
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(width));
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "%s[%s] %3.0f%%  %llu of %llu  %.0f calls/s", clearLine, bar.c_str(), 100 * part,
                 static_cast<unsigned long long>(done), static_cast<unsigned long long>(total_), rate);
    if (rate > 0) std::fprintf(stderr, "  %.0f s left", static_cast<double>(total_ - done) / rate);
    std::fflush(stderr);
    shown_ = true;
}

}  // namespace zortool
