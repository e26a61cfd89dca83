/** @file Names and texts of the gateway protocol's numbers. All texts are static. */
#pragma once

#include <kelzor/types.h>

/** Component and version under which this layer and the conversations report failures. */
inline constexpr const KEL_CHAR* GW_COMPONENT = "CPIC (TCP/IP)";
inline constexpr int GW_VERSION = 3;

/** Name of a request type; "UNKNOWN" for others. */
const KEL_CHAR* GwFuncName(int rqtype) noexcept;

/** Name of a CPI-C return code; "UNKNOWN" for others. */
const KEL_CHAR* GwGetAppcRc(int appc_rc) noexcept;

/** Name of a code of the conversation layer or the gateway; "UNKNOWN" for others. */
const KEL_CHAR* GwGetKelRc(int kel_rc) noexcept;

/** Text of such a code, a printf format where the text has conversions; the name where it has no text. */
const KEL_CHAR* GwGetKelText(int kel_rc) noexcept;
