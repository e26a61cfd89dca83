/**
 * @file
 * Quick steps between two forms: each converts the next character if it is one of those that most text
 * beyond ASCII is made of, and tells whether it did. A step reads and writes up to four bytes. What it writes
 * too much the characters behind it write over, for which `rscpQuickMargin` bytes of input suffice.
 */
#pragma once

#include <kelzor/types.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "krn/rscp/rscpcodecs.h"

/** Input that stays behind the last quick step: at least three bytes of output come of it. */
inline constexpr std::ptrdiff_t rscpQuickMargin = 8;

/** Four bytes as a word, the first one lowest on every machine. */
inline KEL_UINT rscpFirstLowest(KEL_UINT word) noexcept {
    return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

inline KEL_UINT rscpGetWord(const KEL_RAW* in) noexcept {
    KEL_UINT word;
    std::memcpy(&word, in, sizeof word);
    return rscpFirstLowest(word);
}

inline void rscpPutWord(KEL_UINT word, KEL_RAW* out) noexcept {
    word = rscpFirstLowest(word);
    std::memcpy(out, &word, sizeof word);
}

/** The first three bytes of a word. */
inline void rscpPutThree(KEL_UINT word, KEL_RAW* out) noexcept {
    word = rscpFirstLowest(word);
    std::memcpy(out, &word, 2);
    out[2] = reinterpret_cast<const KEL_RAW*>(&word)[2];
}

inline void rscpPutSequence(RscpSequence sequence, KEL_RAW*& out) noexcept {
    rscpPutWord(sequence, out);
    out += sequence >> 24;
}

/**
 * Copies ASCII in large blocks, up to the first that holds another byte or isn't whole; returns how much.
 */
inline size_t rscpCopyAscii(const KEL_RAW* in, KEL_RAW* out, size_t count) noexcept {
    typedef std::uint64_t Vector __attribute__((vector_size(16)));
    constexpr size_t blockSize = 4 * sizeof(Vector);
    size_t done = 0;
    for (; count - done >= blockSize; done += blockSize) {
        Vector block[4];
        std::memcpy(block, in + done, blockSize);
        const Vector any = block[0] | block[1] | block[2] | block[3];
        if (((any[0] | any[1]) & 0x8080808080808080) != 0) break;
        std::memcpy(out + done, block, blockSize);
    }
    return done;
}

/** Sequences of two and three bytes: how their marks lie in a word, and where the bits of the character are.
 */
struct RscpUtf8Word {
    /** One ASCII character with another in front of it. */
    static bool hasLoneOne(KEL_UINT word) noexcept { return (word & 0x8080) == 0x8000; }
    static bool hasTwo(KEL_UINT word) noexcept { return (word & 0xC0E0) == 0x80C0; }
    static bool hasThree(KEL_UINT word) noexcept { return (word & 0xC0C0F0) == 0x8080E0; }

    // All bits of the character but its last six, which stand alone in the last byte.
    static KEL_UINT highOfTwo(KEL_UINT word) noexcept { return word & 0x1F; }
    static KEL_UINT highOfThree(KEL_UINT word) noexcept { return (word & 0xF) << 6 | (word >> 8 & 0x3F); }
    static KEL_UINT lowOfTwo(KEL_UINT word) noexcept { return word >> 8 & 0x3F; }
    static KEL_UINT lowOfThree(KEL_UINT word) noexcept { return word >> 16 & 0x3F; }

    // High parts below these belong to characters that have shorter sequences.
    static constexpr KEL_UINT lowestHighOfTwo = 0x80 >> 6;
    static constexpr KEL_UINT lowestHighOfThree = 0x800 >> 6;
};

/** For all pairs of forms that have no quick step. */
template <class From, class To>
bool rscpQuickStep(const From&, const To&, const KEL_RAW*&, KEL_RAW*&) noexcept {
    return false;
}

inline bool rscpQuickStep(const RscpTableForm& from, const RscpUtf8Form&, const KEL_RAW*& in,
                          KEL_RAW*& out) noexcept {
    const RscpSequence pair = from.forward.sequenceRows[in[0]][in[1]];
    if (pair >> 24 == 3) [[likely]] {
        rscpPutWord(pair, out);
        in += 2;
        out += 3;
        return true;
    }
    if (pair != 0) {
        rscpPutSequence(pair, out);
        in += 2;
        return true;
    }
    // One letter between pairs; more go by at once.
    const RscpSequence single = from.forward.sequences[*in];
    if (single == 0 || in[1] < 0x80) return false;
    rscpPutSequence(single, out);
    in += 1;
    return true;
}

/** Writes a code of one or two bytes. */
inline bool rscpPutCode(const RscpTableForm& to, KEL_UINT code, KEL_RAW*& out) noexcept {
    if (code > 0xFF && !to.backward.isLong(code)) {
        out[0] = static_cast<KEL_RAW>(code >> 8);
        out[1] = static_cast<KEL_RAW>(code);
        out += 2;
        return true;
    }
    if (code > 0xFF) [[unlikely]]
        return false;
    *out++ = static_cast<KEL_RAW>(code);
    return true;
}

// Each branch below moves the pointers by a number that it knows, not by one that is worked out: so the next
// step can begin before this one is done.

inline bool rscpQuickStep(const RscpUtf8Form&, const RscpTableForm& to, const KEL_RAW*& in,
                          KEL_RAW*& out) noexcept {
    const KEL_UINT word = rscpGetWord(in);
    if (RscpUtf8Word::hasThree(word)) {
        const KEL_UINT high = RscpUtf8Word::highOfThree(word);
        if (high < RscpUtf8Word::lowestHighOfThree) [[unlikely]]
            return false;
        if (!rscpPutCode(to, to.backward.at(high, RscpUtf8Word::lowOfThree(word)), out)) return false;
        in += 3;
        return true;
    }
    if (RscpUtf8Word::hasTwo(word)) {
        const KEL_UINT high = RscpUtf8Word::highOfTwo(word);
        if (high < RscpUtf8Word::lowestHighOfTwo) [[unlikely]]
            return false;
        if (!rscpPutCode(to, to.backward.at(high, RscpUtf8Word::lowOfTwo(word)), out)) return false;
        in += 2;
        return true;
    }
    if (!RscpUtf8Word::hasLoneOne(word)) return false;
    if (!rscpPutCode(to, to.backward.find(word & 0x7F), out)) return false;
    in += 1;
    return true;
}

template <std::endian order>
bool rscpQuickStep(const RscpUtf8Form&, const RscpUtf16Form<order>&, const KEL_RAW*& in,
                   KEL_RAW*& out) noexcept {
    using To = RscpUtf16Form<order>;
    const KEL_UINT word = rscpGetWord(in);
    if (RscpUtf8Word::hasThree(word)) {
        const KEL_UINT high = RscpUtf8Word::highOfThree(word);
        const KEL_UINT character = high << 6 | RscpUtf8Word::lowOfThree(word);
        if (high < RscpUtf8Word::lowestHighOfThree || rscpIsSurrogate(character)) [[unlikely]]
            return false;
        To::set(character, out);
        in += 3;
        out += 2;
        return true;
    }
    if (RscpUtf8Word::hasTwo(word)) {
        const KEL_UINT high = RscpUtf8Word::highOfTwo(word);
        if (high < RscpUtf8Word::lowestHighOfTwo) [[unlikely]]
            return false;
        To::set(high << 6 | RscpUtf8Word::lowOfTwo(word), out);
        in += 2;
        out += 2;
        return true;
    }
    if (!RscpUtf8Word::hasLoneOne(word)) return false;
    To::set(word & 0x7F, out);
    in += 1;
    out += 2;
    return true;
}

template <std::endian order>
bool rscpQuickStep(const RscpUtf16Form<order>& from, const RscpUtf8Form&, const KEL_RAW*& in,
                   KEL_RAW*& out) noexcept {
    const KEL_UINT unit = from.get(in);
    if (const RscpSequence sequence = from.sequences[unit]; sequence != 0) [[likely]] {
        rscpPutSequence(sequence, out);
        in += 2;
        return true;
    }
    // A lone letter of ASCII; more go by at once.
    if (unit >= 0x80 || from.get(in + 2) < 0x80) return false;
    *out++ = static_cast<KEL_RAW>(unit);
    in += 2;
    return true;
}

/** @name Runs of at most `steps` quick steps
 * Characters of one length come in runs: within one only what belongs to it is looked at.
 */
/** @{ */
template <class From, class To>
void rscpQuickRun(const From& from, const To& to, const KEL_RAW*& in, KEL_RAW*& out,
                  std::ptrdiff_t steps) noexcept {
    while (steps > 0 && rscpQuickStep(from, to, in, out))
        --steps;
}

/** Units of 16 bits whose sequences have this length; gives the steps that are left. */
template <KEL_UINT length, class From>
std::ptrdiff_t rscpSequencesOf(const From& from, const KEL_RAW*& in, KEL_RAW*& out,
                               std::ptrdiff_t steps) noexcept {
    for (; steps > 0; --steps) {
        const RscpSequence sequence = from.sequences[from.get(in)];
        if (sequence >> 24 != length) break;
        rscpPutWord(sequence, out);
        in += 2;
        out += length;
    }
    return steps;
}

inline void rscpQuickRun(const RscpUtf8Form& from, const RscpTableForm& to, const KEL_RAW*& in, KEL_RAW*& out,
                         std::ptrdiff_t steps) noexcept {
    const RscpPairs pairs = to.backward.pairs;
    while (steps > 0) {
        for (; pairs.bytes != nullptr && steps > 0; --steps) {
            const KEL_UINT word = rscpGetWord(in);
            if (!RscpUtf8Word::hasThree(word)) break;
            const KEL_USHORT pair =
                pairs.bytes[pairs.blockOf[RscpUtf8Word::highOfThree(word)] + RscpUtf8Word::lowOfThree(word)];
            if (pair == 0) break;
            std::memcpy(out, &pair, sizeof pair);
            in += 3;
            out += 2;
        }
        if (steps <= 0 || !rscpQuickStep(from, to, in, out)) return;
        --steps;
    }
}

template <std::endian order>
void rscpQuickRun(const RscpUtf16Form<order>& from, const RscpUtf8Form& to, const KEL_RAW*& in, KEL_RAW*& out,
                  std::ptrdiff_t steps) noexcept {
    while (steps > 0) {
        steps = rscpSequencesOf<3>(from, in, out, steps);
        steps = rscpSequencesOf<2>(from, in, out, steps);
        if (steps <= 0 || !rscpQuickStep(from, to, in, out)) return;
        --steps;
    }
}
/** @} */
