/**
 * @file
 * The development system as a program: starts, prints where it listens as one JSON line, and runs until
 * it is told to end.
 */
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <mutex>

#include "devsys/zordev.h"

namespace {

struct Arguments {
    zordev::DevOptions options;
    std::string logFile;
    bool endWithInput = false;
    std::size_t cutAfter = 0;
};

void addFaults(CLI::App& app, zordev::Faults& faults, Arguments& arguments) {
    const std::string group = "Faults";
    app.add_option("--after-answers", faults.afterAnswers, "Answers before the faults of answers begin")
        ->group(group);
    app.add_option("--cut-after", arguments.cutAfter, "Close after this many bytes to the client")
        ->group(group);
    app.add_option("--pieces", faults.pieceBytes, "Write in pieces of this many bytes")->group(group);
    app.add_option("--delay", faults.delayMs, "Milliseconds before each answer")->group(group);
    app.add_flag("--silent", faults.silent, "Never answer")->group(group);
    app.add_option("--header-version", faults.headerVersion.emplace(6), "Header version in answers")
        ->group(group);
    app.add_option("--data-error", faults.dataError, "Return code in place of data answers")->group(group);
    app.add_flag("--oversize-length", faults.oversizeLength, "Announce too long messages")->group(group);
    app.add_flag("--negative-length", faults.negativeLength, "Announce negative lengths")->group(group);
    app.add_flag("--refuse-connect", faults.refuseConnect, "Close connections at once")->group(group);
    app.add_option("--connect-error", faults.connectError, "Return code of connect answers")->group(group);
    app.add_flag("--short-connect-answer", faults.shortConnectAnswer, "Cut connect answers")->group(group);
    app.add_flag("--connect-echo", faults.connectEcho, "Ask for the echo of connect answers")->group(group);
    app.add_option("--gateway-pings", faults.gatewayPings, "Gateway pings before data answers")->group(group);
    app.add_option("--network-pings", faults.networkPings, "Network pings before data answers")->group(group);
    app.add_option("--cancel-answer", faults.cancelAnswer, "Return code of cancel answers, 0 or 18")
        ->group(group);
}

// Waits for SIGTERM or SIGINT, which must be blocked, or for the end of the input if that is asked for.
void waitForEnd(const sigset_t& signals, bool endWithInput) {
    const int signalSocket = signalfd(-1, &signals, SFD_CLOEXEC);
    pollfd sources[2] = {{signalSocket, POLLIN, 0}, {endWithInput ? STDIN_FILENO : -1, POLLIN, 0}};
    for (;;) {
        if (poll(sources, 2, -1) < 0) continue;
        if (sources[0].revents != 0) break;
        char ignored[256];
        if (sources[1].revents != 0 && read(STDIN_FILENO, ignored, sizeof ignored) <= 0) break;
    }
    close(signalSocket);
}

zordev::ViolationLog::Sink logTo(std::ofstream& log, std::mutex& mutex) {
    return [&log, &mutex](const std::string& line) {
        const std::lock_guard lock(mutex);
        (log.is_open() ? static_cast<std::ostream&>(log) : std::cerr) << "violation: " << line << std::endl;
    };
}

int run(Arguments& arguments) {
    // Blocked before the first thread starts, so that no thread of the system takes them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    std::ofstream log;
    std::mutex logMutex;
    if (!arguments.logFile.empty()) log.open(arguments.logFile, std::ios::app);
    arguments.options.violationSink = logTo(log, logMutex);
    const zordev::DevSystem system(std::move(arguments.options));
    std::printf("{\"gwhost\":\"127.0.0.1\",\"gwserv\":\"%u\",\"pid\":%d}\n", system.gatewayPort(), getpid());
    std::fflush(stdout);
    waitForEnd(signals, arguments.endWithInput);
    return system.violations().empty() ? 0 : 2;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    arguments.options.recordRequests = false;
    CLI::App app("Development system: a gateway with a back-end behind it, on the loopback interface");
    app.add_option("--port", arguments.options.gatewayPort, "Port of the gateway; 0 takes a free one");
    app.add_option("--log", arguments.logFile,
                   "File for violations of the protocol; standard error without it");
    app.add_option("--release", arguments.options.names.release, "Release of the back-end, three characters");
    app.add_option("--system-id", arguments.options.names.systemId, "System id, three characters");
    app.add_flag("--end-with-input", arguments.endWithInput, "End when the standard input closes");
    addFaults(app, arguments.options.faults, arguments);
    CLI11_PARSE(app, argc, argv);
    zordev::Faults& faults = arguments.options.faults;
    if (arguments.cutAfter != 0) faults.cutAfterBytes = arguments.cutAfter;
    if (faults.headerVersion == 6) faults.headerVersion.reset();
    try {
        return run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zordev: %s\n", error.what());
        return 1;
    }
}
