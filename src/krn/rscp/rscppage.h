/**
 * @file
 * A code page as the conversions use it: made of its compiled-in table at first use, with the way back from
 * character to bytes, and kept until the process ends.
 */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <vector>

#include "krn/rscp/rscpcodepages.h"

/**
 * @name What a reader of characters finds instead of one
 * They lie above all characters. A value between rscpPair and these is a pair of characters that one
 * code stands for: 15 bits of the first, 16 of the second.
 */
/** @{ */
inline constexpr KEL_UINT rscpHighestCharacter = 0x10FFFF;
inline constexpr KEL_UINT rscpPair = 0x80000000;
inline constexpr KEL_UINT rscpMissing = 0xFFFFFFFD;  ///< A whole code that has no character.
inline constexpr KEL_UINT rscpCut = 0xFFFFFFFE;      ///< The input ends within a code.
inline constexpr KEL_UINT rscpBroken = 0xFFFFFFFF;   ///< No code of the page.
/** @} */

/** What a reader found: a character or one of the above, and its length in bytes. */
struct RscpStep {
    KEL_UINT character;
    unsigned length;
};

/** The longest code of a character in any page, in bytes. */
inline constexpr unsigned rscpLongestCode = 4;

/** A character in UTF-8 as one word, its first byte lowest, with the length in the highest byte; 0 for none.
 */
using RscpSequence = KEL_UINT;

/** From bytes to characters: where the tables of a page are. */
struct RscpForward {
    static constexpr KEL_UINT noRow = 0xFFFFFFFF;

    const KEL_USHORT* characters;  ///< Of each byte; RscpTable::noCharacter for others and for lead bytes.
    const KEL_UINT* rows;          ///< Place in `pairs` of the row of each lead byte; noRow for others.
    const char16_t* pairs;
    KEL_UINT firstTrail;
    KEL_UINT columns;

    const RscpSequence* sequences;            ///< Of single bytes; of UTF-16 units beyond ASCII.
    const RscpSequence* const* sequenceRows;  ///< Of pairs: by lead byte, then by trail byte.
};

/** From characters that have three bytes in UTF-8 to those of their codes that have two. */
struct RscpPairs {
    const KEL_UINT* blockOf;  ///< Place in `bytes` of each run, by all bits of the sequence but the last six.
    const KEL_USHORT* bytes;  ///< As they lie in memory, 0 for other codes; null for a page without pairs.
};

/** From characters to codes, in two stages. */
struct RscpBackward {
    static constexpr KEL_UINT blockSize = 64;

    const KEL_UINT* blockOf;  ///< Place in `codes` of each run of characters.
    KEL_UINT blockCount;
    const KEL_USHORT* codes;
    RscpPairs pairs;
    bool longForms;  ///< Codes with a trail byte below 0x80 stand for three bytes.

    /** Code of a character, or RscpTable::noCode. Four-byte codes aren't among them. */
    KEL_UINT find(KEL_UINT character) const noexcept {
        const KEL_UINT block = character / blockSize;
        return block < blockCount ? at(block, character % blockSize) : KEL_UINT{RscpTable::noCode};
    }

    /** The same for a place in a block; blocks of characters below 0x10000 are there in any page. */
    KEL_UINT at(KEL_UINT block, KEL_UINT place) const noexcept { return codes[blockOf[block] + place]; }

    /** Whether a code above 0xFF isn't the two bytes that it looks like. */
    bool isLong(KEL_UINT code) const noexcept {
        return code == RscpTable::noCode || (longForms && (code & 0x80) == 0);
    }
};

class RscpPage {
  public:
    /** The loaded page. Throws std::bad_alloc. Any thread at any time. */
    static const RscpPage& load(const RscpCodepage& codepage);

    RscpPage(const RscpPage&) = delete;
    RscpPage& operator=(const RscpPage&) = delete;

    rscpccnls major() const noexcept { return codepage.major; }

    /** Whether the bytes below 128 are ASCII, each a character of its own. */
    bool isAscii() const noexcept { return asciiBytes; }

    /** The byte of each ASCII character if all of them have one; NULL if not. */
    const KEL_RAW* asciiCodes() const noexcept { return hasAsciiCodes ? codesOfAscii.data() : nullptr; }

    /** Reads what the tables of `forward` alone don't tell: codes of other lengths, and what is no code. */
    RscpStep readRare(const KEL_RAW* in, const KEL_RAW* end) const noexcept;

    /**
     * Writes the code of a character that has more than two bytes and returns its length, or 0 if the page
     * doesn't have it. `code` is what `backward` told.
     */
    unsigned writeLong(KEL_UINT character, KEL_UINT code, KEL_RAW* out) const noexcept;

    // Set while loading.
    RscpForward forward{};
    RscpBackward backward{};

  private:
    explicit RscpPage(const RscpCodepage& codepage);

    void readTable();
    void readRows();
    void makeSequences();
    void setCodes();
    void setPairCodes(const char16_t* cells, KEL_UINT trailMask);
    void setCode(KEL_UINT character, KEL_UINT code, bool replace);
    void setPairs();
    void exchange(KEL_USHORT one, KEL_USHORT other);

    RscpStep readPair(const char16_t* cells, const KEL_RAW* pair, const KEL_RAW* end) const noexcept;
    RscpStep readBehindShift(const KEL_RAW* in, const KEL_RAW* end) const noexcept;
    RscpStep readFour(const KEL_RAW* in, const KEL_RAW* end) const noexcept;

    const RscpCodepage& codepage;
    std::array<KEL_USHORT, 256> characters;
    std::array<KEL_UINT, 256> rows;
    std::array<RscpSequence, 256> sequences{};
    std::vector<RscpSequence> pairSequences;
    std::array<const RscpSequence*, 256> sequenceRows;
    std::vector<char16_t> ownPairs;  ///< When they differ from the table's.
    bool asciiBytes = false;
    bool hasAsciiCodes = false;
    std::array<KEL_RAW, 128> codesOfAscii{};

    std::vector<KEL_UINT> blockOf;
    std::vector<KEL_USHORT> codes;  ///< The block 0 has none.
    std::vector<KEL_UINT> pairBlockOf;
    std::vector<KEL_USHORT> pairBytes;

    std::vector<RscpRange> ranges;             ///< Four-byte codes in their order.
    std::vector<RscpRange> rangesByCharacter;  ///< The same in the order of the characters, without gaps.
};
