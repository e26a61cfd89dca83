// Numbers to and from binary integers, doubles and packed decimal.

#include <errno.h>
#include <stdlib.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "decimal.h"

namespace {

constexpr std::uint8_t packedPlus = 0x0C;
constexpr std::uint8_t packedMinus = 0x0D;

/** Integer part of the magnitude, limited to a value beyond every integer here. */
std::int64_t integerPart(const Decimal& value) {
    constexpr std::int64_t beyond = std::int64_t{1} << 40;
    if (value.isZero()) return 0;
    if (value.adjusted() > 12) return beyond;
    std::int64_t result = 0;
    for (std::int64_t place = 0; place <= value.adjusted(); ++place)
        result = result * 10 + value.digits[static_cast<int>(place)];
    return result;
}

/** The half-byte of a packed number, 0 being the first. */
unsigned halfByte(const std::uint8_t* packed, int at) {
    return at % 2 == 0 ? packed[at / 2] >> 4 : packed[at / 2] & 0x0Fu;
}

}  // namespace

std::int32_t decInteger32FromNumber2(const decNumber* value, decContext* context) {
    const Decimal number = Decimal::load(*value);
    const std::int64_t magnitude = integerPart(number);
    const std::int64_t integer = number.negative ? -magnitude : magnitude;
    if (number.kind != Decimal::finite || integer < std::numeric_limits<std::int32_t>::min() ||
        integer > std::numeric_limits<std::int32_t>::max()) {
        context->status |= DEC_Invalid_operation;
        return 0;
    }
    if (!number.isIntegral()) context->status |= DEC_Inexact;
    return static_cast<std::int32_t>(integer);
}

decNumber* decInteger32ToNumber(std::int32_t integer, decNumber* result) {
    Decimal::integer(integer).store(*result);
    return result;
}

double decDoubleFromNumber3(const decNumber* value, decContext* context) {
    const Decimal number = Decimal::load(*value);
    if (number.kind == Decimal::signalingNan) context->status |= DEC_Invalid_operation;
    if (number.isNan()) return std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    if (number.kind == Decimal::infinite) return number.negative ? -infinity : infinity;

    // Digits and an exponent without a point: the one notation that strtod reads alike in every locale.
    char text[Digits::capacity + 24];
    char* to = text;
    if (number.negative) *to++ = '-';
    for (int at = 0; at < number.digits.count() || at == 0; ++at)
        *to++ = static_cast<char>('0' + number.digits[at]);
    *to++ = 'E';
    to = std::to_chars(to, text + sizeof text - 1, number.exponent).ptr;
    *to = 0;
    const int callersError = errno;
    const double result = strtod(text, nullptr);
    errno = callersError;
    if (std::isinf(result)) context->status |= DEC_Overflow | DEC_Inexact | DEC_Rounded;
    if (result == 0 && !number.isZero()) context->status |= DEC_Underflow | DEC_Inexact | DEC_Rounded;
    return result;
}

std::uint8_t* decPackedFromNumber(std::uint8_t* packed, std::int32_t length, std::int32_t* scale,
                                  const decNumber* value) {
    const Decimal number = Decimal::load(*value);
    if (number.kind != Decimal::finite || length < 1 || number.digits.count() > 2 * length - 1)
        return nullptr;
    std::memset(packed, 0, static_cast<std::size_t>(length));
    packed[length - 1] = number.negative ? packedMinus : packedPlus;
    for (int back = 0; back < number.digits.count(); ++back) {
        const int at = 2 * length - 2 - back;
        const int digit = number.digits[number.digits.count() - 1 - back];
        packed[at / 2] |= static_cast<std::uint8_t>(at % 2 == 0 ? digit << 4 : digit);
    }
    *scale = static_cast<std::int32_t>(-number.exponent);
    return packed;
}

decNumber* decPackedToNumber(const std::uint8_t* packed, std::int32_t length, const std::int32_t* scale,
                             decNumber* result) {
    decNumberZero(result);
    if (length < 1) return nullptr;
    const int last = 2 * length - 1;
    const unsigned sign = halfByte(packed, last);
    Decimal number;
    number.negative = sign == 0x0B || sign == packedMinus;
    number.exponent = -std::int64_t{*scale};
    bool valid = sign > 9;
    for (int at = 0; at < last && valid; ++at) {
        const unsigned digit = halfByte(packed, at);
        valid = digit <= 9 && number.digits.count() < DECDPUN * DECNUMUNITS;
        number.digits.append(static_cast<int>(digit));
    }
    if (!valid) return nullptr;
    number.store(*result);
    return result;
}
