/**
 * @file
 * Queries: descriptions of functions, types and classes, asked from the partner system.
 *
 * Each system has a repository in this process, named by its system id and shared by all connections to it
 * (kelzor/repository.h). What it has is given at once, without a word to the partner; what it doesn't have
 * is fetched over the connection by one or more remote calls, which take that connection's time, and then
 * stays in the repository. A query that fails leaves the repository as it was. How the partner is asked
 * depends on its release and, with `USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION` at 1, on that parameter of the
 * connection; the result is the same.
 *
 * A query returns the cached description itself. It is the library's: it is read and used for containers,
 * and not destroyed. It stays until its repository is cleared, and a container that was made from it longer.
 *
 * Queries may run in any number of threads, each on its own connection. Names are compared byte by byte and
 * are given as the partner knows them, as a rule in capitals.
 */
#ifndef KELZOR_QUERY_H
#define KELZOR_QUERY_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gives the description of a remote function.
 *
 * @param zorHandle an open connection; while it is queried no other call may run on it.
 * @param funcName the function's name, at most 30 characters.
 * @return the description, which stays the library's, or NULL:
 * - ZOR_INVALID_PARAMETER: the name is NULL or empty; or the partner's answer contradicts itself, as the
 *   message tells: that has to be mended on its side.
 * - ZOR_INVALID_HANDLE: the connection isn't open (any more); open another one.
 * - ZOR_NOT_SUPPORTED: the partner is another program and no back-end; build the description by hand.
 * - ZOR_NOT_FOUND: there is no function of that name.
 * - ZOR_UBIX_EXCEPTION: the partner refused in its own words; with the key `FU_NOT_FOUND` there is no
 *   function of that name, with any other see the message.
 * - ZOR_UNKNOWN_ERROR: the partner's answer lacks a type that the function uses.
 * - any failure of ZorInvoke, with its effect on the connection: a user needs the authorization to call the
 *   partner's metadata functions.
 */
KELZOR_API ZOR_FUNCTION_DESC_HANDLE ZorGetFunctionDesc(ZOR_CONNECTION_HANDLE zorHandle,
                                                       const KEL_UC* funcName, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a structure, a table type or an elementary type of the partner's dictionary. For
 * a table type its fields are those of a row.
 *
 * @return as ZorGetFunctionDesc. An unknown name may give ZOR_UBIX_EXCEPTION with the key `NOT_FOUND`. A
 * partner before release 300 has no such queries, which is ZOR_INVALID_PARAMETER.
 */
KELZOR_API ZOR_TYPE_DESC_HANDLE ZorGetTypeDesc(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* typeName,
                                               ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a class: its public attributes, those of its parents included, with the classes
 * and types that they refer to. Classes may refer to each other in circles.
 *
 * @return as ZorGetFunctionDesc. ZOR_NOT_FOUND is also the answer of a partner before release 720, which
 * doesn't tell about classes; an unknown name may give ZOR_UBIX_EXCEPTION. ZOR_ILLEGAL_STATE: an attribute
 * refers to a class that the partner doesn't tell about.
 */
KELZOR_API ZOR_CLASS_DESC_HANDLE ZorGetClassDesc(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* className,
                                                 ZOR_ERROR_INFO* errorInfo);

/**
 * Fetches many descriptions at once: functions and types with all that they use in one round trip, whether
 * the repository has them already or not, and then class by class. The connection must have been opened with
 * `USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION` at 1, which the partner has to support.
 *
 * What was found is in the repository afterwards, also where something else wasn't found.
 *
 * @param functionNames array of `functionCount` names; NULL where the number is 0. So are the others.
 * @param handle a result of ZorCreateMetadataQueryResult, emptied and filled with what was found and what
 * wasn't and why; stays the caller's. NULL if nobody wants to know.
 * @return ZOR_OK if all was found, or:
 * - ZOR_UNKNOWN_ERROR, group EXTERNAL_APPLICATION_FAILURE: some were not found; ask the result, and look for
 *   mistyped names. The same code in the group EXTERNAL_RUNTIME_FAILURE: the partner's answer lacks
 * something, and nothing was taken over.
 * - ZOR_ILLEGAL_STATE: the connection was opened without that parameter.
 * - ZOR_INVALID_HANDLE: the connection isn't open (any more).
 * - ZOR_INVALID_PARAMETER: an array or a name in it is NULL, or the partner's answer contradicts itself.
 * - ZOR_NOT_SUPPORTED: the partner is another program and no back-end.
 * - any failure of ZorInvoke, with its effect on the connection.
 */
KELZOR_API ZOR_RC ZorMetadataBatchQuery(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC** functionNames,
                                        unsigned functionCount, const KEL_UC** typeNames, unsigned typeCount,
                                        const KEL_UC** classNames, unsigned classCount,
                                        ZOR_METADATA_QUERY_RESULT_HANDLE handle, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
