#include "devsys/programcall.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>

#include "devsys/gwrequest.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// An instance that waits takes its partner at once; this is for one whose machine is very busy.
constexpr milliseconds TAKE_LIMIT(10000);

enum class Found { accepted, lost, timeout, givenUp, ended };

int remaining(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

// Waits until the other end of `bridge` is accepted. `process` becomes readable when the program ends.
Found await(const BridgeEnd& bridge, Clock::time_point deadline, const WaitingCaller& caller, int process) {
    for (;;) {
        const bool handleNow = caller.buffered && caller.buffered();
        pollfd sources[3] = {{bridge.socket(), POLLIN, 0}, {caller.socket, POLLIN, 0}, {process, POLLIN, 0}};
        const int limit = handleNow ? 0 : remaining(deadline);
        const int ready = poll(sources, 3, limit);
        if (ready < 0) continue;
        if (sources[0].revents != 0) {
            std::array<Byte, 1> none;
            return bridge.receive(none).mark == BridgeMark::accepted ? Found::accepted : Found::lost;
        }
        if (handleNow || sources[1].revents != 0) {
            if (!caller.handle()) return Found::givenUp;
        } else if (sources[2].revents != 0) {
            return Found::ended;
        } else if (ready == 0) {
            return Found::timeout;
        }
    }
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    int number_;
};

ProgramFailure notStarted(const ProgramCommand& command) {
    return {GW_EXEC_FAILED, CM_TP_NOT_AVAILABLE_NO_RETRY,
            "start of " + command.front() + " failed: " + std::strerror(errno)};
}

ProgramFailure connectStarted(GatewayServices& services, const ProgramCommand& command,
                              const WaitingCaller& caller, BridgeEnd& bridge) {
    const std::string id = nextProgramId(services);
    const bool streaming = (services.capabilities.acceptInfo2 & GW_ACCEPT2_STREAMING) != 0;
    auto [own, theirs] = makeBridge();
    const StartArguments arguments{"127.0.0.1", services.service, id, "", streaming};
    const Descriptor process(services.started.start(command, arguments, std::move(theirs)));
    if (process.number() < 0) return notStarted(command);
    const auto deadline = Clock::now() + services.programOptions.startLimit;
    switch (await(own, deadline, caller, process.number())) {
        case Found::accepted:
            bridge = std::move(own);
            return {};
        case Found::givenUp:
            services.started.withdraw(id);
            return {-1, 0, ""};
        default:
            services.started.withdraw(id);
            return {TP_START_FAILED, CM_TP_NOT_AVAILABLE_NO_RETRY,
                    command.front() + " was started and has not connected"};
    }
}

// One attempt; a program that leaves with a partner that it hasn't taken makes another one worth while.
std::optional<ProgramFailure> tryRegistered(GatewayServices& services, const std::string& name,
                                            const WaitingCaller& caller, Clock::time_point deadline,
                                            BridgeEnd& bridge) {
    auto [own, theirs] = makeBridge();
    const bool mayWait = remaining(deadline) > 0;
    const auto request = services.programs.request(name, std::move(theirs), mayWait);
    using Request = ProgramRegistry::Request;
    if (request.outcome == Request::unknown) {
        return ProgramFailure{TP_NOTREGISTERED, CM_TPN_NOT_RECOGNIZED, "program " + name + " not registered"};
    }
    if (request.outcome == Request::busy) {
        return ProgramFailure{GW_TIMEOUT_REG_PRGM, CM_TP_NOT_AVAILABLE_RETRY,
                              "all instances of program " + name + " are busy"};
    }
    const bool assigned = request.outcome == Request::assigned;
    const Found found = await(own, assigned ? Clock::now() + TAKE_LIMIT : deadline, caller, -1);
    if (found == Found::lost) return std::nullopt;
    if (!assigned && found != Found::accepted) services.programs.withdraw(request.number);
    if (found == Found::givenUp) return ProgramFailure{-1, 0, ""};
    if (found == Found::timeout) {
        return ProgramFailure{GW_TIMEOUT_REG_PRGM, CM_TP_NOT_AVAILABLE_RETRY,
                              "no instance of program " + name + " in time"};
    }
    bridge = std::move(own);
    return ProgramFailure{};
}

bool isNumber(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

bool namesBackEnd(const std::string& name) {
    if (isNumber(name)) return true;
    const std::string_view rest = name;
    return rest.starts_with("keldp") && rest.size() >= 7 && isNumber(rest.substr(5, 2)) &&
           (rest.size() == 7 || rest.substr(7) == "s");
}

std::string nextProgramId(GatewayServices& services) {
    char id[hdr::conversationIdWidth + 1];
    const unsigned number = services.programNumber.fetch_add(1, std::memory_order_relaxed) + 1;
    std::snprintf(id, sizeof id, "5%07u", number % 10000000);
    return id;
}

ProgramFailure connectProgram(GatewayServices& services, const std::string& name, const WaitingCaller& caller,
                              BridgeEnd& bridge) {
    const auto& commands = services.programOptions.commands;
    const auto command = commands.find(name);
    if (command != commands.end()) return connectStarted(services, command->second, caller, bridge);
    auto limit = services.programOptions.wait;
    const auto& registering = services.programOptions.registering;
    const auto starter = registering.find(name);
    if (starter != registering.end() && services.programs.counts(name).instances == 0) {
        const StartArguments arguments{"127.0.0.1", services.service, "", name};
        const Descriptor process(services.started.start(starter->second, arguments, BridgeEnd()));
        if (process.number() < 0) return notStarted(starter->second);
        limit = std::max(limit, services.programOptions.startLimit);
    }
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto result = tryRegistered(services, name, caller, deadline, bridge);
        if (result) return *result;
    }
}

}  // namespace zordev
