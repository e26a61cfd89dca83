// Exported functions of the family "Tracing".

#include <kelzor/trace.h>

#include <algorithm>
#include <string_view>

#include "api/connectionframe.h"
#include "error/zorexception.h"
#include "trace/zortrace.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

constexpr struct {
    std::string_view name;
    TRACE_ENCODING encoding;
} encodings[] = {{"UTF-16", TRACE_UTF16}, {"UTF-8", TRACE_UTF8}, {"DEFAULT", TRACE_NATIVE}};

/** What stands behind a known name is passed over. */
TRACE_ENCODING encodingOf(std::string_view text) {
    for (const auto& [name, encoding] : encodings)
        if (text.starts_with(name)) return encoding;
    throw ZorInvalidParameterException("Invalid Trace Encoding");
}

/** Tells of a change of all trace files, in the trace and in the log. */
void announce(const KEL_UC* setting, const KEL_UC* value) noexcept {
    if (ZorConfig::getGlobalTraceLevel() > 0)
        ZorTraceWrite("Changing global trace %s to %s\n", setting, value);
    ZorLogWrite("Changing global trace %s to %s\n", setting, value);
}

bool byThread(std::string_view type) {
    if (type != "THREAD" && type != "PROCESS") throw ZorInvalidParameterException("Invalid trace type");
    return type == "THREAD";
}

constexpr unsigned highestTraceLevel = 3;

/** A handle as the trace shows it. */
unsigned long long handleNumber(ZOR_CONNECTION_HANDLE handle) noexcept {
    return reinterpret_cast<std::uintptr_t>(handle);
}

/** What is asked for but isn't allowed is told to the log only: the caller goes on as it is. */
bool levelDenied(unsigned long long handle, const KEL_UC* destination, unsigned level) noexcept {
    const unsigned minimum = ZorConfig::getMinimumTraceLevel();
    if (level >= minimum) return false;
    ZorLogWrite(
        "Changing trace level denied, since requested trace level is smaller than minimum trace level: "
        "handle %llu / destination %s / level %u / minimum level %u\n",
        handle, destination, level, minimum);
    return true;
}

void setGlobalLevel(unsigned level) noexcept {
    const unsigned old = ZorConfig::getGlobalTraceLevel();
    if (old > 0) ZorTraceWrite("Changing global trace level from %u to %u\n", old, level);
    ZorConfig::setGlobalTraceLevel(level);
}

void setDestinationLevel(const KEL_UC* destination, unsigned level) {
    if (ZorConfig::getGlobalTraceLevel() > 0)
        ZorTraceWrite("Changing trace level for destination %s from %u to %u\n", destination,
                      ZorConfig::getDestinationTraceLevel(destination), level);
    ZorConfig::setDestinationTraceLevel(destination, level);
}

/** The level of a function whose opening and closing lines are written always. */
struct EveryLevel {
    static constexpr unsigned threshold = callThreshold;
    unsigned operator()() const noexcept { return ZorConfig::getGlobalTraceLevel() | 1u; }
};

}  // namespace

ZOR_RC ZorSetTraceLevel(ZOR_CONNECTION_HANDLE connection, KEL_UC* destination, unsigned traceLevel,
                        ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const found = ZorConnection::getConnectionFromHandle(connection);
    return guarded(__func__, errorInfo, ConnectionLevel{found}, checks(), [&]() -> ZOR_RC {
        const unsigned level = std::min(traceLevel, highestTraceLevel);
        const unsigned long long handle = handleNumber(connection);
        const KEL_UC* const shown = destination != nullptr ? destination : "NULL";
        if (levelDenied(handle, shown, level)) return ZOR_OK;
        ZorLogWrite("Changing trace level: handle %llu / destination %s / level %u\n", handle, shown, level);
        if (connection == nullptr && destination == nullptr) setGlobalLevel(level);
        if (connection != nullptr && found == nullptr)
            return setErrorInfo(errorInfo, ZOR_INVALID_HANDLE, EXTERNAL_RUNTIME_FAILURE, "ZOR_INVALID_HANDLE",
                                "An invalid handle was passed to the API call");
        if (found != nullptr && ZorConfig::getGlobalTraceLevel() > 0)
            ZorTraceWrite("Changing trace level for handle %llu from %u to %u\n", handle,
                          found->getTraceLevel(), level);
        if (destination != nullptr) setDestinationLevel(destination, level);
        // Last, so that an unknown destination leaves the connection as it was.
        if (found != nullptr) found->setTraceLevel(level, false);
        return ZOR_OK;
    });
}

ZOR_RC ZorSetTraceEncoding(KEL_UC* traceEncoding, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = checks(Required{traceEncoding, "traceEncoding"});
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        const TRACE_ENCODING encoding = encodingOf(traceEncoding);
        announce("encoding", traceEncoding);
        ZorConfig::setTraceEncoding(encoding);
        ZorTrace::close();
    });
}

ZOR_RC ZorSetTraceDir(KEL_UC* traceDir, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = checks(Required{traceDir, "traceDir"});
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        announce("directory", traceDir);
        ZorConfig::setTraceDirectory(traceDir);
        ZorTrace::close();
    });
}

ZOR_RC ZorSetTraceType(KEL_UC* traceType, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = checks(Required{traceType, "traceType"});
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        announce("type", traceType);
        const bool wanted = byThread(traceType);
        if (wanted == ZorConfig::traceByThread()) {
            if (ZorConfig::getGlobalTraceLevel() > 0)
                ZorTraceWrite("Global trace type is already %s. Nothing to do...\n", traceType);
            return;
        }
        ZorConfig::setTraceType(wanted);
        ZorTrace::close();
    });
}

ZOR_RC ZorSetCpicTraceLevel(unsigned traceLevel, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, EveryLevel{}, checks(),
                   [&] { ZorConfig::setGlobalCpicTraceLevel(traceLevel); });
}
