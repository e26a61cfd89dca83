/** @file Text in the fixed fields of the public structures. */
#pragma once

#include <kelzor/types.h>

#include <cstring>
#include <string_view>

namespace zorapi {

/** Copies a text that fits with its terminator; any other leaves the empty string. */
inline void copyBounded(KEL_UC* target, size_t size, std::string_view text) noexcept {
    const size_t length = text.size() < size ? text.size() : 0;
    std::memcpy(target, text.data(), length);
    target[length] = 0;
}

template <size_t size>
void copyBounded(KEL_UC (&target)[size], std::string_view text) noexcept {
    copyBounded(target, size, text);
}

/** Copies a text with its terminator, cut where it doesn't fit. */
inline void copyCut(KEL_UC* target, size_t size, std::string_view text) noexcept {
    const size_t length = text.size() < size ? text.size() : size - 1;
    std::memcpy(target, text.data(), length);
    target[length] = 0;
}

/** The text of a field that a caller filled, up to its terminator or to a number of characters. */
inline std::string_view readBounded(const KEL_UC* text, size_t limit) noexcept {
    return {text, strnlen(text, limit)};
}

}  // namespace zorapi
