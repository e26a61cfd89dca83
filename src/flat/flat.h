/**
 * @file
 * Fixed conversions between the local characters (Latin-1) and 7-bit ASCII (A7), EBCDIC (E8, the page
 * IBM 500) and UTF-8. "n" forms convert a number of characters, "s" forms a terminated text. A
 * character without a counterpart becomes `flatSubstitute`, or ends a "Check" form. EBCDIC needs no such
 * form: every local character has a byte there.
 */
#pragma once

#include <kelzor/types.h>

#include <cstddef>

#include "flat/ebcdic.h"

inline constexpr KEL_UC flatSubstitute = '#';

/** The EBCDIC byte of a character. */
inline KEL_RAW UcToE8(KEL_UC character) noexcept {
    return latin1ToE8[static_cast<KEL_RAW>(character)];
}

/** The 7-bit byte of a character, or the substitute. */
KEL_RAW UcToA7(KEL_UC character) noexcept;

/** Converts n bytes; one above 0x7F becomes the substitute. Source and target may be the same memory. */
void A7nToUcn(const KEL_RAW* src, KEL_UC* dest, size_t n) noexcept;

/** Converts n characters; false at the first that isn't 7-bit, with those before it converted. */
bool UcnToA7nCheck(const KEL_UC* src, KEL_RAW* dest, size_t n) noexcept;

/** @name Conversion of n bytes where they stand; 7-bit bytes above 0x7F, and those without one, as above */
/** @{ */
void A7nToE8nInPlace(KEL_RAW* bytes, size_t n) noexcept;
void E8nToA7nInPlace(KEL_RAW* bytes, size_t n) noexcept;
/** @} */

/** Converts n bytes. Source and target may be the same memory. */
void E8nToUcn(const KEL_RAW* src, KEL_UC* dest, size_t n) noexcept;

/** Converts n characters. Every one has a counterpart. Source and target may be the same memory. */
void UcnToE8nSubst(const KEL_UC* src, KEL_RAW* dest, size_t n) noexcept;

/**
 * @name Terminated texts
 * `size` is the room of the target in bytes, at least 1; a text that is too long is cut behind a whole
 * character. The result is terminated, and its length without the terminator is returned.
 */
/** @{ */
size_t A7sToUcs(const KEL_RAW* src, KEL_UC* dest, size_t size) noexcept;
size_t UcsToA7sSubst(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept;
/** False, with a terminated beginning, if a character isn't 7-bit or the text is too long. */
bool UcsToA7sCheck(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept;
size_t UcsToUtf8s(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept;
/** A broken sequence becomes one substitute. */
size_t Utf8sToUcs(const KEL_RAW* src, KEL_UC* dest, size_t size) noexcept;
/** @} */
