/**
 * @file
 * The catalogue of the code pages that the conversion engine knows, and their compiled-in tables.
 *
 * Pages that are told as internal ones "like" a published page have the table of that page.
 */
#pragma once

#include <kelzor/types.h>

#include <span>

/** Digits of a code page's name. */
inline constexpr unsigned rscpCodepageDigits = 4;

/** Classes of pages: how their bytes make characters. */
enum rscpccnls {
    KELCCNLS_not = 0,  ///< One byte a character.
    KELCCNLS_EUC = 1,
    KELCCNLS_JIS = 2,  ///< Escape sequences switch between sets; a text begins and ends in ASCII.
    KELCCNLS_shiftJIS = 3,
    KELCCNLS_tradiCh = 4,
    KELCCNLS_GBK_Ch = 5,
    KELCCNLS_corea = 6,
    KELCCNLS_UCS_2h = 10,
    KELCCNLS_UCS_4h = 11,
    KELCCNLS_UTF_8 = 12,
    KELCCNLS_UTF_16h = 13,
    KELCCNLS_UCS_2l = 14,
    KELCCNLS_UCS_4l = 15,
    KELCCNLS_UTF_16l = 16,
    KELCCNLS_2312_80_Ch = 25,
    KELCCNLS_18030_Ch = 29
};

/** A character and its code, where the way back isn't the first code with that character. */
struct RscpEncoding {
    KEL_USHORT character;
    KEL_USHORT code;  ///< One byte, or two with the lead byte high; RscpTable::noCode for none.
};

/** The first of a run of four-byte codes whose characters rise with them, or that have none. */
struct RscpRange {
    static constexpr KEL_USHORT gap = 0;

    KEL_USHORT linear;     ///< Number of the code, the first of all being 0.
    KEL_USHORT character;  ///< Its character, or gap.
};

/** The characters of a page, as scripts/generate-codepages writes them. */
struct RscpTable {
    static constexpr KEL_USHORT noCharacter = 0xFFFD;
    static constexpr KEL_USHORT noCode = 0xFFFF;
    /** Cells from here up to 0xDFFF are indices into `wide`. */
    static constexpr KEL_USHORT firstWide = 0xD800;
    static constexpr bool isWide(KEL_UINT cell) noexcept { return (cell & 0xF800) == firstWide; }

    const char16_t* bytes = nullptr;  ///< Characters of the single bytes from `firstByte` up to 255.
    unsigned firstByte = 256;         ///< Bytes before it are ASCII.
    KEL_RAW firstLead = 0;            ///< Lead bytes; those that are characters of their own have no row.
    KEL_RAW lastLead = 0;
    KEL_RAW firstTrail = 0;
    KEL_RAW lastTrail = 0;
    const char16_t* pairs = nullptr;   ///< Cells of lead and trail byte.
    const char16_t* second = nullptr;  ///< The same behind the byte 0x8F (EUC).
    const char32_t* wide = nullptr;
    std::span<const RscpEncoding> encodings = {};
    std::span<const RscpRange> ranges = {};  ///< Four-byte codes.
};

struct RscpCodepage {
    KEL_UC number[rscpCodepageDigits + 1];
    rscpccnls major;
    const RscpTable* table;  ///< NULL for the Unicode forms.
    int minor = 0;           ///< Variant of a class.
};

/** Variant of KELCCNLS_18030_Ch: the edition of 2000, in which two characters change places. */
inline constexpr int rscpEdition2000 = 1;

/** All pages, in the order of their numbers. */
std::span<const RscpCodepage> rscpCatalogue() noexcept;

/** The page of four digits, which need no terminator; NULL if it isn't known. */
const RscpCodepage* rscpFindCodepage(const KEL_UC* number) noexcept;
