/** @file Names and texts of the gateway protocol's numbers. All texts are static. */
#pragma once

#include <kelzor/types.h>

#include "krn/si/gw/gwenum.h"

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

/** Number of a protocol's character; GW_PROT_NONE for an unknown one. */
GW_PROTOCOL GwProtocolNo(KEL_CHAR character) noexcept;

/** Name of a protocol by its number; "UNKNOWN" for others. */
const KEL_CHAR* GwConnProt(int protocol) noexcept;

/** Name of a registration's state; "UNKNOWN" for others. */
const KEL_CHAR* GwRegStateName(int state) noexcept;

/** Name of a kind of client; "UNKNOWN" for others. */
const KEL_CHAR* GwGetClientInfo(int client_info) noexcept;

/** Names of the bits that are set in a byte of flags, joined by "+"; "-" if none is. */
struct GwBitText {
    KEL_CHAR text[192];
};
GwBitText GwGetAcceptInfo(std::uint8_t bits) noexcept;
GwBitText GwGetAcceptInfo2(std::uint8_t bits) noexcept;
GwBitText GwGetInfo(std::uint8_t bits) noexcept;
GwBitText GwGetInfo2(std::uint8_t bits) noexcept;
GwBitText GwGetInfo3(std::uint8_t bits) noexcept;
GwBitText GwGetInfo4(std::uint8_t bits) noexcept;
GwBitText GwGetVector(std::uint8_t bits) noexcept;
