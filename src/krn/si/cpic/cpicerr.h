/** @file How the layer reports; private to it. */
#pragma once

#include "base/dptrc/err.h"
#include "krn/si/cpic/cpic.h"
#include "krn/si/gw/gwnames.h"

inline constexpr const KEL_CHAR* CPIC_COMPONENT = GW_COMPONENT;
inline constexpr int CPIC_VERSION = GW_VERSION;
inline constexpr const KEL_CHAR* CPIC_LOCATION = "CPIC (TCP/IP) on local host";

/**
 * Makes a code of the layer the current error. The arguments are those of the code's text, then those of
 * the detail's format.
 */
#define CPIC_ERRSET(code, detail, ...)                                                 \
    ErrSet(CPIC_COMPONENT, CPIC_VERSION, __FILE__, __LINE__, GwGetKelText(code), code, \
           detail __VA_OPT__(, ) __VA_ARGS__)

/** Stores a result where the caller wants it, and returns it. */
inline CM_RETCODE STIReturn(CM_RETCODE rc, CM_RETCODE* return_code) noexcept {
    if (return_code) *return_code = rc;
    return rc;
}

/** Reports an argument that is refused; the result for the caller. */
inline CM_RETCODE STIBadArgument(const KEL_CHAR* function, const KEL_CHAR* parameter,
                                 const KEL_CHAR* value) noexcept {
    CPIC_ERRSET(C_ILLEGAL_PARAMETER2, "", function, parameter, value);
    return CM_PARAMETER_ERROR;
}
CM_RETCODE STIBadArgument(const KEL_CHAR* function, const KEL_CHAR* parameter, CPIC_INT value) noexcept;
