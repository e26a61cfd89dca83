/**
 * @file
 * Remote calls through a gateway against a bare relay of messages of the same sizes over the same hops,
 * in one run. Prints times, ratios and counts of system calls; see docs/benchmarks.md for how to read it.
 */
#include <arpa/inet.h>
#include <dlfcn.h>
#include <kelzor.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "barerelay.h"
#include "devsys/zordev.h"

namespace {

/** Bytes of one block as the driver sends it. */
constexpr std::size_t driverBlock = 28000;

/** What this process's sockets did. */
struct Traffic {
    unsigned long sends = 0, receives = 0, waits = 0;
    std::size_t bytesOut = 0, bytesIn = 0;
} traffic;

template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The definitions of a program go before those of the C library, for the shared library too, if the program
// exports them.
#pragma GCC visibility push(default)
extern "C" {

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, const msghdr*, int)>("sendmsg");
    const ssize_t done = next(fd, message, flags);
    ++traffic.sends;
    if (done > 0) traffic.bytesOut += static_cast<std::size_t>(done);
    return done;
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, msghdr*, int)>("recvmsg");
    const ssize_t done = next(fd, message, flags);
    ++traffic.receives;
    if (done > 0) traffic.bytesIn += static_cast<std::size_t>(done);
    return done;
}

int poll(pollfd* fds, nfds_t count, int timeout) {
    static auto* const next = original<int(pollfd*, nfds_t, int)>("poll");
    ++traffic.waits;
    return next(fds, count, timeout);
}
}
#pragma GCC visibility pop

namespace {

[[noreturn]] void die(const std::string& what) {
    std::fprintf(stderr, "call_bench: %s\n", what.c_str());
    std::exit(1);
}

void check(const ZOR_ERROR_INFO& error, const char* what) {
    if (error.code != ZOR_OK) die(std::string(what) + ": " + error.message);
}

void bindToOneCore() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(0, &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) die("can't bind to a core");
}

/** A child process that reports a port and serves until the parent ends. */
class Child {
  public:
    explicit Child(const std::function<void(int report)>& run) {
        int channel[2];
        if (pipe(channel) != 0) die("pipe");
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            run(channel[1]);
            _exit(0);
        }
        if (read(channel[0], &port_, sizeof port_) != sizeof port_) die("a child did not start");
        close(channel[0]);
        close(channel[1]);
    }
    Child(const Child&) = delete;
    ~Child() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    std::uint16_t port() const { return port_; }

  private:
    pid_t pid_ = 0;
    std::uint16_t port_ = 0;
};

void report(int channel, std::uint16_t port) {
    if (write(channel, &port, sizeof port) != sizeof port) _exit(1);
}

void serveGateway(int channel) {
    zordev::DevOptions options;
    options.recordRequests = false;
    const zordev::DevSystem system(std::move(options));
    report(channel, system.gatewayPort());
    pause();
}

void serveRelay(int channel) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 1) != 0)
        _exit(1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    report(channel, ntohs(address.sin_port));
    runBareRelay(listener);
}

double secondsOf(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

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

/** A connection with the functions that the benchmarks call. */
class Session {
  public:
    explicit Session(std::uint16_t port, const char* traceLevel = "0") {
        const std::string service = std::to_string(port);
        const ZOR_CONNECTION_PARAMETER parameters[] = {{"GWHOST", "127.0.0.1"}, {"GWSERV", service.c_str()},
                                                       {"CLIENT", "100"},       {"USER", "DEMO"},
                                                       {"PASSWD", "welcome"},   {"LANG", "EN"},
                                                       {"TRACE", traceLevel}};
        connection_ = ZorOpenConnection(parameters, std::size(parameters), &error_);
        check(error_, "ZorOpenConnection");
        makeScalars();
    }
    ~Session() {
        ZorDestroyFunction(scalars_, nullptr);
        if (lines_ != nullptr) ZorDestroyFunction(lines_, nullptr);
        ZorCloseConnection(connection_, nullptr);
    }
    Session(const Session&) = delete;

    void callScalars() {
        ZorInvoke(connection_, scalars_, &error_);
        check(error_, "ECHO_TEN_SCALARS");
    }
    void callLines() {
        ZorInvoke(connection_, lines_, &error_);
        check(error_, "ECHO_TABLE");
    }
    void makeLines(unsigned rows) {
        const ZOR_TYPE_DESC_HANDLE line = ZorCreateTypeDesc("ECHO_LINE", &error_);
        ZOR_FIELD_DESC text{};
        std::snprintf(text.name, sizeof text.name, "TEXT");
        text.type = ZORTYPE_CHAR;
        text.nucLength = 100;
        text.ucLength = 200;
        ZorAddTypeField(line, &text, &error_);
        ZorSetTypeLength(line, 100, 200, &error_);
        check(error_, "ZorSetTypeLength");
        const ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("ECHO_TABLE", &error_);
        add(function, "LINES", ZORTYPE_TABLE, ZOR_TABLES, 100, 200, line);
        lines_ = ZorCreateFunction(function, &error_);
        check(error_, "ZorCreateFunction");
        ZOR_TABLE_HANDLE table = nullptr;
        ZorGetTable(lines_, "LINES", &table, &error_);
        ZorAppendNewRows(table, rows, &error_);
        check(error_, "ZorAppendNewRows");
        ZorDestroyTypeDesc(line, nullptr);
    }

  private:
    void add(ZOR_FUNCTION_DESC_HANDLE function, const char* name, ZORTYPE type, ZOR_DIRECTION direction,
             unsigned length, unsigned wide, ZOR_TYPE_DESC_HANDLE desc = nullptr) {
        ZOR_PARAMETER_DESC parameter{};
        std::snprintf(parameter.name, sizeof parameter.name, "%s", name);
        parameter.type = type;
        parameter.direction = direction;
        parameter.nucLength = length;
        parameter.ucLength = wide;
        parameter.typeDescHandle = desc;
        ZorAddParameter(function, &parameter, &error_);
        check(error_, name);
    }
    void makeScalars() {
        const struct {
            const char* name;
            ZORTYPE type;
            unsigned length;
        } rows[] = {{"CHAR1", ZORTYPE_CHAR, 10}, {"CHAR2", ZORTYPE_CHAR, 40}, {"NUM", ZORTYPE_NUM, 8},
                    {"DATE", ZORTYPE_DATE, 8},   {"TIME", ZORTYPE_TIME, 6},   {"INT", ZORTYPE_INT, 4},
                    {"INT2", ZORTYPE_INT2, 2},   {"FLOAT", ZORTYPE_FLOAT, 8}, {"BCD", ZORTYPE_BCD, 8},
                    {"BYTE", ZORTYPE_BYTE, 16}};
        const ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("ECHO_TEN_SCALARS", &error_);
        for (const char* prefix : {"I_", "E_"})
            for (const auto& row : rows) {
                const bool text = row.type == ZORTYPE_CHAR || row.type == ZORTYPE_NUM ||
                                  row.type == ZORTYPE_DATE || row.type == ZORTYPE_TIME;
                add(function, (prefix + std::string(row.name)).c_str(), row.type,
                    *prefix == 'I' ? ZOR_IMPORT : ZOR_EXPORT, row.length, text ? 2 * row.length : row.length);
            }
        scalars_ = ZorCreateFunction(function, &error_);
        check(error_, "ZorCreateFunction");
    }

    ZOR_ERROR_INFO error_{};
    ZOR_CONNECTION_HANDLE connection_ = nullptr;
    ZOR_FUNCTION_HANDLE scalars_ = nullptr;
    ZOR_FUNCTION_HANDLE lines_ = nullptr;
};

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

/** What one exchange moves and which system calls it takes. */
Traffic trafficOf(const std::function<void()>& exchange) {
    traffic = {};
    exchange();
    return traffic;
}

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
