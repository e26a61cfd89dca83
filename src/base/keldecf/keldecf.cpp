#include "base/keldecf/keldecf.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/keldecf/decflibrary.h"

namespace {

/** A format by its C type: its context and the library's entries for it. */
template <class Value>
struct Format;

template <>
struct Format<DecFloat16> {
    using Buffer = DecFloat16Buff;
    static constexpr DecfContext context{16, 384, -383, DECF_ROUND_HALF_UP, 0, 0, 1};
    static auto fromString() noexcept { return decfLibrary->decimal64FromString; }
    static auto toString() noexcept { return decfLibrary->decimal64ToString; }
    static auto fromNumber() noexcept { return decfLibrary->decimal64FromNumber; }
    static auto toNumber() noexcept { return decfLibrary->decimal64ToNumber; }
};

template <>
struct Format<DecFloat34> {
    using Buffer = DecFloat34Buff;
    static constexpr DecfContext context{34, 6144, -6143, DECF_ROUND_HALF_UP, 0, 0, 1};
    static auto fromString() noexcept { return decfLibrary->decimal128FromString; }
    static auto toString() noexcept { return decfLibrary->decimal128ToString; }
    static auto fromNumber() noexcept { return decfLibrary->decimal128FromNumber; }
    static auto toNumber() noexcept { return decfLibrary->decimal128ToNumber; }
};

DECF_RETURN resultOf(DecfContext& context) noexcept {
    return DecFloatEnv::getDECFErrCodeFromStatus(context);
}

template <class Value>
DECF_RETURN toText(const Value& value, typename Format<Value>::Buffer* text) noexcept {
    char local[64];  // whatever a library of that name thinks it may write
    Format<Value>::toString()(&value, local);
    const std::size_t length = strnlen(local, sizeof *text - 1);
    std::memcpy(*text, local, length);
    (*text)[length] = 0;
    return DECF_OK;
}

template <class Value>
DECF_RETURN fromText(const KEL_UC* text, Value* value) noexcept {
    DecfContext context = Format<Value>::context;
    Format<Value>::fromString()(value, text, &context);
    return resultOf(context);
}

template <class Target, class Source>
DECF_RETURN convert(Target* result, const Source& value) noexcept {
    DecfContext context = Format<Target>::context;
    DecfNumber number;
    Format<Source>::toNumber()(&value, &number);
    Format<Target>::fromNumber()(result, &number, &context);
    return resultOf(context);
}

template <class Value>
DECF_RETURN toInteger(KEL_INT* i, const Value& value) noexcept {
    DecfContext context = Format<Value>::context;
    DecfNumber number;
    Format<Value>::toNumber()(&value, &number);
    *i = decfLibrary->decInteger32FromNumber2(&number, &context);
    return resultOf(context);
}

template <class Value>
DECF_RETURN fromInteger(Value* result, KEL_INT i) noexcept {
    DecfContext context = Format<Value>::context;
    DecfNumber number;
    decfLibrary->decInteger32ToNumber(i, &number);
    Format<Value>::fromNumber()(result, &number, &context);
    return resultOf(context);
}

/** The integer part of a number in scientific notation; the library has no entry for 64 bits. */
DECF_RETURN integerPart(std::string_view text, KEL_LLONG* i) noexcept {
    *i = 0;
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    if (text.empty() || text[0] < '0' || text[0] > '9') return DECF_INVALID_OP;
    const std::size_t end = std::min(text.find('E'), text.size());
    int exponent = 0;
    if (end + 2 < text.size()) {
        const std::size_t sign = text[end + 1] == '+' ? 1 : 0;  // a '-' is the number's
        std::from_chars(text.data() + end + 1 + sign, text.data() + text.size(), exponent);
    }
    const std::string_view digits = text.substr(0, end);
    long places = static_cast<long>(std::min(digits.find('.'), digits.size())) + exponent;

    constexpr KEL_LLONG lowest = std::numeric_limits<KEL_LLONG>::min();
    DECF_RETURN rc = DECF_OK;
    KEL_LLONG value = 0;  // negative, whose range is the larger one
    for (std::size_t at = 0; at < digits.size() || (places > 0 && value != 0); ++at) {
        const char c = at < digits.size() ? digits[at] : '0';
        if (c == '.') continue;
        const int digit = c - '0';
        if (places-- <= 0) {
            if (digit != 0) rc = DECF_INEXACT;
        } else if (value < (lowest + digit) / 10) {
            *i = negative ? lowest : std::numeric_limits<KEL_LLONG>::max();
            return DECF_OVERFLOW;
        } else {
            value = value * 10 - digit;
        }
    }
    if (value == lowest && !negative) {
        *i = std::numeric_limits<KEL_LLONG>::max();
        return DECF_OVERFLOW;
    }
    *i = negative ? value : -value;
    return rc;
}

template <class Value>
DECF_RETURN toLong(KEL_LLONG* i, const Value& value) noexcept {
    typename Format<Value>::Buffer text;
    toText(value, &text);
    return integerPart(text, i);
}

template <class Value>
DECF_RETURN fromLong(Value* result, KEL_LLONG i) noexcept {
    char text[24];
    *std::to_chars(text, text + sizeof text - 1, i).ptr = 0;
    return fromText(text, result);
}

template <class Value>
DECF_RETURN toDouble(KEL_DOUBLE* d, const Value& value) noexcept {
    DecfContext context = Format<Value>::context;
    DecfNumber number;
    Format<Value>::toNumber()(&value, &number);
    *d = decfLibrary->decDoubleFromNumber3(&number, &context);
    return resultOf(context);
}

template <class Value>
DECF_RETURN fromDouble(Value* result, KEL_DOUBLE d) noexcept {
    constexpr int significantDigits = 17;
    // As "%.17G" prints it, and like that without regard to the locale.
    char text[32];
    *std::to_chars(text, text + sizeof text - 1, d, std::chars_format::general, significantDigits).ptr = 0;
    DecfContext context = Format<Value>::context;
    DecfNumber number;
    decfLibrary->decNumberFromString(&number, text, &context);
    decfLibrary->decNumberNormalize(&number, &number, &context);
    Format<Value>::fromNumber()(result, &number, &context);
    context.status |= DECF_STATUS_INEXACT;
    return resultOf(context);
}

/** The conditions that make a result, in the order of their weight. */
struct Condition {
    std::uint32_t status;
    DECF_RETURN rc;
};
constexpr Condition conditions[] = {
    {DECF_STATUS_INSUFFICIENT_STORAGE, DECF_NO_MEMORY},
    {DECF_STATUS_DIVISION_IMPOSSIBLE | DECF_STATUS_DIVISION_UNDEFINED | DECF_STATUS_INVALID_CONTEXT |
         DECF_STATUS_INVALID_OPERATION,
     DECF_INVALID_OP},
    {DECF_STATUS_DIVISION_BY_ZERO, DECF_DIV_ZERO},
    {DECF_STATUS_CONVERSION_SYNTAX, DECF_CONV_SYNTAX},
    {DECF_STATUS_OVERFLOW, DECF_OVERFLOW},
    {DECF_STATUS_UNDERFLOW, DECF_UNDERFLOW},
    {DECF_STATUS_INEXACT, DECF_INEXACT},
};

}  // namespace

DECF_RETURN DecFloatEnv::getDECFErrCodeFromStatus(DecfContext& context) noexcept {
    for (const Condition& condition : conditions)
        if ((context.status & condition.status) != 0) {
            context.status = 0;
            return condition.rc;
        }
    return DECF_OK;
}

const KEL_CHAR* DecfReturnText(DECF_RETURN rc) noexcept {
    switch (rc) {
        case DECF_NOT_SUPPORTED:
            return "Decfloat shared library could not be loaded";
        case DECF_WRONG_VERSION:
            return "Decfloat shared library has wrong version";
        case DECF_OK:
            return "";
        case DECF_INEXACT:
            return "An inexact exception occurred";
        case DECF_UNDERFLOW:
            return "An underflow exception occurred";
        case DECF_OVERFLOW:
            return "An overflow exception occurred";
        case DECF_CONV_SYNTAX:
            return "A conversion syntax exception occurred";
        case DECF_DIV_ZERO:
            return "A division by zero exception occurred";
        case DECF_INVALID_OP:
            return "An invalid operation exception occurred";
        case DECF_NO_MEMORY:
            return "A memory allocation error occurred";
    }
    return "";
}

DECF_RETURN DecFloat16ToString(DecFloat16 value, DecFloat16Buff* text) noexcept {
    return toText(value, text);
}

DECF_RETURN DecFloat34ToString(DecFloat34 value, DecFloat34Buff* text) noexcept {
    return toText(value, text);
}

DECF_RETURN StringToDecFloat16(const KEL_UC* numstr, DecFloat16* value) noexcept {
    return fromText(numstr, value);
}

DECF_RETURN StringToDecFloat34(const KEL_UC* numstr, DecFloat34* value) noexcept {
    return fromText(numstr, value);
}

DECF_RETURN DecFloat16ToDecFloat34(DecFloat34* result, DecFloat16 value) noexcept {
    return convert(result, value);
}

DECF_RETURN DecFloat34ToDecFloat16(DecFloat16* result, DecFloat34 value) noexcept {
    return convert(result, value);
}

DECF_RETURN DecFloat16ToKEL_INT(KEL_INT* i, DecFloat16 value) noexcept {
    return toInteger(i, value);
}

DECF_RETURN DecFloat34ToKEL_INT(KEL_INT* i, DecFloat34 value) noexcept {
    return toInteger(i, value);
}

DECF_RETURN KEL_INTToDecFloat16(DecFloat16* result, KEL_INT i) noexcept {
    return fromInteger(result, i);
}

DECF_RETURN KEL_INTToDecFloat34(DecFloat34* result, KEL_INT i) noexcept {
    return fromInteger(result, i);
}

DECF_RETURN DecFloat16ToKEL_LLONG(KEL_LLONG* i, DecFloat16 value) noexcept {
    return toLong(i, value);
}

DECF_RETURN DecFloat34ToKEL_LLONG(KEL_LLONG* i, DecFloat34 value) noexcept {
    return toLong(i, value);
}

DECF_RETURN KEL_LLONGToDecFloat16(DecFloat16* result, KEL_LLONG i) noexcept {
    return fromLong(result, i);
}

DECF_RETURN KEL_LLONGToDecFloat34(DecFloat34* result, KEL_LLONG i) noexcept {
    return fromLong(result, i);
}

DECF_RETURN DecFloat16ToKEL_DOUBLE(KEL_DOUBLE* d, DecFloat16 value) noexcept {
    return toDouble(d, value);
}

DECF_RETURN DecFloat34ToKEL_DOUBLE(KEL_DOUBLE* d, DecFloat34 value) noexcept {
    return toDouble(d, value);
}

DECF_RETURN KEL_DOUBLEToDecFloat16(DecFloat16* result, KEL_DOUBLE d) noexcept {
    return fromDouble(result, d);
}

DECF_RETURN KEL_DOUBLEToDecFloat34(DecFloat34* result, KEL_DOUBLE d) noexcept {
    return fromDouble(result, d);
}
