/**
 * @file
 * Decimal floating point: IEEE 754-2008 decimal64 and decimal128 to and from text, integers, doubles and each
 * other. The arithmetic is a library's of its own, loaded by name at first use, so that a program which
 * touches no decimal value doesn't need it.
 *
 * `InitDecFloatLib` comes before all else. The conversions work on their arguments alone and may run on any
 * thread at once. They round half up, and what isn't exact says so in the result; the target is written all
 * the same, with what the standard tells for that case (a NaN, an infinity, the rounded number).
 */
#pragma once

#include <kelzor/types.h>

/** Result of an operation. */
enum DECF_RETURN {
    DECF_NOT_SUPPORTED = -2,
    DECF_WRONG_VERSION = -1,
    DECF_OK = 0,
    DECF_INEXACT = 1,
    DECF_UNDERFLOW = 2,
    DECF_OVERFLOW = 3,
    DECF_CONV_SYNTAX = 4,
    DECF_DIV_ZERO = 5,
    DECF_INVALID_OP = 6,
    DECF_NO_MEMORY = 7,
};

/** What a result means, for a human; empty for DECF_OK. */
const KEL_CHAR* DecfReturnText(DECF_RETURN rc) noexcept;

/** Longest texts: a sign, "0.", five zeros and all digits; with the terminator. */
using DecFloat16Buff = KEL_UC[25];
using DecFloat34Buff = KEL_UC[43];

/** Where the loading reports; either may be null. The texts end with a newline. */
struct DecfTrace {
    void (*error)(const KEL_CHAR* text) noexcept = nullptr;
    void (*detail)(const KEL_CHAR* text) noexcept = nullptr;  ///< Steps that went well.
};

/**
 * Loads the library, unless that was done. Tried again by the next call if it wasn't found or lacks an entry.
 * After a wrong version the library counts as loaded. The caller sees to it that one thread at a time is
 * here.
 */
DECF_RETURN InitDecFloatLib(const DecfTrace& trace) noexcept;

/** @name Text in scientific notation: plain from 1E-6 on up to all digits, else with an exponent. */
/** @{ */
DECF_RETURN DecFloat16ToString(DecFloat16 value, DecFloat16Buff* text) noexcept;
DECF_RETURN DecFloat34ToString(DecFloat34 value, DecFloat34Buff* text) noexcept;
/** The text has a terminator and nothing around the number. */
DECF_RETURN StringToDecFloat16(const KEL_UC* numstr, DecFloat16* value) noexcept;
DECF_RETURN StringToDecFloat34(const KEL_UC* numstr, DecFloat34* value) noexcept;
/** @} */

/** @name Each other */
/** @{ */
DECF_RETURN DecFloat16ToDecFloat34(DecFloat34* result, DecFloat16 value) noexcept;
DECF_RETURN DecFloat34ToDecFloat16(DecFloat16* result, DecFloat34 value) noexcept;
/** @} */

/**
 * @name Integers
 * A fraction is DECF_INEXACT. Beyond the range: DECF_INVALID_OP for 32 bits; for 64 bits DECF_OVERFLOW and
 * the end of the range. What is no number is DECF_INVALID_OP and 0. A 64-bit integer may have more digits
 * than a DecFloat16: DECF_INEXACT.
 */
/** @{ */
DECF_RETURN DecFloat16ToKEL_INT(KEL_INT* i, DecFloat16 value) noexcept;
DECF_RETURN DecFloat34ToKEL_INT(KEL_INT* i, DecFloat34 value) noexcept;
DECF_RETURN KEL_INTToDecFloat16(DecFloat16* result, KEL_INT i) noexcept;
DECF_RETURN KEL_INTToDecFloat34(DecFloat34* result, KEL_INT i) noexcept;
DECF_RETURN DecFloat16ToKEL_LLONG(KEL_LLONG* i, DecFloat16 value) noexcept;
DECF_RETURN DecFloat34ToKEL_LLONG(KEL_LLONG* i, DecFloat34 value) noexcept;
DECF_RETURN KEL_LLONGToDecFloat16(DecFloat16* result, KEL_LLONG i) noexcept;
DECF_RETURN KEL_LLONGToDecFloat34(DecFloat34* result, KEL_LLONG i) noexcept;
/** @} */

/**
 * @name Doubles
 * The nearest double of a decimal. A double becomes its first 17 digits without zeros at the end, and since
 * that is hardly ever its whole value, the result is DECF_INEXACT at best.
 */
/** @{ */
DECF_RETURN DecFloat16ToKEL_DOUBLE(KEL_DOUBLE* d, DecFloat16 value) noexcept;
DECF_RETURN DecFloat34ToKEL_DOUBLE(KEL_DOUBLE* d, DecFloat34 value) noexcept;
DECF_RETURN KEL_DOUBLEToDecFloat16(DecFloat16* result, KEL_DOUBLE d) noexcept;
DECF_RETURN KEL_DOUBLEToDecFloat34(DecFloat34* result, KEL_DOUBLE d) noexcept;
/** @} */
