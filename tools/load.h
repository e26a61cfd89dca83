/** @file Load trials: one call many times over, on one or more connections, with a summary of the latencies.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "interrupts.h"
#include "jsontext.h"
#include "problem.h"

namespace zortool {

/** How much load. */
struct LoadPlan {
    std::uint64_t repeat = 1;  /**< Calls in all. */
    unsigned parallel = 1;     /**< Connections, each with a thread. */
    bool keepGoing = false;    /**< Failures are counted; else the first ends the trial. */
    bool showProgress = false; /**< A bar on standard error. */
};

/** What came of it. */
struct LoadResult {
    std::vector<std::uint64_t> latencies;          /**< Of the calls that succeeded, in ns, sorted. */
    std::map<std::string, std::uint64_t> failures; /**< Calls that failed, by code and key. */
    std::optional<Problem> firstProblem;
    double seconds = 0; /**< From the first call to the last; connections were open before. */
    unsigned connections = 0;

    std::uint64_t failed() const;
    /** The latency that a part of the calls, from 0 to 1, doesn't exceed; in ms. */
    double percentile(double part) const;
    double mean() const;
    double callsPerSecond() const;

    Json toJson() const;
    void write(std::ostream& out) const;
};

/** One connection with whatever its call needs. */
class LoadWorker {
  public:
    virtual ~LoadWorker() = default;
    /** Makes the call. Failures: `kelzor::Error`, or a `Problem`. */
    virtual void call() = 0;
    virtual const kelzor::Connection& connection() const = 0;
};

/** Makes a worker with an open connection; called on the worker's thread, and again after its connection
 * broke. */
using WorkerFactory = std::function<std::unique_ptr<LoadWorker>()>;

/**
 * Runs a trial. `describe` turns an error of a call into what the user sees. A connection that can't be
 * opened ends the trial with its problem.
 */
LoadResult runLoad(const LoadPlan& plan, const WorkerFactory& makeWorker, Interrupts& interrupts,
                   const std::function<Problem(const kelzor::Error&)>& describe);

}  // namespace zortool
