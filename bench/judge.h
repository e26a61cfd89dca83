/** @file Figures and the limits that they are held against. */
#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>

#include "process.h"

/** Whether all figures so far kept their limits. */
inline bool allKept = true;

/** Prints a figure beside its limit. */
inline void judge(const char* title, double value, double limit, bool atMost = true) {
    const bool kept = atMost ? value <= limit : value >= limit;
    allKept = allKept && kept;
    std::printf("  %-52s %6.2f, %s %.2f%s\n", title, value, atMost ? "at most" : "at least", limit,
                kept ? "" : "  MISSED");
}

inline double secondsFor(const std::function<void()>& work) {
    const double start = secondsOf(CLOCK_MONOTONIC);
    work();
    return secondsOf(CLOCK_MONOTONIC) - start;
}

/** Seconds of an exchange, and of the client's processor time in it: the lowest of each so far. */
struct Cost {
    double wall = 1e9, processor = 1e9;

    void measure(const std::function<void()>& exchange) {
        const double start = secondsOf(CLOCK_THREAD_CPUTIME_ID);
        wall = std::min(wall, secondsFor(exchange));
        processor = std::min(processor, secondsOf(CLOCK_THREAD_CPUTIME_ID) - start);
    }
};
