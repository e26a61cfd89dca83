/**
 * @file
 * Large tables and many connections at once, against a bare relay of the same bytes over the same hops. Each
 * figure has its limit; the lowest of several repetitions counts on either side, since others use the machine
 * too. The program fails when a limit is missed.
 */
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "barerelay.h"
#include "callsession.h"
#include "judge.h"
#include "rates.h"
#include "traffic.h"

namespace {

constexpr double timeLimit = 4, memoryLimit = 1.3, rateLimit = 0.8;
/** Two measured slopes that are the same differ by as much. */
constexpr double slopeLimit = 1.1;
constexpr unsigned rowLength = 100;
constexpr unsigned clients = 8, callsEach = 2000;

/** The most memory that this process ever had, in bytes. */
double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

struct Costs {
    Cost call, bare;
};

void print(const char* side, const Cost& cost, unsigned rows) {
    std::printf("%s %8.3f ms, %5.1f ns a row, %5.1f of them the client's", side, cost.wall * 1e3,
                cost.wall * 1e9 / rows, cost.processor * 1e9 / rows);
}

Costs measureRows(Session& session, BareClient& bare, unsigned rows, unsigned repetitions) {
    session.makeLines(rows);
    std::vector<char> data(trafficOf([&] { session.callLines(); }).bytesOut, 'x');
    bare.echo(data, driverBlock);
    Costs costs;
    for (unsigned i = 0; i < repetitions; ++i) {
        costs.call.measure([&] { session.callLines(); });
        costs.bare.measure([&] { bare.echo(data, driverBlock); });
    }
    std::printf("  %8u rows: ", rows);
    print("call", costs.call, rows);
    print("; bare", costs.bare, rows);
    std::printf("\n");
    return costs;
}

void runRows() {
    const Child gateway(serveGateway), relay(serveRelay);
    Session session(gateway.port());
    const double before = peakMemory();
    session.makeLines(1000000);
    session.callLines();
    const double taken = peakMemory() - before;
    BareClient bare(relay.port());
    std::printf("rows of %u bytes out and back\n", rowLength);
    const Costs small = measureRows(session, bare, 10000, 30);
    const Costs large = measureRows(session, bare, 1000000, 9);
    judge("time of 1,000,000 rows to the bare relay's", large.call.wall / large.bare.wall, timeLimit);
    judge("memory to that of the rows", taken / (1e6 * rowLength), memoryLimit);
    judge("growth of a row's processor time to the bare client's",
          large.call.processor / small.call.processor / (large.bare.processor / small.bare.processor),
          slopeLimit);
    judge("growth of a row's time to the bare relay's",
          large.call.wall / small.call.wall / (large.bare.wall / small.bare.wall), slopeLimit);
}

void runClients(const char* where) {
    const Child gateway(serveGateway), relay(serveRelay);
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<std::unique_ptr<BareClient>> bares;
    for (unsigned i = 0; i < clients; ++i) {
        sessions.push_back(std::make_unique<Session>(gateway.port()));
        bares.push_back(std::make_unique<BareClient>(relay.port()));
        sessions.back()->callScalars();
    }
    const Traffic moved = trafficOf([&] { sessions.front()->callScalars(); });
    double calls = 0, bare = 0;
    for (int round = 0; round < 9; ++round) {
        calls = std::max(calls, rateOf(clients, callsEach,
                                       [&](unsigned i) { return [&, i] { sessions[i]->callScalars(); }; }));
        bare = std::max(bare, rateOf(clients, callsEach, [&](unsigned i) {
                            return [&, i] { bares[i]->exchange(moved.bytesOut, moved.bytesIn, driverBlock); };
                        }));
    }
    std::printf("%u threads with a connection each, %s: %.0f calls a second, bare %.0f\n", clients, where,
                calls, bare);
    judge("calls a second to the bare clients'", calls / bare, rateLimit, false);
}

}  // namespace

int main() {
    runRows();
    runClients("all cores");
    bindToOneCore();
    runClients("one core");
    return allKept ? 0 : 1;
}
