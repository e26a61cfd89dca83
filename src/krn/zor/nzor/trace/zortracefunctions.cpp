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

void writeInfoText(KEL_ofstream& trace, const KEL_UC* label, const KEL_UC* text) {
    if (text[0] == 0) return;
    trace.write(label);
    trace.write(text);
    trace.write("\n");
}

}  // namespace

void ZorTraceBeginApi(const KEL_UC* name) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->print(">> %s\n", name);
    });
}

void ZorTraceEndApi(const KEL_UC* name, ZOR_RC rc, const ZOR_ERROR_INFO* info) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->print("<< %s returned %s\n", name, zorRcName(rc));
        if (rc != ZOR_OK && info != nullptr) {
            writeInfoText(*trace.stream(), "\tZOR_ERROR_INFO.key: ", info->key);
            writeInfoText(*trace.stream(), "\tZOR_ERROR_INFO.message: ", info->message);
        }
        trace->write("\n");
    });
}

void ZorTraceBeginMethod(const KEL_UC* name) noexcept {
    guardedEntry([&] {
        const ZorTraceHold trace;
        trace->print("\t>> %s\n", name);
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
