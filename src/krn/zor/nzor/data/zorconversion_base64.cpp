// Base64 text, for the serialisations that carry bytes in characters.

#include <algorithm>
#include <array>

#include "data/zorconversion.h"

namespace {

constexpr std::string_view base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/** The value of each character; -1 for one outside the alphabet. */
constexpr auto base64Values = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (size_t value = 0; value < base64Alphabet.size(); ++value)
        values[static_cast<unsigned char>(base64Alphabet[value])] = static_cast<signed char>(value);
    return values;
}();

}  // namespace

void Base64::encode(std::span<const KEL_RAW> bytes, std::string& out) {
    out.clear();
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - at);
        unsigned group = 0;
        for (size_t i = 0; i < 3; ++i)
            group = group << 8 | (i < count ? bytes[at + i] : 0u);
        for (size_t i = 0; i < 4; ++i)
            out += i <= count ? base64Alphabet[group >> (18 - 6 * i) & 0x3F] : '=';
    }
}

ZOR_CONV_RC Base64::decode(std::string_view text, std::vector<KEL_RAW>& out, int& error_pos) {
    error_pos = -1;
    while (!text.empty() && (text.back() == 0 || text.back() == '='))
        text.remove_suffix(1);
    out.clear();
    out.reserve(text.size() / 4 * 3 + 2);
    unsigned group = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        const int value = base64Values[static_cast<unsigned char>(text[at])];
        const bool alone = at % 4 == 0 && at + 1 == text.size();
        if (value < 0 || alone) {
            error_pos = static_cast<int>(at);
            return ZOR_CONV_ILLEGAL_INPUT;
        }
        group = group << 6 | static_cast<unsigned>(value);
        // From the second character of a group on, each completes a byte; the bits behind it wait.
        if (at % 4 != 0) out.push_back(static_cast<KEL_RAW>(group >> (6 - 2 * (at % 4))));
    }
    return ZOR_CONV_OK;
}
