/**
 * @file
 * The connect record: the first message of a client and, with `rc` and the capabilities filled in, the
 * gateway's answer. Version 2 has 64 bytes; version 3 has 136 and names an IPv6 address as well.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "devsys/bytes.h"
#include "devsys/violations.h"

namespace zordev {

/** Offsets and widths in bytes; what lies behind byte 57 differs by version. */
namespace conn {
inline constexpr std::size_t version = 0;
inline constexpr std::size_t opcode = 1;
inline constexpr std::size_t hostaddr = 2, hostaddrWidth = 8;
inline constexpr std::size_t service = 10, serviceWidth = 10;
inline constexpr std::size_t codePage = 20, codePageWidth = 4;
inline constexpr std::size_t fill = 24, fillWidth = 5;
inline constexpr std::size_t acceptInfo2 = 29;
inline constexpr std::size_t lu = 30, luWidth = 8;
inline constexpr std::size_t tp = 38, tpWidth = 8;
inline constexpr std::size_t conversationId = 46, conversationIdWidth = 8;
inline constexpr std::size_t appchdrVersion = 54;
inline constexpr std::size_t acceptInfo = 55;
inline constexpr std::size_t connIdx = 56;
inline constexpr std::size_t hostaddrV6 = 58, hostaddrV6Width = 16;  // version 3 only
inline constexpr std::size_t params = 74, paramsWidth = 56;          // version 3 only
inline constexpr std::size_t length2 = 64, rc2 = 58, echo2 = 62, filler2 = 63;
inline constexpr std::size_t length3 = 136, rc3 = 130, echo3 = 134, filler3 = 135;
}  // namespace conn

/** What a gateway offers in its answers to connects. */
struct GatewayCapabilities {
    std::uint8_t acceptInfo = 0x4B;  /**< EINFO, PING, CONN_EINFO, EXTINITOPT. */
    std::uint8_t acceptInfo2 = 0x06; /**< STREAMING, ZORDEST. */
};

/** The client's capabilities, which this library's clients always offer. */
inline constexpr std::uint8_t CLIENT_ACCEPT_INFO = 0xCB;
inline constexpr std::uint8_t CLIENT_ACCEPT_INFO2 = 0x06;

/** An IPv6 address in network order; one of IPv4 in its mapped form. */
using NodeAddress = std::array<Byte, 16>;

/**
 * Checks a connect record byte by byte. `peer` is the client's address as its socket shows it. Returns
 * whether it is flawless; each flaw is in `log`.
 */
bool checkConnectRecord(ByteSpan record, const NodeAddress& peer, ViolationLog& log);

/** The connection type that the record asks for; only for a record that was checked. */
inline std::uint8_t connectOpcode(ByteSpan record) {
    return record[conn::opcode];
}

/**
 * The answer to a record of one of the two lengths: the same record with `rc`, the capabilities and the
 * wish for an echo filled in, and for a failure the error block `errorBlock` behind it.
 */
std::vector<Byte> makeConnectAnswer(ByteSpan record, const GatewayCapabilities& capabilities, int rc,
                                    bool echo, std::string_view errorBlock);

}  // namespace zordev
