/** @file Trace files: their names, their life, and the forms of an entry. */
#pragma once

#include <kelzor/error.h>
#include <kelzor/types.h>

#include <cstdarg>
#include <ctime>
#include <string_view>

#include "trace/zortracestream.h"

/**
 * All trace output of the object layer. In thread mode each thread writes a file of its own, in process
 * mode all write one; beside these stands the log file. A file begins with a header at each opening, and
 * above the configured size it becomes `<name>.old` and starts anew.
 *
 * `cs_zortrace` is held from `getTrace` to `returnTrace`, so entries of two threads never mix;
 * `cs_devtrace` guards the log. Both are recursive, and `cs_devtrace` comes last.
 */
class ZorTrace {
  public:
    /** The most open files of threads. When one more is needed, all are closed and opened again in need. */
    static constexpr unsigned MAX_CACHE_ENTRIES = 100;

    /** Takes the lock and returns the calling thread's stream, which may be used until returnTrace. */
    static KEL_ofstream* getTrace();
    /** Releases the lock that getTrace took. */
    static void returnTrace() noexcept;
    /** Closes all files, the log too; the next write opens them anew. */
    static void close() noexcept;

    /** A line in the log. */
    [[gnu::format(printf, 1, 0)]] static void writeLog(const KEL_UC* format, va_list arguments);

    /** An entry goes out as a whole when the stream is given back: one write of the system, not two. */
    static void beginEntry(KEL_ofstream* trace, std::string_view kind, std::string_view name);
    static void endEntry(KEL_ofstream* trace, std::string_view kind, std::string_view name);
    /** A key with its value, on a line of its own or with a tab behind it. */
    static void writeKeyValue(KEL_ofstream* trace, std::string_view key, const KEL_UC* value, size_t length,
                              bool lineEnd);
    static void writeKeyValue(KEL_ofstream* trace, std::string_view key, bool value, bool lineEnd);
    /** The same with a text and a line end. */
    static void writeKeyValue(KEL_ofstream* trace, std::string_view key, std::string_view value) {
        writeKeyValue(trace, key, value.data(), value.size(), true);
    }
    static void writeParameter(KEL_ofstream* trace, std::string_view name, ZORTYPE type, unsigned length,
                               bool active, bool requested);
    [[gnu::format(printf, 3, 0)]] static void writeTextEntry(KEL_ofstream* trace, std::string_view kind,
                                                             const KEL_UC* format, va_list arguments);
    /** Closing lines of an exported function; info may be NULL. */
    static void writeEndApi(KEL_ofstream* trace, std::string_view name, ZOR_RC rc,
                            const ZOR_ERROR_INFO* info);
    /** The lines of a dump under a text. */
    [[gnu::format(printf, 4, 0)]] static void writeHexEntry(KEL_ofstream* trace, const KEL_RAW* data,
                                                            unsigned length, const KEL_UC* format,
                                                            va_list arguments);

    static KEL_string timeString();
    static KEL_string timeZone();
    static int getThreadNumber() noexcept;
    /** Name of the calling thread's file, without its directory. */
    static KEL_string getFileName();

    /** Seconds since the epoch. Tests put a clock of their own in its place. */
    static std::time_t (*clock)() noexcept;
};

/** Holds the calling thread's stream; flushes and gives it back at its end. */
class ZorTraceHold {
  public:
    ZorTraceHold() : trace(ZorTrace::getTrace()) {}
    ZorTraceHold(const ZorTraceHold&) = delete;
    ZorTraceHold& operator=(const ZorTraceHold&) = delete;
    ~ZorTraceHold() {
        trace->flush();
        ZorTrace::returnTrace();
    }
    KEL_ofstream* operator->() const noexcept { return trace; }
    KEL_ofstream* stream() const noexcept { return trace; }

  private:
    KEL_ofstream* trace;
};

/** Writes an object to the trace as its own entry; a failure gives up the rest of it and reaches nobody. */
template <class Object>
void ZorTraceObject(Object& object) noexcept {
    try {
        const ZorTraceHold trace;
        object.writeTraceEntry(trace.stream());
    } catch (...) {
        // Tracing never fails a call.
    }
}

/** An object as a successful call left it and the closing line of that call, in one go. */
template <class Object>
void ZorTraceEndApiWith(const KEL_UC* name, Object& object) noexcept {
    try {
        const ZorTraceHold trace;
        object.writeTraceEntry(trace.stream());
        ZorTrace::writeEndApi(trace.stream(), name, ZOR_OK, nullptr);
    } catch (...) {
        // Tracing never fails a call.
    }
}
