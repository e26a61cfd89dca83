// Methods with a single-byte page on one side or both. They go by blocks and look up every byte, whatever
// it is: no branch depends on where a text changes between ASCII and other letters.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "krn/rscp/rscpcodecs.h"
#include "krn/rscp/rscpmethods.h"
#include "krn/rscp/rscpquick.h"

namespace {

constexpr size_t blockSize = 16;

/** Bytes that all have a counterpart; returns how many. */
size_t convertRun(const rscpCObj_t& self, const KEL_RAW* in, KEL_RAW* out, size_t count) noexcept {
    const KEL_RAW* const table = self.ccci_table;
    const bool* const missing = self.ccci_missing;
    size_t done = 0;
    if (self.ccci_complete) {
#pragma GCC unroll 8
        for (; done < count; ++done)
            out[done] = table[in[done]];
        return done;
    }
    for (constexpr size_t step = 4; count - done >= step; done += step) {
        const KEL_RAW* const next = in + done;
        if (missing[next[0]] | missing[next[1]] | missing[next[2]] | missing[next[3]]) break;
        rscpPutWord(
            table[next[0]] | table[next[1]] << 8 | table[next[2]] << 16 | KEL_UINT{table[next[3]]} << 24,
            out + done);
    }
    for (; done < count && !missing[in[done]]; ++done)
        out[done] = table[in[done]];
    return done;
}

/** Between two single-byte pages, by one table. */
int convertByTable(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    while (cursor.in != cursor.inEnd) {
        const size_t room = std::min(cursor.inRest(), cursor.outRest());
        const size_t run = convertRun(self, cursor.in, cursor.out, room);
        cursor.in += run;
        cursor.out += run;
        if (run == room) return cursor.in == cursor.inEnd ? RSCP_OK : RSCPETOOLONG;
        const int rc = rscpMiss(self, cursor, 1);
        if (rc != RSCP_OK) return rc;
    }
    return RSCP_OK;
}

/** Bytes with the top bit in a word. */
constexpr std::uint64_t topBits = 0x8080808080808080;

/** Copies a block and returns how many of its bytes are ASCII from the first on. */
size_t copyBlock(const KEL_RAW* in, KEL_RAW* out) noexcept {
    std::uint64_t words[blockSize / 8];
    std::memcpy(words, in, blockSize);
    std::memcpy(out, words, blockSize);
    for (size_t i = 0; i < std::size(words); ++i)
        if (const std::uint64_t beyond = words[i] & topBits; beyond != 0)
            return 8 * i + static_cast<size_t>(std::endian::native == std::endian::little
                                                   ? std::countr_zero(beyond)
                                                   : std::countl_zero(beyond)) /
                               8;
    return blockSize;
}

/** What a step of toUtf8 needs: a block, and behind it enough to write over what its last word has too much.
 */
bool hasBlock(const RscpCursor& cursor, const KEL_RAW* in, const KEL_RAW* out) noexcept {
    return cursor.inEnd - in >= static_cast<std::ptrdiff_t>(2 * blockSize) &&
           cursor.outEnd - out >= static_cast<std::ptrdiff_t>(blockSize * rscpLongestCode);
}

/** To UTF-8: each byte has its sequence ready. */
void toUtf8(const RscpPage& page, RscpCursor& cursor) noexcept {
    const RscpSequence* const sequences = page.forward.sequences;
    const bool ascii = page.isAscii();
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    const auto runsOn = [&] { return ascii && ((in[0] | in[1]) & 0x80) == 0; };
    bool whole = true;
    while (whole && hasBlock(cursor, in, out)) {
        // ASCII goes by in blocks; a lone letter of it between others doesn't begin one.
        if (runsOn()) {
            size_t done = copyBlock(in, out);
            if (done == blockSize) {
                const auto room = static_cast<size_t>(std::min(cursor.inEnd - in, cursor.outEnd - out));
                done += rscpCopyAscii(in + done, out + done, room - done);
            }
            in += done;
            out += done;
            if (done >= blockSize) continue;
        }
        const KEL_RAW* const end = in + blockSize / 2;
        do {
            const RscpSequence sequence = sequences[*in];
            whole = sequence != 0;
            if (!whole) [[unlikely]]
                break;
            rscpPutSequence(sequence, out);
            ++in;
        } while (in != end && !runsOn());
    }
    cursor.in = in;
    cursor.out = out;
}

template <class To>
void toUtf16(const RscpPage& page, RscpCursor& cursor) noexcept {
    const KEL_USHORT* const characters = page.forward.characters;
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    for (size_t count = std::min(cursor.inRest(), cursor.outRest() / To::unit); count > 0; --count) {
        const KEL_UINT character = characters[*in];
        if (character == RscpTable::noCharacter) [[unlikely]]
            break;
        To::set(character, out);
        ++in;
        out += To::unit;
    }
    cursor.in = in;
    cursor.out = out;
}

template <class From>
void fromUtf16(const RscpPage& page, RscpCursor& cursor) noexcept {
    const RscpBackward backward = page.backward;
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    for (size_t count = std::min(cursor.inRest() / From::unit, cursor.outRest()); count > 0; --count) {
        // A surrogate has no code, as any other that isn't one byte.
        const KEL_UINT code = backward.find(From::get(in));
        if (code > 0xFF) [[unlikely]]
            break;
        *out = static_cast<KEL_RAW>(code);
        in += From::unit;
        ++out;
    }
    cursor.in = in;
    cursor.out = out;
}

/** What a step of fromUtf8 needs: the longest sequences behind a block still write over all that it wrote. */
bool hasLongBlock(const RscpCursor& cursor, const KEL_RAW* in, const KEL_RAW* out) noexcept {
    constexpr auto enough = static_cast<std::ptrdiff_t>((1 + rscpLongestCode) * blockSize);
    return cursor.inEnd - in >= enough && cursor.outEnd - out >= enough;
}

/** From UTF-8 to a page where ASCII stays ASCII: blocks of it, and between them letters of two bytes. */
void fromUtf8(const RscpPage& page, RscpCursor& cursor) noexcept {
    const RscpBackward backward = page.backward;
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    bool whole = true;
    while (whole && hasLongBlock(cursor, in, out)) {
        size_t done = copyBlock(in, out);
        if (done == blockSize) {
            // What follows the large blocks writes over as much as it would here.
            const auto room = std::min(cursor.inEnd - in, cursor.outEnd - out);
            done += rscpCopyAscii(in + done, out + done, static_cast<size_t>(room) - done);
        }
        in += done;
        out += done;
        const KEL_RAW* const end = in + blockSize;
        while (*in >= 0x80 && in < end) {
            const KEL_UINT word = rscpGetWord(in), high = RscpUtf8Word::highOfTwo(word);
            const KEL_UINT code = backward.at(high, RscpUtf8Word::lowOfTwo(word));
            whole = RscpUtf8Word::hasTwo(word) && high >= RscpUtf8Word::lowestHighOfTwo && code <= 0xFF;
            if (!whole) [[unlikely]]
                break;
            *out++ = static_cast<KEL_RAW>(code);
            in += 2;
            // A lone letter of ASCII begins no block.
            if (in[0] < 0x80 && in[1] >= 0x80) *out++ = *in++;
        }
    }
    cursor.in = in;
    cursor.out = out;
}

/**
 * Takes quick steps, which stop at the first character without a counterpart and at an end that is too short
 * for them; the way of all forms takes over there.
 */
template <auto steps, auto hasEnough>
int stepByStep(const rscpCObj_t& self, const RscpPage& page, RscpCursor& cursor) noexcept {
    for (;;) {
        steps(page, cursor);
        if (cursor.in == cursor.inEnd) return RSCP_OK;
        if (!hasEnough(cursor, cursor.in, cursor.out)) return rscpConvertCharacters(self, cursor);
        const int rc = rscpConvertOne(self, cursor);
        if (rc != RSCP_OK) return rc;
    }
}

template <auto steps>
int fromPage(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    return stepByStep<steps, hasBlock>(self, *self.ccci_in_set, cursor);
}

template <auto steps, auto hasEnough = hasBlock>
int toPage(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    return stepByStep<steps, hasEnough>(self, *self.ccci_out_set, cursor);
}

using Big = RscpUtf16Form<std::endian::big>;
using Little = RscpUtf16Form<std::endian::little>;

}  // namespace

rscpMethod rscpSingleByteMethod(const RscpPage& in, const RscpPage& out) noexcept {
    const bool fromBytes = in.major() == KELCCNLS_not;
    const bool toBytes = out.major() == KELCCNLS_not;
    if (fromBytes && toBytes) return convertByTable;
    if (fromBytes && out.major() == KELCCNLS_UTF_8) return fromPage<toUtf8>;
    // Where ASCII stays ASCII, whole blocks of it go by at once: the way of all forms.
    if (fromBytes && out.major() == KELCCNLS_UTF_16h && !in.isAscii()) return fromPage<toUtf16<Big>>;
    if (fromBytes && out.major() == KELCCNLS_UTF_16l && !in.isAscii()) return fromPage<toUtf16<Little>>;
    if (toBytes && in.major() == KELCCNLS_UTF_8 && out.isAscii()) return toPage<fromUtf8, hasLongBlock>;
    if (toBytes && in.major() == KELCCNLS_UTF_16h && !out.isAscii()) return toPage<fromUtf16<Big>>;
    if (toBytes && in.major() == KELCCNLS_UTF_16l && !out.isAscii()) return toPage<fromUtf16<Little>>;
    return nullptr;
}
