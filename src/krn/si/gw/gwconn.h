/**
 * @file
 * The connect record: what a client sends first, and the answer to it. Version 2 is for IPv4, version 3 has
 * room for an IPv6 address; the two differ from `conn_idx` on.
 */
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "base/ni/ni.h"
#include "base/thr/bytes.h"
#include "krn/si/gw/gwenum.h"

/** Layout that both versions share. */
namespace APPC_CONN_LAYOUT {
inline constexpr NetField version{0, 1};
inline constexpr NetField opcode = version.then(1);
inline constexpr NetField hostaddr = opcode.then(8);
inline constexpr NetField service = hostaddr.then(10);
inline constexpr NetField code_page = service.then(4);
inline constexpr NetField fill = code_page.then(5);
inline constexpr NetField accept_info2 = fill.then(1);
inline constexpr NetField lu = accept_info2.then(8);
inline constexpr NetField tp = lu.then(8);
inline constexpr NetField conversation_ID = tp.then(8);
inline constexpr NetField appchdr_version = conversation_ID.then(1);
inline constexpr NetField accept_info = appchdr_version.then(1);
inline constexpr NetField conn_idx = accept_info.then(2);
/** The IPv4 address inside `hostaddr`. */
inline constexpr NetField hostaddr_v4{hostaddr.offset + 2, 4};
}  // namespace APPC_CONN_LAYOUT

/** The rest of version 2. */
namespace APPC_CONN2_LAYOUT {
inline constexpr NetField rc = APPC_CONN_LAYOUT::conn_idx.then(4);
inline constexpr NetField echo_data = rc.then(1);
inline constexpr NetField filler = echo_data.then(1);
inline constexpr std::size_t length = filler.end();
}  // namespace APPC_CONN2_LAYOUT

/** The rest of version 3. */
namespace APPC_CONN3_LAYOUT {
inline constexpr NetField hostaddr_v6 = APPC_CONN_LAYOUT::conn_idx.then(16);
inline constexpr NetField fill = hostaddr_v6.then(56);
inline constexpr NetField rc = fill.then(4);
inline constexpr NetField echo_data = rc.then(1);
inline constexpr NetField filler = echo_data.then(1);
inline constexpr std::size_t length = filler.end();
}  // namespace APPC_CONN3_LAYOUT

/** What follows the connect of a registration once the answer is good: names in full. */
namespace APPC_CONN_EXT1_LAYOUT {
inline constexpr NetField long_lu{0, 128};
inline constexpr NetField long_tp = long_lu.then(64);
inline constexpr std::size_t length = 512;
}  // namespace APPC_CONN_EXT1_LAYOUT

inline constexpr std::uint8_t APPC_CONN2_VERSION = 2;
inline constexpr std::uint8_t APPC_CONN3_VERSION = 3;

/** What a client says of itself. The texts are borrowed. */
struct APPC_CONN {
    std::uint8_t opcode = GW_NORMAL_CLIENT;
    NI_NODEADDR hostaddr{};  ///< Own address; chooses the version.
    std::string_view tp{};   ///< Own program.
    std::string_view lu{};   ///< Own host.
    std::string_view code_page = "1100";
    std::string_view conversation_ID{};  ///< The conversation to join; empty for none.
    std::uint8_t appchdr_version = 6;
    std::uint8_t accept_info = 0;
    std::uint8_t accept_info2 = 0;
    std::int16_t conn_idx = -1;
};

/** What the gateway answers. */
struct APPC_CONN_ANSWER {
    std::uint8_t appchdr_version = 0;
    std::uint8_t accept_info = 0;
    std::uint8_t accept_info2 = 0;
    std::array<KEL_RAW, 4> code_page{};
    std::int32_t rc = 0;
    bool echo_data = false;
    std::size_t length = 0;  ///< Of the record; error information may follow.
};

/** Writes the record; returns its length in bytes. */
std::size_t GwPutConn(std::span<KEL_RAW, APPC_CONN3_LAYOUT::length> target, const APPC_CONN& record) noexcept;

/** Reads an answer; nothing if it is shorter than the record of its version or of another version. */
std::optional<APPC_CONN_ANSWER> GwGetConn(std::span<const KEL_RAW> data) noexcept;

/** Whether a connection of this type sends the extension. */
bool GwHasConnExt(std::uint8_t opcode) noexcept;

/** Writes the extension: the own host and the program id, each with a zero byte behind it, else blanks. */
void GwPutConnExt(std::span<KEL_RAW, APPC_CONN_EXT1_LAYOUT::length> target, std::string_view long_lu,
                  std::string_view long_tp) noexcept;
