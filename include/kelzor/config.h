/**
 * @file
 * The configuration file kelzor.ini, with its destinations and defaults, and the front end's list of systems.
 *
 * The file is read by the first call that needs a setting, from the current directory unless ZorSetIniPath
 * named another; a file that isn't there is no error. Its keys stand in docs/configuration.md. Settings
 * belong to the process; these functions may be called from any thread.
 */
#ifndef KELZOR_CONFIG_H
#define KELZOR_CONFIG_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets the directory of kelzor.ini and reads the file there at once. The path that is set already
 * changes nothing. What other calls do at the same time sees a destination as it was or as it is now,
 * never half of it.
 *
 * @param pathName the directory, without the file's name; NULL for the current directory. Copied.
 * @return ZOR_OK, whether there is a file that can be read or not; ZOR_MEMORY_INSUFFICIENT: the path is
 *         the old one, try again once there is memory. A destination with a value that is refused is left
 *         out and named in the log file dev_zor.trc, with the key and the reason; correct the file.
 */
KELZOR_API ZOR_RC ZorSetIniPath(const KEL_UC* pathName, ZOR_ERROR_INFO* errorInfo);

/**
 * Reads kelzor.ini again. What the file has now replaces what it had; a destination that is gone from
 * the file stays known.
 *
 * @return as ZorSetIniPath.
 */
KELZOR_API ZOR_RC ZorReloadIniFile(ZOR_ERROR_INFO* errorInfo);

/**
 * Lists the entries of the desktop front end's logon pad, whose names the connection parameter KELLOGON_ID
 * takes. There is no logon pad on this platform: the result is always ZOR_NOT_FOUND.
 *
 * @param kellogonIDList gets the list, an array of terminated texts that is the caller's and goes back by
 *        ZorFreeKellogonEntries; NULL on any failure.
 * @param numKellogonIDs gets the number of texts; 0 on any failure.
 * @param errorInfo code, group and message of a failure; the key stays as it was.
 * @return ZOR_OK; ZOR_NOT_FOUND without entries: give the system's parameters themselves;
 *         ZOR_MEMORY_INSUFFICIENT: nothing stays allocated; ZOR_INVALID_PARAMETER for a NULL pointer, which
 *         leaves the other as it was.
 */
KELZOR_API ZOR_RC ZorGetKellogonEntries(KEL_UC*** kellogonIDList, unsigned* numKellogonIDs,
                                        ZOR_ERROR_INFO* errorInfo);

/**
 * Frees a list that ZorGetKellogonEntries gave. A list that is NULL has nothing to free.
 *
 * @param kellogonIDList the list; NULL afterwards.
 * @param numKellogonIDs the number that came with it, which must be unchanged; 0 afterwards.
 * @return ZOR_OK; ZOR_INVALID_PARAMETER for a NULL pointer, nothing is freed then.
 */
KELZOR_API ZOR_RC ZorFreeKellogonEntries(KEL_UC*** kellogonIDList, unsigned* numKellogonIDs,
                                         ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
