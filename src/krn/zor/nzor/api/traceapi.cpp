// Exported functions of the family "Tracing".

#include <kelzor/trace.h>

#include <string_view>

#include "api/frame.h"
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

/** The level of a function whose opening and closing lines are written always. */
struct EveryLevel {
    static constexpr unsigned threshold = callThreshold;
    unsigned operator()() const noexcept { return ZorConfig::getGlobalTraceLevel() | 1u; }
};

}  // namespace

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
