#include "data/zorconversion.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string hex(std::span<const KEL_RAW> bytes) {
    std::string text;
    Hex::encode(bytes, text);
    return text;
}

TEST(StringToRawBcd, PacksRoundsAndReportsPositions) {
    struct Case {
        std::string_view text;
        unsigned rawLength;
        unsigned decimals;
        ZOR_CONV_RC rc;
        std::string_view raw;
        int position = -1;
    };
    const Case cases[] = {
        {"1.255", 3, 2, ZOR_CONV_OK, "00126C"},
        {"-1.255", 3, 2, ZOR_CONV_OK, "00126D"},
        {"1.254999", 3, 2, ZOR_CONV_OK, "00125C"},
        {"+12.3", 3, 2, ZOR_CONV_OK, "01230C"},
        {"  7  ", 2, 0, ZOR_CONV_OK, "007C"},
        {"0007", 1, 0, ZOR_CONV_OK, "7C"},
        {".5", 1, 0, ZOR_CONV_OK, "1C"},
        {"-0.5", 1, 0, ZOR_CONV_OK, "1D"},
        {"-0.4", 1, 0, ZOR_CONV_OK, "0C"},
        {"-0", 2, 1, ZOR_CONV_OK, "000C"},
        {"-0.001", 2, 1, ZOR_CONV_OK, "000C"},
        {"-", 2, 1, ZOR_CONV_OK, "000C"},
        {"99.5", 2, 0, ZOR_CONV_OK, "100C"},
        {"999.5", 2, 0, ZOR_CONV_OVERFLOW, ""},
        {"1000", 2, 0, ZOR_CONV_OVERFLOW, ""},
        {"10", 2, 2, ZOR_CONV_OVERFLOW, ""},
        {"1", 2, 4000000000u, ZOR_CONV_OVERFLOW, ""},
        {"", 2, 0, ZOR_CONV_EMPTY_BUFFER, ""},
        {"   ", 2, 0, ZOR_CONV_EMPTY_BUFFER, ""},
        {"A", 1, 0, ZOR_CONV_OK, "1C"},
        {"1z", 2, 0, ZOR_CONV_ILLEGAL_INPUT, "", 1},
        {"-001-", 2, 0, ZOR_CONV_ILLEGAL_INPUT, "", 1},
        {"1.2.3", 4, 2, ZOR_CONV_ILLEGAL_INPUT, "", 3},
        {"1.2:", 2, 1, ZOR_CONV_ILLEGAL_INPUT, "", 3},
        {"1.24:", 2, 1, ZOR_CONV_OK, "012C"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        KEL_RAW raw[8];
        int position = 99;
        EXPECT_EQ(StringToRawBcd(c.text, std::span(raw, c.rawLength), c.decimals, position), c.rc);
        EXPECT_EQ(position, c.position);
        if (c.rc == ZOR_CONV_OK) {
            EXPECT_EQ(hex(std::span(raw, c.rawLength)), c.raw);
        }
    }
}

TEST(RawBcdToString, PrintsWithoutLeadingZeros) {
    struct Case {
        std::vector<KEL_RAW> raw;
        unsigned decimals;
        ZOR_CONV_RC rc;
        std::string_view text;
        int position = -1;
    };
    const Case cases[] = {
        {{0x01, 0x23, 0x4D}, 2, ZOR_CONV_OK, "-12.34"},   {{0x00, 0x00, 0x5C}, 2, ZOR_CONV_OK, "0.05"},
        {{0x00, 0x00, 0x0C}, 0, ZOR_CONV_OK, "0"},        {{0x00, 0x0C}, 3, ZOR_CONV_OK, "0.000"},
        {{0x12, 0x3C}, 3, ZOR_CONV_OK, "0.123"},          {{0x12, 0x3C}, 4, ZOR_CONV_INSUFFICIENT_BUFFER, ""},
        {{0x1A, 0x3C}, 0, ZOR_CONV_ILLEGAL_INPUT, "", 1}, {{0x00, 0xFC}, 1, ZOR_CONV_ILLEGAL_INPUT, "", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        KEL_CHAR out[32];
        unsigned length = 0;
        int position = 99;
        EXPECT_EQ(RawBcdToString(c.raw, c.decimals, out, length, position), c.rc);
        EXPECT_EQ(position, c.position);
        EXPECT_EQ(std::string_view(out, length), c.text);
    }
}

TEST(StringToNumber, ChecksRangeAndCharacters) {
    struct Case {
        std::string_view text;
        unsigned width;
        ZOR_CONV_RC rc;
        ZOR_INT8 value;
        int position = -1;
    };
    const Case cases[] = {
        {"0", 1, ZOR_CONV_OK, 0},
        {"255", 1, ZOR_CONV_OK, 255},
        {"256", 1, ZOR_CONV_OVERFLOW, 256},
        {"-1", 1, ZOR_CONV_OVERFLOW, -1},
        {"32767", 2, ZOR_CONV_OK, 32767},
        {"-32768", 2, ZOR_CONV_OK, -32768},
        {"32768", 2, ZOR_CONV_OVERFLOW, 32768},
        {"-32769", 2, ZOR_CONV_OVERFLOW, -32769},
        {"2147483647", 4, ZOR_CONV_OK, 2147483647},
        {"-2147483648", 4, ZOR_CONV_OK, -2147483648LL},
        {"2147483648", 4, ZOR_CONV_OVERFLOW, 2147483648LL},
        {"9223372036854775807", 8, ZOR_CONV_OK, std::numeric_limits<ZOR_INT8>::max()},
        {"-9223372036854775808", 8, ZOR_CONV_OK, std::numeric_limits<ZOR_INT8>::min()},
        {"9223372036854775808", 8, ZOR_CONV_OVERFLOW, std::numeric_limits<ZOR_INT8>::min()},
        {"-9223372036854775809", 8, ZOR_CONV_OVERFLOW, std::numeric_limits<ZOR_INT8>::max()},
        {"0000000000000000000000042", 4, ZOR_CONV_OK, 42},
        {"10000000000000000000042", 4, ZOR_CONV_OVERFLOW, 0},
        {"+7", 4, ZOR_CONV_OK, 7},
        {"7 \0 \0"sv, 4, ZOR_CONV_OK, 7},
        {" 7", 4, ZOR_CONV_ILLEGAL_INPUT, 0, 0},
        {"1x2y3", 4, ZOR_CONV_ILLEGAL_INPUT, 0, 3},
        {"1-", 4, ZOR_CONV_ILLEGAL_INPUT, 0, 1},
        {"-", 4, ZOR_CONV_ILLEGAL_INPUT, 0, 0},
        {"+  ", 4, ZOR_CONV_ILLEGAL_INPUT, 0, 0},
        {"", 4, ZOR_CONV_ILLEGAL_INPUT, 0},
        {"  ", 4, ZOR_CONV_ILLEGAL_INPUT, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ZOR_INT8 value = 0;
        int position = 99;
        EXPECT_EQ(stringToNumber(c.text, c.width, value, position), c.rc);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(position, c.position);
    }
}

TEST(LeadingInteger, StopsAtTheFirstOtherCharacterAndClamps) {
    const std::pair<std::string_view, ZOR_INT> cases[] = {
        {"42", 42},
        {" \t\n-17x9", -17},
        {"+5 6", 5},
        {"x", 0},
        {"", 0},
        {"-", 0},
        {"12.99", 12},
        {"2147483648", 2147483647},
        {"-2147483649", -2147483647 - 1},
        {"99999999999999999999999999", 2147483647},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(leadingInteger(text), value) << text;
}

TEST(DoubleToString, WritesSeventeenDigitsWithoutExponent) {
    const std::pair<ZOR_FLOAT, std::string_view> cases[] = {
        {0.0, "0.0"},
        {-0.0, "0.0"},
        {1.5, "1.5"},
        {-1.5, "-1.5"},
        {100, "100"},
        {0.1, "0.10000000000000001"},
        {0.0009765625, "0.0009765625"},
        {123456.75, "123456.75"},
        {1e20, "100000000000000000000"},
        {std::numeric_limits<ZOR_FLOAT>::infinity(), "Inf"},
        {-std::numeric_limits<ZOR_FLOAT>::infinity(), "-Inf"},
        {std::nan(""), "NaN"},
    };
    KEL_CHAR buffer[maxDoubleText];
    for (const auto& [value, text] : cases)
        EXPECT_EQ(std::string_view(buffer, doubleToString(buffer, value)), text);
    // The longest texts there are fit, and come back as the same number.
    for (const ZOR_FLOAT value : {-DBL_MAX, -DBL_TRUE_MIN, -DBL_MIN}) {
        const unsigned length = doubleToString(buffer, value);
        ASSERT_LE(length, maxDoubleText);
        ZOR_FLOAT back = 0;
        int position = 0;
        EXPECT_EQ(charsToDouble({buffer, length}, back, position), ZOR_CONV_OK);
        EXPECT_EQ(back, value);
    }
}

TEST(CharsToDouble, FollowsTheRulesOfC) {
    struct Case {
        std::string_view text;
        ZOR_CONV_RC rc;
        ZOR_FLOAT value;
        int position = -1;
    };
    const std::string longText = std::string(200, '0') + "1.5";
    const Case cases[] = {
        {"1.5", ZOR_CONV_OK, 1.5},
        {" -2.5e3", ZOR_CONV_OK, -2500},
        {"0x10", ZOR_CONV_OK, 16},
        {"1.5 rest", ZOR_CONV_OK, 1.5},
        {"", ZOR_CONV_OK, 0},
        {longText, ZOR_CONV_OK, 1.5},
        {"1e-400", ZOR_CONV_OK, 0},
        {"1,5", ZOR_CONV_ILLEGAL_INPUT, 0, 1},
        {"x", ZOR_CONV_ILLEGAL_INPUT, 0, 0},
        {"1e400", ZOR_CONV_OVERFLOW, 0, 5},
        {"-Inf", ZOR_CONV_OVERFLOW, 0, 4},
        {"NaN", ZOR_CONV_OVERFLOW, 0, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ZOR_FLOAT value = 0;
        int position = 99;
        EXPECT_EQ(charsToDouble(c.text, value, position), c.rc);
        EXPECT_EQ(position, c.position);
        if (c.rc == ZOR_CONV_OK) {
            EXPECT_EQ(value, c.value);
        }
    }
}

TEST(HexText, DecodesCapitalsOnly) {
    std::vector<KEL_RAW> out;
    int position = 99;
    EXPECT_EQ(Hex::decode(" 0AFF \0"sv, out, position), ZOR_CONV_OK);
    EXPECT_EQ(out, (std::vector<KEL_RAW>{0x0A, 0xFF}));
    EXPECT_EQ(Hex::decode("", out, position), ZOR_CONV_OK);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(Hex::decode("ABC", out, position), ZOR_CONV_ILLEGAL_INPUT);
    EXPECT_EQ(position, -1);
    EXPECT_EQ(Hex::decode(" ABaB", out, position), ZOR_CONV_ILLEGAL_INPUT);
    EXPECT_EQ(position, 3);

    KEL_CHAR shortText[3];
    const KEL_RAW bytes[] = {0xAB, 0xCD};
    EXPECT_EQ(Hex::encode(bytes, std::span<KEL_CHAR>(shortText)), 3u);
    EXPECT_EQ(std::string_view(shortText, 3), "ABC");
}

TEST(DoubleToExponentString, HasOneDigitBeforeThePoint) {
    const std::pair<ZOR_FLOAT, std::string_view> cases[] = {
        {1.5, "1.5E0"},
        {-1500, "-1.5E3"},
        {100, "1E2"},
        {0.0009765625, "9.765625E-4"},
        {0, "0.0"},
        {0.1, "1.0000000000000001E-1"},
        {DBL_MAX, "1.7976931348623157E308"},
        {-HUGE_VAL, "-Inf"},
        {std::nan(""), "NaN"},
    };
    KEL_CHAR buffer[maxDoubleText];
    for (const auto& [value, text] : cases)
        EXPECT_EQ(std::string_view(buffer, doubleToExponentString(buffer, value)), text);
}

// The first rows are the test vectors of RFC 4648.
TEST(Base64Text, EncodesAndDecodes) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFF\xEF\xBE"sv, "/+++"},
        {"\0\0\0\0"sv, "AAAAAA=="},
    };
    for (const auto& [bytes, text] : cases) {
        std::string encoded;
        Base64::encode({reinterpret_cast<const KEL_RAW*>(bytes.data()), bytes.size()}, encoded);
        EXPECT_EQ(encoded, text);
        std::vector<KEL_RAW> decoded;
        int position = 99;
        EXPECT_EQ(Base64::decode(std::string(text) + '\0', decoded, position), ZOR_CONV_OK) << text;
        EXPECT_EQ(std::string(decoded.begin(), decoded.end()), bytes);
        EXPECT_EQ(position, -1);
    }
}

TEST(Base64Text, NamesThePlaceOfWhatIsIllegal) {
    const std::pair<std::string_view, int> cases[] = {
        {"Zm9v YmFy", 4}, {"=Zm9v", 0},   {"Zm-v", 2},       {"Zm9vY", 4},
        {"Z===", 0},      {"Zm\0v"sv, 2}, {"Zm9\xFCw"sv, 3},
    };
    for (const auto& [text, place] : cases) {
        std::vector<KEL_RAW> decoded;
        int position = -1;
        EXPECT_EQ(Base64::decode(text, decoded, position), ZOR_CONV_ILLEGAL_INPUT) << text;
        EXPECT_EQ(position, place) << text;
    }
}

}  // namespace
