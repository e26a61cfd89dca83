/**
 * @file
 * Remote calls through a gateway against a bare relay of messages of the same sizes over the same hops,
 * in one run. Prints times, ratios and counts of system calls; see docs/benchmarks.md for how to read it.
 */
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "barerelay.h"
#include "callsession.h"
#include "traffic.h"

namespace {

struct Cost {
    double wall = 0;       ///< Seconds of one exchange.
    double processor = 0;  ///< Seconds of this thread's processor time.
};

Cost measure(unsigned count, const std::function<void()>& exchange) {
    const double wall = secondsOf(CLOCK_MONOTONIC), processor = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    for (unsigned i = 0; i < count; ++i)
        exchange();
    return {(secondsOf(CLOCK_MONOTONIC) - wall) / count,
            (secondsOf(CLOCK_THREAD_CPUTIME_ID) - processor) / count};
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/** Both sides in turn, several rounds; the middle of each figure. */
void compare(const char* title, unsigned rounds, unsigned count, double limit,
             const std::function<void()>& call, const std::function<void()>& bare,
             const char* bareName = "bare") {
    std::vector<double> calls, bares, ratios, ownShares, owns;
    measure(count / 4 + 1, call);
    measure(count / 4 + 1, bare);
    for (unsigned i = 0; i < rounds; ++i) {
        const Cost library = measure(count, call), relay = measure(count, bare);
        calls.push_back(library.wall * 1e6);
        bares.push_back(relay.wall * 1e6);
        ratios.push_back(library.wall / relay.wall);
        owns.push_back((library.processor - relay.processor) * 1e6);
        ownShares.push_back((library.processor - relay.processor) / relay.processor);
    }
    std::printf("%-44s call %9.2f us, %s %9.2f us, ratio %.2f", title, median(calls), bareName, median(bares),
                median(ratios));
    if (limit > 0) std::printf(" (limit %.2f)", limit);
    std::printf("; client's own processor time %.2f us, %.2f of the %s one's\n", median(owns),
                median(ownShares), bareName);
}

/** A directory for the trace files, which goes with them. */
class TraceDirectory {
  public:
    TraceDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kelzorXXXXXX").string();
        path = ::mkdtemp(pattern.data());
        ZorSetTraceDir(path.string().data(), nullptr);
    }
    ~TraceDirectory() { std::filesystem::remove_all(path); }
    TraceDirectory(const TraceDirectory&) = delete;

  private:
    std::filesystem::path path;
};

void runAll(const char* where, double scalarLimit) {
    const Child gateway(serveGateway), relay(serveRelay);
    Session session(gateway.port());
    BareClient bare(relay.port());
    std::printf("%s\n", where);

    session.callScalars();  // the first call repeats the session header
    const Traffic small = trafficOf([&] { session.callScalars(); });
    std::printf("  one call with ten scalars: %lu send, %lu receive, %lu wait; %zu bytes out, %zu bytes in\n",
                small.sends, small.receives, small.waits, small.bytesOut, small.bytesIn);
    compare(
        "  ten scalars out and back", 15, 2000, scalarLimit, [&] { session.callScalars(); },
        [&] { bare.exchange(small.bytesOut, small.bytesIn, driverBlock); });

    {
        const TraceDirectory directory;
        Session traced(gateway.port(), "1");
        compare(
            "  ten scalars, traced at level 1", 15, 500, 1.25, [&] { traced.callScalars(); },
            [&] { session.callScalars(); }, "untraced");
    }

    session.makeLines(10000);
    session.callLines();
    const Traffic large = trafficOf([&] { session.callLines(); });
    std::printf(
        "  one call with 10,000 rows of 100 bytes: %lu sends, %lu receives; %zu bytes out, %zu bytes in\n",
        large.sends, large.receives, large.bytesOut, large.bytesIn);
    compare(
        "  10,000 rows of 100 bytes out and back", 9, 20, 3.0, [&] { session.callLines(); },
        [&] { bare.exchange(large.bytesOut, large.bytesIn, driverBlock); });
}

}  // namespace

int main() {
    runAll("each process where the system puts it", 0);
    bindToOneCore();
    runAll("all processes on one core", 1.3);
    return 0;
}
