// Framing of items, in both directions, against bytes worked out by hand.

#include <gtest/gtest.h>

#include "memorystream.h"
#include "wire/scramble.h"

namespace {

TEST(Framing, writesShortAndLongForms) {
    MemoryItemStream stream;
    stream.writeZorFlag(ZORID_End);
    EXPECT_EQ(stream.takeOut(), (Bytes{0xFF, 0xFF, 0, 0, 0xFF, 0xFF}));
    stream.writeZorInt2(ZORID_NgZorEncoding, 0x1234);
    EXPECT_EQ(stream.takeOut(), (Bytes{0x01, 0x60, 0, 2, 0x12, 0x34, 0x01, 0x60}));
    stream.writeZorInt4(ZORID_Protocol, 0x00000E0B);
    EXPECT_EQ(stream.takeOut(), (Bytes{0x01, 0x03, 0, 4, 0, 0, 0x0E, 0x0B, 0x01, 0x03}));
    stream.writeZorTableInfo(3, 100);
    EXPECT_EQ(stream.takeOut(), (Bytes{0x03, 0x02, 0, 8, 0, 0, 0, 100, 0, 0, 0, 3, 0x03, 0x02}));
}

TEST(Framing, changesToTheLongFormAt65535Bytes) {
    const struct {
        size_t length;
        Bytes begin;
    } cases[] = {
        {58, {0x02, 0x03, 0x00, 58}},  // the last that goes out in one piece
        {59, {0x02, 0x03, 0x00, 59}},
        {65534, {0x02, 0x03, 0xFF, 0xFE}},
        {65535, {0x02, 0x03, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0xFF}},
        {70000, {0x02, 0x03, 0xFF, 0xFF, 0x00, 0x01, 0x11, 0x70}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        MemoryItemStream stream;
        Bytes payload(c.length, 0x5A);
        stream.writeZorData(ZORID_FieldValue, payload);
        const Bytes written = stream.takeOut();
        EXPECT_EQ(written, joined({c.begin, payload, {0x02, 0x03}}));
        stream.layIn(written);
        unsigned length = 0;
        EXPECT_EQ(stream.readZorIDBegin(length), ZORID_FieldValue);
        EXPECT_EQ(length, c.length);
        stream.skipBytes(length);
        EXPECT_TRUE(stream.readAndCheckZorIDEnd(ZORID_FieldValue));
        EXPECT_TRUE(stream.readToEnd());
    }
}

TEST(Framing, aCutItemIsAFailureAtEveryByte) {
    const Bytes whole = item(ZORID_FieldValue, "abcdef");
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        MemoryItemStream stream;
        stream.layIn(Bytes(whole.begin(), whole.begin() + static_cast<long>(cut)));
        EXPECT_THROW(stream.readUpTo(ZORGET_FIELDVALUE, nullptr, ZORID_NotUsed), ZorCommunicationException);
    }
}

TEST(Framing, textsAreCutToTheirRoomAndTheRestIsSkipped) {
    MemoryItemStream stream;
    stream.layIn(joined({bytesOf("abcdef"), {0x77}}));
    KEL_UC text[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(stream.readZorChars(text, 3, 6), 3u);
    EXPECT_EQ(std::string(text, 4), "abcx");
    KEL_RAW next = 0;
    stream.readBytes(&next, 1);
    EXPECT_EQ(next, 0x77);
}

TEST(Framing, numbersOfAnotherLengthBreakTheProtocol) {
    MemoryItemStream stream;
    stream.layIn({1, 2, 3});
    EXPECT_THROW(stream.readZorInt4(3), ZorBaseException);
    EXPECT_TRUE(stream.broken);
}

TEST(Strings, travelAsUtf8WithAClosingNul) {
    const struct {
        std::string text;
        Bytes payload;
    } cases[] = {
        {"", {}},
        {"abc", {0x61, 0x62, 0x63, 0x00}},
        {"\xE4\xDF", {0xC3, 0xA4, 0xC3, 0x9F, 0x00}},  // a-umlaut and sharp s of Latin-1
    };
    for (const auto& c : cases) {
        MemoryItemStream stream;
        stream.writeZorUTF8Chars(ZORID_FieldValue, c.text);
        EXPECT_EQ(stream.takeOut(), item(ZORID_FieldValue, c.payload));
        stream.layIn(c.payload);
        KEL_string back = "old";
        stream.readZorUTF8Chars(back, static_cast<unsigned>(c.payload.size()));
        EXPECT_EQ(back, c.text);
    }
}

TEST(Strings, ofSevenBitsMayBeOtherCharactersInTheOwnPage) {
    // In EBCDIC, 0x40 and 0x5C are a blank and a star; they travel as 0x20 and 0x2A.
    MemoryItemStream stream;
    stream.control.codepage.assign("0120");
    stream.writeZorUTF8Chars(ZORID_FieldValue, "\x40\x5C");
    EXPECT_EQ(stream.takeOut(), item(ZORID_FieldValue, bytesOf(std::string(" *\0", 3))));
    stream.layIn(bytesOf(" *"));
    KEL_string back;
    stream.readZorUTF8Chars(back, 2);
    EXPECT_EQ(back, "\x40\x5C");
}

TEST(Strings, aSequenceMayCrossTheBorderOfTwoChunks) {
    // 64 KiB are read at once; a two-byte character lies across that border, and one behind it.
    std::string text(64 * 1024 - 1, 'x');
    text += "\xE4\xE4";
    MemoryItemStream stream;
    stream.writeZorUTF8Chars(ZORID_FieldValue, text);
    Bytes written = stream.takeOut();
    stream.layIn(written);
    unsigned length = 0;
    stream.readZorIDBegin(length);
    EXPECT_EQ(length, text.size() + 2 + 1);
    KEL_string back;
    stream.readZorUTF8Chars(back, length);
    EXPECT_EQ(back, text);
}

TEST(Strings, anAnnouncedLengthReservesNothing) {
    MemoryItemStream stream;
    stream.layIn(bytesOf("short"));
    KEL_string text;
    EXPECT_THROW(stream.readZorUTF8Chars(text, 0xFFFFFFF0u), ZorCommunicationException);
    EXPECT_LT(text.capacity() + stream.scratch().capacity(), 1u << 20);
    stream.layIn(bytesOf("short"));
    std::vector<KEL_RAW> bytes;
    EXPECT_THROW(stream.readZorXString(bytes, 0xFFFFFFF0u), ZorCommunicationException);
    EXPECT_LT(bytes.capacity(), 1u << 20);
}

TEST(Numbers, areSwappedOnlyForAPartnerOfTheOtherByteOrder) {
    const struct {
        ZORTYPE type;
        unsigned width;
    } cases[] = {{ZORTYPE_INT2, 2}, {ZORTYPE_CDAY, 2},    {ZORTYPE_INT, 4},    {ZORTYPE_DTDAY, 4},
                 {ZORTYPE_INT8, 8}, {ZORTYPE_UTCLONG, 8}, {ZORTYPE_DECF16, 8}, {ZORTYPE_DECF34, 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        MemoryItemStream stream;
        Bytes number(16);
        for (unsigned i = 0; i < number.size(); ++i)
            number[i] = static_cast<KEL_RAW>(i);
        Bytes expected = number;
        stream.convertNumberAfterRead(number.data(), c.type);
        EXPECT_EQ(number, expected);
        stream.control.conv_int = true;
        stream.convertNumberAfterRead(number.data(), c.type);
        std::reverse(expected.begin(), expected.begin() + c.width);
        EXPECT_EQ(number, expected);
    }
    MemoryItemStream stream;
    KEL_RAW text[8] = {};
    EXPECT_THROW(stream.convertNumberAfterRead(text, ZORTYPE_CHAR), ZorTypeConversionException);
}

TEST(Scramble, followsTheAlgorithmByHand) {
    // Key 1: start index (0 ^ 2 ^ 1) & 63 = 3, factor 255. Byte 0: 'A' ^ (255*0) ^ k[3]; then the factor is
    // (255 + 1) & 255 = 0, so byte 1 is 'B' ^ k[4]; then the factor is 1: byte 2 is 'C' ^ (1*2) ^ k[5].
    KEL_RAW data[3] = {'A', 'B', 'C'};
    ub_scramble(data, 1);
    EXPECT_EQ(data[0], 'A' ^ 0xF4);
    EXPECT_EQ(data[1], 'B' ^ 0x82);
    EXPECT_EQ(data[2], 'C' ^ 2 ^ 0x8E);
    ub_scramble(data, 1);
    EXPECT_EQ(std::string(std::begin(data), std::end(data)), "ABC");
}

TEST(Scramble, thePasswordIsNowhereInItsWireForm) {
    EXPECT_TRUE(scrambleChars("").empty());
    const std::string password = "Secret-Password";
    const Bytes scrambled = scrambleChars(password);
    ASSERT_EQ(scrambled.size(), password.size() + 4);
    EXPECT_EQ(std::search(scrambled.begin(), scrambled.end(), password.begin(), password.end()),
              scrambled.end());
    std::uint32_t key = 0;
    std::memcpy(&key, scrambled.data(), sizeof key);
    Bytes text(scrambled.begin() + 4, scrambled.end());
    ub_scramble(text, key);
    EXPECT_EQ(std::string(text.begin(), text.end()), password);
}

}  // namespace
