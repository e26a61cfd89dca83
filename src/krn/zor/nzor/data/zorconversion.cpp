#include "data/zorconversion.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

constexpr KEL_RAW positiveSign = 0x0C;
constexpr KEL_RAW negativeSign = 0x0D;
constexpr unsigned significantDigits = 17;

constexpr bool isPad(KEL_CHAR c) {
    return c == ' ' || c == 0;
}

constexpr bool isSpace(KEL_CHAR c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool isDigit(KEL_CHAR c) {
    return c >= '0' && c <= '9';
}

/** The digit places of a packed number, the most significant first. */
class BcdPlaces {
  public:
    explicit BcdPlaces(std::span<KEL_RAW> raw) noexcept : raw(raw) {}

    void put(size_t place, unsigned digit) noexcept {
        raw[place / 2] |= static_cast<KEL_RAW>(place % 2 == 0 ? digit << 4 : digit);
    }

    /** Adds one to the number before a place and carries upward; false if the carry leaves the first one. */
    bool increment(size_t place) noexcept {
        while (place-- > 0) {
            const bool high = place % 2 == 0;
            KEL_RAW& byte = raw[place / 2];
            const unsigned digit = high ? byte >> 4 : byte & 0x0F;
            byte = static_cast<KEL_RAW>(high ? byte & 0x0F : byte & 0xF0);
            if (digit < 9) {
                put(place, digit + 1);
                return true;
            }
        }
        return false;
    }

    bool isZero() const noexcept {
        return (raw.back() & 0xF0) == 0 &&
               std::all_of(raw.begin(), raw.end() - 1, [](KEL_RAW byte) { return byte == 0; });
    }

  private:
    std::span<KEL_RAW> raw;
};

std::string_view withoutBlanks(std::string_view text) noexcept {
    const size_t first = text.find_first_not_of(' ');
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/** Takes a sign off the front of a text. */
bool takeSign(std::string_view& text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    return negative;
}

/** Puts the digits of a text without sign and leading zeros, rounded, into the places. */
ZOR_CONV_RC packDigits(std::string_view text, BcdPlaces& places, size_t placeCount, unsigned decimals,
                       int& error_pos) noexcept {
    const size_t integerDigits = std::min(text.find('.'), text.size());
    if (uint64_t{integerDigits} + decimals > placeCount) return ZOR_CONV_OVERFLOW;
    size_t place = placeCount - decimals - integerDigits;
    for (size_t at = 0; at < text.size(); ++at) {
        if (at == integerDigits) continue;
        const unsigned digit = static_cast<unsigned char>(text[at]) & 0x0F;
        if (digit > 9) {
            error_pos = static_cast<int>(at);
            return ZOR_CONV_ILLEGAL_INPUT;
        }
        if (place == placeCount)
            return digit < 5 || places.increment(place) ? ZOR_CONV_OK : ZOR_CONV_OVERFLOW;
        places.put(place++, digit);
    }
    return ZOR_CONV_OK;
}

/** Range of the integers of a width; one byte is unsigned. */
constexpr ZOR_INT8 lowest(unsigned width) {
    return width == 1 ? 0 : std::numeric_limits<ZOR_INT8>::min() >> (64 - 8 * width);
}
constexpr ZOR_INT8 highest(unsigned width) {
    return width == 1 ? 255 : std::numeric_limits<ZOR_INT8>::max() >> (64 - 8 * width);
}

/** The "C" locale for parsing; lives until the process ends. */
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

/** Up to 17 digits without trailing zeros, and how many of them stand before the decimal point. */
struct Digits {
    KEL_CHAR text[significantDigits];
    unsigned count;
    int pointAfter;
};

Digits digitsOf(ZOR_FLOAT magnitude) noexcept {
    KEL_CHAR buffer[significantDigits + 8];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                      std::chars_format::scientific, significantDigits - 1);
    Digits digits;
    digits.text[0] = buffer[0];
    std::memcpy(digits.text + 1, buffer + 2, significantDigits - 1);
    digits.count = significantDigits;
    while (digits.count > 1 && digits.text[digits.count - 1] == '0')
        --digits.count;
    const KEL_CHAR* exponentText = buffer + significantDigits + 2;
    if (*exponentText == '+') ++exponentText;
    int exponent = 0;
    std::from_chars(exponentText, result.ptr, exponent);
    digits.pointAfter = exponent + 1;
    return digits;
}

KEL_CHAR* put(KEL_CHAR* dest, std::string_view text) noexcept {
    return std::copy(text.begin(), text.end(), dest);
}

constexpr int hexDigit(KEL_CHAR c) {
    if (isDigit(c)) return c - '0';
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

std::string_view trimmedEnd(std::string_view text) noexcept {
    while (!text.empty() && isPad(text.back()))
        text.remove_suffix(1);
    return text;
}

ZOR_CONV_RC StringToRawBcd(std::string_view text, std::span<KEL_RAW> raw, unsigned decimals,
                           int& error_pos) noexcept {
    error_pos = -1;
    std::fill(raw.begin(), raw.end(), KEL_RAW{});
    if (raw.empty()) return ZOR_CONV_OVERFLOW;
    text = withoutBlanks(text);
    if (text.empty()) return ZOR_CONV_EMPTY_BUFFER;
    const bool negative = takeSign(text);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));

    BcdPlaces places(raw);
    if (!text.empty()) {
        const ZOR_CONV_RC rc = packDigits(text, places, raw.size() * 2 - 1, decimals, error_pos);
        if (rc != ZOR_CONV_OK) return rc;
    }
    raw.back() |= negative && !places.isZero() ? negativeSign : positiveSign;
    return ZOR_CONV_OK;
}

ZOR_CONV_RC RawBcdToString(std::span<const KEL_RAW> raw, unsigned decimals, std::span<KEL_CHAR> out,
                           unsigned& length, int& error_pos) noexcept {
    error_pos = -1;
    if (raw.empty() || decimals > raw.size() * 2 - 1 || out.size() < maxBcdText(raw.size()))
        return ZOR_CONV_INSUFFICIENT_BUFFER;
    const size_t placeCount = raw.size() * 2 - 1;
    const size_t integerPlaces = placeCount - decimals;
    KEL_CHAR* at = out.data();
    if ((raw.back() & 0x0F) == negativeSign) *at++ = '-';
    const KEL_CHAR* const firstDigit = at;
    for (size_t place = 0; place < placeCount; ++place) {
        const unsigned digit = place % 2 == 0 ? raw[place / 2] >> 4 : raw[place / 2] & 0x0F;
        if (digit > 9) {
            error_pos = static_cast<int>(place);
            return ZOR_CONV_ILLEGAL_INPUT;
        }
        if (place == integerPlaces) {
            if (at == firstDigit) *at++ = '0';
            *at++ = '.';
        }
        const bool leadingZero = digit == 0 && at == firstDigit && place < integerPlaces;
        if (!leadingZero) *at++ = static_cast<KEL_CHAR>('0' + digit);
    }
    if (at == firstDigit) *at++ = '0';
    length = static_cast<unsigned>(at - out.data());
    return ZOR_CONV_OK;
}

ZOR_CONV_RC stringToNumber(std::string_view text, unsigned width, ZOR_INT8& value, int& error_pos) noexcept {
    constexpr unsigned maxDigits = 19;
    error_pos = -1;
    text = trimmedEnd(text);
    const bool negative = text.starts_with('-');
    const bool signedText = negative || text.starts_with('+');
    if (text.size() == (signedText ? 1 : 0)) {
        if (signedText) error_pos = 0;
        return ZOR_CONV_ILLEGAL_INPUT;
    }
    // From the end, so that leading zeros need no treatment of their own. 19 digits fit into 64 bits.
    uint64_t magnitude = 0;
    uint64_t weight = 1;
    for (size_t at = text.size(), count = 0; at-- > (signedText ? 1u : 0u); ++count) {
        if (!isDigit(text[at])) {
            error_pos = static_cast<int>(at);
            return ZOR_CONV_ILLEGAL_INPUT;
        }
        const auto digit = static_cast<unsigned>(text[at] - '0');
        if (count >= maxDigits && digit != 0) return ZOR_CONV_OVERFLOW;
        magnitude += digit * weight;
        weight *= 10;
    }
    value = static_cast<ZOR_INT8>(negative ? 0 - magnitude : magnitude);
    const uint64_t limit = uint64_t{1} << 63;
    if (magnitude > (negative ? limit : limit - 1)) return ZOR_CONV_OVERFLOW;
    return value < lowest(width) || value > highest(width) ? ZOR_CONV_OVERFLOW : ZOR_CONV_OK;
}

ZOR_INT leadingInteger(std::string_view text) noexcept {
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    const bool negative = takeSign(text);
    constexpr int64_t beyond = int64_t{1} << 32;
    int64_t value = 0;
    for (const KEL_CHAR c : text) {
        if (!isDigit(c)) break;
        value = std::min(value * 10 + (c - '0'), beyond);
    }
    return static_cast<ZOR_INT>(std::clamp<int64_t>(
        negative ? -value : value, std::numeric_limits<ZOR_INT>::min(), std::numeric_limits<ZOR_INT>::max()));
}

unsigned numberToString(KEL_CHAR* dest, ZOR_INT8 value) noexcept {
    return static_cast<unsigned>(std::to_chars(dest, dest + maxNumberText, value).ptr - dest);
}

ZOR_CONV_RC charsToDouble(std::string_view text, ZOR_FLOAT& value, int& error_pos) {
    error_pos = -1;
    // The parser needs a terminator. Short texts, the rule, stay on the stack.
    KEL_CHAR small[64];
    std::string large;
    const KEL_CHAR* begin = small;
    if (text.size() < sizeof small) {
        small[text.copy(small, text.size())] = 0;
    } else {
        large = text;
        begin = large.c_str();
    }
    KEL_CHAR* stop = nullptr;
    value = strtod_l(begin, &stop, cLocale());
    if (!std::isfinite(value)) {
        error_pos = static_cast<int>(stop - begin);
        return ZOR_CONV_OVERFLOW;
    }
    if (*stop == 0 || isSpace(*stop)) return ZOR_CONV_OK;
    error_pos = static_cast<int>(stop - begin);
    return ZOR_CONV_ILLEGAL_INPUT;
}

namespace {

/** Writes what has no digits, and the sign of what has; true if nothing is left to write. */
bool putSpecial(KEL_CHAR*& at, ZOR_FLOAT value) noexcept {
    if (value < 0) *at++ = '-';
    const bool special = value == 0 || !std::isfinite(value);
    if (special) at = put(at, value == 0 ? "0.0" : std::isnan(value) ? "NaN" : "Inf");
    return special;
}

}  // namespace

unsigned doubleToExponentString(KEL_CHAR* dest, ZOR_FLOAT value) noexcept {
    KEL_CHAR* at = dest;
    if (putSpecial(at, value)) return static_cast<unsigned>(at - dest);
    const Digits digits = digitsOf(std::fabs(value));
    const std::string_view text(digits.text, digits.count);
    at = put(at, text.substr(0, 1));
    if (text.size() > 1) at = put(put(at, "."), text.substr(1));
    *at++ = 'E';
    return static_cast<unsigned>(at - dest) + numberToString(at, digits.pointAfter - 1);
}

unsigned doubleToString(KEL_CHAR* dest, ZOR_FLOAT value) noexcept {
    KEL_CHAR* at = dest;
    if (putSpecial(at, value)) return static_cast<unsigned>(at - dest);
    const Digits digits = digitsOf(std::fabs(value));
    const std::string_view text(digits.text, digits.count);
    const int pointAfter = digits.pointAfter;
    if (pointAfter >= static_cast<int>(digits.count)) {
        at = std::fill_n(put(at, text), pointAfter - static_cast<int>(digits.count), '0');
    } else if (pointAfter < 1) {
        at = put(std::fill_n(put(at, "0."), -pointAfter, '0'), text);
    } else {
        const auto whole = static_cast<size_t>(pointAfter);
        at = put(put(put(at, text.substr(0, whole)), "."), text.substr(whole));
    }
    return static_cast<unsigned>(at - dest);
}

size_t Hex::encode(std::span<const KEL_RAW> bytes, std::span<KEL_CHAR> out) noexcept {
    constexpr KEL_CHAR digits[] = "0123456789ABCDEF";
    const size_t length = std::min(bytes.size() * 2, out.size());
    for (size_t at = 0; at < length; ++at) {
        const unsigned byte = bytes[at / 2];
        out[at] = digits[at % 2 == 0 ? byte >> 4 : byte & 0x0F];
    }
    return length;
}

void Hex::encode(std::span<const KEL_RAW> bytes, std::string& out) {
    out.resize(bytes.size() * 2);
    encode(bytes, std::span<KEL_CHAR>(out));
}

ZOR_CONV_RC Hex::decode(std::string_view text, std::vector<KEL_RAW>& out, int& error_pos) {
    error_pos = -1;
    text = trimmedEnd(text);
    size_t first = 0;
    while (first < text.size() && isPad(text[first]))
        ++first;
    const size_t length = text.size() - first;
    if (length % 2 != 0) return ZOR_CONV_ILLEGAL_INPUT;
    out.assign(length / 2, 0);
    for (size_t at = 0; at < length; ++at) {
        const int digit = hexDigit(text[first + at]);
        if (digit < 0) {
            error_pos = static_cast<int>(first + at);
            return ZOR_CONV_ILLEGAL_INPUT;
        }
        out[at / 2] = static_cast<KEL_RAW>(out[at / 2] << 4 | digit);
    }
    return ZOR_CONV_OK;
}
