/** @file Texts of bytes below 0x80, which nearly all code pages share. */
#pragma once

#include <kelzor/types.h>

#include <cstdint>
#include <cstring>
#include <span>

/** True if no byte has its highest bit set. */
inline bool zorIsSevenBit(std::span<const KEL_RAW> text) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    const KEL_RAW* at = text.data();
    const KEL_RAW* const end = at + text.size();
    for (; end - at >= 8; at += 8) {
        std::uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        if ((eight & highBits) != 0) return false;
    }
    for (; at != end; ++at)
        if (*at >= 0x80) return false;
    return true;
}
