/** @file The remote call. */
#ifndef KELZOR_CALL_H
#define KELZOR_CALL_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Calls a remote function and waits for its answer.
 *
 * The active import, changing and table parameters of the container go out; what the partner returns
 * replaces the contents of its active export, changing and table parameters. Handles of tables and
 * structures inside the container stay valid; rows are new. A container may be used for several calls.
 *
 * @param zorHandle an open connection; no other call may run on it.
 * @param funcHandle a function container; stays the caller's.
 *
 * Failures that leave the connection open: `ZOR_INVALID_PARAMETER` (`funcHandle` is NULL);
 * `ZOR_UBIX_EXCEPTION` (the function raised an exception: `key` is its name, the ubixMsg members hold
 * its message); `ZOR_ILLEGAL_STATE`; `ZOR_CONVERSION_FAILURE`; `ZOR_MEMORY_INSUFFICIENT`.
 *
 * Failures after which the partner's program is gone: `ZOR_UBIX_MESSAGE` (it ended with a message, in
 * the ubixMsg members) and `ZOR_UBIX_RUNTIME_FAILURE` (a short dump: `key` is its name). Close the
 * connection and open a new one.
 *
 * Failures that have closed the connection, so that the handle is no longer valid:
 * `ZOR_COMMUNICATION_FAILURE` (the line broke, the text tells where), `ZOR_INVALID_PROTOCOL`,
 * `ZOR_VERSION_MISMATCH`, `ZOR_CANCELED`. `ZOR_INVALID_HANDLE`: the connection was closed before.
 */
KELZOR_API ZOR_RC ZorInvoke(ZOR_CONNECTION_HANDLE zorHandle, ZOR_FUNCTION_HANDLE funcHandle,
                            ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
