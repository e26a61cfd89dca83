/** @file A decimal number at work: unpacked, of any exponent, and rounded to a context in one place. */
#pragma once

#include "decnumber.h"
#include "digits.h"

/** Digits of decimal128, the largest precision. */
inline constexpr int mostPrecision = 34;

struct Decimal {
    enum Kind { finite, infinite, quietNan, signalingNan };

    Kind kind = finite;
    bool negative = false;
    /** A coefficient of more than `mostPrecision` digits may stand for a slightly larger one. */
    bool sticky = false;
    std::int64_t exponent = 0;  ///< Of the last digit.
    Digits digits;              ///< The coefficient; the payload of a NaN.

    static Decimal nan();
    static Decimal integer(std::int64_t value);
    static Decimal load(const decNumber& number);
    /** Writes the number, which has no more digits and no larger exponent than the form holds. */
    void store(decNumber& number) const;

    bool isNan() const { return kind == quietNan || kind == signalingNan; }
    bool isZero() const { return kind == finite && digits.isZero() && !sticky; }
    /** Exponent of the first digit. */
    std::int64_t adjusted() const { return exponent + digits.count() - 1; }

    /** True if the value is an integer. */
    bool isIntegral() const;

    /**
     * Takes digits off the end and rounds what stays by a mode; `exponent` grows by as many. Gives the
     * conditions. The carry may leave one digit more than there was room for.
     */
    std::uint32_t round(std::int64_t places, rounding mode);

    /** Rounds to a context, with all that follows at the ends of its range; adds the conditions. */
    void finish(decContext& context);
};

/** Order of two values, neither a NaN; 0 and -0 are equal. */
std::strong_ordering compareValues(const Decimal& left, const Decimal& right);

/** False, with the condition set, for a context that isn't served. */
bool isServed(decContext& context);

/** Parses a number of any size; the text ends with a NUL. False if it is none. */
bool parseDecimal(const char* text, Decimal& result);

/** Writes a number in scientific notation with a terminator; gives the place of the terminator. */
char* printDecimal(const Decimal& value, char* text);
