#include "convert/zorconverter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "error/zorexception.h"

namespace {

struct Converted {
    int rc;
    std::string text;
    unsigned rest;
};

Converted run(const ZorConverter* converter, const std::string& source, unsigned room) {
    std::string target(room, '?');
    Converted result{};
    result.rc = converter->convert(reinterpret_cast<const KEL_RAW*>(source.data()),
                                   static_cast<unsigned>(source.size()),
                                   reinterpret_cast<KEL_RAW*>(target.data()), &room, &result.rest);
    result.text = target.substr(0, room);
    return result;
}

TEST(ZorConverter, PairsModesAndRoom) {
    const struct {
        const char* from;
        const char* to;
        short mode;
        std::string source;
        unsigned room;
        int rc;
        std::string text;
        unsigned rest;
    } cases[] = {
        {"1100", "1100", 0,
         "\xE4"
         "b",
         8, 0,
         "\xE4"
         "b",
         0},
        {"9999", "9999", 0, "copied", 4, 32, "copi", 2},
        {"1100", "4110", 0, "a\xE4\xFF", 8, 0, "a\xC3\xA4\xC3\xBF", 0},
        {"1100", "4110", 0, "a\xE4", 2, 32, "a", 1},
        {"4110", "1100", 0, "a\xC3\xA4z", 8, 0, "a\xE4z", 0},
        {"4110", "1100", 2,
         "\xE2\x82\xAC"
         "1",
         8, 0, "#1", 0},
        {"4110", "1100", 1,
         "\xE2\x82\xAC"
         "1",
         8, 0,
         "\xE2\x82\xAC"
         "1",
         0},
        {"4110", "1100", 1, "\xE2\x82\xAC", 2, 32, "", 3},
        {"4110", "1100", 2, "x\xC3(\xFFy", 8, 0, "x#(#y", 0},
        {"1100", "1101", 2,
         "a\xE4"
         "b",
         8, 0, "a#b", 0},
        {"1100", "1101", 1,
         "a\xE4"
         "b",
         8, 0,
         "a\xE4"
         "b",
         0},
        {"1101", "4110", 2, "\x80z", 8, 0, "#z", 0},
        {"1100", "0100", 0, "Az09 \xE4[", 8, 0, "\xC1\xA9\xF0\xF9\x40\x43\x4A", 0},
        {"0100", "1100", 0, "\xC1\xA9\xF0\xF9\x40\x43\x4A", 8, 0, "Az09 \xE4[", 0},
        {"0100", "1100", 0, "\xC1\xC2", 1, 32, "A", 1},
        {"1100", "4110", 0, "", 0, 0, "", 0},
        // Between Unicode forms mode 2 takes control characters for missing ones; above it they convert.
        {"4110", "4120", 2, "a\tb", 8, 0, "a#b", 0},
        {"4110", "4120", 3, "a\tb\xFF", 8, 0, "a\tb#", 0},
        {"4110", "8000", 0, "\xE6\x97\xA5", 1, 32, "", 3},
        {"4110", "8000", 0, "\xE6\x97\xA5", 2, 0, "\x93\xFA", 0},
    };
    for (const auto& test : cases) {
        const auto result =
            run(ZorConverter::getConverter(test.from, test.to, test.mode, '#'), test.source, test.room);
        const auto row = &test - cases;
        EXPECT_EQ(result.rc, test.rc) << row;
        EXPECT_EQ(result.text, test.text) << row;
        EXPECT_EQ(result.rest, test.rest) << row;
    }
}

KEL_string failureOf(const char* from, const char* to, short mode, const std::string& source) {
    try {
        (void)run(ZorConverter::getConverter(from, to, mode, '#'), source, 16);
    } catch (const ZorCodepageConversionException& failure) {
        return failure.getMessage();
    }
    return "converted";
}

TEST(ZorConverter, FailuresHaveTheirText) {
    EXPECT_EQ(failureOf("1100", "9999", 0, "a"),
              "Could not instantiate converter from codepage 1100 to codepage 9999. Function rscpCActivate "
              "failed with 2048");
    EXPECT_EQ(failureOf("4110", "1100", 0, "\xE2\x82\xAC"),
              "Could not convert from 4110 codepage to 1100 codepage, rc = 2048");
    EXPECT_EQ(failureOf("4110", "1100", 0, "a\xFF"),
              "Could not convert from 4110 codepage to 1100 codepage, rc = 2048");
    // The input ends within a sequence: no mode makes up for that.
    EXPECT_EQ(failureOf("4110", "1100", 2, "a\xE2\x82"),
              "Could not convert from 4110 codepage to 1100 codepage, rc = 512");
    EXPECT_EQ(failureOf("1100", "1101", 0, "\xE4"),
              "Could not convert from 1100 codepage to 1101 codepage, rc = 2048");
}

TEST(ZorConverter, EachPairAndModeIsMadeOnce) {
    // A pair of its own: the first request of the process decides on the substitute.
    const auto* const first = ZorConverter::getConverter("0100", "1101", 2, '?');
    EXPECT_EQ(ZorConverter::getConverter("0100xx", "1101yy", 2, '!'), first);
    EXPECT_NE(ZorConverter::getConverter("0100", "1101", 0, '?'), first);
    EXPECT_NE(ZorConverter::getConverter("1101", "0100", 2, '?'), first);
    EXPECT_EQ(run(first, "\x43", 4).text, "?");
    EXPECT_EQ(ZorConverter::getConverter(nullptr, "1100", 0, '#'), nullptr);
    EXPECT_EQ(ZorConverter::getConverter("1100", nullptr, 0, '#'), nullptr);
}

TEST(ZorConverter, OverlapIsRefused) {
    KEL_RAW buffer[8] = {'a', 'b'};
    unsigned room = 4;
    EXPECT_THROW(
        ZorConverter::getConverter("1100", "4110", 0, '#')->convert(buffer, 2, buffer + 1, &room, nullptr),
        ZorCodepageConversionException);
}

TEST(ZorConverter, SizesOfTexts) {
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    EXPECT_EQ(ZorConverter::calculateUcLength(reinterpret_cast<const KEL_RAW*>(text.data()), 10), 5u);
    EXPECT_EQ(ZorConverter::calculateUcLength(reinterpret_cast<const KEL_RAW*>(text.data()), 7), 5u);
    EXPECT_EQ(ZorConverter::calculateUcLength(nullptr, 0), 1u);
    EXPECT_EQ(ZorConverter::calculateUtf8Length("a\xE4"
                                                "b",
                                                3),
              5u);
}

// With every room from none to enough: either the text and its terminator, or a size that suffices.
TEST(ZorConverter, TextsInEveryRoom) {
    const std::string utf8 = "a\xC3\xA4\xE2\x82\xACz";
    const std::string local =
        "a\xE4"
        "z\xFF";
    const auto into = [](const std::string& result, const auto& convert) {
        for (unsigned room = 0; room <= result.size() + 2; ++room) {
            std::string target(room, '?');
            unsigned size = room;
            unsigned length = 99;
            const ZOR_RC rc = convert(target, size, length);
            const bool fits = room > result.size();
            ASSERT_EQ(rc, fits ? ZOR_OK : ZOR_BUFFER_TOO_SMALL) << room;
            ASSERT_EQ(length, fits ? result.size() : 0u) << room;
            EXPECT_TRUE(!fits || target.substr(0, length + 1) == result + '\0') << room;
            EXPECT_TRUE(fits || size > result.size()) << room;
        }
    };
    into("a\xE4#z", [&](std::string& target, unsigned& size, unsigned& length) {
        return ZorConverter::utf8Tokeluc(nullptr, reinterpret_cast<const KEL_RAW*>(utf8.data()), 7,
                                         target.data(), &size, &length);
    });
    into("a\xC3\xA4z\xC3\xBF", [&](std::string& target, unsigned& size, unsigned& length) {
        return ZorConverter::kelucToutf8(nullptr, local.data(), 4, reinterpret_cast<KEL_RAW*>(target.data()),
                                         &size, &length);
    });
}

double fromBytes(const std::vector<KEL_RAW>& bytes, int intFormat, int floatFormat) {
    double value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    ZorConverter::convertFloat(&value, intFormat, floatFormat);
    return value;
}

TEST(ZorConverter, Floats) {
    const struct {
        std::vector<KEL_RAW> bytes;
        int intFormat;
        int floatFormat;
        double value;
    } cases[] = {
        {{0x3F, 0xF8, 0, 0, 0, 0, 0, 0}, 0, 1, 1.5},
        {{0, 0, 0, 0, 0, 0, 0xF8, 0xBF}, 1, 1, -1.5},
        {{0x41, 0x10, 0, 0, 0, 0, 0, 0}, 0, 0, 1.0},
        {{0xC2, 0x76, 0xA0, 0, 0, 0, 0, 0}, 0, 0, -118.625},
        {{0, 0, 0, 0, 0, 0xA0, 0x76, 0xC2}, 1, 0, -118.625},
        {{0x40, 0x80, 0, 0, 0, 0, 0, 0}, 0, 0, 0.5},
        {{0x41, 0x12, 0, 0, 0, 0, 0, 0}, 0, 0, 1.125},
    };
    for (const auto& test : cases)
        EXPECT_EQ(fromBytes(test.bytes, test.intFormat, test.floatFormat), test.value) << (&test - cases);
    EXPECT_TRUE(std::signbit(fromBytes({0x80, 0, 0, 0, 0, 0, 0, 0}, 0, 0)));
    try {
        (void)fromBytes({0x41, 0x0F, 1, 0, 0, 0, 0, 0}, 0, 0);
        ADD_FAILURE() << "accepted";
    } catch (const ZorTypeConversionException& failure) {
        EXPECT_EQ(failure.getMessage(), "CALL_FUNCTION_ILL_FLOAT_FORMAT");
    }
}

TEST(ZorConverter, IntegersAreReversed) {
    KEL_RAW bytes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    ZorConverter::convertInt8(bytes + 1);
    ZorConverter::convertInt4(bytes + 1);
    ZorConverter::convertInt2(bytes + 1);
    const KEL_RAW expected[] = {1, 7, 6, 8, 9, 5, 4, 3, 2};
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof bytes), 0);
}

TEST(ZorConverter, ManyThreadsFindTheSame) {
    constexpr int threadCount = 8;
    std::vector<const ZorConverter*> found(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadCount; ++i)
        threads.emplace_back([&found, i] {
            for (short mode = 0; mode < 3; ++mode)
                for (int round = 0; round < 100; ++round)
                    found[i] = ZorConverter::getConverter("0100", "4110", mode, '#');
            if (run(found[i], "\xC1", 1).text != "A") found[i] = nullptr;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_NE(found[0], nullptr);
    EXPECT_EQ(found, std::vector<const ZorConverter*>(threadCount, found[0]));
}

}  // namespace
