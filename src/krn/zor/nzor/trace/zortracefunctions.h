/**
 * @file
 * The free functions through which all of the object layer traces. They write to the trace file of
 * the calling thread, catch their own failures and never throw. The caller tests the level first,
 * so that nothing is formatted at level 0.
 */
#pragma once

#include <kelzor/error.h>
#include <kelzor/types.h>

#include <cstdio>

class ZorBaseException;

/** Opening line of an exported function. */
void ZorTraceBeginApi(const KEL_UC* name) noexcept;

/** Closing lines of an exported function; info may be NULL. */
void ZorTraceEndApi(const KEL_UC* name, ZOR_RC rc, const ZOR_ERROR_INFO* info) noexcept;

/** Opening line of an internal operation. */
void ZorTraceBeginMethod(const KEL_UC* name) noexcept;

/** Closing lines of an internal operation. */
void ZorTraceEndMethod(const KEL_UC* name, int rc) noexcept;

/** A formatted text, at most 1023 characters, and a newline. */
[[gnu::format(printf, 1, 2)]] void ZorTraceWrite(const KEL_UC* format, ...) noexcept;

/** A hex dump entry under a formatted title. Callers never pass data that hold a secret. */
[[gnu::format(printf, 3, 4)]] void ZorTraceHexDump(const KEL_RAW* data, unsigned length, const KEL_UC* format,
                                                   ...) noexcept;

/** A line in the log file, at every level. */
[[gnu::format(printf, 1, 2)]] void ZorLogWrite(const KEL_UC* format, ...) noexcept;

/** The log line of an exception. */
void ZorLogException(const ZorBaseException& exception) noexcept;
