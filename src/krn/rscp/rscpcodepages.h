/**
 * @file
 * The code pages that the conversion engine knows. A single-byte page is a table, made when the library
 * is compiled; a further page is a further row. The pages:
 *
 * - 0100: EBCDIC, the published page IBM 500
 * - 1100: Latin-1, all 256 positions
 * - 1101: 7-bit US-ASCII
 * - 4110: UTF-8
 */
#pragma once

#include <kelzor/types.h>

#include <array>

/** Digits of a code page's name. */
inline constexpr unsigned rscpCodepageDigits = 4;

/** A page of one byte a character. */
struct RscpSingleBytePage {
    static constexpr KEL_USHORT noCharacter = 0xFFFF;

    std::array<KEL_USHORT, 256> characters;  ///< Character of each byte, or noCharacter.
    unsigned count;                          ///< Bytes that have a character.
    std::array<KEL_USHORT, 256> sorted;      ///< The characters in rising order, `count` of them.
    std::array<KEL_RAW, 256> bytes;          ///< The byte of each sorted character.

    /** Finds the byte of a character; false if the page doesn't have it. */
    bool find(KEL_UINT character, KEL_RAW& byte) const noexcept;
};

struct RscpCodepage {
    KEL_UC number[rscpCodepageDigits + 1];
    const RscpSingleBytePage* singleByte;  ///< NULL for UTF-8.
};

/** The page of four digits, which need no terminator; NULL if it isn't known. */
const RscpCodepage* rscpFindCodepage(const KEL_UC* number) noexcept;
