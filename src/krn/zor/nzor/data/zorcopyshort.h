/** @file Copying what fields mostly hold: some tens of bytes. */
#pragma once

#include <cstddef>
#include <cstring>

/**
 * As memcpy, but without a call for 16 to 128 bytes, where the call would cost more than the copy. The last
 * piece overlaps the one before, which spares a loop over single bytes.
 */
inline void zorCopyShort(void* target, const void* source, std::size_t length) noexcept {
    constexpr std::size_t piece = 16;
    constexpr std::size_t longest = 128;
    if (length < piece || length > longest) {
        std::memcpy(target, source, length);
        return;
    }
    auto* const to = static_cast<unsigned char*>(target);
    const auto* const from = static_cast<const unsigned char*>(source);
    const std::size_t last = length - piece;
    for (std::size_t at = 0; at < last; at += piece)
        std::memcpy(to + at, from + at, piece);
    std::memcpy(to + last, from + last, piece);
}
