/**
 * @file
 * Conversions between the stored forms of values and text. They allocate nothing unless they fill a
 * container, don't depend on the process's locale, and report by code, with the position in the text or
 * the value where that helps: counted from 0, -1 if there is none.
 */
#pragma once

#include <kelzor/types.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

/** Result of a conversion. */
enum ZOR_CONV_RC {
    ZOR_CONV_OK = 0,
    ZOR_CONV_OVERFLOW = 1,       ///< The value doesn't fit into the target.
    ZOR_CONV_ILLEGAL_INPUT = 2,  ///< A character or half-byte isn't allowed where it stands.
    ZOR_CONV_OUT_OF_MEMORY = 3,
    ZOR_CONV_EMPTY_BUFFER = 4,         ///< There is nothing to convert.
    ZOR_CONV_INSUFFICIENT_BUFFER = 5,  ///< The buffer is too short for the result.
};

/** Most characters that `numberToString` writes. */
inline constexpr unsigned maxNumberText = 20;
/** Most characters that `doubleToString` writes: sign, "0.", 323 zeros, 17 digits. */
inline constexpr unsigned maxDoubleText = 343;

/** Most characters that `RawBcdToString` writes: sign, digits, point, and a zero before it. */
constexpr size_t maxBcdText(size_t rawLength) {
    return 2 * rawLength + 3;
}

/** The text without blanks and NULs at its end. */
std::string_view trimmedEnd(std::string_view text) noexcept;

/**
 * Packs a decimal number: two digits a byte, the last half-byte is the sign, C plus or D minus. Surplus
 * decimals round half up on the magnitude. A character counts as the digit in its low half-byte.
 * Positions count from the first significant digit. After a failure `raw` holds no value.
 */
ZOR_CONV_RC StringToRawBcd(std::string_view text, std::span<KEL_RAW> raw, unsigned decimals,
                           int& error_pos) noexcept;

/** Writes a packed number to `out`, which needs `maxBcdText` characters; `length` gets their number. */
ZOR_CONV_RC RawBcdToString(std::span<const KEL_RAW> raw, unsigned decimals, std::span<KEL_CHAR> out,
                           unsigned& length, int& error_pos) noexcept;

/**
 * Parses an integer for a target of `width` bytes: 1 (unsigned), 2, 4 or 8 (signed). Blanks and NULs at
 * the end don't count. When the number doesn't fit, `value` holds its low-order bits.
 */
ZOR_CONV_RC stringToNumber(std::string_view text, unsigned width, ZOR_INT8& value, int& error_pos) noexcept;

/** Parses as far as the text is a number, after leading white space; clamps to 32 bits. Never fails. */
ZOR_INT leadingInteger(std::string_view text) noexcept;

/** Writes a number to `dest`, which has `maxNumberText` characters; gives their number. */
unsigned numberToString(KEL_CHAR* dest, ZOR_INT8 value) noexcept;

/**
 * Parses a floating point number by the "C" rules; white space may stand before it, anything behind
 * white space that follows. Infinite and not-a-number values overflow. An empty text is 0.0.
 */
ZOR_CONV_RC charsToDouble(std::string_view text, ZOR_FLOAT& value, int& error_pos);

/**
 * Writes a number with up to 17 significant digits and without exponent to `dest`, which has
 * `maxDoubleText` characters; gives their number. "Inf", "-Inf" and "NaN" stand for themselves.
 */
unsigned doubleToString(KEL_CHAR* dest, ZOR_FLOAT value) noexcept;

/** As `doubleToString`, with one digit before the point and an exponent: "-1.5E3", "9.765625E-4". */
unsigned doubleToExponentString(KEL_CHAR* dest, ZOR_FLOAT value) noexcept;

/** Bytes as hexadecimal text in capitals. */
namespace Hex {

/** Writes as many characters as `out` takes, at most two for each byte; gives their number. */
size_t encode(std::span<const KEL_RAW> bytes, std::span<KEL_CHAR> out) noexcept;
void encode(std::span<const KEL_RAW> bytes, std::string& out);
/** Blanks and NULs around the text don't count. On failure `out` is unspecified. */
ZOR_CONV_RC decode(std::string_view text, std::vector<KEL_RAW>& out, int& error_pos);

}  // namespace Hex

/** Bytes as text in the Base64 alphabet (RFC 4648, section 4). */
namespace Base64 {

/** Four characters for three bytes; "=" fills the last group up. */
void encode(std::span<const KEL_RAW> bytes, std::string& out);
/**
 * NULs and "=" at the end don't count. A character outside the alphabet, and one that is alone in the last
 * group, is illegal at its position. On failure `out` is unspecified.
 */
ZOR_CONV_RC decode(std::string_view text, std::vector<KEL_RAW>& out, int& error_pos);

}  // namespace Base64
