/**
 * @file
 * The library itself: its start, its version, and the names of its numbers.
 *
 * All functions of this family may be called from any thread. The texts that they return are static.
 */
#ifndef KELZOR_LIBRARY_H
#define KELZOR_LIBRARY_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Starts the library. The loader has called this already, so a program needn't; a further call does
 * nothing.
 *
 * @return ZOR_OK; the call that starts the library reports what failed, and later ones don't try again.
 */
KELZOR_API ZOR_RC ZorInit(void);

/**
 * Tells the version.
 *
 * @param majorVersion takes the major number; may be NULL.
 * @param minorVersion takes the minor number; may be NULL.
 * @param patchLevel takes the patch level; may be NULL.
 * @return release and patch level as a text, such as "753 Patch Level 0".
 */
KELZOR_API const KEL_UC* ZorGetVersion(unsigned* majorVersion, unsigned* minorVersion, unsigned* patchLevel);

/**
 * Prints a report of how the library was built to the standard output and ends the process with exit
 * status 0. A means of diagnosis: it doesn't return.
 */
KELZOR_API ZOR_RC ZorGetVersionInternal(void);

/** Name of a return code, such as "ZOR_OK"; an empty text for an unknown one. */
KELZOR_API const KEL_UC* ZorGetRcAsString(ZOR_RC rc);

/** Name of a type, such as "ZORTYPE_CHAR"; "ZORTYPE_NULL" for an unknown one. */
KELZOR_API const KEL_UC* ZorGetTypeAsString(ZORTYPE type);

/** Name of a direction, such as "ZOR_IMPORT"; "ZOR_UKNOWN_DIRECTION" for an unknown one. */
KELZOR_API const KEL_UC* ZorGetDirectionAsString(ZOR_DIRECTION direction);

/** Name of a server's state, such as "ZOR_SERVER_RUNNING"; "ZOR_UKNOWN_STATE" for an unknown one. */
KELZOR_API const KEL_UC* ZorGetServerStateAsString(ZOR_SERVER_STATE serverState);

#ifdef __cplusplus
}
#endif

#endif
