// The decimal interchange formats of IEEE 754-2008, 3.5, with the coefficient in densely packed decimal:
// a sign, five bits of combination, the rest of the exponent, and declets of ten bits for three digits each.

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstring>
#include <span>

#include "decimal.h"

namespace {

/** Parameters of a format, IEEE 754-2008, table 3.6. */
struct Format {
    int exponentBits;  // of the continuation, behind the combination
    int declets;
    int bias;
    int emax;

    constexpr int digits() const { return 3 * declets + 1; }
};

template <class Block>
inline constexpr Format formatOf{};
template <>
inline constexpr Format formatOf<decimal64>{8, 5, 398, 384};
template <>
inline constexpr Format formatOf<decimal128>{12, 11, 6176, 6144};

// Combinations of the special values; in all others the exponent starts with 0 to 2.
constexpr unsigned combinationInfinite = 0b11110;
constexpr unsigned combinationNan = 0b11111;

/** A declet of a number up to 999: IEEE 754-2008, table 3.4. Large digits, 8 and 9, have one bit left. */
constexpr unsigned encodeDeclet(unsigned number) {
    const unsigned d1 = number / 100, d2 = number / 10 % 10, d3 = number % 10;
    const unsigned low1 = d1 & 1, low2 = d2 & 1, low3 = d3 & 1;
    const unsigned high2 = d2 & 6, high3 = d3 & 6;  // two bits in the middle of a small digit
    switch ((d1 & 8) >> 1 | (d2 & 8) >> 2 | (d3 & 8) >> 3) {
        case 0b000:
            return d1 << 7 | d2 << 4 | d3;
        case 0b001:
            return d1 << 7 | d2 << 4 | 0b1000 | low3;
        case 0b010:
            return d1 << 7 | (high3 | low2) << 4 | 0b1010 | low3;
        case 0b100:
            return (high3 | low1) << 7 | d2 << 4 | 0b1100 | low3;
        case 0b110:
            return (high3 | low1) << 7 | low2 << 4 | 0b1110 | low3;
        case 0b101:
            return (high2 | low1) << 7 | (0b010 | low2) << 4 | 0b1110 | low3;
        case 0b011:
            return d1 << 7 | (0b100 | low2) << 4 | 0b1110 | low3;
        default:
            return low1 << 7 | (0b110 | low2) << 4 | 0b1110 | low3;
    }
}

/** The number of a declet, canonical or not: IEEE 754-2008, table 3.3. */
constexpr unsigned decodeDeclet(unsigned declet) {
    const unsigned pqr = declet >> 7, stu = declet >> 4 & 7, wxy = declet & 7;
    const unsigned r = pqr & 1, u = stu & 1, y = wxy & 1;
    const unsigned pq = pqr & 6, st = stu & 6;
    const auto number = [](unsigned d1, unsigned d2, unsigned d3) { return 100 * d1 + 10 * d2 + d3; };
    if ((declet & 0b1000) == 0) return number(pqr, stu, wxy);
    switch (wxy >> 1) {
        case 0b00:
            return number(pqr, stu, 8 | y);
        case 0b01:
            return number(pqr, 8 | u, st | y);
        case 0b10:
            return number(8 | r, stu, pq | y);
        default:
            break;
    }
    switch (stu >> 1) {
        case 0b00:
            return number(8 | r, 8 | u, pq | y);
        case 0b01:
            return number(8 | r, pq | u, 8 | y);
        case 0b10:
            return number(pqr, 8 | u, 8 | y);
        default:
            return number(8 | r, 8 | u, 8 | y);
    }
}

/** Bits from the most significant one on; the block ends with the byte that the host has first or last. */
template <class Block>
class Bits {
  public:
    Bits() = default;
    explicit Bits(const Block& block) : block(block) { toHostOrder(); }

    void put(unsigned value, int count) {
        for (int bit = count; bit-- > 0; ++position)
            block.bytes[position / 8] |= static_cast<std::uint8_t>((value >> bit & 1) << (7 - position % 8));
    }
    unsigned take(int count) {
        unsigned value = 0;
        for (int bit = count; bit-- > 0; ++position)
            value = value << 1 | (block.bytes[position / 8] >> (7 - position % 8) & 1u);
        return value;
    }
    Block inHostOrder() {
        toHostOrder();
        return block;
    }

  private:
    void toHostOrder() {
        if constexpr (std::endian::native == std::endian::little)
            std::reverse(std::begin(block.bytes), std::end(block.bytes));
    }

    Block block{};
    int position = 0;
};

/** Three digits of a coefficient of a format's width, as a number; the declets count from the first. */
unsigned threeDigits(const Digits& digits, const Format& format, int declet) {
    const int first = digits.count() - 3 * (format.declets - declet);
    return static_cast<unsigned>(100 * digits[first] + 10 * digits[first + 1] + digits[first + 2]);
}

template <class Block>
void encode(const Decimal& value, Block& block) {
    constexpr Format format = formatOf<Block>;
    Bits<Block> bits;
    bits.put(value.negative ? 1 : 0, 1);
    unsigned exponent = 0;
    if (value.kind == Decimal::infinite) {
        bits.put(combinationInfinite, 5);
    } else if (value.isNan()) {
        bits.put(combinationNan, 5);
        exponent = value.kind == Decimal::signalingNan ? 1u << (format.exponentBits - 1) : 0;
    } else {
        exponent = static_cast<unsigned>(value.exponent + format.bias);
        const unsigned top = exponent >> format.exponentBits;
        const auto digit = static_cast<unsigned>(value.digits[value.digits.count() - format.digits()]);
        bits.put(digit < 8 ? top << 3 | digit : 0b11000 | top << 1 | (digit & 1), 5);
    }
    bits.put(exponent, format.exponentBits);
    for (int declet = 0; declet < format.declets; ++declet)
        bits.put(
            value.kind == Decimal::infinite ? 0 : encodeDeclet(threeDigits(value.digits, format, declet)),
            10);
    block = bits.inHostOrder();
}

template <class Block>
Decimal decode(const Block& block) {
    constexpr Format format = formatOf<Block>;
    Bits<Block> bits(block);
    Decimal value;
    value.negative = bits.take(1) != 0;
    const unsigned combination = bits.take(5);
    const unsigned continuation = bits.take(format.exponentBits);
    if (combination == combinationInfinite) {
        value.kind = Decimal::infinite;
        return value;
    }
    if (combination == combinationNan) {
        const bool signaling = continuation >> (format.exponentBits - 1) != 0;
        value.kind = signaling ? Decimal::signalingNan : Decimal::quietNan;
    } else {
        const bool large = combination >> 3 == 0b11;
        const unsigned top = large ? combination >> 1 & 3 : combination >> 3;
        value.digits.append(static_cast<int>(large ? 8 | (combination & 1) : combination & 7));
        value.exponent = static_cast<int>(top << format.exponentBits | continuation) - format.bias;
    }
    for (int declet = 0; declet < format.declets; ++declet) {
        const auto number = static_cast<int>(decodeDeclet(bits.take(10)));
        for (const int weight : {100, 10, 1})
            value.digits.append(number / weight % 10);
    }
    return value;
}

/** Rounds to a format in the context's mode and encodes; the conditions go to the context. */
template <class Block>
Block* roundAndEncode(Decimal& value, Block* block, decContext* context) {
    constexpr Format format = formatOf<Block>;
    decContext own{format.digits(), format.emax, 1 - format.emax, context->round, 0, 0, 1};
    value.finish(own);
    context->status |= own.status;
    encode(value, *block);
    return block;
}

template <class Block>
Block* fromString(Block* block, const char* text, decContext* context) {
    Decimal value;
    if (!parseDecimal(text, value)) {
        context->status |= DEC_Conversion_syntax;
        value = Decimal::nan();
    }
    return roundAndEncode(value, block, context);
}

}  // namespace

decimal64* decimal64FromString(decimal64* result, const char* text, decContext* context) {
    return fromString(result, text, context);
}

decimal128* decimal128FromString(decimal128* result, const char* text, decContext* context) {
    return fromString(result, text, context);
}

char* decimal64ToString(const decimal64* value, char* text) {
    printDecimal(decode(*value), text);
    return text;
}

char* decimal128ToString(const decimal128* value, char* text) {
    printDecimal(decode(*value), text);
    return text;
}

decimal64* decimal64FromNumber(decimal64* result, const decNumber* value, decContext* context) {
    Decimal number = Decimal::load(*value);
    return roundAndEncode(number, result, context);
}

decimal128* decimal128FromNumber(decimal128* result, const decNumber* value, decContext* context) {
    Decimal number = Decimal::load(*value);
    return roundAndEncode(number, result, context);
}

decNumber* decimal64ToNumber(const decimal64* value, decNumber* result) {
    decode(*value).store(*result);
    return result;
}

decNumber* decimal128ToNumber(const decimal128* value, decNumber* result) {
    decode(*value).store(*result);
    return result;
}
