#include "repository/zortypeletters.h"

#include <array>
#include <utility>

namespace {

constexpr KEL_UC firstLetter = '*';
constexpr size_t letterCount = 80;

constexpr std::pair<KEL_UC, ZORTYPE> letters[] = {
    {'*', ZORTYPE_UBIXOBJECT}, {'+', ZORTYPE_UBIXOBJECT}, {'7', ZORTYPE_DTWEEK},    {'8', ZORTYPE_INT8},
    {'C', ZORTYPE_CHAR},       {'D', ZORTYPE_DATE},       {'F', ZORTYPE_FLOAT},     {'I', ZORTYPE_INT},
    {'N', ZORTYPE_NUM},        {'P', ZORTYPE_BCD},        {'T', ZORTYPE_TIME},      {'X', ZORTYPE_BYTE},
    {'a', ZORTYPE_DECF16},     {'b', ZORTYPE_INT1},       {'c', ZORTYPE_CDAY},      {'d', ZORTYPE_DTDAY},
    {'e', ZORTYPE_DECF34},     {'g', ZORTYPE_STRING},     {'h', ZORTYPE_TABLE},     {'i', ZORTYPE_TMINUTE},
    {'n', ZORTYPE_UTCSECOND},  {'p', ZORTYPE_UTCLONG},    {'s', ZORTYPE_INT2},      {'t', ZORTYPE_TSECOND},
    {'u', ZORTYPE_STRUCTURE},  {'v', ZORTYPE_STRUCTURE},  {'w', ZORTYPE_UTCMINUTE}, {'x', ZORTYPE_DTMONTH},
    {'y', ZORTYPE_XSTRING},
};

constexpr auto makeExid() {
    std::array<ZORTYPE, letterCount> table{};
    table.fill(ZORTYPE_NULL);
    for (const auto& [letter, type] : letters)
        table[static_cast<size_t>(letter - firstLetter)] = type;
    return table;
}

constexpr std::array<ZORTYPE, letterCount> EXID = makeExid();

/** Names of the built-in types, and the letters of the same types at the same places. */
constexpr std::string_view UBIX_TYPES[] = {"b", "I", "P",      "D",       "N", "T", "C", "F",
                                           "s", "X", "STRING", "XSTRING", "u", "v", "h"};
constexpr std::string_view UBIX_EXIDS = "bIPDNTCFsXgyuvh";
static_assert(std::size(UBIX_TYPES) == UBIX_EXIDS.size());

}  // namespace

ZORTYPE zorTypeOfLetter(KEL_UC letter) noexcept {
    const size_t index = static_cast<size_t>(letter) - static_cast<size_t>(firstLetter);
    return index < letterCount ? EXID[index] : ZORTYPE_NULL;
}

ZORTYPE zorTypeOfBuiltIn(std::string_view typeName) noexcept {
    for (size_t i = 0; i < std::size(UBIX_TYPES); ++i)
        if (UBIX_TYPES[i] == typeName) return zorTypeOfLetter(UBIX_EXIDS[i]);
    return ZORTYPE_NULL;
}
