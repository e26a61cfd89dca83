/** @file How the layer reports a failure; private to it. */
#pragma once

#include "base/ni/ni.h"
#include "base/si/si.h"

inline constexpr const KEL_CHAR* NI_COMPONENT = "NI (network interface)";
inline constexpr int NI_VERSION = 40;

/** Where a failure is found and what it concerns. */
struct NiCause {
    const KEL_CHAR* function;         ///< Goes in front of the detail.
    int line;                         ///< Of the source.
    const KEL_CHAR* module;           ///< Source file.
    const KEL_CHAR* subject = "";     ///< Host, service or partner for the code's text.
    const KEL_CHAR* detail = "";      ///< What is wrong, for the detail.
    const SI_SOCK* socket = nullptr;  ///< Carries the failing system call, if there was one.
};

/** Makes a code the current error, and returns it. */
KELRETURN NiErrSet(KELRETURN rc, const NiCause& cause) noexcept;

/** The code for a failure of the socket layer. */
KELRETURN NiISystemError(SI_RC rc, bool connecting) noexcept;

#define NI_HERE __func__, __LINE__, __FILE__
