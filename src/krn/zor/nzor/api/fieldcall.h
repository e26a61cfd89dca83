/**
 * @file
 * One call of a field accessor: the two ways to name a field, the frame, and the trace lines.
 *
 * The lines are the call with its arguments before the checks, and the value behind the work. The values
 * of fields whose names tell that they hold a password are never written.
 */
#pragma once

#include "api/recordframe.h"
#include "data/zornamelength.h"

namespace zorapi {

/** A field by name. */
struct ByName {
    const KEL_UC* name;
    unsigned indexIn(const ZorRecord& record) const { return record.getIndex(name); }
    /** An index that doesn't exist where there is no such field, or no name. */
    unsigned findIn(const ZorRecord& record) const noexcept {
        return name != nullptr ? record.findIndex({name, zorNameLength(name)}) : ZorNameIndex::notFound;
    }
};

/** A field by index. */
struct ByIndex {
    unsigned index;
    unsigned indexIn(const ZorRecord&) const noexcept { return index; }
    unsigned findIn(const ZorRecord&) const noexcept { return index; }
};

/** A field by either, for the trace, which is no hot road. */
struct TracedField {
    TracedField(ByName key) noexcept : name(key.name), byName(true) {}
    TracedField(ByIndex key) noexcept : index(key.index), byName(false) {}

    const KEL_UC* name = nullptr;
    unsigned index = 0;
    bool byName;
};

/**
 * An accessor's own name, the container and the record that the caller gave. The traces take it by value: so
 * it is put together on their roads only.
 */
struct FieldCall {
    const KEL_UC* function;
    DATA_CONTAINER_HANDLE handle;
    ZOR_ERROR_INFO* errorInfo;
};

/** True if the value of a field must not be traced. */
bool isSecret(FieldCall call, const TracedField& field) noexcept;

/** The line of a call; the format tells the arguments between the field and the error record. */
[[gnu::format(printf, 3, 4)]] void traceArguments(FieldCall call, const TracedField& field,
                                                  const KEL_UC* format, ...) noexcept;

/** The line of a value that was read. */
[[gnu::format(printf, 3, 4)]] void traceResult(FieldCall call, const TracedField& field, const KEL_UC* format,
                                               ...) noexcept;

/** The dump of a buffer that was read or written. */
void traceBuffer(FieldCall call, const TracedField& field, const void* buffer, unsigned length) noexcept;

/** Level source: the container's level, which was read before, so that it is read once. */
struct FieldLevel {
    unsigned level;
    static constexpr unsigned threshold = fieldThreshold;
    unsigned operator()() const noexcept { return level; }
};

/** Pseudo-check that traces the arguments once the trace is open and never fails. */
template <class Trace>
struct TraceArguments {
    FieldLevel level;
    const Trace& trace;
    Verdict operator()() const noexcept {
        if (level() > fieldThreshold) [[unlikely]]
            trace();
        return {};
    }
};

template <class Trace>
auto fieldChecks(FieldLevel level, const ZorRecord* record, ByName key, const Trace& trace) noexcept {
    return checks(TraceArguments<Trace>{level, trace}, Required{key.name, "NAME"}, Handle{record});
}

template <class Trace>
auto fieldChecks(FieldLevel level, const ZorRecord* record, ByIndex, const Trace& trace) noexcept {
    return checks(TraceArguments<Trace>{level, trace}, Handle{record});
}

/**
 * Runs an accessor. `arguments` writes the line of the call, `work` gets the record and the field's index,
 * `result` writes the line of the value.
 */
template <class Key, class Arguments, class Work, class Result>
ZOR_RC onField(const FieldCall& call, Key key, const Arguments& arguments, const Work& work,
               const Result& result) {
    ZorRecord* const record = liveRecord(call.handle);
    const FieldLevel level{ContainerLevel{call.handle}()};
    return guarded(call.function, call.errorInfo, level, fieldChecks(level, record, key, arguments),
                   [&](FrameTrace& trace) {
                       work(*record, key.indexIn(*record));
                       if (trace.isOpen()) [[unlikely]]
                           result();
                   });
}

/**
 * The container for the commonest access of all: a living one whose accesses aren't traced; null for any
 * other. A plain number is settled in front of the frame, which would cost more than the access;
 * what can't be settled there runs through the frame from the start, so that the frame alone knows failures.
 */
inline ZorRecord* quietRecord(DATA_CONTAINER_HANDLE handle) noexcept {
    ZorRecord* const record = liveRecord(handle);
    return record != nullptr && record->getTraceLevel() <= fieldThreshold ? record : nullptr;
}

/** The result of an access that was settled in front of the frame. */
inline ZOR_RC plainDone(ZOR_ERROR_INFO* errorInfo) noexcept {
    if (errorInfo != nullptr) errorInfo->code = ZOR_OK;
    return ZOR_OK;
}

}  // namespace zorapi
