/**
 * @file
 * Repositories: caches of descriptions in this process, one for each partner system.
 *
 * A repository is named by an identifier, as a rule the id of a system: all connections to one system share
 * one repository. NULL stands for the empty identifier. Any text is an identifier; its repository is made
 * at first use and lives until the process ends. Nothing leaves a repository by itself: a description stays
 * until it is removed or the repository is cleared, however the system changes.
 *
 * What a repository hands out are the cached descriptions themselves. They are the library's: they are
 * read and used for containers, and not destroyed. Containers keep their descriptions alive, so they go on
 * working whatever happens to the repository.
 *
 * All functions may be called from any thread; lookups don't wait for each other. A handle whose
 * description has ended is recognised and refused with ZOR_INVALID_PARAMETER. Names are compared byte by
 * byte. A NULL name gives ZOR_INVALID_PARAMETER, and so does an empty one. ZOR_MEMORY_INSUFFICIENT leaves
 * the repository as it was.
 */
#ifndef KELZOR_REPOSITORY_H
#define KELZOR_REPOSITORY_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Kind of a description in the result of a query. */
typedef enum ZOR_METADATA_OBJ_TYPE {
    ZOR_METADATA_FUNCTION = 0, /**< Function description. */
    ZOR_METADATA_TYPE = 1,     /**< Type description. */
    ZOR_METADATA_CLASS = 2     /**< Class description. */
} ZOR_METADATA_OBJ_TYPE;

/** A description that a query didn't find. */
typedef struct ZOR_METADATA_QUERY_RESULT_ENTRY {
    ZOR_UBIX_NAME name;       /**< What was asked for. */
    KEL_UC errorMessage[512]; /**< Why it wasn't found: 511 characters and a terminator. */
} ZOR_METADATA_QUERY_RESULT_ENTRY;

/** @name Adding */
/** @{ */

/**
 * Adds a type description under its name, and the descriptions of its fields under theirs, unless those
 * names are taken. Locks the description. If the caller made it, it now is the repository's and is no
 * longer to be destroyed; the handle stays good for reading until the repository is cleared. Adding the one
 * that is there already changes nothing.
 *
 * @return ZOR_OK, or:
 * - ZOR_INVALID_PARAMETER: the handle is NULL or its description is gone; its record length doesn't cover
 *   its fields; or another description has the name. The repository is as it was, and the description
 *   stays the caller's, in the last case locked. Use the one that is there (ZorGetCachedTypeDesc) or
 *   remove it first.
 * - ZOR_INVALID_HANDLE: the handle is that of a description of another kind.
 */
KELZOR_API ZOR_RC ZorAddTypeDesc(const KEL_UC* repositoryID, ZOR_TYPE_DESC_HANDLE typeHandle,
                                 ZOR_ERROR_INFO* errorInfo);

/** As ZorAddTypeDesc, for a function and the types of its parameters. */
KELZOR_API ZOR_RC ZorAddFunctionDesc(const KEL_UC* repositoryID, ZOR_FUNCTION_DESC_HANDLE funcHandle,
                                     ZOR_ERROR_INFO* errorInfo);

/** As ZorAddTypeDesc, for a class and the types and classes of its attributes. */
KELZOR_API ZOR_RC ZorAddClassDesc(const KEL_UC* repositoryID, ZOR_CLASS_DESC_HANDLE classHandle,
                                  ZOR_ERROR_INFO* errorInfo);

/** @} */
/** @name Looking up, without any connection */
/** @{ */

/**
 * Finds a function description by its name.
 *
 * @return the cached description, which stays the library's, or NULL: ZOR_NOT_FOUND if the repository
 * doesn't have the name, which the caller then adds or fetches through a connection.
 */
KELZOR_API ZOR_FUNCTION_DESC_HANDLE ZorGetCachedFunctionDesc(const KEL_UC* repositoryID,
                                                             const KEL_UC* funcName,
                                                             ZOR_ERROR_INFO* errorInfo);

/** As ZorGetCachedFunctionDesc, for a type. */
KELZOR_API ZOR_TYPE_DESC_HANDLE ZorGetCachedTypeDesc(const KEL_UC* repositoryID, const KEL_UC* typeName,
                                                     ZOR_ERROR_INFO* errorInfo);

/** As ZorGetCachedFunctionDesc, for a class. */
KELZOR_API ZOR_CLASS_DESC_HANDLE ZorGetCachedClassDesc(const KEL_UC* repositoryID, const KEL_UC* className,
                                                       ZOR_ERROR_INFO* errorInfo);

/** @} */
/** @name Removing */
/** @{ */

/**
 * Takes a name out of a repository, so that another description can have it. The description itself
 * stays: handles to it go on working, and its memory isn't given back. An unknown name gives ZOR_OK.
 */
KELZOR_API ZOR_RC ZorRemoveFunctionDesc(const KEL_UC* repositoryID, const KEL_UC* functionName,
                                        ZOR_ERROR_INFO* errorInfo);

/** As ZorRemoveFunctionDesc, for a type. */
KELZOR_API ZOR_RC ZorRemoveTypeDesc(const KEL_UC* repositoryID, const KEL_UC* typeName,
                                    ZOR_ERROR_INFO* errorInfo);

/** As ZorRemoveFunctionDesc, for a class. */
KELZOR_API ZOR_RC ZorRemoveClassDesc(const KEL_UC* repositoryID, const KEL_UC* className,
                                     ZOR_ERROR_INFO* errorInfo);

/**
 * Takes all names out of a repository and gives up its descriptions. Those that no container and no other
 * description uses end, and their handles are refused from then on: who may still use such a handle in
 * another thread gets ZOR_INVALID_PARAMETER and looks the description up again.
 */
KELZOR_API ZOR_RC ZorClearRepository(const KEL_UC* repositoryID, ZOR_ERROR_INFO* errorInfo);

/** @} */
/** @name Results of queries for many descriptions
 * A result belongs to one thread at a time. A NULL handle gives ZOR_INVALID_HANDLE. */
/** @{ */

/**
 * Makes an empty result.
 *
 * @return the result, the caller's until ZorDestroyMetadataQueryResult, or NULL: ZOR_MEMORY_INSUFFICIENT.
 */
KELZOR_API ZOR_METADATA_QUERY_RESULT_HANDLE ZorCreateMetadataQueryResult(ZOR_ERROR_INFO* errorInfo);

/** Destroys a result with its lists. The descriptions that it names stay where they are. */
KELZOR_API ZOR_RC ZorDestroyMetadataQueryResult(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                                ZOR_ERROR_INFO* errorInfo);

/**
 * Stores how many names of a kind were found and how many weren't. Either pointer may be NULL. For a kind
 * that doesn't exist nothing is stored, and the result is ZOR_OK.
 */
KELZOR_API ZOR_RC ZorDescribeMetadataQueryResult(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                                 ZOR_METADATA_OBJ_TYPE type, unsigned* successful,
                                                 unsigned* failed, ZOR_ERROR_INFO* errorInfo);

/**
 * Stores a name that wasn't found and the reason, each cut to its field and terminated. `index` counts from
 * 0; for one past the end, as for a kind that doesn't exist, `entry` stays as it is, and the result is
 * ZOR_OK: ask ZorDescribeMetadataQueryResult for the number. A NULL `entry` gives ZOR_INVALID_PARAMETER.
 */
KELZOR_API ZOR_RC ZorGetMetadataQueryFailedEntry(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                                 ZOR_METADATA_OBJ_TYPE type, unsigned index,
                                                 ZOR_METADATA_QUERY_RESULT_ENTRY* entry,
                                                 ZOR_ERROR_INFO* errorInfo);

/**
 * Stores a name that was found in a buffer of 31 characters, cut to 30 and terminated. Otherwise as
 * ZorGetMetadataQueryFailedEntry.
 */
KELZOR_API ZOR_RC ZorGetMetadataQuerySucceededEntry(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                                    ZOR_METADATA_OBJ_TYPE type, unsigned index,
                                                    ZOR_CHAR* succeedObj, ZOR_ERROR_INFO* errorInfo);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
