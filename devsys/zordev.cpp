#include "devsys/zordev.h"

#include <optional>

#include "devsys/bridgestream.h"
#include "devsys/gateway.h"
#include "devsys/programcall.h"
#include "devsys/session.h"
#include "devsys/socketport.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {

// In the order in which they need each other.
struct DevSystem::Parts {
    explicit Parts(DevOptions options)
        : violations(std::move(options.violationSink)),
          recorder(options.recordRequests),
          backEnd{std::move(options.names), std::move(options.profile), UserTable(std::move(options.users)),
                  violations, recorder},
          services{options.capabilities, faults, violations,
                   [this](BridgeEnd& bridge, const std::string& id) { Session(backEnd, bridge, id).run(); },
                   std::move(options.programs)},
          gateway((faults.set(options.faults), options.gatewayPort), services) {
        if (options.ownPort)
            ownPort.emplace([this](BridgeEnd& bridge, const std::string& id) {
                Session(backEnd, bridge, id, Session::Way::plainSocket).run();
            });
    }

    ViolationLog violations;
    Recorder recorder;
    FaultSwitch faults;
    BackEnd backEnd;
    GatewayServices services;
    Gateway gateway;
    std::optional<SocketPort> ownPort;
};

DevSystem::DevSystem(DevOptions options) : parts_(std::make_unique<Parts>(std::move(options))) {}

DevSystem::~DevSystem() = default;

std::uint16_t DevSystem::gatewayPort() const {
    return parts_->gateway.port();
}

std::uint16_t DevSystem::ownPort() const {
    return parts_->ownPort ? parts_->ownPort->port() : std::uint16_t{0};
}

void DevSystem::breakOwnPortConnections() {
    if (parts_->ownPort) parts_->ownPort->breakConnections();
}

std::vector<Violation> DevSystem::violations() const {
    return parts_->violations.all();
}

std::string DevSystem::violationText() const {
    std::string text;
    for (const Violation& violation : violations())
        text += violation.toString() + '\n';
    return text;
}

void DevSystem::clearViolations() {
    parts_->violations.clear();
}

std::vector<RecordedRequest> DevSystem::requests() const {
    return parts_->recorder.all();
}

void DevSystem::clearRequests() {
    parts_->recorder.clear();
}

void DevSystem::recordRequests(bool on) {
    parts_->recorder.switchOn(on);
}

void DevSystem::setFaults(const Faults& faults) {
    parts_->faults.set(faults);
}

void DevSystem::setDictionaryFault(DictionaryFault fault) {
    parts_->backEnd.dictionaryFault = fault;
}

ConnectionCounts DevSystem::counts() const {
    return {parts_->gateway.accepted(), parts_->services.allocated.load(), parts_->gateway.open()};
}

ProgramCounts DevSystem::programs(const std::string& programId) const {
    return parts_->services.programs.counts(programId);
}

bool DevSystem::awaitPrograms(const std::string& programId, unsigned ready,
                              std::chrono::milliseconds timeout) const {
    return parts_->services.programs.awaitReady(programId, ready, timeout);
}

unsigned DevSystem::cancelPrograms(const std::string& programId) {
    return parts_->services.programs.cancel(programId, C_MANUAL_CANCELD);
}

ProgramSession DevSystem::openProgram(const std::string& programId) {
    BridgeEnd bridge;
    const ProgramFailure failure = connectProgram(parts_->services, programId, {}, bridge);
    const BackEndNames& names = parts_->backEnd.names;
    if (failure.kelRc != 0) {
        ProgramAnswer reason{.failure = failure.reason, .kelRc = failure.kelRc, .conversationOver = true};
        return {nullptr, names, parts_->violations, std::move(reason)};
    }
    return {std::make_unique<BridgeStream>(std::move(bridge)), names, parts_->violations};
}

ProgramAnswer DevSystem::callRegistered(const std::string& programId, std::string_view function,
                                        const std::vector<ProgramParameter>& parameters) {
    return openProgram(programId).call(function, parameters);
}

unsigned DevSystem::startedPrograms() const {
    return parts_->services.started.running();
}

void DevSystem::vanish() {
    parts_->gateway.vanish();
}

void DevSystem::shutDown() {
    parts_->gateway.shutDown();
}

void DevSystem::comeBack() {
    parts_->gateway.comeBack();
}

}  // namespace zordev
