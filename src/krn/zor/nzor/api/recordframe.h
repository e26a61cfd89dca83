/** @file What the frames of all functions on data containers share: their trace level and their checks. */
#pragma once

#include "api/frame.h"
#include "data/zorrecord.h"
#include "trace/zortracefunctions.h"

namespace zorapi {

/**
 * The container behind a handle; null for NULL and for what bears no mark of a living container. Until the
 * mark is seen the handle is but an address, which is why the sanitizer may not ask for the object's type.
 */
__attribute__((no_sanitize("vptr"))) inline ZorRecord* liveRecord(DATA_CONTAINER_HANDLE handle) noexcept {
    ZorRecord* record = ZorRecord::fromHandle(handle);
    return record != nullptr && record->isValid() ? record : nullptr;
}

/** Level source: the container's own level; the global one for a handle without container. */
struct ContainerLevel {
    DATA_CONTAINER_HANDLE handle;
    static constexpr unsigned threshold = callThreshold;
    unsigned operator()() const noexcept {
        const ZorRecord* record = liveRecord(handle);
        return record != nullptr ? record->getTraceLevel() : ZorConfig::getGlobalTraceLevel();
    }
};

/** Check: a handle of a living container of one kind. */
struct ContainerOf {
    ZorRecordType type;
    DATA_CONTAINER_HANDLE handle;
    Verdict operator()() const noexcept {
        const ZorRecord* record = liveRecord(handle);
        return record != nullptr && record->getRecordType() == type ? Verdict{}
                                                                    : Verdict{ZOR_INVALID_HANDLE, nullptr};
    }
};

/** Check: as `ContainerOf`, and one that the caller owns: a child belongs to its field. */
struct OwnContainer {
    ZorRecordType type;
    DATA_CONTAINER_HANDLE handle;
    Verdict operator()() const noexcept {
        const Verdict verdict = ContainerOf{type, handle}();
        if (verdict.rc != ZOR_OK || !ZorRecord::fromHandle(handle)->isHeld()) return verdict;
        return {ZOR_INVALID_HANDLE, nullptr};
    }
};

/** Pseudo-check that writes the line of a call that asks for a description, and never fails. */
struct TraceDescribeType {
    DATA_CONTAINER_HANDLE handle;
    const ZOR_ERROR_INFO* errorInfo;
    Verdict operator()() const noexcept {
        if (ContainerLevel{handle}() > callThreshold) [[unlikely]]
            ZorTraceWrite("ZorDescribeType(%p, errorInfo=%p)", static_cast<const void*>(handle),
                          static_cast<const void*>(errorInfo));
        return {};
    }
};

}  // namespace zorapi
