/**
 * @file
 * Settings of the process in C++: version, configuration file, traces. All of them may be used from any
 * thread.
 */
#ifndef KELZOR_PROCESS_HPP
#define KELZOR_PROCESS_HPP

#include <kelzor/config.h>
#include <kelzor/library.h>
#include <kelzor/trace.h>
#include <kelzor/error.hpp>

#include <string>

namespace kelzor {

/** Release and patch level of the library, such as "753 Patch Level 0". */
inline std::string version() {
    return ZorGetVersion(nullptr, nullptr, nullptr);
}

/** Sets the directory of kelzor.ini and reads the file there. */
inline void setIniPath(const std::string& directory) {
    detail::call("ZorSetIniPath", ZorSetIniPath, directory.c_str());
}

/** Reads kelzor.ini again. */
inline void reloadIniFile() {
    detail::call("ZorReloadIniFile", ZorReloadIniFile);
}

/** Sets the trace level of the process, 0 to 3. */
inline void setTraceLevel(unsigned level) {
    detail::call("ZorSetTraceLevel", ZorSetTraceLevel, static_cast<ZOR_CONNECTION_HANDLE>(nullptr),
                 static_cast<KEL_UC*>(nullptr), level);
}

/** Sets the trace level of a destination of kelzor.ini. Failure: `ZOR_INVALID_PARAMETER` (none of that name).
 */
inline void setTraceLevel(std::string destination, unsigned level) {
    detail::call("ZorSetTraceLevel", ZorSetTraceLevel, static_cast<ZOR_CONNECTION_HANDLE>(nullptr),
                 destination.data(), level);
}

/** Sets the directory of the trace files. Failure: `ZOR_INVALID_PARAMETER` (it can't be read and written). */
inline void setTraceDirectory(std::string directory) {
    detail::call("ZorSetTraceDir", ZorSetTraceDir, directory.data());
}

}  // namespace kelzor

#endif
