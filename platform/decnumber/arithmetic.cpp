// Arithmetic on numbers: results exact or with a digit that stands for the rest, then rounded once.

#include <algorithm>

#include "decimal.h"

namespace {

/** Beyond the exponents of all contexts. */
constexpr std::int32_t largestExponent = 999999999;

using Unary = Decimal (*)(const Decimal& value, decContext& context);
using Binary = Decimal (*)(const Decimal& left, const Decimal& right, decContext& context);

Decimal failed(decContext& context, std::uint32_t condition) {
    context.status |= condition;
    return Decimal::nan();
}

/** The NaN that an operation on a NaN gives: the signaling one first, made quiet. */
Decimal propagated(const Decimal& left, const Decimal& right, decContext& context) {
    const bool signaling = left.kind == Decimal::signalingNan || right.kind == Decimal::signalingNan;
    if (signaling) context.status |= DEC_Invalid_operation;
    const Decimal::Kind kind = signaling ? Decimal::signalingNan : Decimal::quietNan;
    Decimal result = left.kind == kind ? left : right;
    result.kind = Decimal::quietNan;
    return result;
}

decNumber* deliver(Decimal& value, decNumber* result, decContext* context) {
    value.finish(*context);
    value.store(*result);
    return result;
}

decNumber* run(Unary operation, decNumber* result, const decNumber* operand, decContext* context) {
    const Decimal value = Decimal::load(*operand);
    Decimal answer = Decimal::nan();
    if (isServed(*context))
        answer = value.isNan() ? propagated(value, value, *context) : operation(value, *context);
    return deliver(answer, result, context);
}

decNumber* run(Binary operation, decNumber* result, const decNumber* leftOperand,
               const decNumber* rightOperand, decContext* context) {
    const Decimal left = Decimal::load(*leftOperand);
    const Decimal right = Decimal::load(*rightOperand);
    Decimal answer = Decimal::nan();
    if (isServed(*context))
        answer = left.isNan() || right.isNan() ? propagated(left, right, *context)
                                               : operation(left, right, *context);
    return deliver(answer, result, context);
}

/** As `run`, of which only a failure is told. */
decNumber* runQuietly(Unary operation, decNumber* result, const decNumber* operand, decContext* context) {
    decContext own = *context;
    run(operation, result, operand, &own);
    context->status |= own.status & (DEC_Invalid_operation | DEC_Invalid_context);
    return result;
}

Decimal negated(Decimal value) {
    value.negative = !value.negative;
    return value;
}

/**
 * Writes a number with a smaller exponent, by zeros. One that is far below the other operand's digits
 * needs no more than to be there: the exponent stops short of it, and the other becomes a last digit.
 */
void align(Decimal& upper, Decimal& lower) {
    constexpr std::int64_t guard = mostPrecision + 3;
    if (lower.isZero() || upper.isZero()) {
        // A zero's exponent is the other's, as far as that can be written out.
        const std::int64_t room = guard - std::min<std::int64_t>(upper.digits.count(), guard);
        upper.digits.appendZeros(static_cast<int>(std::min(upper.exponent - lower.exponent, room)));
        upper.exponent = upper.isZero() ? lower.exponent
                                        : upper.exponent - std::min(upper.exponent - lower.exponent, room);
        if (lower.isZero()) lower.exponent = upper.exponent;
        return;
    }
    if (lower.adjusted() < upper.adjusted() - guard && lower.adjusted() < upper.exponent) {
        const std::int64_t last = std::min(upper.adjusted() - guard, upper.exponent - 1);
        lower.digits = Digits(1);
        lower.exponent = last;
    }
    upper.digits.appendZeros(static_cast<int>(upper.exponent - lower.exponent));
    upper.exponent = lower.exponent;
}

Decimal add(const Decimal& left, const Decimal& right, decContext& context) {
    if (left.kind == Decimal::infinite || right.kind == Decimal::infinite) {
        if (left.kind == right.kind && left.negative != right.negative)
            return failed(context, DEC_Invalid_operation);
        return left.kind == Decimal::infinite ? left : right;
    }
    Decimal upper = left.exponent >= right.exponent ? left : right;
    Decimal lower = left.exponent >= right.exponent ? right : left;
    align(upper, lower);
    if (upper.negative == lower.negative) {
        upper.digits += lower.digits;
        return upper;
    }
    const bool swapped = upper.digits < lower.digits;
    Decimal& larger = swapped ? lower : upper;
    const bool equal = upper.digits == lower.digits;
    larger.digits -= (swapped ? upper : lower).digits;
    if (equal) larger.negative = context.round == DEC_ROUND_FLOOR;
    return larger;
}

Decimal subtract(const Decimal& left, const Decimal& right, decContext& context) {
    return add(left, negated(right), context);
}

Decimal multiply(const Decimal& left, const Decimal& right, decContext& context) {
    Decimal result;
    result.negative = left.negative != right.negative;
    if (left.kind == Decimal::infinite || right.kind == Decimal::infinite) {
        if (left.isZero() || right.isZero()) return failed(context, DEC_Invalid_operation);
        result.kind = Decimal::infinite;
        return result;
    }
    result.digits = left.digits * right.digits;
    result.exponent = left.exponent + right.exponent;
    return result;
}

/** Divides finite numbers other than 0, to more digits than any context has. */
Decimal divideFinite(const Decimal& left, const Decimal& right) {
    Decimal result;
    const std::int64_t ideal = left.exponent - right.exponent;
    // So many zeros that the quotient has at least two digits more than the precision.
    const int zeros = std::max(mostPrecision + 3 + right.digits.count() - left.digits.count(), 0);
    Digits dividend = left.digits;
    dividend.appendZeros(zeros);
    const Digits::Quotient division = dividend.dividedBy(right.digits);
    result.digits = division.quotient;
    result.exponent = ideal - zeros;
    result.sticky = !division.remainder.isZero();
    if (!result.sticky) {
        const int surplus = std::min(result.digits.trailingZeros(), zeros);
        result.digits.drop(surplus);
        result.exponent += surplus;
    }
    return result;
}

Decimal divide(const Decimal& left, const Decimal& right, decContext& context) {
    if (left.kind == Decimal::infinite && right.kind == Decimal::infinite)
        return failed(context, DEC_Invalid_operation);
    if (left.isZero() && right.isZero()) return failed(context, DEC_Division_undefined);
    Decimal result;
    if (left.kind == Decimal::infinite) {
        result.kind = Decimal::infinite;
    } else if (right.kind == Decimal::infinite) {
        result.exponent = context.emin - (context.digits - 1);
        context.status |= DEC_Clamped;
    } else if (right.isZero()) {
        context.status |= DEC_Division_by_zero;
        result.kind = Decimal::infinite;
    } else if (left.isZero()) {
        result.exponent = left.exponent - right.exponent;
    } else {
        result = divideFinite(left, right);
    }
    result.negative = left.negative != right.negative;
    return result;
}

/** An integer division with its remainder, or the NaN and condition that take its place. */
struct Division {
    bool possible = false;
    Decimal quotient;
    Decimal remainder;
};

/** What a division without a whole quotient gives: 0 and the dividend, or a failure. */
Division divideSpecial(const Decimal& left, const Decimal& right, decContext& context, bool wantsQuotient) {
    Division division{true, {}, left};
    if (left.kind == Decimal::infinite && wantsQuotient && right.kind != Decimal::infinite) {
        division.quotient.kind = Decimal::infinite;
    } else if (left.kind == Decimal::infinite || (right.isZero() && !left.isZero() && !wantsQuotient)) {
        division = {false, failed(context, DEC_Invalid_operation), Decimal::nan()};
    } else if (right.isZero() && left.isZero()) {
        division = {false, failed(context, DEC_Division_undefined), Decimal::nan()};
    } else if (right.isZero()) {
        context.status |= DEC_Division_by_zero;
        division.quotient.kind = Decimal::infinite;
    }
    return division;
}

Division divideWhole(const Decimal& left, const Decimal& right, decContext& context, bool wantsQuotient) {
    Division division;
    const bool special = left.kind == Decimal::infinite || right.kind == Decimal::infinite || right.isZero();
    if (special) {
        division = divideSpecial(left, right, context, wantsQuotient);
    } else if (left.isZero() || left.adjusted() < right.adjusted() - 1) {
        Decimal nothing;  // gives the remainder the exponent that it has in all other cases
        nothing.negative = left.negative;
        nothing.exponent = right.exponent;
        division = {true, {}, add(left, nothing, context)};
    } else if (left.adjusted() > right.adjusted() + context.digits) {
        division = {false, failed(context, DEC_Division_impossible), Decimal::nan()};
    } else {
        Digits dividend = left.digits, divisor = right.digits;
        const std::int64_t exponent = std::min(left.exponent, right.exponent);
        dividend.appendZeros(static_cast<int>(left.exponent - exponent));
        divisor.appendZeros(static_cast<int>(right.exponent - exponent));
        const Digits::Quotient whole = dividend.dividedBy(divisor);
        division.possible = whole.quotient.count() <= context.digits;
        division.quotient.digits = whole.quotient;
        division.remainder.digits = whole.remainder;
        division.remainder.exponent = exponent;
        division.remainder.negative = left.negative;
        if (!division.possible) division = {false, failed(context, DEC_Division_impossible), Decimal::nan()};
    }
    if (division.possible) division.quotient.negative = left.negative != right.negative;
    return division;
}

Decimal divideInteger(const Decimal& left, const Decimal& right, decContext& context) {
    return divideWhole(left, right, context, true).quotient;
}

Decimal remainder(const Decimal& left, const Decimal& right, decContext& context) {
    return divideWhole(left, right, context, false).remainder;
}

Decimal remainderNear(const Decimal& left, const Decimal& right, decContext& context) {
    const Division division = divideWhole(left, right, context, false);
    if (!division.possible || right.kind == Decimal::infinite) return division.remainder;
    Decimal magnitude = division.remainder;
    magnitude.negative = false;
    Decimal size = right;
    size.negative = false;
    // The order of the remainder and of what is left up to the next multiple, which is exact.
    const std::strong_ordering half = compareValues(magnitude, subtract(size, magnitude, context));
    if (half < 0 || (half == 0 && !division.quotient.digits.isOdd())) return division.remainder;
    size.negative = !division.remainder.negative;
    return add(division.remainder, size, context);
}

Decimal compare(const Decimal& left, const Decimal& right, decContext&) {
    const std::strong_ordering order = compareValues(left, right);
    return Decimal::integer(order < 0 ? -1 : order > 0 ? 1 : 0);
}

/** The larger of two numbers; of equal ones that with the larger sign, then the larger exponent. */
const Decimal& larger(const Decimal& left, const Decimal& right) {
    const std::strong_ordering order = compareValues(left, right);
    if (order != 0) return order > 0 ? left : right;
    if (left.negative != right.negative) return left.negative ? right : left;
    const bool leftLarger = left.exponent > right.exponent;
    return leftLarger != left.negative ? left : right;
}

/** A quiet NaN loses against a number. */
decNumber* select(bool wantsLarger, decNumber* result, const decNumber* leftOperand,
                  const decNumber* rightOperand, decContext* context) {
    const Decimal left = Decimal::load(*leftOperand);
    const Decimal right = Decimal::load(*rightOperand);
    Decimal answer = Decimal::nan();
    const bool served = isServed(*context);
    if (served && left.kind == Decimal::quietNan && right.kind <= Decimal::infinite)
        answer = right;
    else if (served && right.kind == Decimal::quietNan && left.kind <= Decimal::infinite)
        answer = left;
    else if (served && (left.isNan() || right.isNan()))
        answer = propagated(left, right, *context);
    else if (served)
        answer = (&larger(left, right) == &left) == wantsLarger ? left : right;
    return deliver(answer, result, context);
}

/** Writes a value with another exponent; the context's precision and range must allow it. */
Decimal withExponent(const Decimal& value, std::int64_t exponent, decContext& context) {
    const std::int64_t lowest = context.emin - (context.digits - 1);
    if (exponent < lowest || exponent > context.emax) return failed(context, DEC_Invalid_operation);
    Decimal result = value;
    std::uint32_t status = 0;
    if (result.isZero())
        result.exponent = exponent;
    else if (exponent > result.exponent)
        status = result.round(exponent - result.exponent, context.round);
    const std::int64_t zeros = result.exponent - exponent;
    if (result.digits.count() + zeros > context.digits) return failed(context, DEC_Invalid_operation);
    result.digits.appendZeros(static_cast<int>(zeros));
    result.exponent = exponent;
    if (!result.isZero() && result.adjusted() > context.emax) return failed(context, DEC_Invalid_operation);
    context.status |= status;
    return result;
}

Decimal quantize(const Decimal& left, const Decimal& right, decContext& context) {
    if (left.kind == Decimal::infinite && right.kind == Decimal::infinite) return left;
    if (left.kind != right.kind) return failed(context, DEC_Invalid_operation);
    return withExponent(left, right.exponent, context);
}

Decimal rescale(const Decimal& left, const Decimal& right, decContext& context) {
    if (left.kind == Decimal::infinite && right.kind == Decimal::infinite) return left;
    if (left.kind != right.kind || !right.isIntegral() || right.adjusted() > 9)
        return failed(context, DEC_Invalid_operation);
    std::int64_t exponent = 0;
    for (std::int64_t at = 0; !right.isZero() && at <= right.adjusted(); ++at)
        exponent = exponent * 10 + right.digits[static_cast<int>(at)];
    return withExponent(left, right.negative ? -exponent : exponent, context);
}

Decimal plus(const Decimal& value, decContext& context) {
    Decimal result = value;
    if (result.isZero() && context.round != DEC_ROUND_FLOOR) result.negative = false;
    return result;
}

Decimal minus(const Decimal& value, decContext& context) {
    return plus(negated(value), context);
}

Decimal absolute(const Decimal& value, decContext&) {
    Decimal result = value;
    result.negative = false;
    return result;
}

void takeZeros(Decimal& value, std::int64_t most) {
    const auto zeros = static_cast<int>(std::min<std::int64_t>(value.digits.trailingZeros(), most));
    value.digits.drop(zeros);
    value.exponent += zeros;
}

/** Takes zeros as far as a context that clamps exponents leaves room; so rounding comes first. */
Decimal normalize(const Decimal& value, decContext& context) {
    Decimal result = plus(value, context);
    result.negative = value.negative;
    result.finish(context);
    if (result.kind != Decimal::finite) return result;
    if (result.isZero()) {
        result.exponent = 0;
        return result;
    }
    const std::int64_t highest = context.clamp != 0 ? context.emax - (context.digits - 1) : context.emax;
    takeZeros(result, highest - result.exponent);
    return result;
}

Decimal toIntegralValue(const Decimal& value, decContext& context) {
    Decimal result = value;
    if (value.kind != Decimal::finite || value.exponent >= 0) return result;
    if (value.isZero())
        result.exponent = 0;
    else
        result.round(-value.exponent, context.round);
    return result;
}

/** Digit by digit from pairs of digits: the next root digit is how often an odd number goes in. */
Digits rootOf(const Digits& square, Digits& rest) {
    Digits root;
    for (int at = square.count() % 2 == 0 ? 0 : -1; at < square.count(); at += 2) {
        rest.append(square[at]);
        rest.append(square[at + 1]);
        Digits odd = root;
        odd += root;
        odd.append(1);
        int digit = 0;
        for (; rest >= odd; ++digit) {
            rest -= odd;
            odd += Digits(2);
        }
        root.append(digit);
    }
    return root;
}

Decimal squareRoot(const Decimal& value, decContext& context) {
    if (value.negative && !value.isZero()) return failed(context, DEC_Invalid_operation);
    if (value.kind == Decimal::infinite) return value;
    Decimal result = value;
    const std::int64_t ideal = (value.exponent - (value.exponent & 1)) / 2;
    result.exponent = ideal;
    if (value.isZero()) return result;
    // An even exponent, and so many pairs of zeros that the root has two digits more than any precision.
    Digits square = value.digits;
    square.appendZeros(static_cast<int>(value.exponent & 1));
    const int pairs = std::max(mostPrecision + 2 - square.count() / 2, 0);
    square.appendZeros(2 * pairs);
    Digits rest;
    result.digits = rootOf(square, rest);
    result.exponent -= pairs;
    result.sticky = !rest.isZero();
    if (!result.sticky) takeZeros(result, pairs);
    decContext halfEven = context;
    halfEven.round = DEC_ROUND_HALF_EVEN;
    result.finish(halfEven);
    context.status |= halfEven.status;
    return result;
}

/** The next number towards an infinity, without a condition. */
Decimal next(const Decimal& value, bool up, const decContext& context) {
    decContext own = context;
    own.round = up ? DEC_ROUND_CEILING : DEC_ROUND_FLOOR;
    Decimal step;
    step.negative = !up;
    step.digits = Digits(1);
    // Below the smallest number, and below the operand, which may be smaller than that.
    step.exponent = std::min(std::int64_t{context.emin} - context.digits, value.exponent - 1);
    Decimal result = value;
    if (value.kind == Decimal::infinite) {
        if (value.negative == !up) return value;
        own.round = DEC_ROUND_DOWN;  // the largest number is what an overflow then leaves
        result.kind = Decimal::finite;
        result.digits = Digits(1);
        result.exponent = std::int64_t{context.emax} + 1;
    } else {
        result = add(value, step, own);
    }
    result.finish(own);
    return result;
}

Decimal nextMinus(const Decimal& value, decContext& context) {
    return next(value, false, context);
}

Decimal nextPlus(const Decimal& value, decContext& context) {
    return next(value, true, context);
}

decNumber* notComputed(decNumber* result, decContext* context) {
    failed(*context, DEC_Invalid_operation).store(*result);
    return result;
}

}  // namespace

decNumber* decNumberCopy(decNumber* result, const decNumber* value) {
    return &(*result = *value);
}

decNumber* decNumberZero(decNumber* value) {
    Decimal().store(*value);
    return value;
}

decNumber* decNumberTrim(decNumber* value) {
    Decimal number = Decimal::load(*value);
    if (number.isZero())
        number.exponent = 0;
    else if (number.kind == Decimal::finite && number.exponent < 0)
        takeZeros(number, -number.exponent);
    number.store(*value);
    return value;
}

decNumber* decNumberSameQuantum(decNumber* result, const decNumber* left, const decNumber* right) {
    const Decimal one = Decimal::load(*left), other = Decimal::load(*right);
    const bool same = one.isNan() || other.isNan()  ? one.isNan() && other.isNan()
                      : one.kind != other.kind      ? false
                      : one.kind == Decimal::finite ? one.exponent == other.exponent
                                                    : true;
    Decimal::integer(same ? 1 : 0).store(*result);
    return result;
}

decNumber* decNumberAbs(decNumber* result, const decNumber* value, decContext* context) {
    return run(absolute, result, value, context);
}

decNumber* decNumberMinus(decNumber* result, const decNumber* value, decContext* context) {
    return run(minus, result, value, context);
}

decNumber* decNumberPlus(decNumber* result, const decNumber* value, decContext* context) {
    return run(plus, result, value, context);
}

decNumber* decNumberNormalize(decNumber* result, const decNumber* value, decContext* context) {
    return run(normalize, result, value, context);
}

decNumber* decNumberToIntegralValue(decNumber* result, const decNumber* value, decContext* context) {
    // The result has as many digits as it needs, and an integer stays what it is.
    decContext wide = *context;
    wide.digits = mostPrecision;
    wide.emax = largestExponent;
    wide.clamp = 0;
    runQuietly(toIntegralValue, result, value, &wide);
    context->status |= wide.status;
    return result;
}

decNumber* decNumberSquareRoot(decNumber* result, const decNumber* value, decContext* context) {
    return run(squareRoot, result, value, context);
}

decNumber* decNumberNextMinus(decNumber* result, const decNumber* value, decContext* context) {
    return runQuietly(nextMinus, result, value, context);
}

decNumber* decNumberNextPlus(decNumber* result, const decNumber* value, decContext* context) {
    return runQuietly(nextPlus, result, value, context);
}

decNumber* decNumberAdd(decNumber* result, const decNumber* left, const decNumber* right,
                        decContext* context) {
    return run(add, result, left, right, context);
}

decNumber* decNumberSubtract(decNumber* result, const decNumber* left, const decNumber* right,
                             decContext* context) {
    return run(subtract, result, left, right, context);
}

decNumber* decNumberMultiply(decNumber* result, const decNumber* left, const decNumber* right,
                             decContext* context) {
    return run(multiply, result, left, right, context);
}

decNumber* decNumberDivide(decNumber* result, const decNumber* left, const decNumber* right,
                           decContext* context) {
    return run(divide, result, left, right, context);
}

decNumber* decNumberDivideInteger(decNumber* result, const decNumber* left, const decNumber* right,
                                  decContext* context) {
    return run(divideInteger, result, left, right, context);
}

decNumber* decNumberRemainder(decNumber* result, const decNumber* left, const decNumber* right,
                              decContext* context) {
    return run(remainder, result, left, right, context);
}

decNumber* decNumberRemainderNear(decNumber* result, const decNumber* left, const decNumber* right,
                                  decContext* context) {
    return run(remainderNear, result, left, right, context);
}

decNumber* decNumberCompare(decNumber* result, const decNumber* left, const decNumber* right,
                            decContext* context) {
    return run(compare, result, left, right, context);
}

decNumber* decNumberMax(decNumber* result, const decNumber* left, const decNumber* right,
                        decContext* context) {
    return select(true, result, left, right, context);
}

decNumber* decNumberMin(decNumber* result, const decNumber* left, const decNumber* right,
                        decContext* context) {
    return select(false, result, left, right, context);
}

decNumber* decNumberQuantize(decNumber* result, const decNumber* left, const decNumber* right,
                             decContext* context) {
    return run(quantize, result, left, right, context);
}

decNumber* decNumberRescale(decNumber* result, const decNumber* left, const decNumber* right,
                            decContext* context) {
    return run(rescale, result, left, right, context);
}

decNumber* decNumberExp(decNumber* result, const decNumber*, decContext* context) {
    return notComputed(result, context);
}

decNumber* decNumberLn(decNumber* result, const decNumber*, decContext* context) {
    return notComputed(result, context);
}

decNumber* decNumberLog10(decNumber* result, const decNumber*, decContext* context) {
    return notComputed(result, context);
}

decNumber* decNumberPower(decNumber* result, const decNumber*, const decNumber*, decContext* context) {
    return notComputed(result, context);
}
