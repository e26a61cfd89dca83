#include "load.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <latch>
#include <numeric>
#include <ostream>
#include <thread>

#include "progress.h"
#include "texttable.h"

namespace zortool {

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(std::uint64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

std::string shown(double value, const char* unit) {
    char text[48];
    std::snprintf(text, sizeof text, "%.*f%s%s",
                  value < 10     ? 3
                  : value < 1000 ? 2
                                 : 0,
                  value, *unit != '\0' ? " " : "", unit);
    return text;
}

/** A trial while it runs. */
class Trial {
  public:
    Trial(const LoadPlan& plan, const WorkerFactory& makeWorker, Interrupts& interrupts,
          const std::function<Problem(const kelzor::Error&)>& describe)
        : plan_(plan),
          makeWorker_(makeWorker),
          interrupts_(interrupts),
          describe_(describe),
          ready_(plan.parallel) {}

    LoadResult run() {
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < plan_.parallel; i++)
            threads.emplace_back([this] { work(); });
        ready_.wait();
        showProgress();
        for (std::thread& thread : threads)
            thread.join();
        std::sort(result_.latencies.begin(), result_.latencies.end());
        result_.seconds = std::chrono::duration<double>(last_ - first_).count();
        result_.connections = plan_.parallel;
        return std::move(result_);
    }

  private:
    bool over() const { return stopped_ || interrupts_.stopping() != 0; }

    void work() {
        std::vector<std::uint64_t> latencies;
        std::unique_ptr<LoadWorker> worker = open();
        ready_.arrive_and_wait();
        const Clock::time_point start = Clock::now();
        while (!over() && next_.fetch_add(1, std::memory_order_relaxed) < plan_.repeat) {
            if (!worker) worker = open();
            if (worker && !callOnce(*worker, latencies)) worker.reset();
            done_.fetch_add(1, std::memory_order_relaxed);
        }
        finish(latencies, start);
    }

    // A worker without a connection is none; the trial then ends.
    std::unique_ptr<LoadWorker> open() {
        try {
            return makeWorker_();
        } catch (const Problem& problem) {
            stopWith(problem);
        } catch (const kelzor::Error& error) {
            stopWith(describe_(error));
        }
        return nullptr;
    }

    // False if the connection is gone.
    bool callOnce(LoadWorker& worker, std::vector<std::uint64_t>& latencies) {
        try {
            const Interrupts::Watch watch(interrupts_, worker.connection());
            const Clock::time_point start = Clock::now();
            worker.call();
            latencies.push_back(static_cast<std::uint64_t>((Clock::now() - start).count()));
            return true;
        } catch (const kelzor::Error& error) {
            if (interrupts_.stopping() == 0) count(error);
            return !error.endsConnection() && worker.connection().valid();
        }
    }

    void count(const kelzor::Error& error) {
        const std::string name = ZorGetRcAsString(error.code());
        const std::string key(error.key());
        const std::lock_guard lock(mutex_);
        result_.failures[key.empty() || key == name ? name : name + " " + key]++;
        if (!result_.firstProblem) result_.firstProblem = describe_(error);
        if (!plan_.keepGoing) stopped_ = true;
    }

    void stopWith(const Problem& problem) {
        const std::lock_guard lock(mutex_);
        if (!result_.firstProblem || plan_.keepGoing) result_.firstProblem = problem;
        stopped_ = true;
    }

    void finish(const std::vector<std::uint64_t>& latencies, Clock::time_point start) {
        const std::lock_guard lock(mutex_);
        result_.latencies.insert(result_.latencies.end(), latencies.begin(), latencies.end());
        first_ = finished_ == 0 ? start : std::min(first_, start);
        last_ = Clock::now();
        finished_++;
        allFinished_.notify_one();
    }

    void showProgress() {
        ProgressBar bar(plan_.repeat, plan_.showProgress);
        std::unique_lock lock(mutex_);
        while (!allFinished_.wait_for(lock, std::chrono::milliseconds(100),
                                      [this] { return finished_ == plan_.parallel; }))
            bar.show(done_);
    }

    const LoadPlan& plan_;
    const WorkerFactory& makeWorker_;
    Interrupts& interrupts_;
    const std::function<Problem(const kelzor::Error&)>& describe_;
    std::latch ready_;
    std::atomic<std::uint64_t> next_{0}, done_{0};
    std::atomic<bool> stopped_{false};
    std::mutex mutex_;  // guards what follows
    std::condition_variable allFinished_;
    LoadResult result_;
    unsigned finished_ = 0;
    Clock::time_point first_, last_;
};

}  // namespace

std::uint64_t LoadResult::failed() const {
    std::uint64_t sum = 0;
    for (const auto& [name, count] : failures)
        sum += count;
    return sum;
}

// The nearest rank: the smallest latency that at least this part of the calls doesn't exceed.
double LoadResult::percentile(double part) const {
    if (latencies.empty()) return 0;
    const auto rank = static_cast<std::size_t>(std::ceil(part * static_cast<double>(latencies.size())));
    return milliseconds(latencies[std::clamp<std::size_t>(rank, 1, latencies.size()) - 1]);
}

double LoadResult::mean() const {
    if (latencies.empty()) return 0;
    return milliseconds(std::accumulate(latencies.begin(), latencies.end(), std::uint64_t{0})) /
           static_cast<double>(latencies.size());
}

double LoadResult::callsPerSecond() const {
    return seconds > 0 ? static_cast<double>(latencies.size() + failed()) / seconds : 0;
}

Json LoadResult::toJson() const {
    Json json = {{"calls", latencies.size() + failed()},
                 {"failed", failed()},
                 {"connections", connections},
                 {"seconds", seconds},
                 {"callsPerSecond", callsPerSecond()},
                 {"latencyMs",
                  {{"min", percentile(0)},
                   {"mean", mean()},
                   {"p50", percentile(0.5)},
                   {"p90", percentile(0.9)},
                   {"p99", percentile(0.99)},
                   {"max", percentile(1)}}}};
    if (!failures.empty()) json["failures"] = failures;
    return json;
}

void LoadResult::write(std::ostream& out) const {
    TextList list;
    list.add("calls", std::to_string(latencies.size() + failed()) + " in " + shown(seconds, "s") + " on " +
                          std::to_string(connections) + (connections == 1 ? " connection" : " connections"));
    list.add("failed", std::to_string(failed()));
    list.add("throughput", shown(callsPerSecond(), "calls/s"));
    if (!latencies.empty())
        list.add("latency", "min " + shown(percentile(0), "ms") + ", mean " + shown(mean(), "ms") + ", max " +
                                shown(percentile(1), "ms"));
    if (!latencies.empty())
        list.add("", "p50 " + shown(percentile(0.5), "ms") + ", p90 " + shown(percentile(0.9), "ms") +
                         ", p99 " + shown(percentile(0.99), "ms"));
    for (const auto& [name, count] : failures)
        list.add("failure", std::to_string(count) + " x " + name);
    list.write(out);
}

LoadResult runLoad(const LoadPlan& plan, const WorkerFactory& makeWorker, Interrupts& interrupts,
                   const std::function<Problem(const kelzor::Error&)>& describe) {
    return Trial(plan, makeWorker, interrupts, describe).run();
}

}  // namespace zortool
