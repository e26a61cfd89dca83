/**
 * @file
 * Entries of the stand-in for the decimal arithmetic library `libicudecnumber.so`, in the binary interface
 * by which the decimal layer loads it: decimal numbers of IEEE 754-2008, with the rounding modes, the
 * conditions and the default results of that standard.
 *
 * Numbers and contexts are the caller's; a result may be one of its own operands. Conditions add up in
 * `decContext::status` until the caller clears them and never raise a signal, whatever `traps` holds. The
 * functions allocate nothing, keep no state, and may run on any thread at once.
 *
 * A number holds at most 36 digits, and a context may ask for at most 34 (the precision of decimal128): a
 * larger one gives the invalid context condition and a NaN.
 */
#ifndef KELZOR_DECNUMBER_H
#define KELZOR_DECNUMBER_H

#include <stdint.h>

#define DECNUMBER_API __attribute__((visibility("default")))

/* Digits of a unit, and the units of a number. */
#define DECDPUN 3
#define DECNUMUNITS 12

/* `decNumber::bits`. */
#define DECNEG 0x80
#define DECINF 0x40
#define DECNAN 0x20
#define DECSNAN 0x10

/* Conditions in `decContext::status`. */
#define DEC_Conversion_syntax 0x0001u
#define DEC_Division_by_zero 0x0002u
#define DEC_Division_impossible 0x0004u
#define DEC_Division_undefined 0x0008u
#define DEC_Insufficient_storage 0x0010u
#define DEC_Inexact 0x0020u
#define DEC_Invalid_context 0x0040u
#define DEC_Invalid_operation 0x0080u
#define DEC_Overflow 0x0200u
#define DEC_Clamped 0x0400u
#define DEC_Rounded 0x0800u
#define DEC_Subnormal 0x1000u
#define DEC_Underflow 0x2000u

/* Kinds for `decContextDefault`. */
#define DEC_INIT_BASE 0
#define DEC_INIT_DECIMAL32 32
#define DEC_INIT_DECIMAL64 64
#define DEC_INIT_DECIMAL128 128

#ifdef __cplusplus
extern "C" {
#endif

enum rounding {
    DEC_ROUND_CEILING,   /* towards +infinity */
    DEC_ROUND_UP,        /* away from 0 */
    DEC_ROUND_HALF_UP,   /* to nearest, ties away from 0 */
    DEC_ROUND_HALF_EVEN, /* to nearest, ties to even */
    DEC_ROUND_HALF_DOWN, /* to nearest, ties towards 0 */
    DEC_ROUND_DOWN,      /* towards 0 */
    DEC_ROUND_FLOOR,     /* towards -infinity */
    DEC_ROUND_05UP,      /* away from 0 if the last digit kept would be 0 or 5 */
    DEC_ROUND_MAX
};

typedef struct {
    int32_t digits; /* precision, 1 to 34 */
    int32_t emax;   /* largest adjusted exponent */
    int32_t emin;   /* smallest adjusted exponent of a normal number */
    enum rounding round;
    uint32_t traps;  /* kept, but nothing is trapped */
    uint32_t status; /* conditions since the caller cleared it */
    uint8_t clamp;   /* 1: exponents are at most emax - digits + 1, as the interchange formats need */
} decContext;

/* A number: (-1)^sign * units * 10^exponent. */
typedef struct {
    int32_t digits;            /* of the coefficient, at least 1; of the payload in a NaN */
    int32_t exponent;          /* of the last digit */
    uint8_t bits;              /* sign and specials */
    uint16_t lsu[DECNUMUNITS]; /* the coefficient, least significant unit first, three digits a unit */
} decNumber;

/* Interchange formats in densely packed decimal coding, in the byte order of the host. */
typedef struct {
    uint8_t bytes[8];
} decimal64;
typedef struct {
    uint8_t bytes[16];
} decimal128;

/* Most characters of a text with its terminator. */
#define DECIMAL64_String 25
#define DECIMAL128_String 43

/** A text that holds the version: major, '.', minor. */
DECNUMBER_API const char* decNumberVersion(void);

/* Contexts. */
DECNUMBER_API decContext* decContextDefault(decContext* context, int32_t kind);
DECNUMBER_API decContext* decContextSetStatus(decContext* context, uint32_t status);
/** Name of the one condition in the status; "No status", "Multiple status". */
DECNUMBER_API const char* decContextStatusToString(const decContext* context);

/*
 * Interchange formats. Of the context only the rounding mode and the status count; precision and
 * exponents are the format's. A text that is no number gives a NaN and the conversion syntax condition.
 */
DECNUMBER_API decimal64* decimal64FromString(decimal64* result, const char* text, decContext* context);
DECNUMBER_API char* decimal64ToString(const decimal64* value, char* text);
DECNUMBER_API decimal64* decimal64FromNumber(decimal64* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decimal64ToNumber(const decimal64* value, decNumber* result);
DECNUMBER_API decimal128* decimal128FromString(decimal128* result, const char* text, decContext* context);
DECNUMBER_API char* decimal128ToString(const decimal128* value, char* text);
DECNUMBER_API decimal128* decimal128FromNumber(decimal128* result, const decNumber* value,
                                               decContext* context);
DECNUMBER_API decNumber* decimal128ToNumber(const decimal128* value, decNumber* result);

/*
 * Packed decimal: two digits a byte, the sign in the last half-byte, `scale` digits behind the point. NULL
 * for what has no packed form, doesn't fit, or is no packed number.
 */
DECNUMBER_API uint8_t* decPackedFromNumber(uint8_t* packed, int32_t length, int32_t* scale,
                                           const decNumber* value);
DECNUMBER_API decNumber* decPackedToNumber(const uint8_t* packed, int32_t length, const int32_t* scale,
                                           decNumber* result);

/* Text; `text` has room for the digits and 14 characters more. */
DECNUMBER_API decNumber* decNumberFromString(decNumber* result, const char* text, decContext* context);
DECNUMBER_API char* decNumberToString(const decNumber* value, char* text);

/*
 * Binary numbers. An integer of a number: 0 and invalid operation for specials and beyond the range; the
 * number towards 0 and inexact if it has a fraction. A double: the nearest, ties to even; overflow and an
 * infinity beyond the range, underflow if only 0 is left; being the nearest alone is no condition.
 */
DECNUMBER_API int32_t decInteger32FromNumber2(const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decInteger32ToNumber(int32_t integer, decNumber* result);
DECNUMBER_API double decDoubleFromNumber3(const decNumber* value, decContext* context);

/* Without a context: nothing is rounded. Trim takes the zeros at the end of a fraction. */
DECNUMBER_API decNumber* decNumberCopy(decNumber* result, const decNumber* value);
DECNUMBER_API decNumber* decNumberTrim(decNumber* value);
DECNUMBER_API decNumber* decNumberZero(decNumber* value);

/* Arithmetic. */
DECNUMBER_API decNumber* decNumberAbs(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberMinus(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberPlus(decNumber* result, const decNumber* value, decContext* context);
/** Takes all zeros at the end. */
DECNUMBER_API decNumber* decNumberNormalize(decNumber* result, const decNumber* value, decContext* context);
/** To an integer, in the context's rounding mode, without a condition. */
DECNUMBER_API decNumber* decNumberToIntegralValue(decNumber* result, const decNumber* value,
                                                  decContext* context);
/** Rounds half even, whatever the context's mode. */
DECNUMBER_API decNumber* decNumberSquareRoot(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberNextMinus(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberNextPlus(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberAdd(decNumber* result, const decNumber* left, const decNumber* right,
                                      decContext* context);
DECNUMBER_API decNumber* decNumberSubtract(decNumber* result, const decNumber* left, const decNumber* right,
                                           decContext* context);
DECNUMBER_API decNumber* decNumberMultiply(decNumber* result, const decNumber* left, const decNumber* right,
                                           decContext* context);
DECNUMBER_API decNumber* decNumberDivide(decNumber* result, const decNumber* left, const decNumber* right,
                                         decContext* context);
DECNUMBER_API decNumber* decNumberDivideInteger(decNumber* result, const decNumber* left,
                                                const decNumber* right, decContext* context);
DECNUMBER_API decNumber* decNumberRemainder(decNumber* result, const decNumber* left, const decNumber* right,
                                            decContext* context);
/** The remainder of the division by the nearest integer quotient, ties to even. */
DECNUMBER_API decNumber* decNumberRemainderNear(decNumber* result, const decNumber* left,
                                                const decNumber* right, decContext* context);
/** -1, 0 or 1; a NaN if there is one among the operands. */
DECNUMBER_API decNumber* decNumberCompare(decNumber* result, const decNumber* left, const decNumber* right,
                                          decContext* context);
DECNUMBER_API decNumber* decNumberMax(decNumber* result, const decNumber* left, const decNumber* right,
                                      decContext* context);
DECNUMBER_API decNumber* decNumberMin(decNumber* result, const decNumber* left, const decNumber* right,
                                      decContext* context);
/** `left` with the exponent of `right`. */
DECNUMBER_API decNumber* decNumberQuantize(decNumber* result, const decNumber* left, const decNumber* right,
                                           decContext* context);
/** `left` with the exponent that is the value of `right`. */
DECNUMBER_API decNumber* decNumberRescale(decNumber* result, const decNumber* left, const decNumber* right,
                                          decContext* context);
/** 1 if both have the same exponent, are both infinite or both no number; else 0. */
DECNUMBER_API decNumber* decNumberSameQuantum(decNumber* result, const decNumber* left,
                                              const decNumber* right);

/* Not computed here: a NaN and invalid operation, for any operand. */
DECNUMBER_API decNumber* decNumberExp(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberLn(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberLog10(decNumber* result, const decNumber* value, decContext* context);
DECNUMBER_API decNumber* decNumberPower(decNumber* result, const decNumber* left, const decNumber* right,
                                        decContext* context);

#ifdef __cplusplus
}
#endif

#endif
