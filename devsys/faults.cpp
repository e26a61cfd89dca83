#include "devsys/faults.h"

namespace zordev {

void FaultSwitch::set(const Faults& faults) {
    const std::lock_guard lock(mutex_);
    faults_ = faults;
    generation_.fetch_add(1, std::memory_order_release);
}

void FaultSwitch::copy(Faults& faults, unsigned& generation) const {
    const std::lock_guard lock(mutex_);
    faults = faults_;
    generation = generation_.load(std::memory_order_relaxed);
}

}  // namespace zordev
