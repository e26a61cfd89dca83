#include "krn/rscp/rscpmethods.h"

#include <bit>
#include <cstddef>
#include <cstdint>

#include "krn/rscp/rscpcodecs.h"
#include "krn/rscp/rscpquick.h"

namespace {

constexpr unsigned blockSize = 16;  // characters that a run of ASCII goes by at once

/** Units of a block as vectors, so that the compiler uses the machine's wide registers. */
template <unsigned width>
struct Vector;
template <>
struct Vector<1> {
    typedef KEL_RAW Type __attribute__((vector_size(blockSize)));
    static constexpr KEL_RAW beyondAscii = 0x80;
};
template <>
struct Vector<2> {
    typedef KEL_USHORT Type __attribute__((vector_size(2 * blockSize)));
    static constexpr KEL_USHORT beyondAscii = 0xFF80;
};
template <>
struct Vector<4> {
    typedef KEL_UINT Type __attribute__((vector_size(4 * blockSize)));
    static constexpr KEL_UINT beyondAscii = 0xFFFFFF80;
};

template <class Form>
constexpr bool isSwapped = Form::unit != 1 && Form::byteOrder != std::endian::native;

/** The value of an ASCII unit in the other byte order; a mask likewise. */
template <class Form, class Units>
void swapUnits(Units& units) noexcept {
    if constexpr (isSwapped<Form> && Form::unit == 2)
        units = units >> 8 | units << 8;
    else if constexpr (isSwapped<Form> && Form::unit == 4)
        units = units >> 24 | (units >> 8 & 0xFF00) | (units << 8 & 0xFF0000) | units << 24;
}

/** Whether all units of a block are ASCII. */
template <class From, class Units>
[[gnu::always_inline]] inline bool isAscii(const Units& units) noexcept {
    typedef std::uint64_t Part __attribute__((vector_size(blockSize)));
    const Units beyond = units & Vector<From::unit>::beyondAscii;
    Part parts[From::unit];
    std::memcpy(parts, &beyond, sizeof parts);
    Part any = parts[0];
    for (unsigned i = 1; i < From::unit; ++i)
        any |= parts[i];
    return (any[0] | any[1]) == 0;
}

/** Place of the first unit beyond ASCII in a block that has one. */
template <class From, class Units>
size_t firstBeyond(const Units& units) noexcept {
    const Units beyond = units & Vector<From::unit>::beyondAscii;
    std::uint64_t words[sizeof beyond / sizeof(std::uint64_t)];
    std::memcpy(words, &beyond, sizeof words);
    size_t word = 0;
    while (words[word] == 0)
        ++word;
    const int bit = std::endian::native == std::endian::little ? std::countr_zero(words[word])
                                                               : std::countl_zero(words[word]);
    return (word * 64 + static_cast<size_t>(bit)) / (8 * From::unit);
}

/** Writes a block of ASCII, by the codes of a page that has others for it. */
template <class From, class To, class Units>
[[gnu::always_inline]] inline void writeBlock(const Units& units, const KEL_RAW* codes,
                                              KEL_RAW* out) noexcept {
    if (To::unit == 1 && codes != nullptr) {
        for (unsigned i = 0; i < blockSize; ++i)
            out[i] = codes[units[i]];
        return;
    }
    auto converted = __builtin_convertvector(units, typename Vector<To::unit>::Type);
    swapUnits<To>(converted);
    std::memcpy(out, &converted, sizeof converted);
}

/**
 * Converts ASCII up to the first other character, block by block. The block that holds that character is
 * written as a whole if so much input follows that its end is written again: the longest code has four
 * units. Else, and behind the last block, characters go one by one. `codes` are those of the output page if
 * it isn't ASCII there.
 */
template <class From, class To>
[[gnu::always_inline]] inline void convertAscii(const KEL_RAW*& in, const KEL_RAW* inEnd, KEL_RAW*& out,
                                                const KEL_RAW* outEnd, const KEL_RAW* codes) noexcept {
    size_t count =
        std::min(static_cast<size_t>(inEnd - in) / From::unit, static_cast<size_t>(outEnd - out) / To::unit);
    for (; count >= blockSize; count -= blockSize) {
        typename Vector<From::unit>::Type units;
        std::memcpy(&units, in, sizeof units);
        swapUnits<From>(units);
        const bool ascii = isAscii<From>(units);
        if (!ascii && (codes != nullptr || count < (1 + rscpLongestCode) * blockSize)) break;
        writeBlock<From, To>(units, codes, out);
        const size_t done = ascii ? blockSize : firstBeyond<From>(units);
        in += done * From::unit;
        out += done * To::unit;
        if (!ascii) return;
        if constexpr (From::unit == 1 && To::unit == 1) {
            if (codes != nullptr) continue;
            const size_t more = rscpCopyAscii(in, out, count - blockSize);
            in += more;
            out += more;
            count -= more;
        }
    }
    // Eight at once, while they are ASCII: a field rarely ends with a block.
    if constexpr (From::unit == 1 && To::unit == 1) {
        std::uint64_t word = 0;
        if (codes == nullptr && count >= sizeof word) {
            std::memcpy(&word, in, sizeof word);
            if ((word & 0x8080808080808080) == 0) {
                std::memcpy(out, &word, sizeof word);
                in += sizeof word;
                out += sizeof word;
                count -= sizeof word;
            }
        }
    }
    for (; count > 0; --count) {
        const KEL_UINT unit = From::get(in);
        if (unit >= 0x80) return;
        To::set(codes != nullptr ? codes[unit] : unit, out);
        in += From::unit;
        out += To::unit;
    }
}

/** Two characters that one code stands for: both are written, or none. */
template <class To>
int convertPair(const rscpCObj_t& self, const To& to, RscpCursor& cursor, KEL_UINT pair,
                unsigned length) noexcept {
    KEL_RAW bytes[2 * rscpLongestCode];
    const unsigned first = to.write((pair & ~rscpPair) >> 16, bytes);
    const unsigned second = to.write(pair & 0xFFFF, bytes + first);
    if (first == 0 || second == 0) return rscpMiss(self, cursor, length);
    return cursor.put(bytes, first + second, length);
}

constexpr bool isControl(KEL_UINT character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

/** One character with all checks: there is little input or room, or something is wrong. */
template <class From, class To>
[[gnu::noinline]] int convertOne(const rscpCObj_t& self, RscpCursor& cursor, bool noControls) noexcept {
    const From from(*self.ccci_in_set);
    const To to(*self.ccci_out_set);
    const auto [character, length] = from.read(cursor.in, cursor.inEnd);
    if (character >= rscpMissing) return rscpNoCharacter(self, cursor, {character, length});
    if (character > rscpHighestCharacter) return convertPair(self, to, cursor, character, length);
    if (noControls && isControl(character)) return rscpMiss(self, cursor, length);
    KEL_RAW bytes[rscpLongestCode];
    const unsigned count = to.write(character, bytes);
    return count != 0 ? cursor.put(bytes, count, length) : rscpMiss(self, cursor, length);
}

/** What a conversion finds out about ASCII before it begins. */
struct AsciiRuns {
    bool possible;         ///< Whether its characters have one unit on both sides.
    const KEL_RAW* codes;  ///< Those of the output page, if they aren't the same; else NULL.
};

template <class From, class To>
AsciiRuns asciiRunsOf(const From& from, const To& to, bool noControls) noexcept {
    const KEL_RAW* const codes = to.isAscii() ? nullptr : to.asciiCodes();
    return {from.isAscii() && !noControls && (to.isAscii() || codes != nullptr), codes};
}

/** Characters that a plain step converts, as long as input and room suffice for the longest codes. */
template <class From, class To>
void convertPlain(const rscpCObj_t& self, RscpCursor& cursor, AsciiRuns ascii, bool noControls) noexcept {
    // All in variables of its own: a store to the output might change anything else, as the compiler sees it.
    const From from(*self.ccci_in_set);
    const To to(*self.ccci_out_set);
    const KEL_RAW* in = cursor.in;
    const KEL_RAW* const inEnd = cursor.inEnd;
    KEL_RAW* out = cursor.out;
    const KEL_RAW* const outEnd = cursor.outEnd;
    constexpr std::ptrdiff_t longest = rscpLongestCode;
    // Behind an ASCII character the next unit is looked at too.
    constexpr std::ptrdiff_t enough = std::max<std::ptrdiff_t>(longest, 2 * From::unit);
    const auto isEnough = [&] { return inEnd - in >= enough && outEnd - out >= longest; };
    while (isEnough()) {
        // Quick steps for as many characters as are there for certain, so that not each looks at the ends.
        auto steps = std::min((inEnd - in - rscpQuickMargin) / longest, (outEnd - out) / longest);
        if (noControls) steps = 0;
        rscpQuickRun(from, to, in, out, steps);
        if (!isEnough()) break;
        if (ascii.possible && (From::get(in) | From::get(in + From::unit)) < 0x80) {
            convertAscii<From, To>(in, inEnd, out, outEnd, ascii.codes);
            continue;
        }
        const auto [character, length] = from.read(in, in + longest);
        if (character > rscpHighestCharacter || (noControls && isControl(character))) [[unlikely]]
            break;
        const unsigned count = to.write(character, out);
        if (count == 0) [[unlikely]]
            break;
        in += length;
        out += count;
    }
    cursor.in = in;
    cursor.out = out;
}

template <class From, class To>
int convertCharacters(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    const bool noControls = From::unicode && To::unicode && self.ccci_ctrlcodes == CtrlCodeCv_illegal;
    const AsciiRuns ascii = asciiRunsOf(From(*self.ccci_in_set), To(*self.ccci_out_set), noControls);
    for (;;) {
        convertPlain<From, To>(self, cursor, ascii, noControls);
        if (cursor.in == cursor.inEnd) return RSCP_OK;
        const int rc = convertOne<From, To>(self, cursor, noControls);
        if (rc != RSCP_OK) return rc;
    }
}

}  // namespace

unsigned rscpUnitOf(const RscpPage& page) noexcept {
    return rscpWithForm(page.major(), []<class Form>() { return Form::unit; });
}

RscpStep rscpRead(const RscpPage& page, const KEL_RAW* in, const KEL_RAW* end) noexcept {
    return rscpWithForm(page.major(), [&]<class Form>() { return Form(page).read(in, end); });
}

unsigned rscpWrite(const RscpPage& page, KEL_UINT character, KEL_RAW* out) noexcept {
    return rscpWithForm(page.major(), [&]<class Form>() { return Form(page).write(character, out); });
}

unsigned rscpReplacement(const rscpCObj_t& self, const KEL_RAW* in, unsigned length,
                         KEL_RAW (&bytes)[rscpLongestPiece]) noexcept {
    if (self.on_miss == miss_substitute) {
        std::copy_n(self.ccci_substitute, self.ccci_substituteLength, bytes);
        return self.ccci_substituteLength;
    }
    if (self.on_miss != miss_copy) return 0;
    const unsigned unit = rscpUnitOf(*self.ccci_out_set);
    if (length % unit == 0) {
        std::copy_n(in, length, bytes);
        return length;
    }
    for (unsigned i = 0; i < length; ++i)
        rscpWrite(*self.ccci_out_set, in[i], bytes + i * unit);
    return length * unit;
}

int rscpMiss(const rscpCObj_t& self, RscpCursor& cursor, unsigned length) noexcept {
    KEL_RAW bytes[rscpLongestPiece];
    const unsigned count = rscpReplacement(self, cursor.in, length, bytes);
    if (count == 0) return RSCPENOCONV;
    const int rc = cursor.put(bytes, count, length);
    if (rc == RSCP_OK) ++cursor.substitutions;
    return rc;
}

int rscpNoCharacter(const rscpCObj_t& self, RscpCursor& cursor, RscpStep found) noexcept {
    if (found.character == rscpCut) return RSCPEUNIQ;
    if (found.character == rscpBroken && self.on_broken != broken_like_miss) return RSCPENOCONV;
    return rscpMiss(self, cursor, found.length);
}

int rscpConvertCharacters(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    return rscpWithForm(self.ccci_in_set->major(), [&]<class From>() {
        return rscpWithForm(self.ccci_out_set->major(),
                            [&]<class To>() { return convertCharacters<From, To>(self, cursor); });
    });
}

int rscpConvertOne(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    return rscpWithForm(self.ccci_in_set->major(), [&]<class From>() {
        return rscpWithForm(self.ccci_out_set->major(),
                            [&]<class To>() { return convertOne<From, To>(self, cursor, false); });
    });
}

rscpMethod rscpMethodBetween(const RscpPage& in, const RscpPage& out) noexcept {
    if (in.major() == KELCCNLS_JIS) return rscpFromJis;
    if (out.major() == KELCCNLS_JIS) return rscpToJis;
    if (const rscpMethod quick = rscpSingleByteMethod(in, out)) return quick;
    return rscpWithForm(in.major(), [&out]<class From>() {
        return rscpWithForm(out.major(),
                            []<class To>() -> rscpMethod { return convertCharacters<From, To>; });
    });
}
