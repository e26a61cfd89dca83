#include <algorithm>

#include "krn/cscompr/cslzhinflater.h"

bool CsHuffmanCode::build(std::span<const KEL_RAW> lengths) noexcept {
    counts.fill(0);
    for (const KEL_RAW length : lengths)
        ++counts[length];
    counts[0] = 0;
    int left = 1;  // codes of the current length that are still free
    std::array<std::uint16_t, longestCode + 2> offsets{};
    std::array<std::uint16_t, longestCode + 2> codes{};
    for (unsigned length = 1; length <= longestCode; ++length) {
        left = left * 2 - counts[length];
        if (left < 0) return false;
        offsets[length + 1] = static_cast<std::uint16_t>(offsets[length] + counts[length]);
        codes[length + 1] = static_cast<std::uint16_t>((codes[length] + counts[length]) << 1);
    }
    quick.fill(0);
    for (unsigned symbol = 0; symbol < lengths.size(); ++symbol) {
        const unsigned length = lengths[symbol];
        if (length == 0) continue;
        symbols[offsets[length]++] = static_cast<std::uint16_t>(symbol);
        const unsigned code = codes[length]++;
        if (length > shortBits) continue;
        // Codes stand in the stream from their highest bit on.
        unsigned reversed = 0;
        for (unsigned bit = 0; bit < length; ++bit)
            reversed |= (code >> bit & 1) << (length - 1 - bit);
        for (; reversed < quick.size(); reversed += 1u << length)
            quick[reversed] = static_cast<std::uint16_t>(symbol << 4 | length);
    }
    return true;
}

CsHuffmanCode::Decoded CsHuffmanCode::decode(std::uint64_t bits, unsigned count) const noexcept {
    if (const unsigned found = quick[bits & (quick.size() - 1)]; found != 0) {
        const unsigned length = found & 0xF;
        return {found >> 4, length <= count ? length : 0};
    }
    int code = 0, first = 0, index = 0;
    for (unsigned length = 1; length <= longestCode; ++length) {
        if (length > count) return {0, 0};
        code |= static_cast<int>(bits & 1);
        bits >>= 1;
        const int ofLength = counts[length];
        if (code - ofLength < first) return {symbols[static_cast<unsigned>(index + code - first)], length};
        index += ofLength;
        first = (first + ofLength) << 1;
        code <<= 1;
    }
    return {0, longestCode + 1};
}
