/** @file What is fixed when the library is built. */
#pragma once

#include <kelzor/types.h>

inline constexpr const KEL_UC* kelzorRelease = "753";
inline constexpr unsigned kelzorMajorVersion = 7;
inline constexpr unsigned kelzorMinorVersion = 752;
/** Set by the CMake variable of the same name. */
inline constexpr unsigned kelzorPatchLevel = KELZOR_PATCH_LEVEL;
/** First line of the release comment. */
inline constexpr const KEL_UC* kelzorPatchComment = "TSL ZOR Library: Kernel variant";
/** Version of the network interface layer, as the trace header reports it. */
inline constexpr int kelzorNiVersion = 40;
