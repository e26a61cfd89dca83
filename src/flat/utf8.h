/** @file UTF-8, one character at a time. */
#pragma once

#include <kelzor/types.h>

#include <cstddef>

/** The longest sequence of one character, in bytes. */
inline constexpr size_t longestUtf8Sequence = 4;

enum class Utf8State {
    whole,       ///< A character.
    broken,      ///< Bytes that no continuation makes a character.
    unfinished,  ///< The input ends within a sequence that may be right.
};

/** What stands at the beginning of an input. */
struct Utf8Step {
    Utf8State state;
    KEL_UINT character;  ///< Its number when whole.
    size_t length;       ///< Bytes of the character or of its broken or unfinished part, at least 1.
};

/**
 * Reads one character of an input that isn't empty. Overlong forms, surrogates and numbers above
 * 0x10FFFF are broken.
 */
Utf8Step readUtf8(const KEL_RAW* data, const KEL_RAW* end) noexcept;

/** Writes one character, at most 0x10FFFF and no surrogate, and returns its length in bytes. */
size_t writeUtf8(KEL_UINT character, KEL_RAW (&sequence)[longestUtf8Sequence]) noexcept;
