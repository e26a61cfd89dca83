/**
 * @file
 * The configuration file kelzor.ini: destinations and defaults.
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
 * changes nothing.
 *
 * @param pathName the directory, without the file's name; NULL for the current directory. Copied.
 * @return ZOR_OK, whether there is a file or not; ZOR_MEMORY_INSUFFICIENT. A destination with a value
 *         that is refused is left out and named in the log file dev_zor.trc.
 */
KELZOR_API ZOR_RC ZorSetIniPath(const KEL_UC* pathName, ZOR_ERROR_INFO* errorInfo);

/**
 * Reads kelzor.ini again. What the file has now replaces what it had; a destination that is gone from
 * the file stays known.
 *
 * @return as ZorSetIniPath.
 */
KELZOR_API ZOR_RC ZorReloadIniFile(ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
