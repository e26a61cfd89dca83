/** @file The secure network settings that a gateway hands on to a registered program with its partner. */
#pragma once

#include <optional>
#include <string_view>

#include "base/thr/bytes.h"

namespace GW_VSL_DATA_V1_LAYOUT {
inline constexpr NetField version{0, 1};
inline constexpr NetField filler = version.then(1);
inline constexpr NetField partnername = filler.then(257);
inline constexpr NetField myname = partnername.then(257);
inline constexpr NetField lib = myname.then(257);
inline constexpr NetField qop = lib.then(1);
inline constexpr NetField mode = qop.then(1);
inline constexpr NetField role = mode.then(1);
inline constexpr std::size_t length = role.end();
}  // namespace GW_VSL_DATA_V1_LAYOUT

/** Who begins the handshake. */
enum GW_VSL_ROLE : std::uint8_t { GW_VSL_INITIATOR = 1, GW_VSL_ACCEPTOR = 2 };

/** The record; its texts point into the bytes that were read. */
struct GW_VSL_DATA {
    std::string_view partnername;
    std::string_view myname;
    std::string_view lib;
    std::uint8_t qop = 0;
    std::uint8_t mode = 0;
    std::uint8_t role = 0;
};

/** Reads a record; nothing if it is cut. */
std::optional<GW_VSL_DATA> GwGetVslData(std::span<const KEL_RAW> data) noexcept;
