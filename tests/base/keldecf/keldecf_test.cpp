// The decimal layer: loading, results, and conversions through the stand-in library.

#include "base/keldecf/keldecf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "base/keldecf/decflibrary.h"
#include "platform/decnumber/decnumber.h"
#include "testpaths.h"

namespace {

// Layer and stand-in each have their own view of what passes between them.
static_assert(sizeof(DecfContext) == sizeof(decContext) && sizeof(DecfNumber) >= sizeof(decNumber));
static_assert(offsetof(DecfContext, round) == offsetof(decContext, round));
static_assert(offsetof(DecfContext, status) == offsetof(decContext, status));
static_assert(offsetof(DecfContext, clamp) == offsetof(decContext, clamp));
static_assert(DECF_ROUND_HALF_UP == DEC_ROUND_HALF_UP);
static_assert(sizeof(DecFloat16Buff) >= DECIMAL64_String && sizeof(DecFloat34Buff) >= DECIMAL128_String);

std::vector<std::string> errors, details;

const DecfTrace recording = {
    [](const KEL_CHAR* text) noexcept { errors.emplace_back(text); },
    [](const KEL_CHAR* text) noexcept { details.emplace_back(text); },
};

class Loading : public testing::Test {
  protected:
    void SetUp() override {
        errors.clear();
        details.clear();
    }
};

TEST_F(Loading, FindsAllEntriesAndTheVersion) {
    DecfLibrary library(KELZOR_DECNUMBER);
    EXPECT_EQ(library.init(recording), DECF_OK);
    EXPECT_TRUE(errors.empty());
    const std::string name = KELZOR_DECNUMBER;
    ASSERT_EQ(details.size(), 49u);  // the library, 47 entries, the version
    EXPECT_EQ(details.front(), "Decimal floating point shared library " + name + " successfully loaded.\n");
    EXPECT_EQ(details[1],
              "Function decNumberVersion successfully loaded from decimal floating point shared library " +
                  name + ".\n");
    EXPECT_EQ(details.back(), "Version of libdecnumber library: 3.32 .\n");
    EXPECT_EQ(library.init(recording), DECF_OK);
    EXPECT_EQ(details.size(), 49u);  // once is enough
}

TEST_F(Loading, SaysEachTimeThatTheLibraryIsMissing) {
    DecfLibrary library("libnosuchdecnumber.so");
    for (std::size_t attempt = 1; attempt <= 2; ++attempt) {
        EXPECT_EQ(library.init(recording), DECF_NOT_SUPPORTED);
        ASSERT_EQ(errors.size(), attempt);
        EXPECT_EQ(errors.back(),
                  "Could not load decimal floating point shared library libnosuchdecnumber.so.\n");
    }
    EXPECT_EQ(library.init({}), DECF_NOT_SUPPORTED);  // nobody listens
}

TEST_F(Loading, RefusesALibraryWithoutTheEntries) {
    DecfLibrary library("libm.so.6");
    EXPECT_EQ(library.init(recording), DECF_NOT_SUPPORTED);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], "Could not load decNumberVersion from decimal floating point library libm.so.6.\n");
}

TEST_F(Loading, RefusesAnOldVersionOnce) {
    DecfLibrary library(KELZOR_DECNUMBER_OLD);
    EXPECT_EQ(library.init(recording), DECF_WRONG_VERSION);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(
        errors[0],
        "Wrong version of libdecnumber library: required version is 3.32 but version of loaded library is "
        "3.31");
    EXPECT_EQ(library.init(recording), DECF_OK);
    EXPECT_EQ(errors.size(), 1u);
}

TEST(Status, BecomesAResultByWeight) {
    struct Case {
        std::uint32_t status;
        DECF_RETURN rc;
    };
    const Case cases[] = {
        {0, DECF_OK},
        {0x0020, DECF_INEXACT},
        {0x0820, DECF_INEXACT},
        {0x0010 | 0x22EF, DECF_NO_MEMORY},
        {0x0004 | 0x0002, DECF_INVALID_OP},
        {0x0008, DECF_INVALID_OP},
        {0x0040, DECF_INVALID_OP},
        {0x0080 | 0x0001, DECF_INVALID_OP},
        {0x0002 | 0x0001, DECF_DIV_ZERO},
        {0x0001 | 0x0200, DECF_CONV_SYNTAX},
        {0x0200 | 0x2000 | 0x0020, DECF_OVERFLOW},
        {0x2000 | 0x0020 | 0x1000, DECF_UNDERFLOW},
    };
    for (const Case& c : cases) {
        DecfContext context{16, 384, -383, DECF_ROUND_HALF_UP, 0, c.status, 1};
        EXPECT_EQ(DecFloatEnv::getDECFErrCodeFromStatus(context), c.rc) << std::hex << c.status;
        EXPECT_EQ(context.status, 0u);
    }
    // Clamped, rounded and subnormal alone are success, and stay.
    DecfContext context{16, 384, -383, DECF_ROUND_HALF_UP, 0, 0x1C00, 1};
    EXPECT_EQ(DecFloatEnv::getDECFErrCodeFromStatus(context), DECF_OK);
    EXPECT_EQ(context.status, 0x1C00u);
}

/** Conversions by the process's library, which the loader finds. */
class Conversions : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(InitDecFloatLib({}), DECF_OK); }

    static std::string text(DecFloat16 value) {
        DecFloat16Buff buffer;
        EXPECT_EQ(DecFloat16ToString(value, &buffer), DECF_OK);
        return buffer;
    }
    static std::string text(DecFloat34 value) {
        DecFloat34Buff buffer;
        EXPECT_EQ(DecFloat34ToString(value, &buffer), DECF_OK);
        return buffer;
    }
    static DecFloat16 small(const char* text) {
        DecFloat16 value{};
        StringToDecFloat16(text, &value);
        return value;
    }
    static DecFloat34 large(const char* text) {
        DecFloat34 value{};
        StringToDecFloat34(text, &value);
        return value;
    }
};

TEST_F(Conversions, TextRoundsHalfUpAndSaysSo) {
    struct Case {
        const char* text;
        DECF_RETURN rc16, rc34;
        const char* back16;
        const char* back34;
    };
    const Case cases[] = {
        {"1.5", DECF_OK, DECF_OK, "1.5", "1.5"},
        {"-0.00", DECF_OK, DECF_OK, "-0.00", "-0.00"},
        {"letters", DECF_CONV_SYNTAX, DECF_CONV_SYNTAX, "NaN", "NaN"},
        {" 1", DECF_CONV_SYNTAX, DECF_CONV_SYNTAX, "NaN", "NaN"},
        {"1.0000000000000005", DECF_INEXACT, DECF_OK, "1.000000000000001", "1.0000000000000005"},
        {"1E+385", DECF_OVERFLOW, DECF_OK, "Infinity", "1E+385"},
        {"1E-398", DECF_OK, DECF_OK, "1E-398", "1E-398"},
        {"1.5E-398", DECF_UNDERFLOW, DECF_OK, "2E-398", "1.5E-398"},
        {"1E+384", DECF_OK, DECF_OK, "1.000000000000000E+384", "1E+384"},
        {"0E+9999", DECF_OK, DECF_OK, "0E+369", "0E+6111"},
        {"-0.000001234567890123456789012345678901234", DECF_INEXACT, DECF_OK, "-0.000001234567890123457",
         "-0.000001234567890123456789012345678901234"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        DecFloat16 value16;
        DecFloat34 value34;
        EXPECT_EQ(StringToDecFloat16(c.text, &value16), c.rc16);
        EXPECT_EQ(StringToDecFloat34(c.text, &value34), c.rc34);
        EXPECT_EQ(text(value16), c.back16);
        EXPECT_EQ(text(value34), c.back34);
    }
}

TEST_F(Conversions, WidthsWidenAndNarrow) {
    struct Case {
        const char* text;
        DECF_RETURN rc;
        const char* narrowed;
    };
    const Case cases[] = {
        {"-1.50", DECF_OK, "-1.50"},           {"1.00000000000000050", DECF_INEXACT, "1.000000000000001"},
        {"1E+385", DECF_OVERFLOW, "Infinity"}, {"1E-399", DECF_UNDERFLOW, "0E-398"},
        {"0E-6176", DECF_OK, "0E-398"},        {"NaN", DECF_OK, "NaN"},
    };
    for (const Case& c : cases) {
        DecFloat16 narrowed;
        EXPECT_EQ(DecFloat34ToDecFloat16(&narrowed, large(c.text)), c.rc) << c.text;
        EXPECT_EQ(text(narrowed), c.narrowed) << c.text;
    }
    DecFloat34 widened;
    EXPECT_EQ(DecFloat16ToDecFloat34(&widened, small("9.999999999999999E+384")), DECF_OK);
    EXPECT_EQ(text(widened), "9.999999999999999E+384");
}

TEST_F(Conversions, IntegersTakeIntegralValuesInTheirRange) {
    constexpr KEL_LLONG lowest = std::numeric_limits<KEL_LLONG>::min();
    constexpr KEL_LLONG highest = std::numeric_limits<KEL_LLONG>::max();
    struct Case {
        const char* text;
        DECF_RETURN rc32;
        DECF_RETURN rc64;
        KEL_LLONG value64;
    };
    const Case cases[] = {
        {"0", DECF_OK, DECF_OK, 0},
        {"0E-6176", DECF_OK, DECF_OK, 0},
        {"0E+6000", DECF_OK, DECF_OK, 0},
        {"-42.00", DECF_OK, DECF_OK, -42},
        {"1E+3", DECF_OK, DECF_OK, 1000},
        {"1.5E+3", DECF_OK, DECF_OK, 1500},
        {"2.5", DECF_INEXACT, DECF_INEXACT, 2},
        {"-1E-7", DECF_INEXACT, DECF_INEXACT, 0},
        {"1.23E+1", DECF_INEXACT, DECF_INEXACT, 12},
        {"2147483647", DECF_OK, DECF_OK, 2147483647},
        {"2147483648", DECF_INVALID_OP, DECF_OK, 2147483648LL},
        {"9223372036854775807", DECF_INVALID_OP, DECF_OK, highest},
        {"9223372036854775808", DECF_INVALID_OP, DECF_OVERFLOW, highest},
        {"-9223372036854775808", DECF_INVALID_OP, DECF_OK, lowest},
        {"-9223372036854775809", DECF_INVALID_OP, DECF_OVERFLOW, lowest},
        {"1E+6144", DECF_INVALID_OP, DECF_OVERFLOW, highest},
        {"-Infinity", DECF_INVALID_OP, DECF_INVALID_OP, 0},
        {"NaN", DECF_INVALID_OP, DECF_INVALID_OP, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        KEL_INT value32 = 0;
        KEL_LLONG value64 = 0;
        EXPECT_EQ(DecFloat34ToKEL_INT(&value32, large(c.text)), c.rc32);
        EXPECT_EQ(DecFloat34ToKEL_LLONG(&value64, large(c.text)), c.rc64);
        EXPECT_EQ(value64, c.value64);
        if (c.rc32 == DECF_OK) {
            EXPECT_EQ(value32, c.value64);
        }
    }
    KEL_INT value32 = 0;
    KEL_LLONG value64 = 0;
    EXPECT_EQ(DecFloat16ToKEL_INT(&value32, small("-7E+2")), DECF_OK);
    EXPECT_EQ(value32, -700);
    EXPECT_EQ(DecFloat16ToKEL_LLONG(&value64, small("-7E+12")), DECF_OK);
    EXPECT_EQ(value64, -7000000000000LL);

    DecFloat16 value16;
    DecFloat34 value34;
    EXPECT_EQ(KEL_INTToDecFloat16(&value16, -2147483647 - 1), DECF_OK);
    EXPECT_EQ(text(value16), "-2147483648");
    EXPECT_EQ(KEL_INTToDecFloat34(&value34, 7), DECF_OK);
    EXPECT_EQ(text(value34), "7");
    EXPECT_EQ(KEL_LLONGToDecFloat34(&value34, lowest), DECF_OK);
    EXPECT_EQ(text(value34), "-9223372036854775808");
    EXPECT_EQ(KEL_LLONGToDecFloat16(&value16, 9999999999999999LL), DECF_OK);
    EXPECT_EQ(KEL_LLONGToDecFloat16(&value16, 12345678901234565LL), DECF_INEXACT);
    EXPECT_EQ(text(value16), "1.234567890123457E+16");
}

TEST_F(Conversions, DoublesGiveSeventeenDigitsAndAreNeverMoreThanNear) {
    struct Case {
        KEL_DOUBLE value;
        DECF_RETURN rc16;
        const char* text16;
        const char* text34;
    };
    const Case cases[] = {
        {1.5, DECF_INEXACT, "1.5", "1.5"},
        {100, DECF_INEXACT, "1E+2", "1E+2"},
        {-0.0, DECF_INEXACT, "-0", "-0"},
        {0.1, DECF_INEXACT, "0.1", "0.10000000000000001"},
        {1e300, DECF_INEXACT, "1E+300", "1.0000000000000001E+300"},
        {std::numeric_limits<KEL_DOUBLE>::infinity(), DECF_INEXACT, "Infinity", "Infinity"},
        {std::nan(""), DECF_INEXACT, "NaN", "NaN"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text34);
        DecFloat16 value16;
        DecFloat34 value34;
        EXPECT_EQ(KEL_DOUBLEToDecFloat16(&value16, c.value), c.rc16);
        EXPECT_EQ(KEL_DOUBLEToDecFloat34(&value34, c.value), DECF_INEXACT);
        EXPECT_EQ(text(value16), c.text16);
        EXPECT_EQ(text(value34), c.text34);
    }
    KEL_DOUBLE back = 0;
    EXPECT_EQ(DecFloat16ToKEL_DOUBLE(&back, small("0.1")), DECF_OK);
    EXPECT_EQ(back, 0.1);
    EXPECT_EQ(DecFloat34ToKEL_DOUBLE(&back, large("-1E+309")), DECF_OVERFLOW);
    EXPECT_EQ(DecFloat34ToKEL_DOUBLE(&back, large("1E-400")), DECF_UNDERFLOW);
}

}  // namespace
