/**
 * @file
 * Function containers: the parameters of one remote function, filled before a call and read after it.
 *
 * The field functions of data.h read and write parameters by name or index. Only active parameters take
 * part in a call. Writing a scalar or string makes a parameter active. Optional parameters that are sent
 * start inactive, except tables and structures; all others start active.
 */
#ifndef KELZOR_FUNCTION_H
#define KELZOR_FUNCTION_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a container. Locks the description, which may be destroyed right afterwards.
 *
 * @return the container, the caller's until `ZorDestroyFunction`; NULL on failure.
 * Failures: `ZOR_INVALID_HANDLE` (NULL); `ZOR_INVALID_PARAMETER` (the description is gone, or one behind a
 * parameter can't be locked); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_FUNCTION_HANDLE ZorCreateFunction(ZOR_FUNCTION_DESC_HANDLE funcDescHandle,
                                                 ZOR_ERROR_INFO* errorInfo);

/**
 * Destroys a container with all its parameters; handles got from it are then invalid.
 * Failure: `ZOR_INVALID_HANDLE`.
 */
KELZOR_API ZOR_RC ZorDestroyFunction(ZOR_FUNCTION_HANDLE funcHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Makes a parameter active (`isActive` not 0) or inactive. An unknown name has no effect.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (`paramName` is NULL).
 */
KELZOR_API ZOR_RC ZorSetParameterActive(ZOR_FUNCTION_HANDLE funcHandle, const KEL_UC* paramName, int isActive,
                                        ZOR_ERROR_INFO* errorInfo);

/**
 * Tells whether a parameter is active; 0 for an unknown name.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (an argument is NULL).
 */
KELZOR_API ZOR_RC ZorIsParameterActive(ZOR_FUNCTION_HANDLE funcHandle, const KEL_UC* paramName, int* isActive,
                                       ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a container.
 *
 * @return the description, which isn't to be destroyed; NULL on failure.
 * Failure: `ZOR_INVALID_HANDLE` (NULL, no container, or no function).
 */
KELZOR_API ZOR_FUNCTION_DESC_HANDLE ZorDescribeFunction(ZOR_FUNCTION_HANDLE funcHandle,
                                                        ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
