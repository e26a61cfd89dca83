/**
 * @file
 * Trace settings of the process, as docs/configuration.md explains them.
 *
 * All functions of this family may be called from any thread. Tracing never changes the result of a call:
 * what can't be written is lost.
 */
#ifndef KELZOR_TRACE_H
#define KELZOR_TRACE_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets a trace level: that of a connection, of a destination of kelzor.ini, of both, or, without either,
 * the global level that all others start from.
 *
 * A level below ZOR_MINIMUM_TRACE_LEVEL of the configuration is passed over with a line in the log, and the
 * result is ZOR_OK all the same. A failing call changes no level.
 *
 * @param connection an open connection, used by no other thread at the moment, or NULL.
 * @param destination name of a destination, or NULL.
 * @param traceLevel 0 (silent), 1 (calls), 2 (inner operations), 3 (fields and dumps); above counts as 3.
 * @return ZOR_INVALID_HANDLE for a connection that isn't open, ZOR_INVALID_PARAMETER for a destination that
 *         isn't known: correct the program.
 */
KELZOR_API ZOR_RC ZorSetTraceLevel(ZOR_CONNECTION_HANDLE connection, KEL_UC* destination, unsigned traceLevel,
                                   ZOR_ERROR_INFO* errorInfo);

/**
 * Sets how trace files are opened, and closes those that are open.
 *
 * @param traceEncoding begins with "UTF-16", "UTF-8" or "DEFAULT".
 * @return ZOR_INVALID_PARAMETER for NULL and for any other text; the setting is then unchanged.
 */
KELZOR_API ZOR_RC ZorSetTraceEncoding(KEL_UC* traceEncoding, ZOR_ERROR_INFO* errorInfo);

/**
 * Sets the directory of the trace files and of the log, and closes those that are open.
 *
 * @param traceDir a directory that the process can read and write.
 * @return ZOR_INVALID_PARAMETER for NULL and for any other directory; the old one then stays.
 */
KELZOR_API ZOR_RC ZorSetTraceDir(KEL_UC* traceDir, ZOR_ERROR_INFO* errorInfo);

/**
 * Chooses between one trace file for each thread and one for the process; a change closes the open files.
 *
 * @param traceType "THREAD" or "PROCESS".
 * @return ZOR_INVALID_PARAMETER for NULL and for any other text; the setting is then unchanged.
 */
KELZOR_API ZOR_RC ZorSetTraceType(KEL_UC* traceType, ZOR_ERROR_INFO* errorInfo);

/**
 * Sets the level of the transport's trace, which goes to a file of its own, cpic_<process>.trc.
 *
 * @param traceLevel 0 to 3; what is above counts as 3.
 * @return ZOR_OK.
 */
KELZOR_API ZOR_RC ZorSetCpicTraceLevel(unsigned traceLevel, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
