/**
 * @file
 * Functions of this program that partners may call: on any connection, a client's included, while a call of
 * its own is waiting for its answer.
 *
 * The tables of functions are the process's. A function runs on the thread on which its call came in; it may
 * call on the connection that it gets, install and remove functions, and call back to any depth. It must not
 * keep the handles it gets beyond its return.
 */
#ifndef KELZOR_SERVER_H
#define KELZOR_SERVER_H

#include <kelzor/connection.h>
#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * A function that a partner calls.
 *
 * @param zorHandle the connection, valid during the call; not to be closed, unless the call that waits on it
 * is to fail.
 * @param funcHandle the parameters: imports as they came, exports to be filled. Belongs to the library.
 *        A result that the partner didn't ask for is inactive.
 * @param errorInfo zeros; to be filled where the result isn't `ZOR_OK`.
 * @return `ZOR_OK` to send the results. `ZOR_UBIX_EXCEPTION` with `key`: the partner gets the exception, and
 * a call of this side goes on waiting. `ZOR_UBIX_MESSAGE` and `ZOR_EXTERNAL_FAILURE`: the partner gets the
 * message and its fields; anything else: `message` alone. All but the exceptions end the call of this side
 * that waits on the connection with this failure. A C++ exception counts as `ZOR_EXTERNAL_FAILURE`.
 */
typedef ZOR_RC (*ZOR_SERVER_FUNCTION)(ZOR_CONNECTION_HANDLE zorHandle, ZOR_FUNCTION_HANDLE funcHandle,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a function that isn't installed, for the generic function to serve.
 *
 * @param attributes what is known about the connection.
 * @param funcDesc takes the description, which stays the caller's; the library holds a reference of its own.
 * @return `ZOR_OK`, or anything else if there is no such function.
 */
typedef ZOR_RC (*ZOR_FUNC_DESC_CALLBACK)(const KEL_UC* functionName, ZOR_ATTRIBUTES attributes,
                                         ZOR_FUNCTION_DESC_HANDLE* funcDesc);

/**
 * Installs a function under the name of its description, in the place of the one before.
 *
 * @param sysId system whose calls it serves; NULL or empty for all that have no function of their own.
 * @param funcDescHandle description of the parameters; it is locked at the first call, and a reference is
 * held as long as the function is installed.
 * @param serverFunction NULL removes the function.
 *
 * Names are compared as they are. The four functions that every process has (`ZOR_PING`, `ZOR_SYSTEM_INFO`,
 * `ZOR_DOCU`, `ZOR_SET_REG_SERVER_PROPERTY`) can't be replaced. Any thread may call this.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (the description was removed);
 * `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_RC ZorInstallServerFunction(const KEL_UC* sysId, ZOR_FUNCTION_DESC_HANDLE funcDescHandle,
                                           ZOR_SERVER_FUNCTION serverFunction, ZOR_ERROR_INFO* errorInfo);

/**
 * Installs one function that serves all calls for which none is installed. The provider is asked once for
 * each name and system; what it gives stays installed.
 *
 * Failures: `ZOR_INVALID_PARAMETER` (one of the two is NULL).
 */
KELZOR_API ZOR_RC ZorInstallGenericServerFunction(ZOR_SERVER_FUNCTION serverFunction,
                                                  ZOR_FUNC_DESC_CALLBACK funcDescProvider,
                                                  ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
