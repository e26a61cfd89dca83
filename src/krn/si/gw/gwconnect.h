/** @file Connecting to a gateway: the socket, the connect record and its answer. */
#pragma once

#include <array>

#include "krn/si/gw/gwconn.h"

/** What the library offers of itself. */
inline constexpr std::uint8_t GW_OWN_ACCEPT_INFO =
    GW_ACCEPT_EINFO | GW_ACCEPT_PING | GW_ACCEPT_CONN_EINFO | GW_ACCEPT_EXTINITOPT | GW_ACCEPT_DIST_TRACE;
inline constexpr std::uint8_t GW_OWN_ACCEPT_INFO2 = GW_ACCEPT2_STREAMING | GW_ACCEPT2_ZORDEST;

/** Most bytes of one gateway message, its header included. */
inline constexpr KEL_INT GW_MAX_PACKET = 34048;

/** Whom to connect to, and as whom. Texts are borrowed. */
struct GwConnectRequest {
    std::uint8_t opcode = GW_NORMAL_CLIENT;
    const KEL_CHAR* host = "";          ///< Name, address or route; empty to use `addr`.
    const NI_NODEADDR* addr = nullptr;  ///< The gateway's address where no host is given.
    const KEL_CHAR* service = "";
    std::string_view my_host{};
    std::string_view tp{};  ///< Own program; of a registration its program id.
    std::string_view conversation_ID{};
    std::string_view code_page = "1100";
    std::int16_t conn_idx = -1;
    KEL_INT timeout = -1;  ///< ms, for the connect, for each message and for the answer.
};

/** A gateway that said yes. */
struct GwConnection {
    NI_HDL handle = NI_INVALID_HDL;  ///< The caller's to close.
    std::uint8_t appchdr_version = 0;
    std::uint8_t accept_info = 0;
    std::uint8_t accept_info2 = 0;
    std::array<KEL_RAW, 4> code_page{};  ///< Zero unless the gateway names its code page.
};

/**
 * Connects. 0 or a code of the gateway, with the cause in the error block; then nothing is left open and
 * the handle is NI_INVALID_HDL.
 */
int GwIConnect(const GwConnectRequest& request, GwConnection* connection) noexcept;
