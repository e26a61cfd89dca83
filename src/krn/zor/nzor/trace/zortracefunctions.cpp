#include "trace/zortracefunctions.h"

#include <cerrno>
#include <cstdarg>

#include "error/zorexception.h"
#include "trace/zortrace.h"

namespace {

/** Runs one entry; a failure gives up the rest of it and reaches nobody, not even by errno. */
template <class Body>
void guardedEntry(const Body& body) noexcept {
    const int savedErrno = errno;
    try {
        body();
    } catch (...) {
        // Tracing never fails a call.
    }
    errno = savedErrno;
}

}  // namespace

void ZorTraceBeginApi(const KEL_UC* name) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->write({">> ", name, "\n"});
    });
}

void ZorTraceEndApi(const KEL_UC* name, ZOR_RC rc, const ZOR_ERROR_INFO* info) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        ZorTrace::writeEndApi(trace.stream(), name, rc, info);
    });
}

void ZorTraceBeginMethod(const KEL_UC* name) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->write({"\t>> ", name, "\n"});
    });
}

void ZorTraceEndMethod(const KEL_UC* name, int rc) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->print("\t<< %s returned %d\n\n", name, rc);
    });
}

void ZorTraceWrite(const KEL_UC* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->vprint(format, arguments);
        trace->write("\n");
    });
    va_end(arguments);
}

void ZorTraceHexDump(const KEL_RAW* data, unsigned length, const KEL_UC* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    guardedEntry([&] {
        const ZorTraceHold trace;
        ZorTrace::writeHexEntry(trace.stream(), data, length, format, arguments);
    });
    va_end(arguments);
}

void ZorLogWrite(const KEL_UC* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    guardedEntry([&] { ZorTrace::writeLog(format, arguments); });
    va_end(arguments);
}

void ZorLogException(const ZorBaseException& exception) noexcept {
    ZorLogWrite("ZorBaseException occured. Key: %s, Message: %s", exception.getKey().c_str(),
                exception.getMessage().c_str());
}
