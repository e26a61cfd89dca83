#include "krn/rscp/rscp.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <new>

#include "krn/rscp/rscpmethods.h"

namespace {

thread_local KEL_UC errorText[80];

/** Keeps the text of a failure for the thread and returns its code. */
__attribute__((format(printf, 2, 3))) int fail(int rc, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(errorText, sizeof errorText, format, arguments);
    va_end(arguments);
    return rc;
}

/** The text of a failed conversion. */
int failConversion(const rscpCObj_t& self, const RscpCursor& cursor, int rc) noexcept {
    if (rc != RSCPEUNIQ) return fail(rc, "Conversion error");
    const unsigned unit = rscpUnitOf(*self.ccci_in_set);
    return fail(
        rc, "%s",
        cursor.inRest() % unit != 0 ? "Unicode and odd bytes" : "Input ends within a multi-byte character");
}

int convertDirect(const rscpCObj_t&, RscpCursor& cursor) noexcept {
    const size_t count = std::min(cursor.inRest(), cursor.outRest());
    if (count != 0) std::memcpy(cursor.out, cursor.in, count);
    cursor.out += count;
    cursor.in += count;
    return cursor.in == cursor.inEnd ? RSCP_OK : RSCPETOOLONG;
}

bool overlap(const RscpCursor& cursor) noexcept {
    const std::less<const KEL_RAW*> before;
    return before(cursor.in, cursor.outEnd) && before(cursor.out, cursor.inEnd);
}

/** One table from input byte to output byte. */
void joinPages(rscpCObj_t& self) noexcept {
    self.ccci_complete = true;
    for (unsigned byte = 0; byte < 256; ++byte) {
        const KEL_UINT character = self.ccci_in_set->forward.characters[byte];
        const KEL_UINT code = character != RscpTable::noCharacter
                                  ? self.ccci_out_set->backward.find(character)
                                  : KEL_UINT{RscpTable::noCode};
        self.ccci_table[byte] = static_cast<KEL_RAW>(code);
        self.ccci_missing[byte] = code > 0xFF;  // none, or a letter with a mark in two bytes
        if (self.ccci_missing[byte]) self.ccci_complete = false;
    }
}

void encodeSubstitute(rscpCObj_t& self) noexcept {
    const KEL_UINT substitute = self.ccci_subst_code_U4;
    if (substitute > rscpHighestCharacter || (substitute & 0xFFFFF800) == 0xD800) return;
    self.ccci_substituteLength = rscpWrite(*self.ccci_out_set, substitute, self.ccci_substitute);
}

bool isSamePage(const rscpCObj_t& self) noexcept {
    return std::equal(self.ccci_incode, self.ccci_incode + rscpCodepageDigits, self.ccci_outcode);
}

int unknown(const KEL_UC* codepage) noexcept {
    return fail(RSCPENOCONV, "character code \"%.4s\" unknown", codepage);
}

}  // namespace

const KEL_UC* rscpErrorText() noexcept {
    return errorText;
}

int rscpCInit(rscpCObj_t& self, const KEL_UC* inCodePage, const KEL_UC* outCodePage, rscpmiss_t onMiss,
              rscpbroken_t onBroken) noexcept {
    if (inCodePage == nullptr || outCodePage == nullptr) return fail(RSCPEINVAL, "Invalid arguments");
    std::copy_n(inCodePage, rscpCodepageDigits, self.ccci_incode);
    std::copy_n(outCodePage, rscpCodepageDigits, self.ccci_outcode);
    self.on_miss = onMiss;
    self.on_broken = onBroken;
    self.ccci_ctrlcodes = CtrlCodeCv_illegal;
    self.ccci_subst_code_U4 = '#';
    self.ccci_method = nullptr;
    return RSCP_OK;
}

int rscpCSetSubstU4(rscpCObj_t& self, KEL_UINT substitute) noexcept {
    self.ccci_subst_code_U4 = substitute != 0 ? substitute : KEL_UINT{'#'};
    return RSCP_OK;
}

int rscpCSetCtrlCodeCv(rscpCObj_t& self, rscpCtrlCodeCv_t at_ctrl_code) noexcept {
    self.ccci_ctrlcodes = at_ctrl_code;
    return RSCP_OK;
}

int rscpCActivate(rscpCObj_t& self) noexcept try {
    if (isSamePage(self)) {
        self.ccci_method = convertDirect;
        return RSCP_OK;
    }
    const RscpCodepage* const in = rscpFindCodepage(self.ccci_incode);
    if (in == nullptr) return unknown(self.ccci_incode);
    const RscpCodepage* const out = rscpFindCodepage(self.ccci_outcode);
    if (out == nullptr) return unknown(self.ccci_outcode);
    self.ccci_in_set = &RscpPage::load(*in);
    self.ccci_out_set = &RscpPage::load(*out);
    if (in->major == KELCCNLS_not && out->major == KELCCNLS_not) joinPages(self);
    encodeSubstitute(self);
    self.ccci_method = rscpMethodBetween(*self.ccci_in_set, *self.ccci_out_set);
    return RSCP_OK;
} catch (const std::bad_alloc&) {
    return fail(RSCPEINTERN, "cannot malloc for char code convert cache");
}

int rscpCConvert(const rscpCObj_t& self, KEL_RAW** pp_out, KEL_RAW* p_outend, const KEL_RAW** pp_in,
                 const KEL_RAW* p_inend) noexcept {
    RscpCursor cursor{*pp_out, p_outend, *pp_in, p_inend};
    if (self.ccci_method == nullptr) return fail(RSCPEINVAL, "Invalid arguments");
    if (overlap(cursor)) return fail(RSCPEINVAL, "overlapping buffers");
    const int rc = self.ccci_method(self, cursor);
    if (cursor.substitutions != 0)
        self.ccci_noof_subst.fetch_add(cursor.substitutions, std::memory_order_relaxed);
    *pp_out = cursor.out;
    *pp_in = cursor.in;
    return rc == RSCP_OK || rc == RSCPETOOLONG ? rc : failConversion(self, cursor, rc);
}
