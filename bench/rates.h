/** @file How many exchanges several threads make in a second. */
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "judge.h"

/** Exchanges a second of so many threads. `make` gives the work of each, made before the clock starts. */
inline double rateOf(unsigned clients, unsigned each,
                     const std::function<std::function<void()>(unsigned)>& make) {
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < clients; ++i)
        threads.emplace_back([&, exchange = make(i)] {
            go.wait(false);
            for (unsigned n = 0; n < each; ++n)
                exchange();
        });
    return clients * each / secondsFor([&] {
               go = true;
               go.notify_all();
               for (std::thread& thread : threads)
                   thread.join();
           });
}
