/**
 * @file
 * Object instances, and the class exceptions of function containers.
 *
 * The field functions of data.h read and write an instance's attributes by name or index. An instance owns
 * what its attributes hold, other instances too; so instances form trees, and copies are deep.
 *
 * A function may end with a class exception: an instance of an exception class, with a text. On the client
 * it is enabled before the call and read after it; on a server it is set by the function's implementation.
 * Containers belong to one thread at a time.
 */
#ifndef KELZOR_OBJECTS_H
#define KELZOR_OBJECTS_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Object instances */
/** @{ */

/**
 * Makes an instance with initial values: blanks, zeros, no children. Locks the class, whose description may
 * be destroyed right afterwards.
 *
 * @return the object, the caller's until `ZorDestroyUbixObject` or until it becomes a class exception; NULL
 * on failure.
 * Failures: `ZOR_INVALID_HANDLE` (NULL, or no class); `ZOR_INVALID_PARAMETER` (the class is gone, or a
 * structure of it can't be locked); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_UBIX_OBJECT_HANDLE ZorCreateUbixObject(ZOR_CLASS_DESC_HANDLE classDescHandle,
                                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Destroys an object with its children. Only for objects that the caller made: one that came out of a field
 * or became a class exception belongs there.
 * Failure: `ZOR_INVALID_HANDLE` (NULL, no object, or one that belongs to another container).
 */
KELZOR_API ZOR_RC ZorDestroyUbixObject(ZOR_UBIX_OBJECT_HANDLE objHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the class of an object.
 *
 * @return the description, which isn't to be destroyed; NULL on failure, and for an object without class.
 * Failure: `ZOR_INVALID_HANDLE` (NULL, no container, or no object).
 */
KELZOR_API ZOR_CLASS_DESC_HANDLE ZorDescribeUbixObject(ZOR_UBIX_OBJECT_HANDLE objHandle,
                                                       ZOR_ERROR_INFO* errorInfo);

/** @} */
/** @name Class exceptions */
/** @{ */

/**
 * Lets the partner end the function with a class exception.
 *
 * @param zorHandleRepository the connection on which the exception's class is looked up; it should stay open
 *        as long as the container is used.
 * Failure: `ZOR_INVALID_HANDLE` (no function, or no open connection).
 */
KELZOR_API ZOR_RC ZorEnableUbixClassException(ZOR_FUNCTION_HANDLE funcHandle,
                                              ZOR_CONNECTION_HANDLE zorHandleRepository,
                                              ZOR_ERROR_INFO* errorInfo);

/**
 * Tells whether class exceptions are enabled: 1 or 0.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (`isEnabled` is NULL).
 */
KELZOR_API ZOR_RC ZorIsUbixClassExceptionEnabled(ZOR_FUNCTION_HANDLE funcHandle, int* isEnabled,
                                                 ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the exception object of a function.
 *
 * @return the object, which belongs to the function and ends with it or with the next exception; NULL with
 * `ZOR_OK` if there is none, and on failure.
 * Failure: `ZOR_INVALID_HANDLE`.
 */
KELZOR_API ZOR_UBIX_OBJECT_HANDLE ZorGetUbixClassException(ZOR_FUNCTION_HANDLE funcHandle,
                                                           ZOR_ERROR_INFO* errorInfo);

/**
 * Makes an object the class exception of a function, in the place of the one before, which is destroyed.
 * From then on the object belongs to the function; on failure it stays the caller's. The function's own
 * exception object may be given again, with another text.
 *
 * @param excpHandle an object that the caller made.
 * @param exceptionText text for a human; NULL counts as empty.
 * Failures: `ZOR_INVALID_HANDLE` (no function, no object, or one that belongs to another container);
 * `ZOR_ILLEGAL_STATE` (class exceptions aren't enabled); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_RC ZorSetUbixClassException(ZOR_FUNCTION_HANDLE funcHandle, ZOR_UBIX_OBJECT_HANDLE excpHandle,
                                           const KEL_UC* exceptionText, ZOR_ERROR_INFO* errorInfo);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
