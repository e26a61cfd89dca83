/**
 * @file
 * The frame in which every exported function runs: clear the record, choose the trace level, open the
 * trace, check the arguments, do the work under guard, map what was thrown, close the trace.
 *
 * A shell is one call of `guarded` (or `light`, which has no catch ladder and serves operations that
 * can't throw): its name, its record, where its trace level comes from, its checks in order, its work.
 * The work returns nothing (success), a ZOR_RC, or the handle that the function returns; a handle is
 * NULL on any failure. At level 0 the frame costs a store, a load and a branch.
 */
#pragma once

#include <kelzor/error.h>

#include <tuple>
#include <type_traits>

#include "config/zorconfig.h"
#include "trace/zortrace.h"

namespace zorapi {

/** A level above this opens the trace of most functions. */
inline constexpr unsigned callThreshold = 0;
/** A level above this opens the trace of the field accessors. */
inline constexpr unsigned fieldThreshold = 2;

/**
 * Fills the caller's record for a failed check; NULL is allowed. Touches nothing but these members; a
 * NULL key leaves that of the record.
 */
ZOR_RC setErrorInfo(ZOR_ERROR_INFO* info, ZOR_RC rc, ZOR_ERROR_GROUP group, const KEL_UC* key,
                    const KEL_UC* message) noexcept;

/** Maps the exception that is being handled to the caller's record and to the code to return. */
ZOR_RC mapCurrentException(ZOR_ERROR_INFO* info) noexcept;

/** A check's verdict: `rc` is ZOR_OK when it passed; `label` names the argument that didn't. */
struct Verdict {
    ZOR_RC rc = ZOR_OK;
    const KEL_UC* label = nullptr;
    ZOR_ERROR_GROUP group = EXTERNAL_RUNTIME_FAILURE;
    const KEL_UC* text = nullptr;  ///< Message, where not the usual one for the code; %s is the label.
    const KEL_UC* key = nullptr;   ///< NULL for the name of the code.
};

/** Records a failed check and writes the closing trace line, which obeys the global level. */
ZOR_RC refuse(const KEL_UC* name, ZOR_ERROR_INFO* info, const Verdict& verdict) noexcept;

/** Check: a handle that must not be NULL. */
struct Handle {
    const void* handle;
    Verdict operator()() const noexcept {
        return handle != nullptr ? Verdict{} : Verdict{ZOR_INVALID_HANDLE, nullptr};
    }
};

/** Check: an argument that is needed; the label stands in the message. */
struct Required {
    const void* argument;
    const KEL_UC* label;
    Verdict operator()() const noexcept {
        return argument != nullptr ? Verdict{} : Verdict{ZOR_INVALID_PARAMETER, label};
    }
};

/** Check: a text, known not to be NULL, that must not be empty; the label stands in the message. */
struct NonEmpty {
    const KEL_UC* text;
    const KEL_UC* label;
    Verdict operator()() const noexcept {
        if (*text != 0) return {};
        return {ZOR_INVALID_PARAMETER, label, EXTERNAL_APPLICATION_FAILURE, "Parameter \"%s\" is empty"};
    }
};

/** Check: a number that must not be 0; the label stands in the message. */
struct NonZero {
    unsigned number;
    const KEL_UC* label;
    Verdict operator()() const noexcept {
        return number != 0 ? Verdict{} : Verdict{ZOR_INVALID_PARAMETER, label};
    }
};

/** Check: a length behind a pointer, known not to be NULL, that must not be 0; the label stands in the
 * message.
 */
struct NonZeroAt {
    const unsigned* number;
    const KEL_UC* label;
    Verdict operator()() const noexcept { return NonZero{*number, label}(); }
};

/** The checks of a function, in the order in which they are made. */
template <class... Check>
constexpr std::tuple<Check...> checks(Check... check) {
    return {check...};
}

/** The verdict of the first check that fails. */
template <class... Check>
Verdict firstRefusal(const std::tuple<Check...>& all) noexcept {
    Verdict verdict;
    std::apply([&](const auto&... check) { (void)(((verdict = check()).rc == ZOR_OK) && ...); }, all);
    return verdict;
}

/** Level source: the global level. Reading it also runs a pending refresh of the configuration. */
struct GlobalLevel {
    static constexpr unsigned threshold = callThreshold;
    unsigned operator()() const noexcept { return ZorConfig::getGlobalTraceLevel(); }
};

/** The opening and closing trace lines of one call. */
class FrameTrace {
  public:
    FrameTrace(const KEL_UC* name, unsigned level, unsigned threshold) noexcept
        : name(name), threshold(threshold) {
        setLevel(level);
    }

    /** Gives the call another level on its way; a trace that wasn't open yet is opened now. */
    void setLevel(unsigned level) noexcept {
        if (level > threshold && !open) [[unlikely]] {
            open = true;
            writeBegin(name);
        }
        closing = level > threshold;
    }

    /** True if the call is being traced, so that work may add lines of its own. */
    bool isOpen() const noexcept { return open; }

    /** Ends the trace of a call that went well, an object with it: one write of the system, not two. */
    template <class Object>
    void endWith(Object& object) noexcept {
        if (closing)
            ZorTraceEndApiWith(name, object);
        else
            ZorTraceObject(object);
        closing = false;
    }

    void end(ZOR_RC rc, const ZOR_ERROR_INFO* info) const noexcept {
        if (closing) [[unlikely]]
            writeEnd(name, rc, info);
    }

  private:
    // Static, so that the members can stay in registers.
    static void writeBegin(const KEL_UC* name) noexcept;
    static void writeEnd(const KEL_UC* name, ZOR_RC rc, const ZOR_ERROR_INFO* info) noexcept;

    const KEL_UC* name;
    unsigned threshold;
    bool open = false;
    bool closing = false;
};

/** Result of the work: a code, or a handle that is NULL unless the code is ZOR_OK. */
template <class Work, class Result>
ZOR_RC runWork(Work& work, FrameTrace& trace, Result& result) {
    const auto invoke = [&]() -> decltype(auto) {
        if constexpr (std::is_invocable_v<Work&, FrameTrace&>)
            return work(trace);
        else
            return work();
    };
    if constexpr (std::is_void_v<decltype(invoke())>) {
        invoke();
        return result = ZOR_OK;
    } else if constexpr (std::is_same_v<Result, ZOR_RC>) {
        return result = invoke();
    } else {
        result = invoke();
        return ZOR_OK;
    }
}

template <class Work>
struct WorkResult {
    template <class W>
    static auto probe(W& work, FrameTrace& trace) {
        if constexpr (std::is_invocable_v<W&, FrameTrace&>)
            return work(trace);
        else
            return work();
    }
    using Raw = decltype(probe(std::declval<Work&>(), std::declval<FrameTrace&>()));
    using type = std::conditional_t<std::is_void_v<Raw>, ZOR_RC, Raw>;
};

template <bool guard, class Level, class Checks, class Work>
typename WorkResult<Work>::type frame(const KEL_UC* name, ZOR_ERROR_INFO* info, const Level& level,
                                      const Checks& all, Work&& work) {
    using Result = typename WorkResult<Work>::type;
    if (info != nullptr) info->code = ZOR_OK;
    FrameTrace trace(name, level(), Level::threshold);
    Result result{};
    if (const Verdict verdict = firstRefusal(all); verdict.rc != ZOR_OK) [[unlikely]] {
        const ZOR_RC rc = refuse(name, info, verdict);
        if constexpr (std::is_same_v<Result, ZOR_RC>) result = rc;
        return result;
    }
    ZOR_RC rc;
    if constexpr (guard) {
        try {
            rc = runWork(work, trace, result);
        } catch (...) {
            rc = mapCurrentException(info);
            if constexpr (std::is_same_v<Result, ZOR_RC>) result = rc;
        }
    } else {
        rc = runWork(work, trace, result);
    }
    trace.end(rc, info);
    return result;
}

/** The whole frame. */
template <class Level, class Checks, class Work>
auto guarded(const KEL_UC* name, ZOR_ERROR_INFO* info, const Level& level, const Checks& all, Work&& work) {
    return frame<true>(name, info, level, all, work);
}

/** The frame without the catch ladder, for work that can't throw. */
template <class Level, class Checks, class Work>
auto light(const KEL_UC* name, ZOR_ERROR_INFO* info, const Level& level, const Checks& all, Work&& work) {
    return frame<false>(name, info, level, all, work);
}

}  // namespace zorapi
