#include "decimal.h"

#include <algorithm>

namespace {

constexpr std::uint8_t specialBits[] = {0, DECINF, DECNAN, DECSNAN};

/** Whether the digits that stay grow by one; the value dropped is compared with half of their last place. */
bool roundsUp(const Decimal& value, std::strong_ordering toHalf, rounding mode) {
    switch (mode) {
        case DEC_ROUND_CEILING:
            return !value.negative;
        case DEC_ROUND_FLOOR:
            return value.negative;
        case DEC_ROUND_UP:
            return true;
        case DEC_ROUND_HALF_UP:
            return toHalf >= 0;
        case DEC_ROUND_HALF_EVEN:
            return toHalf > 0 || (toHalf == 0 && value.digits.isOdd());
        case DEC_ROUND_HALF_DOWN:
            return toHalf > 0;
        case DEC_ROUND_05UP:
            return value.digits[value.digits.count() - 1] % 5 == 0;
        default:
            return false;
    }
}

/** Whether a number beyond the range becomes infinite rather than the largest finite one. */
bool overflowsToInfinity(bool negative, rounding mode) {
    switch (mode) {
        case DEC_ROUND_DOWN:
        case DEC_ROUND_05UP:
            return false;
        case DEC_ROUND_CEILING:
            return !negative;
        case DEC_ROUND_FLOOR:
            return negative;
        default:
            return true;
    }
}

std::uint32_t overflow(Decimal& value, const decContext& context) {
    if (overflowsToInfinity(value.negative, context.round)) {
        value.kind = Decimal::infinite;
        value.digits = {};
        value.exponent = 0;
    } else {
        value.digits = {};
        for (int i = 0; i < context.digits; ++i)
            value.digits.append(9);
        value.exponent = std::int64_t{context.emax} - context.digits + 1;
    }
    return DEC_Overflow | DEC_Inexact | DEC_Rounded;
}

}  // namespace

Decimal Decimal::nan() {
    Decimal result;
    result.kind = quietNan;
    return result;
}

Decimal Decimal::integer(std::int64_t value) {
    Decimal result;
    result.negative = value < 0;
    result.digits =
        Digits(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
    return result;
}

Decimal Decimal::load(const decNumber& number) {
    Decimal result;
    result.negative = (number.bits & DECNEG) != 0;
    result.exponent = number.exponent;
    for (const Kind kind : {infinite, quietNan, signalingNan})
        if ((number.bits & specialBits[kind]) != 0) result.kind = kind;
    constexpr std::uint16_t weights[DECDPUN] = {1, 10, 100};
    for (int place = std::min(number.digits, DECDPUN * DECNUMUNITS); place-- > 0;)
        result.digits.append(number.lsu[place / DECDPUN] / weights[place % DECDPUN] % 10);
    return result;
}

void Decimal::store(decNumber& number) const {
    const int count = digits.count();
    number.digits = std::max(count, 1);
    number.exponent = kind == finite ? static_cast<std::int32_t>(exponent) : 0;
    number.bits = static_cast<std::uint8_t>((negative ? DECNEG : 0) | specialBits[kind]);
    for (int unit = 0; unit < DECNUMUNITS; ++unit) {
        const int last = count - 1 - unit * DECDPUN;
        number.lsu[unit] =
            static_cast<std::uint16_t>(digits[last] + 10 * digits[last - 1] + 100 * digits[last - 2]);
    }
}

bool Decimal::isIntegral() const {
    if (kind != finite) return false;
    return isZero() || exponent >= 0 || (-exponent < digits.count() && digits.trailingZeros() >= -exponent);
}

std::uint32_t Decimal::round(std::int64_t places, rounding mode) {
    const int count = digits.count();
    const int firstDropped = places > count ? 0 : digits[count - static_cast<int>(places)];
    const int behind = static_cast<int>(std::min<std::int64_t>(places - 1, count));
    const bool more = sticky || digits.endsNonZero(behind);
    sticky = false;
    digits.drop(static_cast<int>(std::min<std::int64_t>(places, count)));
    exponent += places;
    if (firstDropped == 0 && !more) return DEC_Rounded;
    const auto toHalf = firstDropped == 5 ? more <=> false : firstDropped <=> 5;
    if (roundsUp(*this, toHalf, mode)) digits.increment();
    return DEC_Rounded | DEC_Inexact;
}

void Decimal::finish(decContext& context) {
    const std::int64_t precision = context.digits;
    if (kind != finite) {
        // The end of a payload is what stays of one that is too long.
        Digits payload;
        const std::int64_t room = kind == infinite ? 0 : precision - context.clamp;
        for (int at = static_cast<int>(std::max<std::int64_t>(digits.count() - room, 0)); at < digits.count();
             ++at)
            payload.append(digits[at]);
        digits = payload;
        return;
    }
    const std::int64_t lowest = context.emin - (precision - 1);
    const std::int64_t highest = context.clamp != 0 ? context.emax - (precision - 1) : context.emax;
    if (isZero()) {
        const std::int64_t wanted = std::clamp(exponent, lowest, highest);
        if (wanted != exponent) context.status |= DEC_Clamped;
        exponent = wanted;
        return;
    }
    std::uint32_t status = adjusted() < context.emin ? DEC_Subnormal : 0;
    const std::int64_t places = std::max(digits.count() - precision, lowest - exponent);
    if (places > 0) status |= round(places, context.round);
    if (digits.count() > precision) {  // a carry left zeros behind
        digits.drop(1);
        ++exponent;
    }
    if ((status & DEC_Subnormal) != 0 && (status & DEC_Inexact) != 0) status |= DEC_Underflow;
    if (digits.isZero())
        status |= DEC_Clamped;
    else if (adjusted() > context.emax)
        status |= overflow(*this, context);
    if (kind == finite && exponent > highest) {
        digits.appendZeros(static_cast<int>(exponent - highest));
        exponent = highest;
        status |= DEC_Clamped;
    }
    context.status |= status;
}

std::strong_ordering compareValues(const Decimal& left, const Decimal& right) {
    const bool leftNegative = left.negative && !left.isZero();
    const bool rightNegative = right.negative && !right.isZero();
    if (leftNegative != rightNegative) return rightNegative <=> leftNegative;
    const Decimal& low = leftNegative ? right : left;  // in order of their magnitudes
    const Decimal& high = leftNegative ? left : right;
    if (low.kind != high.kind) return low.kind <=> high.kind;
    if (low.kind == Decimal::infinite) return std::strong_ordering::equal;
    if (low.isZero() || high.isZero()) return high.isZero() <=> low.isZero();
    if (low.adjusted() != high.adjusted()) return low.adjusted() <=> high.adjusted();
    for (int at = 0; at < std::max(low.digits.count(), high.digits.count()); ++at)
        if (low.digits[at] != high.digits[at]) return low.digits[at] <=> high.digits[at];
    return std::strong_ordering::equal;
}

bool isServed(decContext& context) {
    const bool served = context.digits >= 1 && context.digits <= mostPrecision &&
                        context.round < DEC_ROUND_MAX && context.emax >= 0 && context.emin <= 0;
    if (!served) context.status |= DEC_Invalid_context;
    return served;
}
