// The Japanese page with escape sequences. Its pairs are those of EUC without the top bits.

#include <array>
#include <type_traits>

#include "krn/rscp/rscpcodecs.h"
#include "krn/rscp/rscpmethods.h"
#include "krn/rscp/rscpquick.h"

namespace {

constexpr KEL_RAW escape = 0x1B;

enum class Set { ascii, roman, pairs };

constexpr size_t escapeLength = 3;

struct Escape {
    KEL_RAW sequence[escapeLength];
    Set set;
};

// The first of a set is the one that is written.
constexpr std::array<Escape, 4> escapes = {{
    {{escape, '(', 'B'}, Set::ascii},
    {{escape, '(', 'J'}, Set::roman},
    {{escape, '$', 'B'}, Set::pairs},
    {{escape, '$', '@'}, Set::pairs},
}};

const KEL_RAW* escapeTo(Set set) noexcept {
    const auto* const found =
        std::ranges::find_if(escapes, [set](const Escape& candidate) { return candidate.set == set; });
    return found->sequence;
}

// Where the Roman set isn't ASCII.
constexpr KEL_RAW yenByte = 0x5C;
constexpr KEL_RAW overlineByte = 0x7E;
constexpr KEL_UINT yen = 0xA5;
constexpr KEL_UINT overline = 0x203E;

/** The sequence of an escape byte, NULL if it has none; `found` is what stands there then. */
const Escape* readEscape(const KEL_RAW* in, const KEL_RAW* end, KEL_UINT& found) noexcept {
    const auto rest = end - in;
    found = rscpBroken;
    for (const Escape& candidate : escapes) {
        if (rest >= 2 && in[1] != candidate.sequence[1]) continue;
        if (rest >= 3 && in[2] != candidate.sequence[2]) continue;
        if (rest >= 3) return &candidate;
        found = rscpCut;
    }
    return nullptr;
}

/** A character of a set; the input isn't an escape sequence. */
RscpStep readOf(Set set, const RscpTableForm& pairs, const KEL_RAW* in, const KEL_RAW* end) noexcept {
    if (*in >= 0x80) return {rscpBroken, 1};
    if (set == Set::pairs) return pairs.read(in, end);
    if (set == Set::roman && *in == yenByte) return {yen, 1};
    if (set == Set::roman && *in == overlineByte) return {overline, 1};
    return {*in, 1};
}

/** Writes a text with escape sequences that ends in ASCII wherever it stops. */
class JisWriter {
  public:
    JisWriter(const RscpPage& page, RscpCursor& cursor) : page(page), cursor(cursor) {}

    /** Writes a character in the set that has it; RSCPENOCONV if none does. */
    int write(KEL_UINT character, size_t consumed) noexcept {
        KEL_RAW bytes[2] = {static_cast<KEL_RAW>(character), 0};
        if (character < 0x80 && character != escape) {
            const bool both = set == Set::roman && character != yenByte && character != overlineByte;
            return put(both ? Set::roman : Set::ascii, bytes, 1, consumed);
        }
        if (character == yen || character == overline) {
            bytes[0] = character == yen ? yenByte : overlineByte;
            return put(Set::roman, bytes, 1, consumed);
        }
        const KEL_UINT code = page.backward.find(character);
        if (code == RscpTable::noCode || code <= 0xFF) return RSCPENOCONV;
        bytes[0] = static_cast<KEL_RAW>(code >> 8);
        bytes[1] = static_cast<KEL_RAW>(code);
        return put(Set::pairs, bytes, 2, consumed);
    }

    /** Writes bytes of a set, or nothing; keeps the room for the way back to ASCII. */
    int put(Set wanted, const KEL_RAW* bytes, size_t count, size_t consumed) noexcept {
        const size_t before = wanted != set ? escapeLength : 0;
        const size_t behind = wanted != Set::ascii ? escapeLength : 0;
        if (cursor.outRest() < before + count + behind) return RSCPETOOLONG;
        switchTo(wanted);
        return cursor.put(bytes, count, consumed);
    }

    void switchTo(Set wanted) noexcept {
        if (wanted == set) return;
        cursor.out = std::copy_n(escapeTo(wanted), escapeLength, cursor.out);
        set = wanted;
    }

  private:
    const RscpPage& page;
    RscpCursor& cursor;
    Set set = Set::ascii;
};

/** The substitute or the bytes of what has no counterpart. */
int writeMiss(const rscpCObj_t& self, JisWriter& writer, RscpCursor& cursor, unsigned length) noexcept {
    int rc = RSCPENOCONV;
    if (self.on_miss == miss_substitute)
        rc = writer.write(self.ccci_subst_code_U4, length);
    else if (self.on_miss == miss_copy)
        rc = writer.put(Set::ascii, cursor.in, length, length);
    if (rc == RSCP_OK) ++cursor.substitutions;
    return rc;
}

int convertToJis(const rscpCObj_t& self, JisWriter& writer, RscpCursor& cursor) noexcept {
    while (cursor.in != cursor.inEnd) {
        const auto [character, length] = rscpRead(*self.ccci_in_set, cursor.in, cursor.inEnd);
        if (character == rscpCut) return RSCPEUNIQ;
        if (character == rscpBroken && self.on_broken != broken_like_miss) return RSCPENOCONV;
        // A pair of characters counts as missing: its marks aren't in the sets.
        int rc = character <= rscpHighestCharacter ? writer.write(character, length) : RSCPENOCONV;
        if (rc == RSCPENOCONV) rc = writeMiss(self, writer, cursor, length);
        if (rc != RSCP_OK) return rc;
    }
    return RSCP_OK;
}

/** Pairs that have three bytes in UTF-8, as most have. Nothing is written beyond them. */
template <class To>
void convertPairs(const RscpTableForm& from, RscpCursor& cursor) noexcept {
    if constexpr (std::is_same_v<To, RscpUtf8Form>) {
        const KEL_RAW* in = cursor.in;
        KEL_RAW* out = cursor.out;
        for (size_t count = std::min(cursor.inRest() / 2, cursor.outRest() / 3); count > 0; --count) {
            // No pair begins with an escape sequence.
            const RscpSequence sequence = from.forward.sequenceRows[in[0]][in[1]];
            if (sequence >> 24 != 3) break;
            rscpPutThree(sequence, out);
            in += 2;
            out += 3;
        }
        cursor.in = in;
        cursor.out = out;
    }
}

/** Characters of one set, as long as a plain step converts them. */
template <class To>
void convertPlain(Set set, const RscpTableForm& from, const To& to, RscpCursor& cursor) noexcept {
    if (set == Set::pairs) convertPairs<To>(from, cursor);
    const KEL_RAW* in = cursor.in;
    KEL_RAW* out = cursor.out;
    constexpr std::ptrdiff_t longest = rscpLongestCode;
    while (cursor.inEnd - in >= longest && cursor.outEnd - out >= longest && *in != escape) {
        const auto [character, length] = readOf(set, from, in, in + longest);
        if (character > rscpHighestCharacter) break;
        const unsigned count = to.write(character, out);
        if (count == 0) break;
        in += length;
        out += count;
    }
    cursor.in = in;
    cursor.out = out;
}

/** One character with all checks; the input isn't empty and no escape sequence. */
template <class To>
int convertOne(const rscpCObj_t& self, const To& to, RscpCursor& cursor, RscpStep step) noexcept {
    if (step.character > rscpHighestCharacter) return rscpNoCharacter(self, cursor, step);
    KEL_RAW bytes[rscpLongestCode];
    const unsigned count = to.write(step.character, bytes);
    return count != 0 ? cursor.put(bytes, count, step.length) : rscpMiss(self, cursor, step.length);
}

template <class To>
int convertFromJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    const To to(*self.ccci_out_set);
    const RscpTableForm pairs(*self.ccci_in_set);
    Set set = Set::ascii;
    // Where the text was in ASCII last: a conversion that stops elsewhere couldn't be taken up again.
    const KEL_RAW* safeIn = cursor.in;
    KEL_RAW* safeOut = cursor.out;
    int rc = RSCP_OK;
    while (rc == RSCP_OK) {
        convertPlain(set, pairs, to, cursor);
        if (set == Set::ascii) {
            safeIn = cursor.in;
            safeOut = cursor.out;
        }
        if (cursor.in == cursor.inEnd) return RSCP_OK;
        RscpStep step{rscpMissing, 1};
        if (*cursor.in != escape) {
            step = readOf(set, pairs, cursor.in, cursor.inEnd);
        } else if (const Escape* const found = readEscape(cursor.in, cursor.inEnd, step.character)) {
            set = found->set;
            cursor.in += escapeLength;
            continue;
        }
        rc = convertOne(self, to, cursor, step);
    }
    if (rc == RSCPETOOLONG) {
        cursor.in = safeIn;
        cursor.out = safeOut;
    }
    return rc;
}

}  // namespace

int rscpToJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    JisWriter writer(*self.ccci_out_set, cursor);
    const int rc = convertToJis(self, writer, cursor);
    writer.switchTo(Set::ascii);
    return rc;
}

int rscpFromJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    return rscpWithForm(self.ccci_out_set->major(),
                        [&]<class To>() { return convertFromJis<To>(self, cursor); });
}
