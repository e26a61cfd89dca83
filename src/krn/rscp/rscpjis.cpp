// The Japanese page with escape sequences. Its pairs are those of EUC without the top bits.

#include <array>
#include <string_view>

#include "krn/rscp/rscpcodecs.h"
#include "krn/rscp/rscpmethods.h"

namespace {

constexpr KEL_RAW escape = 0x1B;

enum class Set { ascii, roman, pairs };

struct Escape {
    std::string_view sequence;
    Set set;
};

// The first of a set is the one that is written.
constexpr std::array<Escape, 4> escapes = {{
    {"\x1B(B", Set::ascii},
    {"\x1B(J", Set::roman},
    {"\x1B$B", Set::pairs},
    {"\x1B$@", Set::pairs},
}};

constexpr size_t escapeLength = 3;

std::string_view escapeTo(Set set) noexcept {
    for (const auto& candidate : escapes)
        if (candidate.set == set) return candidate.sequence;
    return {};
}

// Where the Roman set isn't ASCII.
constexpr KEL_RAW yenByte = 0x5C;
constexpr KEL_RAW overlineByte = 0x7E;
constexpr KEL_UINT yen = 0xA5;
constexpr KEL_UINT overline = 0x203E;

/** Reads a text with escape sequences. */
class JisReader {
  public:
    explicit JisReader(const RscpPage& page) : pairs(page) {}

    Set set = Set::ascii;

    /** Steps over the escape sequences at the input; false if one isn't known or cut. */
    bool skipEscapes(const KEL_RAW*& in, const KEL_RAW* end, KEL_UINT& found) noexcept {
        while (in != end && *in == escape) {
            const std::string_view rest(reinterpret_cast<const char*>(in),
                                        std::min(escapeLength, static_cast<size_t>(end - in)));
            found = rscpBroken;
            bool known = false;
            for (const auto& candidate : escapes) {
                if (candidate.sequence == rest) {
                    set = candidate.set;
                    known = true;
                } else if (candidate.sequence.starts_with(rest)) {
                    found = rscpCut;
                }
            }
            if (!known) return false;
            in += escapeLength;
        }
        return true;
    }

    RscpStep read(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        if (*in >= 0x80) return {rscpBroken, 1};
        if (set == Set::pairs) return pairs.read(in, end);
        if (set == Set::roman && *in == yenByte) return {yen, 1};
        if (set == Set::roman && *in == overlineByte) return {overline, 1};
        return {*in, 1};
    }

    const RscpTableForm pairs;
};

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
        cursor.out = std::copy_n(escapeTo(wanted).data(), escapeLength, cursor.out);
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

/** Pairs, as long as a plain step converts them. */
template <class To>
void convertPairs(const RscpTableForm from, const To to, RscpCursor& cursor) noexcept {
    const KEL_RAW* in = cursor.in;
    const KEL_RAW* const inEnd = cursor.inEnd;
    KEL_RAW* out = cursor.out;
    const KEL_RAW* const outEnd = cursor.outEnd;
    constexpr std::ptrdiff_t longest = rscpLongestCode;
    while (inEnd - in >= longest && outEnd - out >= longest && *in > ' ') {
        const auto [character, length] = from.read(in, in + longest);
        if (character > rscpHighestCharacter) break;
        const unsigned count = to.write(character, out);
        if (count == 0) break;
        in += length;
        out += count;
    }
    cursor.in = in;
    cursor.out = out;
}

template <class To>
int convertFromJis(const rscpCObj_t& self, RscpCursor& cursor) noexcept {
    const To to(*self.ccci_out_set);
    JisReader reader(*self.ccci_in_set);
    // Where the text was in ASCII last: a conversion that stops elsewhere couldn't be taken up again.
    const KEL_RAW* safeIn = cursor.in;
    KEL_RAW* safeOut = cursor.out;
    int rc = RSCP_OK;
    while (rc == RSCP_OK) {
        if (reader.set == Set::ascii) {
            safeIn = cursor.in;
            safeOut = cursor.out;
        }
        if (reader.set == Set::pairs) convertPairs(reader.pairs, to, cursor);
        RscpStep step{rscpMissing, 1};
        if (reader.skipEscapes(cursor.in, cursor.inEnd, step.character)) {
            if (cursor.in == cursor.inEnd) return RSCP_OK;
            step = reader.read(cursor.in, cursor.inEnd);
        }
        if (step.character > rscpHighestCharacter) {
            rc = rscpNoCharacter(self, cursor, step);
            continue;
        }
        KEL_RAW bytes[rscpLongestCode];
        const unsigned count = to.write(step.character, bytes);
        rc = count != 0 ? cursor.put(bytes, count, step.length) : rscpMiss(self, cursor, step.length);
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
