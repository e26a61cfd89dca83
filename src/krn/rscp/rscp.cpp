#include "krn/rscp/rscp.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "flat/utf8.h"

namespace {

constexpr KEL_UINT defaultSubstitute = '#';
constexpr KEL_UINT highestCharacter = 0x10FFFF;

/** Input and output of one conversion. */
struct Cursor {
    KEL_RAW* out;
    KEL_RAW* const outEnd;
    const KEL_RAW* in;
    const KEL_RAW* const inEnd;

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

/** Encodes a character in the output page; returns its length, or 0 if the page doesn't have it. */
size_t encode(const rscpCObj_t& self, KEL_UINT character, KEL_RAW (&bytes)[longestUtf8Sequence]) noexcept {
    if (self.ccci_out_set != nullptr) return self.ccci_out_set->find(character, bytes[0]) ? 1 : 0;
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character > highestCharacter || surrogate ? 0 : writeUtf8(character, bytes);
}

/** A character without a counterpart: the next `length` bytes of the input. */
int writeSubstOrCopy(const rscpCObj_t& self, Cursor& cursor, size_t length) noexcept {
    if (self.on_miss == miss_copy) return cursor.put(cursor.in, length, length);
    if (self.on_miss != miss_substitute) return RSCPENOCONV;
    KEL_RAW bytes[longestUtf8Sequence];
    const size_t count = encode(self, self.ccci_subst_code_U4, bytes);
    return count != 0 ? cursor.put(bytes, count, length) : RSCPENOCONV;
}

int convertDirect(Cursor& cursor) noexcept {
    const size_t count = std::min(cursor.inRest(), cursor.outRest());
    if (count != 0) std::memcpy(cursor.out, cursor.in, count);
    cursor.out += count;
    cursor.in += count;
    return cursor.in == cursor.inEnd ? RSCP_OK : RSCPETOOLONG;
}

int convertByTable(const rscpCObj_t& self, Cursor& cursor) noexcept {
    int rc = RSCP_OK;
    while (rc == RSCP_OK && cursor.in != cursor.inEnd) {
        // One run of bytes that all have a counterpart, or one byte that has none.
        const size_t room = std::min(cursor.inRest(), cursor.outRest());
        size_t run = 0;
        for (; run < room && (self.ccci_complete || !self.ccci_missing[cursor.in[run]]); ++run)
            cursor.out[run] = self.ccci_table[cursor.in[run]];
        cursor.in += run;
        cursor.out += run;
        if (run == room)
            rc = cursor.in == cursor.inEnd ? RSCP_OK : RSCPETOOLONG;
        else
            rc = writeSubstOrCopy(self, cursor, 1);
    }
    return rc;
}

int convertToUtf8(const rscpCObj_t& self, Cursor& cursor) noexcept {
    int rc = RSCP_OK;
    while (rc == RSCP_OK && cursor.in != cursor.inEnd) {
        const KEL_USHORT character = self.ccci_in_set->characters[*cursor.in];
        if (character == RscpSingleBytePage::noCharacter) {
            rc = writeSubstOrCopy(self, cursor, 1);
            continue;
        }
        KEL_RAW bytes[longestUtf8Sequence];
        rc = cursor.put(bytes, writeUtf8(character, bytes), 1);
    }
    return rc;
}

int convertOneFromUtf8(const rscpCObj_t& self, Cursor& cursor) noexcept {
    const Utf8Step step = readUtf8(cursor.in, cursor.inEnd);
    if (step.state == Utf8State::unfinished) return RSCPEUNIQ;
    if (step.state == Utf8State::broken)
        return self.on_broken == broken_like_miss ? writeSubstOrCopy(self, cursor, step.length) : RSCPENOCONV;
    KEL_RAW bytes[longestUtf8Sequence];
    const size_t count = encode(self, step.character, bytes);
    return count != 0 ? cursor.put(bytes, count, step.length) : writeSubstOrCopy(self, cursor, step.length);
}

int convertFromUtf8(const rscpCObj_t& self, Cursor& cursor) noexcept {
    int rc = RSCP_OK;
    while (rc == RSCP_OK && cursor.in != cursor.inEnd)
        rc = convertOneFromUtf8(self, cursor);
    return rc;
}

bool overlap(const Cursor& cursor) noexcept {
    const std::less<const KEL_RAW*> before;
    return before(cursor.in, cursor.outEnd) && before(cursor.out, cursor.inEnd);
}

/** One table from input byte to output byte. */
void joinPages(rscpCObj_t& self) noexcept {
    self.ccci_complete = true;
    for (unsigned byte = 0; byte < 256; ++byte) {
        self.ccci_missing[byte] =
            !self.ccci_out_set->find(self.ccci_in_set->characters[byte], self.ccci_table[byte]);
        if (self.ccci_missing[byte]) self.ccci_complete = false;
    }
}

}  // namespace

int rscpCInit(rscpCObj_t& self, const KEL_UC* inCodePage, const KEL_UC* outCodePage, rscpmiss_t onMiss,
              rscpbroken_t onBroken) noexcept {
    if (inCodePage == nullptr || outCodePage == nullptr) return RSCPEINVAL;
    self = {};
    std::copy_n(inCodePage, rscpCodepageDigits, self.ccci_incode);
    std::copy_n(outCodePage, rscpCodepageDigits, self.ccci_outcode);
    self.on_miss = onMiss;
    self.on_broken = onBroken;
    self.ccci_subst_code_U4 = defaultSubstitute;
    self.ccci_method = KELCCM_deactivated;
    return RSCP_OK;
}

int rscpCSetSubstU4(rscpCObj_t& self, KEL_UINT substitute) noexcept {
    self.ccci_subst_code_U4 = substitute != 0 ? substitute : defaultSubstitute;
    return RSCP_OK;
}

int rscpCActivate(rscpCObj_t& self) noexcept {
    if (std::equal(self.ccci_incode, self.ccci_incode + rscpCodepageDigits, self.ccci_outcode)) {
        self.ccci_method = KELCCM_direct;
        return RSCP_OK;
    }
    const RscpCodepage* const in = rscpFindCodepage(self.ccci_incode);
    const RscpCodepage* const out = rscpFindCodepage(self.ccci_outcode);
    if (in == nullptr || out == nullptr) return RSCPENOCONV;
    self.ccci_in_set = in->singleByte;
    self.ccci_out_set = out->singleByte;
    if (in->singleByte == nullptr) {
        self.ccci_method = KELCCM_mbconv_tab;
    } else if (out->singleByte == nullptr) {
        self.ccci_method = KELCCM_tab_mbtunnel;
    } else {
        joinPages(self);
        self.ccci_method = KELCCM_tab;
    }
    return RSCP_OK;
}

int rscpCConvert(const rscpCObj_t& self, KEL_RAW** pp_out, KEL_RAW* p_outend, const KEL_RAW** pp_in,
                 const KEL_RAW* p_inend) noexcept {
    Cursor cursor{*pp_out, p_outend, *pp_in, p_inend};
    if (overlap(cursor)) return RSCPEINVAL;
    int rc = RSCPEINVAL;
    switch (self.ccci_method) {
        case KELCCM_deactivated:
            break;
        case KELCCM_direct:
            rc = convertDirect(cursor);
            break;
        case KELCCM_tab:
            rc = convertByTable(self, cursor);
            break;
        case KELCCM_mbconv_tab:
            rc = convertFromUtf8(self, cursor);
            break;
        case KELCCM_tab_mbtunnel:
            rc = convertToUtf8(self, cursor);
            break;
    }
    *pp_out = cursor.out;
    *pp_in = cursor.in;
    return rc;
}
