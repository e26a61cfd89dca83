#include "krn/rscp/rscpcodepages.h"

#include <algorithm>
#include <cstring>

#include "flat/ebcdic.h"

namespace {

/** Makes a page of the characters of its bytes. */
template <class CharacterOf>
constexpr RscpSingleBytePage makePage(CharacterOf characterOf) {
    RscpSingleBytePage page{};
    std::array<KEL_UINT, 256> order{};  // character and byte in one number, so that one sort does
    for (KEL_UINT byte = 0; byte < 256; ++byte) {
        const KEL_USHORT character = characterOf(byte);
        page.characters[byte] = character;
        if (character != RscpSingleBytePage::noCharacter) order[page.count++] = character * 256u + byte;
    }
    std::sort(order.begin(), order.begin() + page.count);
    for (unsigned i = 0; i < page.count; ++i) {
        page.sorted[i] = static_cast<KEL_USHORT>(order[i] / 256);
        page.bytes[i] = static_cast<KEL_RAW>(order[i] % 256);
    }
    return page;
}

constexpr KEL_UINT asciiCharacters = 128;

constexpr auto ebcdic = makePage([](KEL_UINT byte) { return KEL_USHORT{e8ToLatin1[byte]}; });
constexpr auto latin1 = makePage([](KEL_UINT byte) { return static_cast<KEL_USHORT>(byte); });
constexpr auto ascii = makePage([](KEL_UINT byte) {
    return byte < asciiCharacters ? static_cast<KEL_USHORT>(byte) : RscpSingleBytePage::noCharacter;
});

constexpr RscpCodepage codepages[] = {
    {"0100", &ebcdic},
    {"1100", &latin1},
    {"1101", &ascii},
    {"4110", nullptr},
};

}  // namespace

bool RscpSingleBytePage::find(KEL_UINT character, KEL_RAW& byte) const noexcept {
    const auto end = sorted.begin() + count;
    const auto found = std::lower_bound(sorted.begin(), end, character);
    if (found == end || *found != character) return false;
    byte = bytes[static_cast<size_t>(found - sorted.begin())];
    return true;
}

const RscpCodepage* rscpFindCodepage(const KEL_UC* number) noexcept {
    for (const auto& codepage : codepages)
        if (std::memcmp(codepage.number, number, rscpCodepageDigits) == 0) return &codepage;
    return nullptr;
}
