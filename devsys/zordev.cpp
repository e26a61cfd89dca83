#include "devsys/zordev.h"

#include "devsys/gateway.h"
#include "devsys/session.h"

namespace zordev {

// In the order in which they need each other.
struct DevSystem::Parts {
    explicit Parts(DevOptions options)
        : violations(std::move(options.violationSink)),
          recorder(options.recordRequests),
          backEnd{std::move(options.names), UserTable(std::move(options.users)), violations, recorder},
          services{options.capabilities, faults, violations,
                   [this](BridgeEnd& bridge, const std::string& id) { Session(backEnd, bridge, id).run(); }},
          gateway((faults.set(options.faults), options.gatewayPort), services) {}

    ViolationLog violations;
    Recorder recorder;
    FaultSwitch faults;
    BackEnd backEnd;
    ConversationServices services;
    Gateway gateway;
};

DevSystem::DevSystem(DevOptions options) : parts_(std::make_unique<Parts>(std::move(options))) {}

DevSystem::~DevSystem() = default;

std::uint16_t DevSystem::gatewayPort() const {
    return parts_->gateway.port();
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

ConnectionCounts DevSystem::counts() const {
    return {parts_->gateway.accepted(), parts_->services.allocated.load(), parts_->gateway.open()};
}

}  // namespace zordev
