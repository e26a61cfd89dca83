/**
 * @file
 * What the sockets of a thread do: counted by standing in front of the C library's functions, so programs
 * that link this export their symbols.
 */
#pragma once

#include <cstddef>
#include <functional>

/** Calls of the system, and bytes. */
struct Traffic {
    unsigned long sends = 0, receives = 0, waits = 0;
    std::size_t bytesOut = 0, bytesIn = 0;
};

/** What one exchange moves and which system calls it takes. */
Traffic trafficOf(const std::function<void()>& exchange);
