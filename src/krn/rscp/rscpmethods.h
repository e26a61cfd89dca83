/** @file The conversion methods between two forms of text, and what they share. */
#pragma once

#include <algorithm>
#include <cstring>

#include "krn/rscp/rscp.h"

/** Input and output of one conversion. */
struct RscpCursor {
    KEL_RAW* out;
    KEL_RAW* const outEnd;
    const KEL_RAW* in;
    const KEL_RAW* const inEnd;
    unsigned substitutions = 0;

    size_t inRest() const noexcept { return static_cast<size_t>(inEnd - in); }
    size_t outRest() const noexcept { return static_cast<size_t>(outEnd - out); }

    /** Writes a whole character and steps over its input, or changes nothing. */
    int put(const KEL_RAW* bytes, size_t count, size_t consumed) noexcept {
        if (outRest() < count) return RSCPETOOLONG;
        out = std::copy_n(bytes, count, out);
        in += consumed;
        return RSCP_OK;
    }
};

/** The longest code or pair of codes that is written at once, and the longest input that is copied. */
inline constexpr unsigned rscpLongestPiece = 4 * rscpLongestCode;

/** Bytes of one unit of a page's text. */
unsigned rscpUnitOf(const RscpPage& page) noexcept;

/**
 * Makes the bytes that stand for the `length` bytes at `in`, which have no counterpart: the substitute or
 * the bytes themselves. Copied into a form with wider units, each byte becomes a unit if the bytes don't
 * fill whole ones, so that the text behind them stays readable. Returns the count, or 0 if the setting is
 * to stop or the output page lacks the substitute.
 */
unsigned rscpReplacement(const rscpCObj_t& self, const KEL_RAW* in, unsigned length,
                         KEL_RAW (&bytes)[rscpLongestPiece]) noexcept;

/** Converts a character without a counterpart: the next `length` bytes of the input. */
int rscpMiss(const rscpCObj_t& self, RscpCursor& cursor, unsigned length) noexcept;

/** What happens at a place where a reader found no character. */
int rscpNoCharacter(const rscpCObj_t& self, RscpCursor& cursor, RscpStep found) noexcept;

/** The method between two pages that aren't the same. */
rscpMethod rscpMethodBetween(const RscpPage& in, const RscpPage& out) noexcept;

/** The method of a pair with a single-byte page for which there is a quick one; NULL if there is none. */
rscpMethod rscpSingleByteMethod(const RscpPage& in, const RscpPage& out) noexcept;

/** The method for all forms but the page with escape sequences. */
int rscpConvertCharacters(const rscpCObj_t& self, RscpCursor& cursor) noexcept;

/** One character, where one side isn't Unicode. The input isn't empty. */
int rscpConvertOne(const rscpCObj_t& self, RscpCursor& cursor) noexcept;

/** @name Reading and writing of one character, whatever the form of the page */
/** @{ */
RscpStep rscpRead(const RscpPage& page, const KEL_RAW* in, const KEL_RAW* end) noexcept;
unsigned rscpWrite(const RscpPage& page, KEL_UINT character, KEL_RAW* out) noexcept;
/** @} */

/** @name Methods of the page with escape sequences, as input and as output */
/** @{ */
int rscpFromJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept;
int rscpToJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept;
/** @} */
