// The stand-in for the decimal library: interchange bytes, text, rounding and arithmetic against values
// worked out by hand from IEEE 754-2008.

#include "platform/decnumber/decnumber.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace {

constexpr std::uint32_t quiet = 0;
constexpr std::uint32_t inexact = DEC_Inexact | DEC_Rounded;
constexpr std::uint32_t subnormalInexact = DEC_Subnormal | DEC_Underflow | inexact;
constexpr std::uint32_t overflow = DEC_Overflow | inexact;

decContext contextOf(std::int32_t kind, rounding round = DEC_ROUND_HALF_UP) {
    decContext context;
    decContextDefault(&context, kind);
    context.round = round;
    return context;
}

template <class Block>
std::string hexOf(const Block& block) {
    std::string text;
    for (std::size_t i = 0; i < sizeof block.bytes; ++i) {
        const std::size_t at = std::endian::native == std::endian::little ? sizeof block.bytes - 1 - i : i;
        constexpr char digits[] = "0123456789ABCDEF";
        text += digits[block.bytes[at] >> 4];
        text += digits[block.bytes[at] & 15];
    }
    return text;
}

/** What became of a text in a format. */
struct Parsed {
    std::string bytes;
    std::string text;
    std::uint32_t status;
};

Parsed parse64(const std::string& text, rounding round = DEC_ROUND_HALF_UP) {
    decContext context = contextOf(DEC_INIT_DECIMAL64, round);
    decimal64 block;
    char back[DECIMAL64_String];
    decimal64FromString(&block, text.c_str(), &context);
    return {hexOf(block), decimal64ToString(&block, back), context.status};
}

Parsed parse128(const std::string& text) {
    decContext context = contextOf(DEC_INIT_DECIMAL128);
    decimal128 block;
    char back[DECIMAL128_String];
    decimal128FromString(&block, text.c_str(), &context);
    return {hexOf(block), decimal128ToString(&block, back), context.status};
}

TEST(Interchange, Decimal64HasTheBytesOfTheStandard) {
    struct Case {
        const char* text;
        const char* bytes;
        const char* back;
        std::uint32_t status = quiet;
    };
    const Case cases[] = {
        {"0", "2238000000000000", "0"},
        {"-0", "A238000000000000", "-0"},
        {"1", "2238000000000001", "1"},
        {"-7.50", "A2300000000003D0", "-7.50"},
        {"9", "2238000000000009", "9"},
        {"8000000000000000", "6A38000000000000", "8000000000000000"},  // a large first digit
        {"9999999999999999E+369", "77FCFF3FCFF3FCFF", "9.999999999999999E+384"},
        {"1E+384", "47FC000000000000", "1.000000000000000E+384", DEC_Clamped},
        {"1E+369", "43FC000000000001", "1E+369"},
        {"1E-383", "003C000000000001", "1E-383"},
        {"1E-398", "0000000000000001", "1E-398", DEC_Subnormal},
        {"0E+500", "43FC000000000000", "0E+369", DEC_Clamped},
        {"-0E-500", "8000000000000000", "-0E-398", DEC_Clamped},
        {"Infinity", "7800000000000000", "Infinity"},
        {"-inf", "F800000000000000", "-Infinity"},
        {"nan", "7C00000000000000", "NaN"},
        {"sNaN12", "7E00000000000012", "sNaN12"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const Parsed parsed = parse64(c.text);
        EXPECT_EQ(parsed.text, c.back);
        EXPECT_EQ(parsed.bytes, c.bytes);
        EXPECT_EQ(parsed.status, c.status);
    }
}

TEST(Interchange, Decimal128HasTheBytesOfTheStandard) {
    struct Case {
        const char* text;
        const char* bytes;
        const char* back;
        std::uint32_t status = quiet;
    };
    const Case cases[] = {
        {"1", "22080000000000000000000000000001", "1"},
        {"-7.50", "A20780000000000000000000000003D0", "-7.50"},
        {"9.999999999999999999999999999999999E+6144", "77FFCFF3FCFF3FCFF3FCFF3FCFF3FCFF",
         "9.999999999999999999999999999999999E+6144"},
        {"1E-6176", "00000000000000000000000000000001", "1E-6176", DEC_Subnormal},
        {"1E+6145", "78000000000000000000000000000000", "Infinity", overflow},
    };
    for (const Case& c : cases) {
        const Parsed parsed = parse128(c.text);
        EXPECT_EQ(parsed.bytes, c.bytes) << c.text;
        EXPECT_EQ(parsed.text, c.back);
        EXPECT_EQ(parsed.status, c.status) << c.text;
    }
}

TEST(Interchange, DecletsAreThoseOfTheTables) {
    const std::pair<const char*, unsigned> cases[] = {
        {"5", 0x005},  {"9", 0x009},   {"55", 0x055},  {"79", 0x079},  {"80", 0x00A},
        {"99", 0x05F}, {"555", 0x2D5}, {"888", 0x06E}, {"999", 0x0FF},
    };
    for (const auto& [text, declet] : cases) {
        char wanted[17];
        std::snprintf(wanted, sizeof wanted, "2238000000000%03X", declet);
        EXPECT_EQ(parse64(text).bytes, wanted);
    }
    // Every number comes back, and the declets with two spellings more are read in each of them.
    for (unsigned number = 0; number < 1000; ++number)
        EXPECT_EQ(parse64(std::to_string(number)).text, std::to_string(number));
    for (const unsigned spelling : {0x06Eu, 0x16Eu, 0x26Eu, 0x36Eu}) {
        decimal64 block{};
        const std::uint64_t bits = 0x2238000000000000 | spelling;
        static_assert(sizeof bits == sizeof block);
        std::copy_n(reinterpret_cast<const std::uint8_t*>(&bits), sizeof bits, block.bytes);
        char text[DECIMAL64_String];
        EXPECT_STREQ(decimal64ToString(&block, text), "888");
    }
}

TEST(Interchange, RoundsHalfUpAtTheEndsOfTheRange) {
    struct Case {
        const char* text;
        const char* back;
        std::uint32_t status;
    };
    const Case cases[] = {
        {"1.0000000000000005", "1.000000000000001", inexact},
        {"1.00000000000000049999", "1.000000000000000", inexact},
        {"-1.0000000000000005", "-1.000000000000001", inexact},
        {"1.0000000000000000", "1.000000000000000", DEC_Rounded},
        {"9.9999999999999995", "10.00000000000000", inexact},
        {"9.9999999999999995E+384", "Infinity", overflow},
        {"-1E+385", "-Infinity", overflow},
        {"1.5E-398", "2E-398", subnormalInexact},
        {"4E-399", "0E-398", subnormalInexact | DEC_Clamped},
        {"5E-399", "1E-398", subnormalInexact},
        {"1E-1000000000000000000000", "0E-398", subnormalInexact | DEC_Clamped},
        {"1E+1000000000000000000000", "Infinity", overflow},
        {"1.234567890123456E-383", "1.234567890123456E-383", quiet},
        {"1.23456789012345E-384", "1.23456789012345E-384", DEC_Subnormal},
        {"0.000001234567890123456", "0.000001234567890123456", quiet},
        {"-0.00000123456789012345678", "-0.000001234567890123457", inexact},
        {"12E-9", "1.2E-8", quiet},
    };
    for (const Case& c : cases) {
        const Parsed parsed = parse64(c.text);
        EXPECT_EQ(parsed.text, c.back) << c.text;
        EXPECT_EQ(parsed.status, c.status) << c.text;
    }
    // A digit far behind all that is kept decides about a half.
    const std::string half = "1.0000000000000005" + std::string(200, '0');
    EXPECT_EQ(parse64(half + "0", DEC_ROUND_HALF_DOWN).text, "1.000000000000000");
    EXPECT_EQ(parse64(half + "1", DEC_ROUND_HALF_DOWN).text, "1.000000000000001");
}

TEST(Interchange, RoundsByEveryMode) {
    struct Case {
        rounding mode;
        const char* results[6];  // of the texts below
    };
    const char* const texts[] = {"1.00000000000000125",
                                 "1.0000000000000015",
                                 "-1.00000000000000125",
                                 "-1.0000000000000015",
                                 "1E+385",
                                 "-1E+385"};
    const char* const largest = "9.999999999999999E+384";
    const char* const smallest = "-9.999999999999999E+384";
    const Case cases[] = {
        {DEC_ROUND_CEILING,
         {"1.000000000000002", "1.000000000000002", "-1.000000000000001", "-1.000000000000001", "Infinity",
          smallest}},
        {DEC_ROUND_UP,
         {"1.000000000000002", "1.000000000000002", "-1.000000000000002", "-1.000000000000002", "Infinity",
          "-Infinity"}},
        {DEC_ROUND_HALF_UP,
         {"1.000000000000001", "1.000000000000002", "-1.000000000000001", "-1.000000000000002", "Infinity",
          "-Infinity"}},
        {DEC_ROUND_HALF_EVEN,
         {"1.000000000000001", "1.000000000000002", "-1.000000000000001", "-1.000000000000002", "Infinity",
          "-Infinity"}},
        {DEC_ROUND_HALF_DOWN,
         {"1.000000000000001", "1.000000000000001", "-1.000000000000001", "-1.000000000000001", "Infinity",
          "-Infinity"}},
        {DEC_ROUND_DOWN,
         {"1.000000000000001", "1.000000000000001", "-1.000000000000001", "-1.000000000000001", largest,
          smallest}},
        {DEC_ROUND_FLOOR,
         {"1.000000000000001", "1.000000000000001", "-1.000000000000002", "-1.000000000000002", largest,
          "-Infinity"}},
        {DEC_ROUND_05UP,
         {"1.000000000000001", "1.000000000000001", "-1.000000000000001", "-1.000000000000001", largest,
          smallest}},
    };
    for (const Case& c : cases)
        for (std::size_t i = 0; i < std::size(texts); ++i)
            EXPECT_EQ(parse64(texts[i], c.mode).text, c.results[i]) << texts[i] << " mode " << c.mode;
    EXPECT_EQ(parse64("1.0000000000000025", DEC_ROUND_HALF_EVEN).text, "1.000000000000002");
    EXPECT_EQ(parse64("1.0000000000000001", DEC_ROUND_05UP).text, "1.000000000000001");
}

TEST(Interchange, RefusesWhatIsNoNumber) {
    for (const char* text :
         {"",    " ",    "-",   "+", ".",  "1 ",      " 1",    "1,5",  "1.2.3", "E5",    "1E",
          "1E+", "1E5x", "--1", "x", "in", "infinit", "nan1x", "naan", "0x10",  "1e5.0", "\xFF"}) {
        const Parsed parsed = parse64(text);
        EXPECT_EQ(parsed.text, "NaN") << text;
        EXPECT_EQ(parsed.status, DEC_Conversion_syntax) << text;
    }
    for (const char* text : {"+1", "1.", ".5", "1e5", "1E+05", "INF", "iNfInItY", "NaN007"})
        EXPECT_EQ(parse64(text).status, quiet) << text;
}

decNumber numberOf(const char* text) {
    decContext context = contextOf(DEC_INIT_DECIMAL128);
    context.emax = 999999999;
    context.emin = -999999999;
    context.clamp = 0;
    decNumber number;
    decNumberFromString(&number, text, &context);
    EXPECT_EQ(context.status & DEC_Inexact, 0u) << text;
    return number;
}

std::string textOf(const decNumber& number) {
    char text[64];
    return decNumberToString(&number, text);
}

TEST(Numbers, BecomeIntegersAndDoubles) {
    struct Case {
        const char* text;
        std::int32_t integer;
        std::uint32_t integerStatus;
        double real;
        std::uint32_t realStatus = quiet;
    };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {"0", 0, quiet, 0},
        {"0E-398", 0, quiet, 0},
        {"-42", -42, quiet, -42},
        {"1E+3", 1000, quiet, 1000},
        {"2.00", 2, quiet, 2},
        {"2.5", 2, DEC_Inexact, 2.5},
        {"-0.1", 0, DEC_Inexact, -0.1},
        {"2147483647", 2147483647, quiet, 2147483647.0},
        {"-2147483648", -2147483647 - 1, quiet, -2147483648.0},
        {"2147483648", 0, DEC_Invalid_operation, 2147483648.0},
        {"-2147483649", 0, DEC_Invalid_operation, -2147483649.0},
        {"1E+300", 0, DEC_Invalid_operation, 1e300},
        {"Infinity", 0, DEC_Invalid_operation, infinity},
        {"-Infinity", 0, DEC_Invalid_operation, -infinity},
        {"1E+309", 0, DEC_Invalid_operation, infinity, overflow},
        {"1E-400", 0, DEC_Inexact, 0, DEC_Underflow | inexact},
        {"4.9406564584124654E-324", 0, DEC_Inexact, 4.9406564584124654E-324},
        // Between two doubles, a hair above and below their middle.
        {"9007199254740993.0000000000000001", 0, DEC_Invalid_operation, 9007199254740994.0},
        {"9007199254740992.9999999999999999", 0, DEC_Invalid_operation, 9007199254740992.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const decNumber number = numberOf(c.text);
        decContext context = contextOf(DEC_INIT_DECIMAL128);
        EXPECT_EQ(decInteger32FromNumber2(&number, &context), c.integer);
        EXPECT_EQ(context.status, c.integerStatus);
        context.status = 0;
        EXPECT_EQ(decDoubleFromNumber3(&number, &context), c.real);
        EXPECT_EQ(context.status, c.realStatus);
    }
    decContext context = contextOf(DEC_INIT_DECIMAL64);
    const decNumber nan = numberOf("NaN");
    EXPECT_TRUE(std::isnan(decDoubleFromNumber3(&nan, &context)));
    decNumber number;
    EXPECT_EQ(textOf(*decInteger32ToNumber(-2147483647 - 1, &number)), "-2147483648");
}

TEST(Numbers, PackAndUnpack) {
    const decNumber number = numberOf("-123.4");
    std::uint8_t packed[3];
    std::int32_t scale = 0;
    ASSERT_EQ(decPackedFromNumber(packed, 3, &scale, &number), packed);
    EXPECT_EQ(std::string(packed, packed + 3), "\x01\x23\x4D");
    EXPECT_EQ(scale, 1);
    EXPECT_EQ(decPackedFromNumber(packed, 2, &scale, &number), nullptr);
    decNumber back;
    ASSERT_NE(decPackedToNumber(packed, 3, &scale, &back), nullptr);
    EXPECT_EQ(textOf(back), "-123.4");
    packed[2] = 0x45;  // no sign
    EXPECT_EQ(decPackedToNumber(packed, 3, &scale, &back), nullptr);
    packed[2] = 0xAC;  // no digit
    EXPECT_EQ(decPackedToNumber(packed, 3, &scale, &back), nullptr);
}

using Unary = decNumber* (*)(decNumber*, const decNumber*, decContext*);
using Binary = decNumber* (*)(decNumber*, const decNumber*, const decNumber*, decContext*);

TEST(Arithmetic, OfOneOperand) {
    struct Case {
        Unary operation;
        const char* operand;
        const char* result;
        std::uint32_t status = quiet;
    };
    const Case cases[] = {
        {decNumberAbs, "-1.50", "1.50"},
        {decNumberMinus, "0", "0"},
        {decNumberMinus, "-3", "3"},
        {decNumberPlus, "12345678901234567", "1.234567890123457E+16", inexact},
        {decNumberNormalize, "1200", "1.2E+3"},
        {decNumberNormalize, "-0.00", "-0"},
        {decNumberToIntegralValue, "2.5", "3"},
        {decNumberToIntegralValue, "-0.4", "-0"},
        {decNumberToIntegralValue, "1E+9", "1E+9"},
        {decNumberSquareRoot, "2", "1.414213562373095", inexact},
        {decNumberSquareRoot, "0.0625", "0.25"},
        {decNumberSquareRoot, "1E+3", "31.62277660168379", inexact},
        {decNumberSquareRoot, "-1", "NaN", DEC_Invalid_operation},
        {decNumberNextPlus, "1", "1.000000000000001"},
        {decNumberNextMinus, "1", "0.9999999999999999"},
        {decNumberNextPlus, "-1E-398", "-0E-398"},
        {decNumberNextMinus, "Infinity", "9.999999999999999E+384"},
        {decNumberPlus, "sNaN7", "NaN7", DEC_Invalid_operation},
        {decNumberExp, "1", "NaN", DEC_Invalid_operation},
        {decNumberLn, "1", "NaN", DEC_Invalid_operation},
        {decNumberLog10, "10", "NaN", DEC_Invalid_operation},
    };
    for (const Case& c : cases) {
        decNumber number = numberOf(c.operand);
        decContext context = contextOf(DEC_INIT_DECIMAL64);
        EXPECT_EQ(textOf(*c.operation(&number, &number, &context)), c.result) << c.operand;
        EXPECT_EQ(context.status, c.status) << c.operand;
    }
    decNumber trimmed = numberOf("120.500");
    EXPECT_EQ(textOf(*decNumberTrim(&trimmed)), "120.5");
    decNumber copy;
    EXPECT_EQ(textOf(*decNumberCopy(&copy, &trimmed)), "120.5");
    EXPECT_EQ(textOf(*decNumberZero(&copy)), "0");
}

TEST(Arithmetic, OfTwoOperands) {
    struct Case {
        Binary operation;
        const char* left;
        const char* right;
        const char* result;
        std::uint32_t status = quiet;
    };
    const Case cases[] = {
        {decNumberAdd, "1.1", "2.90", "4.00"},
        {decNumberAdd, "1", "1E-40", "1.000000000000000", inexact},
        {decNumberAdd, "Infinity", "-Infinity", "NaN", DEC_Invalid_operation},
        {decNumberSubtract, "1", "1E-40", "1.000000000000000", inexact},
        {decNumberSubtract, "1.30", "1.3", "0.00"},
        {decNumberMultiply, "1.20", "-3", "-3.60"},
        {decNumberMultiply, "9999999999999999", "9999999999999999", "9.999999999999998E+31", inexact},
        {decNumberMultiply, "1E-300", "1E-300", "0E-398", subnormalInexact | DEC_Clamped},
        {decNumberDivide, "1", "3", "0.3333333333333333", inexact},
        {decNumberDivide, "2", "3", "0.6666666666666667", inexact},
        {decNumberDivide, "2.400", "2", "1.200"},
        {decNumberDivide, "1", "8", "0.125"},
        {decNumberDivide, "-1", "0", "-Infinity", DEC_Division_by_zero},
        {decNumberDivide, "0", "0", "NaN", DEC_Division_undefined},
        {decNumberDivideInteger, "-7", "2", "-3"},
        {decNumberDivideInteger, "1E+16", "1", "NaN", DEC_Division_impossible},
        {decNumberRemainder, "-7", "2", "-1"},
        {decNumberRemainder, "3.6", "1.3", "1.0"},
        {decNumberRemainderNear, "11", "4", "-1"},
        {decNumberRemainderNear, "6", "4", "-2"},
        {decNumberRemainderNear, "10", "4", "2"},
        {decNumberCompare, "2.1", "2.10", "0"},
        {decNumberCompare, "-3", "2", "-1"},
        {decNumberCompare, "-Infinity", "NaN", "NaN"},
        {decNumberMax, "3", "NaN", "3"},
        {decNumberMax, "1.0", "1", "1"},
        {decNumberMin, "1.0", "1", "1.0"},
        {decNumberMin, "-2", "1", "-2"},
        {decNumberQuantize, "2.175", "0.01", "2.18", inexact},
        {decNumberQuantize, "2", "1E+1", "0E+1", inexact},
        {decNumberQuantize, "12345678901234567", "0.1", "NaN", DEC_Invalid_operation},
        {decNumberRescale, "2.175", "-1", "2.2", inexact},
        {decNumberRescale, "2.175", "0.5", "NaN", DEC_Invalid_operation},
        {decNumberPower, "2", "3", "NaN", DEC_Invalid_operation},
    };
    for (const Case& c : cases) {
        const decNumber left = numberOf(c.left), right = numberOf(c.right);
        decContext context = contextOf(DEC_INIT_DECIMAL64);
        decNumber result;
        EXPECT_EQ(textOf(*c.operation(&result, &left, &right, &context)), c.result)
            << c.left << ", " << c.right;
        EXPECT_EQ(context.status, c.status) << c.left << ", " << c.right;
    }
    const decNumber one = numberOf("1.0"), other = numberOf("2.5"), third = numberOf("2");
    decNumber same;
    EXPECT_EQ(textOf(*decNumberSameQuantum(&same, &one, &other)), "1");
    EXPECT_EQ(textOf(*decNumberSameQuantum(&same, &one, &third)), "0");
}

TEST(Contexts, AreRefusedBeyondThePrecisionThatIsServed) {
    decContext context = contextOf(DEC_INIT_DECIMAL128);
    context.digits = 35;
    decNumber number;
    EXPECT_EQ(textOf(*decNumberFromString(&number, "1", &context)), "NaN");
    EXPECT_STREQ(decContextStatusToString(&context), "Invalid context");
    decContextSetStatus(&context, DEC_Overflow);
    EXPECT_STREQ(decContextStatusToString(&context), "Multiple status");
    decContextDefault(&context, DEC_INIT_DECIMAL32);
    EXPECT_STREQ(decContextStatusToString(&context), "No status");
    EXPECT_EQ(textOf(*decNumberFromString(&number, "12345678", &context)), "1.234568E+7");
}

}  // namespace
