// Numbers as text, in the notation of IEEE 754-2008 and of the scientific string of its formats.

#include <algorithm>
#include <charconv>
#include <string_view>

#include "decimal.h"

namespace {

// Beyond these an exponent is out of every range; sums with it stay far from the ends of 64 bits.
constexpr std::int64_t largestExponent = 1000000000000;

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/** Takes a word off the front of a text, in any case of its letters. */
bool takeWord(const char*& text, std::string_view word) {
    const char* at = text;
    for (const char c : word)
        if (lower(*at++) != c) return false;
    text = at;
    return true;
}

/** "inf", "infinity", "nan" and "snan", the latter two with a payload of digits. */
bool parseSpecial(const char* text, Decimal& result) {
    if (takeWord(text, "inf")) {
        takeWord(text, "inity");
        result.kind = Decimal::infinite;
        return *text == 0;
    }
    result.kind = takeWord(text, "s") ? Decimal::signalingNan : Decimal::quietNan;
    if (!takeWord(text, "nan")) return false;
    for (; isDigit(*text) && result.digits.count() < mostPrecision; ++text)
        result.digits.append(*text - '0');
    return *text == 0;
}

/** Takes the digits and the point; false if there is no digit. */
bool takeCoefficient(const char*& text, Decimal& result) {
    bool any = false;
    bool fraction = false;
    for (;; ++text) {
        if (*text == '.' && !fraction) {
            fraction = true;
            continue;
        }
        if (!isDigit(*text)) return any;
        any = true;
        if (fraction) --result.exponent;
        if (result.digits.count() < Digits::capacity) {
            result.digits.append(*text - '0');
        } else {
            result.sticky = result.sticky || *text != '0';
            ++result.exponent;
        }
    }
}

/** Takes the exponent, if there is one; false if it is none. */
bool takeExponent(const char*& text, Decimal& result) {
    if (lower(*text) != 'e') return true;
    ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    if (!isDigit(*text)) return false;
    std::int64_t exponent = 0;
    for (; isDigit(*text); ++text)
        exponent = std::min(exponent * 10 + (*text - '0'), largestExponent);
    result.exponent += negative ? -exponent : exponent;
    return true;
}

char* put(char* to, std::string_view text) {
    return std::copy(text.begin(), text.end(), to);
}

char* putZeros(char* to, std::int64_t count) {
    return std::fill_n(to, count, '0');
}

/** The digits with a point behind some of them; nothing is put where that is behind all. */
char* putDigits(char* to, std::string_view digits, std::int64_t pointAfter) {
    const auto whole = static_cast<std::size_t>(pointAfter);
    to = put(to, digits.substr(0, whole));
    if (whole < digits.size()) to = put(put(to, "."), digits.substr(whole));
    return to;
}

char* putFinite(const Decimal& value, std::string_view digits, char* to) {
    const std::int64_t count = static_cast<std::int64_t>(digits.size());
    const std::int64_t adjusted = value.exponent + count - 1;
    if (value.exponent <= 0 && adjusted >= -6) {
        const std::int64_t pointAfter = count + value.exponent;
        if (pointAfter > 0) return putDigits(to, digits, pointAfter);
        return put(putZeros(put(to, "0."), -pointAfter), digits);
    }
    to = put(putDigits(to, digits, 1), adjusted < 0 ? "E-" : "E+");
    return std::to_chars(to, to + 12, adjusted < 0 ? -adjusted : adjusted).ptr;
}

}  // namespace

bool parseDecimal(const char* text, Decimal& result) {
    result = {};
    result.negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    if (!isDigit(*text) && *text != '.') return parseSpecial(text, result);
    return takeCoefficient(text, result) && takeExponent(text, result) && *text == 0;
}

char* printDecimal(const Decimal& value, char* text) {
    char buffer[Digits::capacity];
    int count = 0;
    for (; count < value.digits.count(); ++count)
        buffer[count] = static_cast<char>('0' + value.digits[count]);
    if (count == 0 && value.kind == Decimal::finite) buffer[count++] = '0';
    const std::string_view digits(buffer, static_cast<std::size_t>(count));

    if (value.negative) *text++ = '-';
    switch (value.kind) {
        case Decimal::finite:
            text = putFinite(value, digits, text);
            break;
        case Decimal::infinite:
            text = put(text, "Infinity");
            break;
        case Decimal::quietNan:
            text = put(put(text, "NaN"), digits);
            break;
        case Decimal::signalingNan:
            text = put(put(text, "sNaN"), digits);
            break;
    }
    *text = 0;
    return text;
}

char* decNumberToString(const decNumber* value, char* text) {
    printDecimal(Decimal::load(*value), text);
    return text;
}

decNumber* decNumberFromString(decNumber* result, const char* text, decContext* context) {
    Decimal value;
    if (!isServed(*context)) {
        value = Decimal::nan();
    } else if (!parseDecimal(text, value)) {
        context->status |= DEC_Conversion_syntax;
        value = Decimal::nan();
    } else {
        value.finish(*context);
    }
    value.store(*result);
    return result;
}
