#include "krn/rscp/rscplanguage.h"

namespace {

struct Language {
    KEL_UC key;
    KEL_UC iso[3];
};

constexpr Language languages[] = {
    {'&', "Z9"}, {'(', "Z2"}, {')', "Z3"}, {',', "Z4"}, {'.', "Z5"}, {'/', "Z6"}, {':', "Z7"},
    {';', "Z8"}, {'0', "SR"}, {'1', "ZH"}, {'2', "TH"}, {'3', "KO"}, {'4', "RO"}, {'5', "SL"},
    {'6', "HR"}, {'7', "MS"}, {'8', "UK"}, {'9', "ET"}, {'A', "AR"}, {'B', "HE"}, {'C', "CS"},
    {'D', "DE"}, {'E', "EN"}, {'F', "FR"}, {'G', "EL"}, {'H', "HU"}, {'I', "IT"}, {'J', "JA"},
    {'K', "DA"}, {'L', "PL"}, {'M', "ZF"}, {'N', "NL"}, {'O', "NO"}, {'P', "PT"}, {'Q', "SK"},
    {'R', "RU"}, {'S', "ES"}, {'T', "TR"}, {'U', "FI"}, {'V', "SV"}, {'W', "BG"}, {'X', "LT"},
    {'Y', "LV"}, {'Z', "Z1"}, {'a', "AF"}, {'b', "IS"}, {'c', "CA"}, {'d', "SH"}, {'i', "ID"},
};

KEL_UC upper(KEL_UC character) noexcept {
    return character >= 'a' && character <= 'z' ? static_cast<KEL_UC>(character - 'a' + 'A') : character;
}

}  // namespace

int rscpLangIsoToKel(KEL_UC* langPtr, const KEL_UC* laiso) noexcept {
    const KEL_UC first = upper(laiso[0]);
    // The second letter is looked at only behind a first one: the text may be shorter.
    const KEL_UC second = first != 0 ? upper(laiso[1]) : KEL_UC{0};
    for (const auto& language : languages) {
        if (language.iso[0] != first || language.iso[1] != second) continue;
        *langPtr = language.key;
        return RSCP_LANGUAGE_FOUND;
    }
    return RSCP_LANGUAGE_UNKNOWN;
}

int rscpLangKelToIso(KEL_UC* laiso, const KEL_UC* lang) noexcept {
    for (const auto& language : languages) {
        if (language.key != *lang) continue;
        laiso[0] = language.iso[0];
        laiso[1] = language.iso[1];
        return RSCP_LANGUAGE_FOUND;
    }
    return RSCP_LANGUAGE_UNKNOWN;
}
