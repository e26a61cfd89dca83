#include "devsys/programregistry.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace zordev {
namespace {

int makeWakeUp() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return descriptor;
}

bool matches(const std::string& wanted, const std::string& programId) {
    return wanted.empty() || wanted == programId;
}

}  // namespace

ProgramRegistry::Instance::Instance(ProgramRegistry& registry, std::string programId)
    : registry_(registry), programId_(std::move(programId)), wakeUp_(makeWakeUp()) {
    const std::lock_guard lock(registry_.mutex_);
    registry_.instances_.push_back(this);
}

ProgramRegistry::Instance::~Instance() {
    {
        const std::lock_guard lock(registry_.mutex_);
        std::erase(registry_.instances_, this);
        Instance* const other = offer_.partner ? registry_.firstReady(programId_) : nullptr;
        if (other != nullptr) registry_.assign(*other, std::move(*offer_.partner));
    }
    close(wakeUp_);
}

void ProgramRegistry::Instance::ready() {
    const std::lock_guard lock(registry_.mutex_);
    since_ = registry_.nextNumber_++;
    auto& waiting = registry_.waiting_;
    const auto partner = std::ranges::find(waiting, programId_, &Waiting::programId);
    if (partner != waiting.end()) {
        registry_.assign(*this, std::move(partner->bridge));
        waiting.erase(partner);
        return;
    }
    ready_ = true;
    registry_.readyEvent_.notify_all();
}

void ProgramRegistry::Instance::keptAlive() {
    const std::lock_guard lock(registry_.mutex_);
    since_ = registry_.nextNumber_++;
}

ProgramOffer ProgramRegistry::Instance::take() {
    const std::lock_guard lock(registry_.mutex_);
    eventfd_t ignored;
    eventfd_read(wakeUp_, &ignored);
    return std::exchange(offer_, {});
}

void ProgramRegistry::Instance::offer() {
    eventfd_write(wakeUp_, 1);
}

ProgramRegistry::Instance* ProgramRegistry::firstReady(const std::string& programId) const {
    Instance* first = nullptr;
    for (Instance* const instance : instances_) {
        if (!instance->ready_ || instance->programId_ != programId) continue;
        if (first == nullptr || instance->since_ < first->since_) first = instance;
    }
    return first;
}

void ProgramRegistry::assign(Instance& instance, BridgeEnd bridge) {
    instance.ready_ = false;
    instance.offer_.partner = std::move(bridge);
    instance.offer();
}

ProgramRegistry::Request ProgramRegistry::request(const std::string& programId, BridgeEnd bridge,
                                                  bool mayWait) {
    const std::lock_guard lock(mutex_);
    Instance* const instance = firstReady(programId);
    if (instance != nullptr) {
        assign(*instance, std::move(bridge));
        return {Request::assigned};
    }
    if (!mayWait) return {countLocked(programId).instances > 0 ? Request::busy : Request::unknown};
    waiting_.push_back({nextNumber_, programId, std::move(bridge)});
    return {Request::waiting, nextNumber_++};
}

void ProgramRegistry::withdraw(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [number](const Waiting& partner) { return partner.number == number; });
}

unsigned ProgramRegistry::cancel(const std::string& programId, int kelRc) {
    const std::lock_guard lock(mutex_);
    unsigned count = 0;
    for (Instance* const instance : instances_) {
        if (!matches(programId, instance->programId_)) continue;
        instance->ready_ = false;
        instance->offer_.cancelCode = kelRc;
        instance->offer();
        ++count;
    }
    return count;
}

ProgramCounts ProgramRegistry::countLocked(const std::string& programId) const {
    ProgramCounts counts;
    for (const Instance* const instance : instances_) {
        if (!matches(programId, instance->programId_)) continue;
        ++counts.instances;
        if (instance->ready_) ++counts.ready;
    }
    for (const Waiting& partner : waiting_) {
        if (matches(programId, partner.programId)) ++counts.waiting;
    }
    return counts;
}

ProgramCounts ProgramRegistry::counts(const std::string& programId) const {
    const std::lock_guard lock(mutex_);
    return countLocked(programId);
}

bool ProgramRegistry::awaitReady(const std::string& programId, unsigned count,
                                 std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return readyEvent_.wait_for(lock, timeout, [&] { return countLocked(programId).ready >= count; });
}

}  // namespace zordev
