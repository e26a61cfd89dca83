/** @file The record by which the calls of one road through several systems are traced together. */
#pragma once

#include <array>
#include <optional>

#include "base/thr/bytes.h"

namespace DISTRIBUTED_TRACING_NET_1_LAYOUT {
inline constexpr NetField version_nr{0, 1};
inline constexpr NetField creator_id = version_nr.then(8);
inline constexpr NetField root_id = creator_id.then(16);
inline constexpr NetField connection_id = root_id.then(16);
inline constexpr NetField sequence_nr = connection_id.then(4);
inline constexpr std::size_t length = sequence_nr.end();
}  // namespace DISTRIBUTED_TRACING_NET_1_LAYOUT

struct DISTRIBUTED_TRACING {
    std::array<KEL_RAW, 16> root_id{};
    std::array<KEL_RAW, 16> connection_id{};
    std::int32_t sequence_nr = 0;
};

void GwPutDistTrace(std::span<KEL_RAW, DISTRIBUTED_TRACING_NET_1_LAYOUT::length> target,
                    const DISTRIBUTED_TRACING& record) noexcept;

/** Reads a record; nothing if it is cut or of another version. */
std::optional<DISTRIBUTED_TRACING> GwGetDistTrace(std::span<const KEL_RAW> data) noexcept;
