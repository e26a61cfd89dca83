#include "flat/utf8.h"

namespace {

/** Lead bytes of one kind: how long their sequence is and which second bytes they allow. */
struct Lead {
    KEL_RAW first;
    KEL_RAW last;
    size_t length;
    KEL_RAW lowestSecond;
    KEL_RAW highestSecond;
};

// The bounds of the second byte exclude overlong forms, surrogates and numbers that are too large.
constexpr Lead leads[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

constexpr KEL_RAW firstContinuation = 0x80;
constexpr KEL_RAW lastContinuation = 0xBF;
constexpr KEL_UINT continuationBits = 6;
constexpr KEL_UINT continuationMask = 0x3F;

const Lead* findLead(KEL_RAW byte) noexcept {
    for (const auto& lead : leads)
        if (byte >= lead.first && byte <= lead.last) return &lead;
    return nullptr;
}

}  // namespace

Utf8Step readUtf8(const KEL_RAW* data, const KEL_RAW* end) noexcept {
    if (*data < 0x80) return {Utf8State::whole, *data, 1};
    const Lead* const lead = findLead(*data);
    if (lead == nullptr) return {Utf8State::broken, 0, 1};
    // The lead byte holds 5, 4 or 3 bits of the number, as its sequence is 2, 3 or 4 bytes long.
    KEL_UINT character = *data & (0x7Fu >> lead->length);
    for (size_t i = 1; i < lead->length; ++i) {
        if (data + i == end) return {Utf8State::unfinished, 0, i};
        const KEL_RAW lowest = i == 1 ? lead->lowestSecond : firstContinuation;
        const KEL_RAW highest = i == 1 ? lead->highestSecond : lastContinuation;
        if (data[i] < lowest || data[i] > highest) return {Utf8State::broken, 0, i};
        character = character << continuationBits | (data[i] & continuationMask);
    }
    return {Utf8State::whole, character, lead->length};
}

size_t writeUtf8(KEL_UINT character, KEL_RAW (&sequence)[longestUtf8Sequence]) noexcept {
    if (character < 0x80) {
        sequence[0] = static_cast<KEL_RAW>(character);
        return 1;
    }
    const size_t length = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    for (size_t i = length - 1; i > 0; --i) {
        sequence[i] = static_cast<KEL_RAW>(firstContinuation | (character & continuationMask));
        character >>= continuationBits;
    }
    // As many leading ones as the sequence has bytes.
    sequence[0] = static_cast<KEL_RAW>(0xF00u >> length | character);
    return length;
}
