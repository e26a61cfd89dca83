// Methods with a single-byte page on one side or both. They go by blocks and look up every byte, whatever
// it is: no branch depends on where a text changes between ASCII and other letters.

#include <cstddef>
#include <cstdint>

#include "krn/rscp/rscpcodecs.h"
#include "krn/rscp/rscpmethods.h"

namespace {

constexpr size_t blockSize = 16;
constexpr size_t halfBlock = blockSize / 2;

/** Bytes that all have a counterpart; returns how many. */
size_t convertRun(const rscpCObj_t& self, const KEL_RAW* in, KEL_RAW* out, size_t count) noexcept {
    const KEL_RAW* const table = self.ccci_table;
    size_t done = 0;
    if (self.ccci_complete) {
#pragma GCC unroll 8
        for (; done < count; ++done)
            out[done] = table[in[done]];
        return done;
    }
    for (; done < count && !self.ccci_missing[in[done]]; ++done)
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

/** Whether a number of bytes is ASCII. */
template <size_t count>
bool isAscii(const KEL_RAW* in) noexcept {
    std::uint64_t words[count / 8];
    std::memcpy(words, in, sizeof words);
    std::uint64_t all = 0;
    for (const std::uint64_t word : words)
        all |= word;
    return (all & 0x8080808080808080) == 0;
}

/** To UTF-8: each byte has its sequence ready, in a word with the length as its last byte. */
void toUtf8(const RscpPage& page, RscpCursor& cursor) noexcept {
    const KEL_RAW(*const sequences)[rscpLongestCode] = page.sequences();
    const bool ascii = page.isAscii();
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    // A step writes a whole word. Behind the block at least as much is written again as the last word has
    // too much, or the conversion fails.
    while (cursor.inEnd - in >= static_cast<std::ptrdiff_t>(blockSize + rscpLongestCode) &&
           cursor.outEnd - out >= static_cast<std::ptrdiff_t>(blockSize * rscpLongestCode)) {
        if (ascii && isAscii<blockSize>(in)) {
            std::memcpy(out, in, blockSize);
            in += blockSize;
            out += blockSize;
            continue;
        }
        if (ascii && isAscii<halfBlock>(in)) {
            std::memcpy(out, in, halfBlock);
            in += halfBlock;
            out += halfBlock;
            continue;
        }
        const KEL_RAW* const end = in + halfBlock;
        for (; in != end; ++in) {
            const KEL_RAW* const sequence = sequences[*in];
            std::memcpy(out, sequence, rscpLongestCode);
            const KEL_RAW length = sequence[rscpLongestCode - 1];
            if (length == 0) [[unlikely]]
                break;
            out += length;
        }
        if (in != end) break;
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

// What the quick steps leave, an end that is short or all from a character without a counterpart on, goes the
// way of all forms.

template <auto steps>
int fromPage(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    steps(*self.ccci_in_set, cursor);
    return cursor.in == cursor.inEnd ? RSCP_OK : rscpConvertCharacters(self, cursor);
}

template <auto steps>
int toPage(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    steps(*self.ccci_out_set, cursor);
    return cursor.in == cursor.inEnd ? RSCP_OK : rscpConvertCharacters(self, cursor);
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
    if (toBytes && in.major() == KELCCNLS_UTF_16h && !out.isAscii()) return toPage<fromUtf16<Big>>;
    if (toBytes && in.major() == KELCCNLS_UTF_16l && !out.isAscii()) return toPage<fromUtf16<Little>>;
    return nullptr;
}
