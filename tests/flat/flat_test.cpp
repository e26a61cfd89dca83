#include "flat/flat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "flat/utf8.h"

namespace {

const KEL_RAW* raw(const char* text) {
    return reinterpret_cast<const KEL_RAW*>(text);
}

TEST(Flat, EbcdicBothWays) {
    // From the published page: letters stand in three blocks, digits behind them.
    const char text[] = "AIJRSZaz09 .<(+|&!$*);-/,%_>?:#@'=\"[]\xFC";
    const KEL_RAW ebcdic[] = {0xC1, 0xC9, 0xD1, 0xD9, 0xE2, 0xE9, 0x81, 0xA9, 0xF0, 0xF9, 0x40, 0x4B, 0x4C,
                              0x4D, 0x4E, 0xBB, 0x50, 0x4F, 0x5B, 0x5C, 0x5D, 0x5E, 0x60, 0x61, 0x6B, 0x6C,
                              0x6D, 0x6E, 0x6F, 0x7A, 0x7B, 0x7C, 0x7D, 0x7E, 0x7F, 0x4A, 0x5A, 0xDC};
    constexpr size_t length = sizeof ebcdic;
    ASSERT_EQ(length, sizeof text - 1);
    KEL_RAW there[length];
    UcnToE8nSubst(text, there, length);
    EXPECT_EQ(std::memcmp(there, ebcdic, length), 0);
    KEL_UC back[length];
    E8nToUcn(ebcdic, back, length);
    EXPECT_EQ(std::string(back, length), text);
    EXPECT_EQ(UcToE8('0'), 0xF0);
}

TEST(Flat, TerminatedTexts) {
    using Conversion = std::string (*)(const char* source, size_t size);
    const auto toAscii = [](const char* source, size_t size) {
        KEL_RAW target[16];
        const size_t length = UcsToA7sSubst(source, target, size);
        return std::string(reinterpret_cast<char*>(target)) + ":" + std::to_string(length);
    };
    const auto fromAscii = [](const char* source, size_t size) {
        KEL_UC target[16];
        const size_t length = A7sToUcs(raw(source), target, size);
        return std::string(target) + ":" + std::to_string(length);
    };
    const auto toUtf8 = [](const char* source, size_t size) {
        KEL_RAW target[16];
        const size_t length = UcsToUtf8s(source, target, size);
        return std::string(reinterpret_cast<char*>(target)) + ":" + std::to_string(length);
    };
    const auto fromUtf8 = [](const char* source, size_t size) {
        KEL_UC target[16];
        const size_t length = Utf8sToUcs(raw(source), target, size);
        return std::string(target) + ":" + std::to_string(length);
    };
    const struct {
        Conversion conversion;
        const char* source;
        size_t size;
        const char* result;
    } cases[] = {
        {toAscii, "a\xE4z", 16, "a#z:3"},           {toAscii, "abc", 3, "ab:2"},
        {fromAscii, "a\xE4z", 16, "a#z:3"},         {fromAscii, "abc", 1, ":0"},
        {toUtf8, "a\xE4", 4, "a\xC3\xA4:3"},        {toUtf8, "a\xE4", 3, "a:1"},
        {fromUtf8, "a\xC3\xA4", 3, "a\xE4:2"},      {fromUtf8, "a\xC3\xA4", 2, "a:1"},
        {fromUtf8, "\xE2\x82\xAC\xC3", 16, "##:2"},
    };
    for (const auto& test : cases)
        EXPECT_EQ(test.conversion(test.source, test.size), test.result) << (&test - cases);
}

TEST(Flat, SevenBits) {
    EXPECT_EQ(UcToA7('z'), 'z');
    EXPECT_EQ(UcToA7('\x80'), '#');
    KEL_UC characters[3];
    A7nToUcn(raw("a\x7F\x80"), characters, 3);
    EXPECT_EQ(std::string(characters, 3), "a\x7F#");
    KEL_RAW bytes[] = {'?', '?', '?', '?'};
    EXPECT_TRUE(UcnToA7nCheck("a\x7F", bytes, 2));
    EXPECT_FALSE(UcnToA7nCheck("b\x80z", bytes, 3));
    EXPECT_EQ(std::memcmp(bytes, "b\x7F??", 4), 0);
    EXPECT_TRUE(UcsToA7sCheck("abc", bytes, 4));
    EXPECT_FALSE(UcsToA7sCheck("abc", bytes, 3));
    EXPECT_EQ(std::memcmp(bytes, "ab", 3), 0);
    EXPECT_FALSE(UcsToA7sCheck("x\xE4", bytes, 4));
    EXPECT_EQ(std::memcmp(bytes, "x", 2), 0);
    KEL_RAW text[] = {'A', '9', 0xE4};
    A7nToE8nInPlace(text, 3);
    EXPECT_EQ(std::memcmp(text, "\xC1\xF9\x7B", 3), 0);
    text[2] = 0x43;  // a letter that isn't 7-bit
    E8nToA7nInPlace(text, 3);
    EXPECT_EQ(std::memcmp(text, "A9#", 3), 0);
}

TEST(Flat, Utf8Sequences) {
    const struct {
        std::string bytes;
        Utf8State state;
        KEL_UINT character;
        size_t length;
    } cases[] = {
        {"\x7F", Utf8State::whole, 0x7F, 1},
        {"\xC2\x80", Utf8State::whole, 0x80, 2},
        {"\xDF\xBF", Utf8State::whole, 0x7FF, 2},
        {"\xE0\xA0\x80", Utf8State::whole, 0x800, 3},
        {"\xEF\xBF\xBF", Utf8State::whole, 0xFFFF, 3},
        {"\xF0\x90\x80\x80", Utf8State::whole, 0x10000, 4},
        {"\xF4\x8F\xBF\xBF", Utf8State::whole, 0x10FFFF, 4},
        {"\x80", Utf8State::broken, 0, 1},
        {"\xC0\x80", Utf8State::broken, 0, 1},          // overlong
        {"\xE0\x9F\xBF", Utf8State::broken, 0, 1},      // overlong
        {"\xF0\x8F\xBF\xBF", Utf8State::broken, 0, 1},  // overlong
        {"\xED\xA0\x80", Utf8State::broken, 0, 1},      // surrogate
        {"\xF4\x90\x80\x80", Utf8State::broken, 0, 1},  // above the last character
        {"\xF5\x80\x80\x80", Utf8State::broken, 0, 1},
        {"\xE2\x82(", Utf8State::broken, 0, 2},
        {"\xC3", Utf8State::unfinished, 0, 1},
        {"\xF0\x9F\x98", Utf8State::unfinished, 0, 3},
    };
    for (const auto& test : cases) {
        const KEL_RAW* const data = raw(test.bytes.data());
        const Utf8Step step = readUtf8(data, data + test.bytes.size());
        EXPECT_EQ(step.state, test.state) << (&test - cases);
        EXPECT_EQ(step.length, test.length) << (&test - cases);
        if (test.state != Utf8State::whole) continue;
        EXPECT_EQ(step.character, test.character);
        KEL_RAW written[longestUtf8Sequence];
        ASSERT_EQ(writeUtf8(test.character, written), test.length);
        EXPECT_EQ(std::memcmp(written, data, test.length), 0);
    }
}

}  // namespace
