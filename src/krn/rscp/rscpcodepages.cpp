#include "krn/rscp/rscpcodepages.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace {

// The generated tables: arrays of characters and lists of exceptions.
#include "krn/rscp/tables_japanese.inc"
#include "krn/rscp/tables_korean.inc"
#include "krn/rscp/tables_simplified.inc"
#include "krn/rscp/tables_singlebytes.inc"
#include "krn/rscp/tables_traditional.inc"

constexpr unsigned upperHalf = 128;

/** A table of single bytes that begins with the byte 0, or with 128, as its length says. */
template <size_t size>
constexpr RscpTable singleBytes(const char16_t (&bytes)[size], std::span<const RscpEncoding> encodings = {}) {
    constexpr size_t count = size - 1;  // the literal's terminator
    static_assert(count == 256 || count == upperHalf);
    return {.bytes = bytes, .firstByte = 256 - count, .encodings = encodings};
}

/** Characters of all bytes but one. */
constexpr auto without(const char16_t (&bytes)[257], char16_t character) {
    std::array<char16_t, 256> rest = {};
    std::replace_copy(bytes, bytes + rest.size(), rest.begin(), character, char16_t{RscpTable::noCharacter});
    return rest;
}

// The Euro sign came to the Thai EBCDIC page under another number.
constexpr char16_t euro = 0x20AC;
constexpr auto ibm838 = without(ibm1160, euro);

constexpr RscpTable ascii = {};
constexpr RscpTable latin1 = singleBytes(iso_8859_1);
constexpr RscpTable latin2 = singleBytes(iso_8859_2);
constexpr RscpTable latin3 = singleBytes(iso_8859_3);
constexpr RscpTable latin4 = singleBytes(iso_8859_4);
constexpr RscpTable latin5 = singleBytes(iso_8859_9);
constexpr RscpTable latin9 = singleBytes(iso_8859_15);
constexpr RscpTable cyrillic = singleBytes(iso_8859_5);
constexpr RscpTable arabic = singleBytes(iso_8859_6);
constexpr RscpTable greek = singleBytes(iso_8859_7);
constexpr RscpTable hebrew = singleBytes(iso_8859_8);
constexpr RscpTable thai = singleBytes(tis_620);
constexpr RscpTable koi8Russian = singleBytes(koi8_r);
constexpr RscpTable koi8Ukrainian = singleBytes(koi8_u);
constexpr RscpTable pc437 = singleBytes(ibm437);
constexpr RscpTable pc850 = singleBytes(ibm850);
constexpr RscpTable windows874 = singleBytes(cp874);
constexpr RscpTable windows1250 = singleBytes(cp1250);
constexpr RscpTable windows1251 = singleBytes(cp1251);
constexpr RscpTable windows1252 = singleBytes(cp1252);
constexpr RscpTable windows1253 = singleBytes(cp1253);
constexpr RscpTable windows1254 = singleBytes(cp1254);
constexpr RscpTable windows1255 = singleBytes(cp1255, cp1255Encodings);
constexpr RscpTable windows1256 = singleBytes(cp1256);
constexpr RscpTable windows1257 = singleBytes(cp1257);
constexpr RscpTable windows1258 = singleBytes(cp1258, cp1258Encodings);
constexpr RscpTable ebcdic037 = singleBytes(ibm037);
constexpr RscpTable ebcdic273 = singleBytes(ibm273);
constexpr RscpTable ebcdic277 = singleBytes(ibm277);
constexpr RscpTable ebcdic278 = singleBytes(ibm278);
constexpr RscpTable ebcdic297 = singleBytes(ibm297);
constexpr RscpTable ebcdic424 = singleBytes(ibm424);
constexpr RscpTable ebcdic500 = singleBytes(ibm500);
constexpr RscpTable ebcdic838 = {.bytes = ibm838.data(), .firstByte = 0, .encodings = ibm1160Encodings};
constexpr RscpTable ebcdic870 = singleBytes(ibm870);
constexpr RscpTable ebcdic875 = singleBytes(ibm875);
constexpr RscpTable ebcdic1025 = singleBytes(ibm1025);
constexpr RscpTable ebcdic1026 = singleBytes(ibm1026);
constexpr RscpTable ebcdic1047 = singleBytes(ibm1047);

constexpr RscpTable shiftJis = {.bytes = cp932Upper,
                                .firstByte = upperHalf,
                                .firstLead = 0x81,
                                .lastLead = 0xFC,
                                .firstTrail = 0x40,
                                .lastTrail = 0xFC,
                                .pairs = cp932,
                                .encodings = cp932Encodings};
constexpr RscpTable eucJapanese = {.bytes = euc_jpUpper,
                                   .firstByte = upperHalf,
                                   .firstLead = 0xA1,
                                   .lastLead = 0xFE,
                                   .firstTrail = 0xA1,
                                   .lastTrail = 0xFE,
                                   .pairs = euc_jp,
                                   .second = jisX0212,
                                   .encodings = euc_jpEncodings};
// The escape sequences reach the one set of pairs. Bytes without the top bit, as they stand in a text.
constexpr RscpTable jis = {
    .firstLead = 0x21, .lastLead = 0x7E, .firstTrail = 0x21, .lastTrail = 0x7E, .pairs = euc_jp};
constexpr RscpTable traditionalChinese = {.bytes = big5Upper,
                                          .firstByte = upperHalf,
                                          .firstLead = 0xA1,
                                          .lastLead = 0xF9,
                                          .firstTrail = 0x40,
                                          .lastTrail = 0xFE,
                                          .pairs = big5,
                                          .encodings = big5Encodings};
constexpr RscpTable hongKong = {.bytes = big5_hkscsUpper,
                                .firstByte = upperHalf,
                                .firstLead = 0x87,
                                .lastLead = 0xFE,
                                .firstTrail = 0x40,
                                .lastTrail = 0xFE,
                                .pairs = big5_hkscs,
                                .wide = big5_hkscsWide,
                                .encodings = big5_hkscsEncodings};
constexpr RscpTable eucChinese = {
    .firstLead = 0xA1, .lastLead = 0xF7, .firstTrail = 0xA1, .lastTrail = 0xFE, .pairs = euc_cn};
// The set by itself: its pairs have no top bit, so no letter of ASCII has a place beside them.
constexpr RscpTable gb2312 = {
    .firstLead = 0x21, .lastLead = 0x77, .firstTrail = 0x21, .lastTrail = 0x7E, .pairs = euc_cn};
constexpr RscpTable gb18030Table = {.firstLead = 0x81,
                                    .lastLead = 0xFE,
                                    .firstTrail = 0x40,
                                    .lastTrail = 0xFE,
                                    .pairs = gb18030,
                                    .wide = gb18030Wide,
                                    .ranges = gb18030Ranges};
constexpr RscpTable korean = {.bytes = euc_krUpper,
                              .firstByte = upperHalf,
                              .firstLead = 0xA1,
                              .lastLead = 0xFD,
                              .firstTrail = 0xA1,
                              .lastTrail = 0xFE,
                              .pairs = euc_kr,
                              .encodings = euc_krEncodings};

constexpr RscpCodepage codepages[] = {
    {"0100", KELCCNLS_not, &ebcdic500},
    {"0110", KELCCNLS_not, &ebcdic273},
    {"0111", KELCCNLS_not, &ebcdic277},
    {"0112", KELCCNLS_not, &ebcdic278},
    {"0113", KELCCNLS_not, &ebcdic037},
    {"0114", KELCCNLS_not, &ebcdic297},
    {"0115", KELCCNLS_not, &ebcdic500},
    {"0120", KELCCNLS_not, &ebcdic500},
    {"0160", KELCCNLS_not, &ebcdic1047},
    {"0161", KELCCNLS_not, &ebcdic1047},
    {"0410", KELCCNLS_not, &ebcdic870},
    {"0500", KELCCNLS_not, &ebcdic1025},
    {"0610", KELCCNLS_not, &ebcdic1026},
    {"0700", KELCCNLS_not, &ebcdic875},
    {"0800", KELCCNLS_not, &ebcdic424},
    {"0860", KELCCNLS_not, &ebcdic838},
    {"1100", KELCCNLS_not, &latin1},
    {"1101", KELCCNLS_not, &ascii},
    {"1103", KELCCNLS_not, &pc850},
    {"1107", KELCCNLS_not, &pc437},
    {"1133", KELCCNLS_not, &latin1},
    {"1160", KELCCNLS_not, &windows1252},
    {"1164", KELCCNLS_not, &latin9},
    {"1401", KELCCNLS_not, &latin2},
    {"1404", KELCCNLS_not, &windows1250},
    {"1500", KELCCNLS_not, &cyrillic},
    {"1504", KELCCNLS_not, &windows1251},
    {"1509", KELCCNLS_not, &koi8Ukrainian},
    {"1510", KELCCNLS_not, &koi8Russian},
    {"1600", KELCCNLS_not, &latin3},
    {"1610", KELCCNLS_not, &latin5},
    {"1614", KELCCNLS_not, &windows1254},
    {"1700", KELCCNLS_not, &greek},
    {"1704", KELCCNLS_not, &windows1253},
    {"1800", KELCCNLS_not, &hebrew},
    {"1804", KELCCNLS_not, &windows1255},
    {"1900", KELCCNLS_not, &latin4},
    {"1904", KELCCNLS_not, &windows1257},
    {"4100", KELCCNLS_UCS_2h, nullptr},
    {"4101", KELCCNLS_UCS_2l, nullptr},
    {"4102", KELCCNLS_UTF_16h, nullptr},
    {"4103", KELCCNLS_UTF_16l, nullptr},
    {"4104", KELCCNLS_UCS_4h, nullptr},
    {"4105", KELCCNLS_UCS_4l, nullptr},
    {"4110", KELCCNLS_UTF_8, nullptr},
    {"4120", KELCCNLS_UTF_8, nullptr},
    {"8000", KELCCNLS_shiftJIS, &shiftJis},
    {"8100", KELCCNLS_EUC, &eucJapanese},
    {"8200", KELCCNLS_JIS, &jis},
    {"8300", KELCCNLS_tradiCh, &traditionalChinese},
    {"8340", KELCCNLS_tradiCh, &hongKong},
    {"8341", KELCCNLS_tradiCh, &hongKong},
    {"8400", KELCCNLS_GBK_Ch, &eucChinese},
    {"8401", KELCCNLS_18030_Ch, &gb18030Table, rscpEdition2000},
    {"8402", KELCCNLS_18030_Ch, &gb18030Table},
    {"8450", KELCCNLS_2312_80_Ch, &gb2312},
    {"8500", KELCCNLS_corea, &korean},
    {"8600", KELCCNLS_not, &thai},
    {"8604", KELCCNLS_not, &windows874},
    {"8700", KELCCNLS_not, &arabic},
    {"8704", KELCCNLS_not, &windows1256},
    {"8805", KELCCNLS_not, &windows1258},
};

constexpr std::string_view numberOf(const RscpCodepage& codepage) {
    return {codepage.number, rscpCodepageDigits};
}

static_assert(std::is_sorted(std::begin(codepages), std::end(codepages),
                             [](const RscpCodepage& a, const RscpCodepage& b) {
                                 return numberOf(a) < numberOf(b);
                             }));

}  // namespace

std::span<const RscpCodepage> rscpCatalogue() noexcept {
    return codepages;
}

const RscpCodepage* rscpFindCodepage(const KEL_UC* number) noexcept {
    const std::string_view wanted(number, rscpCodepageDigits);
    const auto found = std::lower_bound(
        std::begin(codepages), std::end(codepages), wanted,
        [](const RscpCodepage& codepage, std::string_view value) { return numberOf(codepage) < value; });
    return found != std::end(codepages) && numberOf(*found) == wanted ? found : nullptr;
}
