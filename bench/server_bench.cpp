/**
 * @file
 * A socket server of the library against bare sockets: a client calls a function with ten scalars, and a bare
 * client exchanges as many bytes with a bare server. Each figure has its limit; the lowest of several
 * repetitions counts on either side. The program fails when one is missed.
 */
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "barerelay.h"
#include "callsession.h"
#include "judge.h"
#include "otherlibraries.h"
#include "rates.h"
#include "traffic.h"

namespace {

constexpr double latencyLimit = 1.25, rateLimit = 0.8;
constexpr unsigned clients = 8, callsEach = 1000;
constexpr unsigned batch = 200, rounds = 20;

void check(ZOR_RC rc, const ZOR_ERROR_INFO& error, const char* what) {
    if (rc != ZOR_OK) die(std::string(what) + ": " + error.message);
}

/** Gives the ten values back: parameters 0 to 9 are what came, 10 to 19 what goes. */
ZOR_RC echo(ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* error) {
    std::array<ZOR_CHAR, 64> text;
    for (unsigned i = 0; i < 10; ++i) {
        unsigned length = 0;
        ZOR_RC rc = ZorGetStringByIndex(call, i, text.data(), text.size(), &length, error);
        if (rc == ZOR_OK) rc = ZorSetStringByIndex(call, 10 + i, text.data(), length, error);
        if (rc != ZOR_OK) return rc;
    }
    return ZOR_OK;
}

void launch(const std::vector<ZOR_CONNECTION_PARAMETER>& parameters, ZOR_RC& launched) {
    ZOR_ERROR_INFO error{};
    check(ZorInstallServerFunction(nullptr, describeScalars(), echo, &error), error, "installing");
    const ZOR_SERVER_HANDLE server =
        ZorCreateServer(parameters.data(), static_cast<unsigned>(parameters.size()), &error);
    check(error.code, error, "ZorCreateServer");
    launched = ZorLaunchServer(server, &error);
}

/** A socket server with a thread for each client, on the first free port from a number of its own. */
void serveSocket(int channel) {
    for (unsigned attempt = 0; attempt < 100; ++attempt) {
        const auto port = static_cast<std::uint16_t>(20000 + (getpid() * 7 + attempt * 131) % 12000);
        ZOR_RC launched = ZOR_OK;
        launch({{"SERVER_PORT", std::to_string(port).c_str()}, {"REG_COUNT", "8"}}, launched);
        if (launched != ZOR_OK) continue;
        reportPort(channel, port);
        pause();
    }
}

void serveBare(int channel) {
    runBareServer(listenAndReport(channel));
}

std::unique_ptr<Session> socketSession(const Child& server) {
    return std::make_unique<Session>(std::vector<ZOR_CONNECTION_PARAMETER>{
        {"SERVER_HOST", "127.0.0.1"}, {"SERVER_PORT", std::to_string(server.port()).c_str()}});
}

/** Another library's server, and clients of it. */
struct Other {
    explicit Other(const OtherLibrary& library)
        : library(library), server(std::make_unique<Child>(library.serve)) {}

    void connect(unsigned count) {
        while (clients.size() < count)
            clients.push_back(library.connect(server->port()));
    }

    OtherLibrary library;
    std::unique_ptr<Child> server;
    std::vector<std::unique_ptr<OtherClient>> clients;
    Cost cost;
    double rate = 0;
};

/** Starts the servers alone: a process that has used such a library can't be forked any more. */
std::vector<Other> startOthers() {
    const std::vector<OtherLibrary> libraries = otherLibraries();
    return {libraries.begin(), libraries.end()};
}

void repeat(const std::function<void()>& exchange) {
    for (unsigned i = 0; i < batch; ++i)
        exchange();
}

void runLatency() {
    const Child server(serveSocket), bareServer(serveBare);
    std::vector<Other> others = startOthers();
    for (Other& other : others)
        other.connect(1);
    const auto direct = socketSession(server);
    BareClient bare(bareServer.port());
    direct->callScalars();
    const Traffic moved = trafficOf([&] { direct->callScalars(); });
    Cost call, plain;
    for (unsigned i = 0; i < rounds; ++i) {
        call.measure([&] { repeat([&] { direct->callScalars(); }); });
        plain.measure([&] { repeat([&] { bare.exchange(moved.bytesOut, moved.bytesIn, driverBlock); }); });
        for (Other& other : others)
            other.cost.measure([&] { repeat([&] { other.clients.front()->call(); }); });
    }
    std::printf("one client, one core: %zu bytes out, %zu bytes in\n", moved.bytesOut, moved.bytesIn);
    std::printf("  socket server %.2f us, bare %.2f us\n", call.wall / batch * 1e6, plain.wall / batch * 1e6);
    for (const Other& other : others)
        std::printf("  %s %.2f us, %.2f of the bare one\n", other.library.name, other.cost.wall / batch * 1e6,
                    other.cost.wall / plain.wall);
    judge("latency to the bare exchange's", call.wall / plain.wall, latencyLimit);
}

void runClients() {
    const Child server(serveSocket), bareServer(serveBare);
    std::vector<Other> others = startOthers();
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<std::unique_ptr<BareClient>> bares;
    for (unsigned i = 0; i < clients; ++i) {
        sessions.push_back(socketSession(server));
        bares.push_back(std::make_unique<BareClient>(bareServer.port()));
        sessions.back()->callScalars();
    }
    const Traffic moved = trafficOf([&] { sessions.front()->callScalars(); });
    double calls = 0, bare = 0;
    const auto best = [](double& rate, auto exchange) {
        rate = std::max(rate, rateOf(clients, callsEach, exchange));
    };
    for (int round = 0; round < 9; ++round) {
        best(calls, [&](unsigned i) { return [&, i] { sessions[i]->callScalars(); }; });
        best(bare, [&](unsigned i) {
            return [&, i] { bares[i]->exchange(moved.bytesOut, moved.bytesIn, driverBlock); };
        });
        for (Other& other : others) {
            other.connect(clients);
            best(other.rate, [&](unsigned i) { return [&, i] { other.clients[i]->call(); }; });
        }
    }
    std::printf("%u clients of one server: %.0f calls a second, bare %.0f\n", clients, calls, bare);
    for (const Other& other : others)
        std::printf("  %s %.0f, %.2f of the bare ones\n", other.library.name, other.rate, other.rate / bare);
    judge("calls a second to the bare exchanges'", calls / bare, rateLimit, false);
}

/** In a process of its own, so that each part begins before any library has threads. */
bool inProcess(const std::function<void()>& part) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        part();
        std::fflush(stdout);
        _exit(allKept ? 0 : 1);
    }
    int status = 1;
    return waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int main() {
    const bool rate = inProcess(runClients);
    const bool latency = inProcess([] {
        bindToOneCore();
        runLatency();
    });
    return rate && latency ? 0 : 1;
}
