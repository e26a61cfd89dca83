#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "convert/zorconverter.h"
#include "error/zorexception.h"

namespace {

constexpr size_t floatBytes = 8;

template <size_t size>
void reverseBytes(void* value) noexcept {
    auto* const bytes = static_cast<KEL_RAW*>(value);
    std::reverse(bytes, bytes + size);
}

/** The number that eight bytes make, the highest first. */
std::uint64_t bigEndian(const KEL_RAW (&bytes)[floatBytes]) noexcept {
    std::uint64_t number = 0;
    for (const KEL_RAW byte : bytes)
        number = number << 8 | byte;
    return number;
}

/**
 * The bits of the double of a hexadecimal number: a sign bit, seven bits of exponent to the base 16 with
 * an excess of 64, and 56 bits of fraction whose first digit isn't 0. The bits that a double has no room
 * for are dropped.
 */
std::uint64_t fromHexadecimal(std::uint64_t bits) {
    constexpr std::uint64_t signBit = 1ull << 63;
    constexpr int fractionBits = 56;
    constexpr std::uint64_t fractionMask = (1ull << fractionBits) - 1;
    constexpr int doubleFractionBits = 52;
    constexpr int doubleBias = 1023;
    const std::uint64_t fraction = bits & fractionMask;
    if (fraction == 0) return bits & signBit;
    if (fraction >> (fractionBits - 4) == 0)
        throw ZorTypeConversionException("CALL_FUNCTION_ILL_FLOAT_FORMAT");
    // The shift that moves the leading one out of the fraction: a double doesn't store it.
    const int shift = std::countl_zero(fraction << (64 - fractionBits)) + 1;
    const int exponent = static_cast<int>(bits >> fractionBits & 0x7F) * 4 - 256 - shift + doubleBias;
    const std::uint64_t moved = (fraction << shift & fractionMask) >> (fractionBits - doubleFractionBits);
    return (bits & signBit) | static_cast<std::uint64_t>(exponent) << doubleFractionBits | moved;
}

}  // namespace

void ZorConverter::convertInt2(void* value) noexcept {
    reverseBytes<2>(value);
}

void ZorConverter::convertInt4(void* value) noexcept {
    reverseBytes<4>(value);
}

void ZorConverter::convertInt8(void* value) noexcept {
    reverseBytes<8>(value);
}

void ZorConverter::convertFloat(double* toConv, int intFormat, int floatFormat) {
    KEL_RAW bytes[floatBytes];
    std::memcpy(bytes, toConv, sizeof bytes);
    if (intFormat == 1) reverseBytes<floatBytes>(bytes);
    const std::uint64_t bits = bigEndian(bytes);
    // Integers and doubles have the same byte order on every machine that the library is built for.
    const std::uint64_t result = floatFormat == 1 ? bits : fromHexadecimal(bits);
    std::memcpy(toConv, &result, sizeof result);
}
