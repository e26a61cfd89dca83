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
#include <optional>
#include <sstream>

#include "devsys/callcommand.h"
#include "devsys/router.h"
#include "devsys/zordev.h"

namespace {

struct Arguments {
    zordev::DevOptions options;
    zordev::RouterOptions router;
    bool withRouter = false;
    std::string logFile;
    bool endWithInput = false;
    std::size_t cutAfter = 0;
    std::size_t routerCutAfter = 0;
    std::vector<std::string> programs;
    std::vector<std::string> registering;
    unsigned programWaitMs = 0;
    unsigned startLimitMs = 30000;
    unsigned keepAliveMs = 0;
    zordev::CallCommand call;
};

void addSystem(CLI::App& app, Arguments& arguments) {
    zordev::DevOptions& options = arguments.options;
    app.add_option("--port", options.gatewayPort, "Port of the gateway; 0 takes a free one");
    app.add_option("--log", arguments.logFile,
                   "File for violations of the protocol; standard error without it");
    app.add_option("--release", options.names.release, "Release of the back-end, three characters");
    app.add_option("--system-id", options.names.systemId, "System id, three characters");
    app.add_flag("--end-with-input", arguments.endWithInput, "End when the standard input closes");
}

void addPrograms(CLI::App& app, Arguments& arguments) {
    const std::string group = "Programs";
    app.add_option("--program", arguments.programs, "NAME=command: started for each conversation with NAME")
        ->group(group);
    app.add_option("--registering-program", arguments.registering,
                   "NAME=command: started when no instance of NAME is registered, to register")
        ->group(group);
    app.add_option("--program-wait", arguments.programWaitMs,
                   "Milliseconds that partners wait for a free instance; 0 refuses them")
        ->group(group);
    app.add_option("--start-limit", arguments.startLimitMs, "Milliseconds until a started program connects")
        ->group(group);
    app.add_option("--keep-alive", arguments.keepAliveMs,
                   "Milliseconds between pings to idle registrations; 0 is off")
        ->group(group);
}

void addRouter(CLI::App& app, Arguments& arguments) {
    const std::string group = "Router";
    zordev::RouterOptions& router = arguments.router;
    zordev::RouterFaults& faults = router.faults;
    app.add_flag("--router", arguments.withRouter, "Run a router too")->group(group);
    app.add_option("--router-port", router.port, "Its port; 0 takes a free one")->group(group);
    app.add_option("--router-password", router.password, "Password that it wants in routes")->group(group);
    app.add_option("--router-deny", router.deniedHosts, "Hosts to which it permits no route")->group(group);
    app.add_option("--router-clients", router.maxClients, "Most clients; 0 is no limit")->group(group);
    app.add_option("--router-refuse", faults.refuseWith, "Code with which all routes are refused")
        ->group(group);
    app.add_flag("--router-silent", faults.silent, "Never answer a route")->group(group);
    app.add_option("--router-cut-after", arguments.routerCutAfter,
                   "Close after this many bytes to the client")
        ->group(group);
    app.add_option("--router-pieces", faults.pieceBytes, "Write in pieces of this many bytes")->group(group);
    app.add_option("--router-delay", faults.delayMs, "Milliseconds before whatever goes to the client")
        ->group(group);
    app.add_option("--router-version", faults.version, "Version in control messages")->group(group);
}

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
    app.add_flag("--ask-for-sync", faults.askForSync, "Ask for KEL_SYNC in answers to sends")->group(group);
    app.add_option("--conversation-number", faults.conversationNumber, "The id of all conversations")
        ->group(group);
}

void addProgramFaults(CLI::App& app, zordev::Faults& faults) {
    const std::string group = "Faults of registrations";
    app.add_option("--registration-error", faults.registrationError, "Return code of their connect answers")
        ->group(group);
    app.add_option("--registration-cancel", faults.registrationCancel, "Code that cancels ready programs")
        ->group(group);
    app.add_flag("--registration-wrong-request", faults.registrationWrongRequest,
                 "Call programs by a request that is no call")
        ->group(group);
    app.add_flag("--short-program-call", faults.shortProgramCall,
                 "Announce a record behind calls and send none")
        ->group(group);
}

// Commands are cut at blanks; quotes mean nothing.
void addCommands(const std::vector<std::string>& texts,
                 std::map<std::string, zordev::ProgramCommand>& commands) {
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        std::istringstream command(equals == std::string::npos ? "" : text.substr(equals + 1));
        const std::vector<std::string> words(std::istream_iterator<std::string>(command), {});
        if (words.empty()) throw std::runtime_error("program " + text + ": NAME=command expected");
        commands[text.substr(0, equals)] = words;
    }
}

void takeOptions(Arguments& arguments) {
    zordev::ProgramOptions& programs = arguments.options.programs;
    addCommands(arguments.programs, programs.commands);
    addCommands(arguments.registering, programs.registering);
    programs.wait = std::chrono::milliseconds(arguments.programWaitMs);
    programs.startLimit = std::chrono::milliseconds(arguments.startLimitMs);
    programs.keepAlive = std::chrono::milliseconds(arguments.keepAliveMs);
    zordev::Faults& faults = arguments.options.faults;
    if (arguments.cutAfter != 0) faults.cutAfterBytes = arguments.cutAfter;
    if (faults.headerVersion == 6) faults.headerVersion.reset();
    if (arguments.routerCutAfter != 0) arguments.router.faults.cutAfterBytes = arguments.routerCutAfter;
}

// The gateway goes with one of the two signals, and comes back with the next.
void goOrComeBack(zordev::DevSystem& system, bool inOrder, bool& away) {
    if (away) {
        system.comeBack();
    } else if (inOrder) {
        system.shutDown();
    } else {
        system.vanish();
    }
    away = !away;
}

// Waits for SIGTERM or SIGINT, which must be blocked, or for the end of the input if that is asked for.
void waitForEnd(const sigset_t& signals, bool endWithInput, zordev::DevSystem& system) {
    const int signalSocket = signalfd(-1, &signals, SFD_CLOEXEC);
    pollfd sources[2] = {{signalSocket, POLLIN, 0}, {endWithInput ? STDIN_FILENO : -1, POLLIN, 0}};
    for (bool away = false;;) {
        if (poll(sources, 2, -1) < 0) continue;
        signalfd_siginfo signal = {};
        if (sources[0].revents != 0) {
            if (read(signalSocket, &signal, sizeof signal) != sizeof signal) continue;
            if (signal.ssi_signo != SIGUSR1 && signal.ssi_signo != SIGUSR2) break;
            goOrComeBack(system, signal.ssi_signo == SIGUSR2, away);
        }
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

// Blocked before the first thread starts, so that no thread of the system takes them.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int run(Arguments& arguments) {
    takeOptions(arguments);
    const sigset_t signals = blockSignals();
    std::ofstream log;
    std::mutex logMutex;
    if (!arguments.logFile.empty()) log.open(arguments.logFile, std::ios::app);
    arguments.router.violationSink = arguments.options.violationSink = logTo(log, logMutex);
    zordev::DevSystem system(std::move(arguments.options));
    std::optional<zordev::Router> router;
    std::string routerText;
    if (arguments.withRouter) {
        router.emplace(std::move(arguments.router));
        routerText = ",\"kelrouter\":\"" + router->hop() + '"';
    }
    std::printf("{\"gwhost\":\"127.0.0.1\",\"gwserv\":\"%u\"%s,\"pid\":%d}\n", system.gatewayPort(),
                routerText.c_str(), getpid());
    std::fflush(stdout);
    waitForEnd(signals, arguments.endWithInput, system);
    const bool clean = system.violations().empty() && (!router || router->violationText().empty());
    return clean ? 0 : 2;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    arguments.options.recordRequests = false;
    CLI::App app("Development system: a gateway with a back-end behind it, on the loopback interface");
    app.footer(
        "SIGUSR1 makes the gateway vanish without a word, SIGUSR2 ends it in order; either signal brings "
        "it back on the same port.");
    addSystem(app, arguments);
    addPrograms(app, arguments);
    addRouter(app, arguments);
    addFaults(app, arguments.options.faults, arguments);
    addProgramFaults(app, arguments.options.faults);
    const CLI::App* const call = arguments.call.addTo(app);
    CLI11_PARSE(app, argc, argv);
    try {
        return call->parsed() ? arguments.call.run() : run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zordev: %s\n", error.what());
        return 1;
    }
}
