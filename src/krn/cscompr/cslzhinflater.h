/** @file Decompression of LZH streams in portions. */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <cstdint>
#include <span>

/** A prefix code of RFC 1951, read from the low end of each byte. */
class CsHuffmanCode {
  public:
    static constexpr unsigned longestCode = 15;
    static constexpr unsigned mostSymbols = 288;

    /** A symbol and the bits of its code. */
    struct Decoded {
        unsigned symbol;
        unsigned bits;  ///< 0: more bits are needed; above `longestCode`: no symbol has such a code.
    };

    /** Makes the code of these lengths, one for each symbol; false if there are more codes than fit. */
    bool build(std::span<const KEL_RAW> lengths) noexcept;
    /** The symbol at the low end of `bits`, of which `count` are there; the others are zero. */
    Decoded decode(std::uint64_t bits, unsigned count) const noexcept;

  private:
    static constexpr unsigned shortBits = 9;

    std::array<std::uint16_t, longestCode + 1> counts;  ///< Codes of each length.
    std::array<std::uint16_t, mostSymbols> symbols;     ///< In the order of their codes.
    std::array<std::uint16_t, 1u << shortBits>
        quick;  ///< Symbol and length for codes that are short; else 0.
};

/**
 * Decompresses one stream behind its head. The state between two portions is that of the members; what is
 * less than a symbol waits in `bits`.
 */
class CsLzhInflater {
  public:
    /** A stream of `length` bytes begins. */
    void start(std::uint32_t length) noexcept;
    /** A CS_RETCODE; the spans shrink by what was used. */
    int run(std::span<const KEL_RAW>& input, std::span<KEL_RAW>& output) noexcept;

  private:
    static constexpr unsigned windowSize = 16384;

    enum State : unsigned char {
        PREFIX,         ///< The count of random bits.
        FILLER,         ///< These bits.
        BLOCK,          ///< The head of a block.
        STORED_LENGTH,  ///< Length and complement of a stored block.
        STORED,         ///< Its bytes.
        CODE_COUNTS,    ///< How many lengths of codes there are.
        CODE_LENGTHS,   ///< The lengths of the code for lengths.
        LENGTHS,        ///< The lengths of the codes.
        SYMBOLS,        ///< Literals and matches.
        COPY,           ///< The rest of a match.
        END,
        STATES
    };
    /** What a step came to. */
    enum Outcome { GOES_ON, NEEDS_INPUT, NEEDS_ROOM, DAMAGED };
    using Step = Outcome (CsLzhInflater::*)() noexcept;
    static const Step steps[STATES];

    Outcome prefix() noexcept;
    Outcome filler() noexcept;
    Outcome block() noexcept;
    Outcome storedLength() noexcept;
    Outcome stored() noexcept;
    Outcome codeCounts() noexcept;
    Outcome codeLengths() noexcept;
    Outcome codeOfLengths() noexcept;
    Outcome symbols() noexcept;
    Outcome match(unsigned lengthSymbol, std::uint64_t ahead, unsigned left) noexcept;
    Outcome copy() noexcept;
    Outcome end() noexcept;

    void refill() noexcept;
    /** Takes bits if they are there. */
    bool take(unsigned count, unsigned& value) noexcept;
    void drop(unsigned count) noexcept {
        bits >>= count;
        bitCount -= count;
    }
    void put(KEL_RAW byte) noexcept {
        out.front() = byte;
        out = out.subspan(1);
        window[position++ & (windowSize - 1)] = byte;
    }
    bool full() const noexcept { return out.empty() || position == length; }
    Outcome useFixedCodes() noexcept;
    Outcome useReadCodes() noexcept;

    std::span<const KEL_RAW> in;  ///< Of the portion that is being worked on.
    std::span<KEL_RAW> out;
    std::uint64_t bits;
    unsigned bitCount;
    State state;
    bool last;               ///< The block is the last one.
    std::uint32_t length;    ///< Of the whole, as the head tells.
    std::uint32_t position;  ///< Bytes written so far.
    unsigned pending;        ///< Bytes or bits that the current state still has to do.
    unsigned distance;
    unsigned literalCodes, distanceCodes, lengthCodes;
    unsigned lengthsRead;
    std::array<KEL_RAW, CsHuffmanCode::mostSymbols + 32> lengths;
    CsHuffmanCode literals, distances;
    std::array<KEL_RAW, windowSize> window;
};
