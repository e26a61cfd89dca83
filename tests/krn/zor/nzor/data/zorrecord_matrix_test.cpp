// The conversions of the matrix: values, buffers and failures. Which cells there are, tells
// zorrecord_cells_test.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "data/zorconversion.h"
#include "datafixture.h"

namespace {

using namespace datatest;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr unsigned pointer = sizeof(void*);

/** One field of each type; the constants are their indexes. */
enum : unsigned {
    CHAR,
    DATE,
    BCD,
    TIME,
    BYTE,
    NUM,
    FLOAT,
    INT,
    INT2,
    INT1,
    INT8,
    STRING,
    XSTRING,
    TABLE,
    STRUCT,
    DECF,
    CDAY
};

ZorMetaDataRef<ZorRecordMetaData> everyType() {
    auto inner = makeType({{"NO", ZORTYPE_INT, 4}}, "INNER");
    return makeType({{"CHAR", ZORTYPE_CHAR, 3},
                     {"DATE", ZORTYPE_DATE, 8},
                     {"BCD", ZORTYPE_BCD, 3, 2},
                     {"TIME", ZORTYPE_TIME, 6},
                     {"BYTE", ZORTYPE_BYTE, 5},
                     {"NUM", ZORTYPE_NUM, 2},
                     {"FLOAT", ZORTYPE_FLOAT, 8},
                     {"INT", ZORTYPE_INT, 4},
                     {"INT2", ZORTYPE_INT2, 2},
                     {"INT1", ZORTYPE_INT1, 1},
                     {"INT8", ZORTYPE_INT8, 8},
                     {"STRING", ZORTYPE_STRING, pointer},
                     {"XSTRING", ZORTYPE_XSTRING, pointer},
                     {"TABLE", ZORTYPE_TABLE, pointer, 0, inner.get()},
                     {"STRUCT", ZORTYPE_STRUCTURE, 16, 0, inner.get()},
                     {"DECF", ZORTYPE_DECF16, 8},
                     {"CDAY", ZORTYPE_CDAY, 2}});
}

class Matrix : public testing::Test {
  protected:
    ZorStructure record{everyType().get()};

    /** Runs an access and gives the text of its conversion failure, empty for success. */
    static KEL_string failure(const std::function<void()>& access) {
        return messageOf<ZorTypeConversionException>(access);
    }
    void setBytes(unsigned index, std::string_view bytes) {
        record.setValue(index, reinterpret_cast<const KEL_RAW*>(bytes.data()),
                        static_cast<unsigned>(bytes.size()), ZORTYPE_BYTE);
    }
    KEL_string hex(unsigned index) {
        KEL_RAW buffer[64];
        unsigned length = 0;
        record.getValue(index, buffer, sizeof buffer, ZORTYPE_BYTE, &length);
        KEL_string text;
        Hex::encode(std::span<const KEL_RAW>(buffer, length), text);
        return text;
    }
};

TEST_F(Matrix, InitialValues) {
    const std::pair<unsigned, std::string_view> cases[] = {
        {CHAR, "202020"},
        {DATE, "3030303030303030"},
        {BCD, "00000C"},
        {TIME, "303030303030"},
        {BYTE, "0000000000"},
        {NUM, "3030"},
        {FLOAT, "0000000000000000"},
        {INT, "00000000"},
        {INT2, "0000"},
        {INT1, "00"},
        {INT8, "0000000000000000"},
        {XSTRING, ""},
        {DECF, "0000000000000000"},
        {CDAY, "00000000"},  // locking widened its slot to the alignment

    };
    for (const auto& [index, bytes] : cases)
        EXPECT_EQ(hex(index), bytes) << record.getName(index);
    ZorTable* table = nullptr;
    record.getValue(TABLE, &table, false);
    EXPECT_EQ(table, nullptr);
}

TEST_F(Matrix, WritingText) {
    struct Case {
        unsigned index;
        std::string_view text;
        std::string_view result;  // as bytes, or as text where the field is held by pointer
    };
    const Case cases[] = {
        {CHAR, "ABCDE", "414243"},
        {CHAR, "A", "412020"},
        {CHAR, "", "202020"},
        {DATE, "20240230", "3230323430323330"},
        {DATE, "2024-02-30", "3230323430323330"},
        {DATE, "2025x12y31", "3230323531323331"},
        {TIME, "235959", "323335393539"},
        {TIME, "23:59:58", "323335393538"},
        {BCD, "1.255", "00126C"},
        {BCD, "-1.255", "00126D"},
        {BYTE, "AB", "AB00000000"},
        {BYTE, "0102030405FF", "0102030405"},
        {BYTE, "", "0000000000"},
        {NUM, "007", "3037"},
        {NUM, "7 \0"sv, "3037"},
        {NUM, "", "3030"},
        {FLOAT, "1.5", "000000000000F83F"},
        {INT, "-2", "FEFFFFFF"},
        {INT2, "258", "0201"},
        {INT1, "255", "FF"},
        {INT8, "-9223372036854775808", "0000000000000080"},
        {XSTRING, "00FF", "00FF"},
        {XSTRING, "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(record.getName(c.index)) + " " + KEL_string(c.text));
        setText(record, c.index, c.text);
        EXPECT_EQ(hex(c.index), c.result);
    }
    setText(record, STRING, "any\0thing"sv);
    EXPECT_EQ(getText(record, STRING), "any\0thing"sv);
    setText(record, STRING, "");
    EXPECT_EQ(record.getStringLength(STRING), 0u);
    setText(record, CDAY, "12");  // no accessor: nothing happens
    EXPECT_EQ(hex(CDAY), "00000000");
}

TEST_F(Matrix, WritingTextThatDoesNotFit) {
    setText(record, DATE, "20240101");
    setText(record, NUM, "11");
    setText(record, BCD, "1");
    struct Case {
        unsigned index;
        std::string_view text;
        std::string_view message;
    };
    const Case cases[] = {
        {DATE, "12", "Cannot convert string value 12 for the field DATE to type ZORTYPE_DATE"},
        {TIME, "1234567", "Cannot convert string value 1234567 for the field TIME to type ZORTYPE_TIME"},
        {BCD, "", "Cannot convert string value  for the field BCD to type ZORTYPE_BCD"},
        {BCD, "1234", "Cannot convert string value 1234 for the field BCD to type ZORTYPE_BCD"},
        {BCD, "1z", "Cannot convert string value 1z at position 1 for the field BCD to type ZORTYPE_BCD"},
        {BYTE, "ab", "Cannot convert string value ab at position 0 for the field BYTE to type ZORTYPE_BYTE"},
        {NUM, "123",
         "NUM of type ZORTYPE_CHAR value=123 cannot be converted to type ZORTYPE_NUM with the field length "
         "2"},
        {NUM, "2a", "NUM of type ZORTYPE_CHAR value=2a cannot be converted to type ZORTYPE_NUM"},
        {FLOAT, "1,5",
         "Cannot convert string value 1,5 at position 1 for the field FLOAT to type ZORTYPE_FLOAT"},
        {FLOAT, "Inf",
         "Cannot convert string value Inf at position 3 for the field FLOAT to type ZORTYPE_FLOAT"},
        {INT, "2147483648", "Cannot convert string value 2147483648 for the field INT to type ZORTYPE_INT"},
        {INT, "-", "Cannot convert string value - at position 0 for the field INT to type ZORTYPE_INT"},
        {INT2, "32768", "Cannot convert string value 32768 for the field INT2 to type ZORTYPE_INT2"},
        {INT1, "300", "Cannot convert string value 300 for the field INT1 to type ZORTYPE_INT1"},
        {INT1, "-1", "Cannot convert string value -1 for the field INT1 to type ZORTYPE_INT1"},
        {INT8, "9223372036854775808",
         "Cannot convert string value 9223372036854775808 for the field INT8 to type ZORTYPE_INT8"},
        {XSTRING, "0g",
         "Cannot convert string value 0g at position 1 for the field XSTRING to type ZORTYPE_XSTRING"},
        {TABLE, "1", "TABLE of type ZORTYPE_TABLE cannot be converted to type KEL_CHAR*"},
        {STRUCT, "1", "STRUCT of type ZORTYPE_STRUCTURE cannot be converted to type KEL_CHAR*"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(failure([&] { setText(record, c.index, c.text); }), c.message);
    // BCD and NUM are reset, all others are as they were.
    EXPECT_EQ(hex(BCD), "00000C");
    EXPECT_EQ(hex(NUM), "3030");
    EXPECT_EQ(rawBytes(record, DATE), "20240101");
    EXPECT_EQ(hex(INT), "00000000");

    const auto fixed = [&](unsigned index, ZORTYPE source) {
        return failure([&] { record.setValue(index, "20240101", 8, source); });
    };
    EXPECT_EQ(fixed(CHAR, ZORTYPE_DATE),
              "value with the type ZOR_DATE cannot be converted to type ZORTYPE_CHAR on the field CHAR");
    EXPECT_EQ(fixed(DATE, ZORTYPE_TIME),
              "value with the type ZOR_TIME cannot be converted to type ZORTYPE_DATE on the field DATE");
    EXPECT_EQ(fixed(DATE, ZORTYPE_DATE), "");
}

/** Gives every field a value and its text, in order of the indexes. */
const std::pair<unsigned, std::string_view> texts[] = {
    {CHAR, "A  "}, {DATE, "20240131"},    {BCD, "-12.34"},   {TIME, "235959"}, {BYTE, "0102030405"},
    {NUM, "07"},   {FLOAT, "1.5"},        {INT, "42"},       {INT2, "-7"},     {INT1, "200"},
    {INT8, "-9"},  {STRING, "long text"}, {XSTRING, "ABCD"},
};

TEST_F(Matrix, ReadingAsText) {
    for (const auto& [index, text] : texts)
        setText(record, index, text);
    for (const auto& [index, text] : texts) {
        SCOPED_TRACE(record.getName(index));
        const std::string_view value = index == CHAR ? "A" : text;
        EXPECT_EQ(getText(record, index), value);

        const auto needed = static_cast<unsigned>(value.size());
        KEL_CHAR buffer[32];
        unsigned length = 0;
        std::memset(buffer, '#', sizeof buffer);
        record.getValue(index, buffer, needed + 2, ZORTYPE_CHAR, &length);
        EXPECT_EQ(std::string_view(buffer, needed + 3), KEL_string(value) + "  #");
        EXPECT_EQ(length, needed);

        // One too short: the length is told, CHAR leaves blanks, STRING leaves the buffer alone.
        length = 0;
        const auto read = [&](unsigned size, ZORTYPE requested) {
            return messageOf<ZorBufferTooSmallException>(
                [&] { record.getValue(index, buffer, size, requested, &length); });
        };
        EXPECT_EQ(read(needed - 1, ZORTYPE_CHAR),
                  "value with the type ZORTYPE_CHAR does not fit into given buffer with the length " +
                      std::to_string(needed - 1) + " required buffer length " + std::to_string(needed));
        EXPECT_EQ(length, needed);
        EXPECT_EQ(std::string_view(buffer, needed - 1), KEL_string(needed - 1, ' '));
        length = 0;
        EXPECT_EQ(read(needed, ZORTYPE_STRING),
                  "value with the type ZORTYPE_STRING does not fit into given buffer with the length " +
                      std::to_string(needed) + " required buffer length " + std::to_string(needed + 1));
        EXPECT_EQ(length, needed);
        EXPECT_EQ(std::string_view(buffer, needed - 1), KEL_string(needed - 1, ' '));
    }
}

TEST_F(Matrix, ReadingAsTextWhereThereIsNone) {
    KEL_CHAR buffer[8];
    const auto read = [&](unsigned index, ZORTYPE requested) {
        return failure([&] { record.getValue(index, buffer, sizeof buffer, requested, nullptr); });
    };
    EXPECT_EQ(read(CHAR, ZORTYPE_DATE), "CHAR of type ZORTYPE_CHAR cannot be converted to type ZORTYPE_DATE");
    EXPECT_EQ(read(DATE, ZORTYPE_TIME), "DATE of type ZORTYPE_DATE cannot be converted to type ZORTYPE_TIME");
    EXPECT_EQ(read(CHAR, ZORTYPE_INT), "CHAR of type ZORTYPE_CHAR cannot be converted to type ZORTYPE_INT");
    std::memset(record.getBuffer(BCD), 0xFF, 3);
    EXPECT_EQ(read(BCD, ZORTYPE_CHAR),
              "Cannot convert byte value FFFFFF at position 0 for BCD of type ZORTYPE_BCD");
}

TEST_F(Matrix, ReadingAsDigits) {
    struct Case {
        unsigned index;
        std::string_view text;
        std::string_view digits;
    };
    const Case cases[] = {
        {INT, "42", "00042"}, {INT, "-5", "000-5"}, {INT2, "7", "00007"},
        {INT1, "9", "00009"}, {INT8, "0", "00000"}, {CHAR, "7 ", "00007"},
        {CHAR, "", "00000"},  {NUM, "12", "00012"}, {STRING, "00123", "00123"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        setText(record, c.index, c.text);
        KEL_CHAR buffer[5];
        unsigned length = 0;
        record.getValue(c.index, buffer, sizeof buffer, ZORTYPE_NUM, &length);
        EXPECT_EQ(std::string_view(buffer, sizeof buffer), c.digits);
        EXPECT_EQ(length, 5u);
    }
    KEL_CHAR buffer[4];
    unsigned length = 0;
    const auto read = [&](unsigned index, unsigned size) {
        record.getValue(index, buffer, size, ZORTYPE_NUM, &length);
    };
    setText(record, CHAR, "1a");
    setText(record, STRING, "01 ");
    setText(record, INT, "-12");
    EXPECT_EQ(failure([&] { read(CHAR, 4); }),
              "CHAR of type ZORTYPE_CHAR value=1a cannot be converted to type ZORTYPE_NUM");
    EXPECT_EQ(failure([&] { read(STRING, 4); }),
              "STRING of type ZORTYPE_STRING value=01  cannot be converted to type ZORTYPE_NUM");
    EXPECT_EQ(messageOf<ZorBufferTooSmallException>([&] { read(INT, 2); }),
              "value with the type ZORTYPE_NUM does not fit into given buffer with the length 2 required "
              "buffer length 3");
    EXPECT_EQ(length, 3u);
    read(INT, 3);
    EXPECT_EQ(std::string_view(buffer, 3), "-12");
}

TEST_F(Matrix, TextForm) {
    for (const auto& [index, text] : texts)
        setText(record, index, text);
    const auto form = [&](unsigned index) {
        KEL_string text("old");
        record.getValue(index, text);
        return text;
    };
    EXPECT_EQ(form(DATE), "2024-01-31");
    EXPECT_EQ(form(TIME), "23:59:59");
    EXPECT_EQ(form(CHAR), "A");
    EXPECT_EQ(form(XSTRING), "ABCD");
    EXPECT_EQ(form(CDAY), "");
    for (const unsigned index : {TABLE, STRUCT})
        EXPECT_EQ(failure([&] { form(index); }),
                  "ZorRecord::getCharsFieldValue was invoked for ZORTYPE_STRUCTURE");
}

TEST_F(Matrix, WritingBytes) {
    struct Case {
        unsigned index;
        std::string_view bytes;
        std::string_view result;
    };
    const Case cases[] = {
        {CHAR, "\xAB"sv, "414220"},          // the digits "AB" and a blank
        {CHAR, "\xAB\xCD\xEF"sv, "414243"},  // cut to "ABC"
        {BYTE, "\x01\x02\x03"sv, "0102030000"},
        {BYTE, "1234567", "3132333435"},
        {BCD, "\x00\x12\x3D"sv, "00123D"},
        {INT, "\x01\x02\x03\x04"sv, "01020304"},
        {INT2, "\x01\x02"sv, "0102"},
        {INT1, "\x7F"sv, "7F"},
        {INT8, "12345678", "3132333435363738"},
        {FLOAT, "12345678", "3132333435363738"},
        {DECF, "12345678", "3132333435363738"},
        {XSTRING, "\x00\xFF"sv, "00FF"},
        {XSTRING, "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(record.getName(c.index));
        setBytes(c.index, c.bytes);
        EXPECT_EQ(hex(c.index), c.result);
    }
    setBytes(STRING, "\xAB\x01");
    EXPECT_EQ(getText(record, STRING), "AB01");

    for (const unsigned index : {BCD, FLOAT, INT, INT2, INT1, INT8, DECF})
        EXPECT_TRUE(failure([&] {
                        setBytes(index, "12345");
                    }).ends_with(" cannot be converted to type ZORTYPE_BYTE"));
}

TEST_F(Matrix, ReadingBytes) {
    setText(record, XSTRING, "0102");
    KEL_RAW buffer[3] = {9, 9, 9};
    unsigned length = 0;
    record.getValue(XSTRING, buffer, 3, ZORTYPE_BYTE, &length);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(buffer[2], 9);  // no padding
    EXPECT_EQ(messageOf<ZorBufferTooSmallException>(
                  [&] { record.getValue(XSTRING, buffer, 1, ZORTYPE_BYTE, &length); }),
              "value with the type ZORTYPE_BYTE does not fit into given buffer with the length 1 required "
              "buffer length 2");
}

template <class T>
T number(ZorRecord& record, unsigned index) {
    T value{};
    record.getValue(index, &value);
    return value;
}

TEST_F(Matrix, ReadingIntegers) {
    setText(record, INT8, "4294967338");  // 2^32 + 42
    EXPECT_EQ(number<ZOR_INT>(record, INT8), 42);
    EXPECT_EQ(number<ZOR_INT1>(record, INT8), 42);
    EXPECT_EQ(number<ZOR_INT2>(record, INT8), 42);
    EXPECT_EQ(number<ZOR_INT8>(record, INT8), 4294967338LL);
    setText(record, INT, "-65537");
    EXPECT_EQ(number<ZOR_INT1>(record, INT), 255);
    EXPECT_EQ(number<ZOR_INT2>(record, INT), -1);
    EXPECT_EQ(number<ZOR_INT8>(record, INT), -65537);
    setText(record, INT2, "-2");
    EXPECT_EQ(number<ZOR_INT>(record, INT2), -2);
    EXPECT_EQ(number<ZOR_INT1>(record, INT2), 254);
    EXPECT_EQ(number<ZOR_INT8>(record, INT2), -2);
    setText(record, INT1, "200");
    EXPECT_EQ(number<ZOR_INT>(record, INT1), 200);
    EXPECT_EQ(number<ZOR_INT2>(record, INT1), 200);
    EXPECT_EQ(number<ZOR_INT8>(record, INT1), 200);

    setText(record, CHAR, "-4x");
    setText(record, NUM, "37");
    setText(record, BCD, "-12.99");
    setText(record, FLOAT, "-7.9");
    EXPECT_EQ(number<ZOR_INT>(record, CHAR), -4);
    EXPECT_EQ(number<ZOR_INT>(record, NUM), 37);
    EXPECT_EQ(number<ZOR_INT>(record, BCD), -12);
    EXPECT_EQ(number<ZOR_INT>(record, FLOAT), -7);
    for (const std::string_view beyond : {"2147483648", "-1e30"}) {
        setText(record, FLOAT, beyond);
        EXPECT_EQ(number<ZOR_INT>(record, FLOAT), -2147483647 - 1);
    }
}

TEST(ByteFields, ReadAsBigEndianIntegers) {
    OwnStructure record{{"B1", ZORTYPE_BYTE, 1},
                        {"B2", ZORTYPE_BYTE, 2},
                        {"B4", ZORTYPE_BYTE, 4},
                        {"B8", ZORTYPE_BYTE, 8},
                        {"B3", ZORTYPE_BYTE, 3}};
    setText(record, 0, "FE");
    setText(record, 1, "FFFE");
    setText(record, 2, "00000102");
    setText(record, 3, "0102030400000007");
    EXPECT_EQ(getInt(record, 0), 254);
    EXPECT_EQ(getInt(record, 1), -2);
    EXPECT_EQ(getInt(record, 2), 258);
    EXPECT_EQ(getInt(record, 3), 7);
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { getInt(record, 4); }),
              "B3 of type ZORTYPE_BYTE cannot be converted to type ZOR_INT");
}

TEST_F(Matrix, WritingIntegers) {
    record.setValue(INT1, ZOR_INT{300});
    EXPECT_EQ(hex(INT1), "2C");
    record.setValue(INT2, ZOR_INT8{65537});
    EXPECT_EQ(hex(INT2), "0100");
    record.setValue(INT, ZOR_INT8{-1});
    EXPECT_EQ(hex(INT), "FFFFFFFF");
    record.setValue(INT8, ZOR_INT2{-2});
    EXPECT_EQ(hex(INT8), "FEFFFFFFFFFFFFFF");
    record.setValue(INT8, ZOR_INT1{200});
    EXPECT_EQ(hex(INT8), "C800000000000000");
    record.setValue(CHAR, ZOR_INT{-4});
    EXPECT_EQ(rawBytes(record, CHAR), "-4 ");
    record.setValue(NUM, ZOR_INT1{7});
    EXPECT_EQ(rawBytes(record, NUM), "07");
    record.setValue(STRING, ZOR_INT8{-9223372036854775807LL - 1});
    EXPECT_EQ(getText(record, STRING), "-9223372036854775808");
    EXPECT_EQ(failure([&] { record.setValue(NUM, ZOR_INT2{-1}); }),
              "NUM of type ZORTYPE_INT2 value=-1 cannot be converted to type ZORTYPE_NUM");
}

TEST_F(Matrix, Floats) {
    record.setValue(FLOAT, 1.5);
    EXPECT_EQ(number<ZOR_FLOAT>(record, FLOAT), 1.5);
    record.setValue(BCD, -12.345);
    EXPECT_EQ(hex(BCD), "01235D");
    EXPECT_EQ(number<ZOR_FLOAT>(record, BCD), -12.35);
    record.setValue(NUM, 42.0);
    EXPECT_EQ(rawBytes(record, NUM), "42");
    record.setValue(CHAR, 0.25);
    EXPECT_EQ(rawBytes(record, CHAR), "0.2");
    record.setValue(STRING, 100.0);
    EXPECT_EQ(getText(record, STRING), "100");
    EXPECT_NE(failure([&] { record.setValue(NUM, 1.5); }), "");
    EXPECT_NE(failure([&] { record.setValue(BCD, 1e30); }), "");
}

TEST_F(Matrix, IndexAndPointerAreChecked) {
    const auto refused = [](const std::function<void()>& access) {
        return messageOf<ZorInvalidParameterException>(access);
    };
    const unsigned count = record.getFieldCount();
    EXPECT_EQ(refused([&] { getInt(record, count); }), "index does not exist");
    EXPECT_EQ(refused([&] { record.setValue(0xFFFFFFFF, ZOR_INT{1}); }), "index does not exist");
    EXPECT_EQ(refused([&] { record.getStringLength(count); }), "index does not exist");
    EXPECT_EQ(refused([&] { record.getValue(INT, static_cast<ZOR_INT*>(nullptr)); }), "value is null");
    EXPECT_EQ(refused([&] { record.setValue(CHAR, static_cast<const KEL_CHAR*>(nullptr), 0, ZORTYPE_CHAR); }),
              "value is null");
    EXPECT_EQ(refused([&] { record.getStringLength(CHAR); }), "Field not of type STRING or XSTRING");
}

TEST_F(Matrix, NegativeLengthsReadNoFurtherThanTheField) {
    constexpr unsigned negative = 0xFFFFFFFF;
    // Heap blocks of exactly the field's size: a sanitizer sees any byte read beyond.
    const auto tiny = [](unsigned size) { return std::vector<KEL_CHAR>(size, '1'); };
    const auto write = [&](unsigned index, unsigned size) {
        const auto text = tiny(size);
        record.setValue(index, text.data(), negative, ZORTYPE_CHAR);
    };
    write(CHAR, 3);
    EXPECT_EQ(rawBytes(record, CHAR), "111");
    write(BYTE, 10);
    EXPECT_EQ(hex(BYTE), "1111111111");
    for (const unsigned index : {DATE, TIME})
        EXPECT_NE(failure([&] { write(index, 1); }), "");
    for (const unsigned index : {BCD, NUM, FLOAT, INT, INT2, INT1, INT8, STRING, XSTRING, DECF})
        EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { write(index, 1); }),
                  "value length is too large");

    const auto writeBytes = [&](unsigned index, unsigned size) {
        const auto bytes = tiny(size);
        record.setValue(index, reinterpret_cast<const KEL_RAW*>(bytes.data()), negative, ZORTYPE_BYTE);
    };
    writeBytes(CHAR, 2);
    EXPECT_EQ(rawBytes(record, CHAR), "313");
    writeBytes(BYTE, 5);
    for (const unsigned index : {BCD, FLOAT, INT, INT2, INT1, INT8, DECF, DATE, NUM})
        EXPECT_NE(failure([&] { writeBytes(index, 1); }), "");
    for (const unsigned index : {STRING, XSTRING})
        EXPECT_NE(messageOf<ZorInvalidParameterException>([&] { writeBytes(index, 1); }), "");

    // A buffer that would have to be filled is refused; one that takes the value alone is not.
    auto buffer = tiny(4);
    for (const ZORTYPE requested : {ZORTYPE_CHAR, ZORTYPE_NUM})
        EXPECT_EQ(messageOf<ZorInvalidParameterException>(
                      [&] { record.getValue(NUM, buffer.data(), negative, requested, nullptr); }),
                  "buffer length is too large");
    record.getValue(NUM, buffer.data(), negative, ZORTYPE_STRING, nullptr);
    EXPECT_STREQ(buffer.data(), "00");
}

TEST(ShortSlots, GiveAndTakeOnlyTheBytesTheyHave) {
    // A description may give a field fewer bytes than its type: the neighbour stays whole.
    auto desc = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("SHORT", "custom", 8, false);
    unsigned offset = 0;
    for (const ZORTYPE type : {ZORTYPE_INT, ZORTYPE_DATE, ZORTYPE_FLOAT, ZORTYPE_TIME, ZORTYPE_INT8}) {
        desc->add("F" + std::to_string(type), type, 1, offset, 2, 2 * offset, 0);
        desc->add("G" + std::to_string(type), ZORTYPE_BYTE, 1, offset + 1, 2, 2 * offset + 2, 0);
        offset += 2;
    }
    desc->setRecordLength(offset, 2 * offset);
    ZorStructure record(desc.get());
    record.setValue(0, ZOR_INT{0x01020304});
    setText(record, 2, "20240101");
    record.setValue(4, 1.5);
    setText(record, 6, "235959");
    record.setValue(8, ZOR_INT8{-1});
    for (const unsigned neighbour : {1u, 3u, 5u, 7u, 9u})
        EXPECT_EQ(rawBytes(record, neighbour), "\0"s);
    EXPECT_EQ(getInt(record, 0), 4);
    KEL_CHAR date[8];
    record.getValue(2, date, 8, ZORTYPE_DATE, nullptr);
    EXPECT_EQ(date[0], '2');
    KEL_string text;
    record.getValue(2, text);
    EXPECT_EQ(text, "2");
}

TEST(SecretFields, NeverShowTheirValueInMessages) {
    OwnStructure record{{"PASSWORD", ZORTYPE_NUM, 4}, {"NewPasswd", ZORTYPE_INT, 4}};
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { setText(record, 0, "secret"); }).find("secret"),
              KEL_string::npos);
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { setText(record, 1, "secret"); }).find("secret"),
              KEL_string::npos);
}

}  // namespace
