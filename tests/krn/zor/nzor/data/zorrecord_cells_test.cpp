// Which cells of the matrix there are at all, and the cells of decimal floating point.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <tuple>

#include "base/keldecf/keldecf.h"
#include "datafixture.h"
#include "error/zorliterals.h"

namespace {

using namespace datatest;

/** One field of each type, with a value that all conversions take, where there is one. */
struct Field {
    ZORTYPE type;
    unsigned length;
    const char* value;
    /**
     * '.' an access that works; 'r' a read, 'w' a write failure; '-' nothing happens. Reading: Chars, String,
     * Num, Date, Time, Bytes, Int, Int1, Int2, Int8, Float, DecF16, DecF34.
     */
    const char* reading;
    /** Chars, Date, Time, Bytes, Int, Int1, Int2, Int8, Float, DecF16, DecF34. */
    const char* writing;
};

constexpr unsigned pointer = sizeof(void*);

const Field fields[] = {
    {ZORTYPE_CHAR, 3, "1", "...rr. .rrrr..", ".ww. .... ..."},
    {ZORTYPE_DATE, 8, "20240131", "..r.r. rrrrrrr", "..wr wwww rrr"},
    {ZORTYPE_BCD, 3, "1", "..rrr. .rrr...", ".ww. wwww ..."},
    {ZORTYPE_TIME, 6, "235959", "..rr.. rrrrrrr", ".w.r wwww rrr"},
    {ZORTYPE_BYTE, 8, "00", "..rrr. .rrrr.r", ".ww. wwww r.r"},
    {ZORTYPE_NUM, 2, "1", "...rr. .rrrr..", ".wwr .... ..."},
    {ZORTYPE_FLOAT, 8, "1", "..rrr. .rrr...", ".ww. wwww ..."},
    {ZORTYPE_INT, 4, "1", "...rr. ....r..", ".ww. .... r.."},
    {ZORTYPE_INT2, 2, "1", "...rr. ....r..", ".ww. .... r.."},
    {ZORTYPE_INT1, 1, "1", "...rr. ....r..", ".ww. .... r.."},
    {ZORTYPE_INT8, 8, "1", "...rr. ....r..", ".ww. .... r.."},
    {ZORTYPE_DECF16, 8, "1", "..rrr. .rrrr..", ".ww. wwww ..."},
    {ZORTYPE_DECF34, 16, "1", "..rrr. .rrrr..", ".ww. wwww ..."},
    {ZORTYPE_STRING, pointer, "1", "...rrr rrrrr..", ".ww. .... ..."},
    {ZORTYPE_XSTRING, pointer, "00", "..rrr. rrrrrrr", ".ww. wwww rrr"},
    {ZORTYPE_TABLE, pointer, nullptr, "rrrrrr rrrrrrr", "rwww wwww rrr"},
    {ZORTYPE_STRUCTURE, 16, nullptr, "rrrrrr rrrrrrr", "rwww wwww rrr"},
    {ZORTYPE_UBIXOBJECT, pointer, nullptr, "rrrrr. rrrrrrr", "-wwr wwww rrr"},
    {ZORTYPE_UTCLONG, 8, nullptr, "rrrrr. rrrrrrr", "-wwr wwww rrr"},
    {ZORTYPE_CDAY, 2, nullptr, "rrrrr. rrrrrrr", "-wwr wwww rrr"},
};

ZorMetaDataRef<ZorRecordMetaData> everyField() {
    auto inner = makeType({{"NO", ZORTYPE_INT, 4}}, "INNER");
    auto desc = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("ALL", "custom", 32, false);
    unsigned offset = 0;
    for (const Field& field : fields) {
        const bool nested = field.type == ZORTYPE_TABLE || field.type == ZORTYPE_STRUCTURE;
        desc->add(zorTypeName(field.type), field.type, field.length, offset, 2 * field.length, 2 * offset, 0,
                  nested ? inner.get() : nullptr);
        offset += 16;
    }
    desc->setRecordLength(offset, 2 * offset);
    return desc;
}

using Access = std::function<void(ZorRecord&, unsigned)>;

/** An accessor with the name of its type in read failures, and in write failures where that is another. */
struct Accessor {
    Access run;
    const char* type;
    const char* writeType = nullptr;
};

template <class T>
Accessor readNumber(const char* type) {
    return {[](ZorRecord& record, unsigned index) {
                T value;
                record.getValue(index, &value);
            },
            type};
}

Accessor readText(const char* name, ZORTYPE type) {
    return {[type](ZorRecord& record, unsigned index) {
                KEL_CHAR buffer[64];
                record.getValue(index, buffer, sizeof buffer, type, nullptr);
            },
            name};
}

const Accessor readers[] = {
    readText("ZORTYPE_CHAR", ZORTYPE_CHAR),
    readText("ZORTYPE_STRING", ZORTYPE_STRING),
    readText("ZORTYPE_NUM", ZORTYPE_NUM),
    readText("ZORTYPE_DATE", ZORTYPE_DATE),
    readText("ZORTYPE_TIME", ZORTYPE_TIME),
    {[](ZorRecord& record, unsigned index) {
         KEL_RAW buffer[64];
         record.getValue(index, buffer, sizeof buffer, ZORTYPE_BYTE, nullptr);
     },
     "KEL_RAW"},
    readNumber<ZOR_INT>("ZOR_INT"),
    readNumber<ZOR_INT1>("ZOR_INT1"),
    readNumber<ZOR_INT2>("ZOR_INT2"),
    readNumber<ZOR_INT8>("ZOR_INT8"),
    readNumber<ZOR_FLOAT>("ZOR_FLOAT"),
    readNumber<ZOR_DECF16>("ZOR_DECF16"),
    readNumber<ZOR_DECF34>("ZOR_DECF34"),
};

template <class T>
Accessor writeNumber(const char* type, T value) {
    return {[value](ZorRecord& record, unsigned index) { record.setValue(index, value); }, type, type};
}

Accessor writeText(const char* name, ZORTYPE source, const char* text) {
    return {[=](ZorRecord& record, unsigned index) {
                const Field& field = fields[index];
                const std::string_view value = text != nullptr          ? text
                                               : field.value != nullptr ? field.value
                                                                        : "1";
                record.setValue(index, value.data(), static_cast<unsigned>(value.size()), source);
            },
            name, name};
}

ZOR_DECF16 small(const char* text) {
    ZOR_DECF16 value;
    StringToDecFloat16(text, &value);
    return value;
}

ZOR_DECF34 large(const char* text) {
    ZOR_DECF34 value;
    StringToDecFloat34(text, &value);
    return value;
}

std::vector<Accessor> writers() {
    return {
        writeText("KEL_CHAR*", ZORTYPE_CHAR, nullptr),
        writeText("ZOR_DATE", ZORTYPE_DATE, "20240131"),
        writeText("ZOR_TIME", ZORTYPE_TIME, "235959"),
        {[](ZorRecord& record, unsigned index) {
             const KEL_RAW bytes[16] = {};
             const bool held =
                 record.getType(index) == ZORTYPE_STRING || record.getType(index) == ZORTYPE_XSTRING;
             record.setValue(index, bytes, held ? 1 : record.getLength(index), ZORTYPE_BYTE);
         },
         "ZORTYPE_BYTE", "KEL_RAW*"},
        writeNumber("ZOR_INT", ZOR_INT{1}),
        writeNumber("ZOR_INT1", ZOR_INT1{1}),
        writeNumber("ZOR_INT2", ZOR_INT2{1}),
        writeNumber("ZOR_INT8", ZOR_INT8{1}),
        writeNumber("ZOR_FLOAT", ZOR_FLOAT{1}),
        writeNumber("ZOR_DECF16", small("1")),
        writeNumber("ZOR_DECF34", large("1")),
    };
}

/** What an accessor says of a field by the sign of its cell. */
KEL_string expected(char sign, ZORTYPE type, const Accessor& accessor) {
    const KEL_string name(zorTypeName(type));
    if (sign == 'r') return name + " of type " + name + " cannot be converted to type " + accessor.type;
    if (sign == 'w')
        return KEL_string("value with the type ") + accessor.writeType + " cannot be converted to type " +
               name + " on the field " + name;
    return {};
}

/** Runs all accessors of a direction on a field, each on a fresh record with the field's value. */
void expectCells(unsigned index, std::string_view signs, std::span<const Accessor> accessors) {
    size_t at = 0;
    for (const char sign : signs) {
        if (sign == ' ') continue;
        const Accessor& accessor = accessors[at++];
        ZorStructure record(everyField().get());
        if (fields[index].value != nullptr) setText(record, index, fields[index].value);
        const KEL_string before = rawBytes(record, index);
        EXPECT_EQ(messageOf<ZorBaseException>([&] { accessor.run(record, index); }),
                  expected(sign, fields[index].type, accessor))
            << zorTypeName(fields[index].type) << ", " << accessor.type << " " << signs;
        if (sign != '.') {
            EXPECT_EQ(rawBytes(record, index), before);
        }
    }
    EXPECT_EQ(at, accessors.size());
}

TEST(Cells, WorkOrFailAsTheMatrixSays) {
    ZorRecord::initDecfloatLib();
    const std::vector<Accessor> allWriters = writers();
    for (unsigned index = 0; index < std::size(fields); ++index) {
        expectCells(index, fields[index].reading, readers);
        expectCells(index, fields[index].writing, allWriters);
    }
}

enum : unsigned { CHAR, BCD, BYTE, NUM, FLOAT, INT, INT2, INT8, STRING, DECF16, DECF34, BYTE16, PASSWORD };

class Decimals : public testing::Test {
  protected:
    void SetUp() override { ZorRecord::initDecfloatLib(); }

    OwnStructure record{
        {"CHAR", ZORTYPE_CHAR, 30},    {"BCD", ZORTYPE_BCD, 5, 2},     {"BYTE", ZORTYPE_BYTE, 8},
        {"NUM", ZORTYPE_NUM, 4},       {"FLOAT", ZORTYPE_FLOAT, 8},    {"INT", ZORTYPE_INT, 4},
        {"INT2", ZORTYPE_INT2, 2},     {"INT8", ZORTYPE_INT8, 8},      {"STRING", ZORTYPE_STRING, pointer},
        {"DECF16", ZORTYPE_DECF16, 8}, {"DECF34", ZORTYPE_DECF34, 16}, {"BYTE16", ZORTYPE_BYTE, 16},
        {"PASSWORD", ZORTYPE_CHAR, 8}};

    static KEL_string failure(const std::function<void()>& access) {
        return messageOf<ZorTypeConversionException>(access);
    }
    KEL_string read16(unsigned index) {
        ZOR_DECF16 value;
        record.getValue(index, &value);
        DecFloat16Buff text;
        DecFloat16ToString(value, &text);
        return text;
    }
    KEL_string read34(unsigned index) {
        ZOR_DECF34 value;
        record.getValue(index, &value);
        DecFloat34Buff text;
        DecFloat34ToString(value, &text);
        return text;
    }
};

TEST_F(Decimals, TextGoesInExactlyOrNotAtAll) {
    const std::pair<const char*, const char*> good[] = {
        {"1.50", "1.50"},
        {"-0", "-0"},
        {"1E+3", "1E+3"},
        {"9999999999999999", "9999999999999999"},
        {"-0.000001234567890123456", "-0.000001234567890123456"},
        {"1e-398", "1E-398"},
        {"inf", "Infinity"},
        {"NaN", "NaN"},
    };
    for (const auto& [text, back] : good) {
        setText(record, DECF16, text);
        EXPECT_EQ(getText(record, DECF16), back);
        setText(record, DECF34, text);
        EXPECT_EQ(getText(record, DECF34), back);
    }
    setText(record, DECF16, "7");
    const KEL_string tooLong16 = "0." + KEL_string(22, '0') + "1";  // 25 characters
    const KEL_string tooLong34 = "0." + KEL_string(40, '0') + "1";  // 43
    const KEL_string bad[] = {
        "",       " 1", "1 ", "1x", "+", "1,5", KEL_string("1\0", 2), "1E+385", "1E-399", "12345678901234567",
        tooLong16};
    for (const KEL_string& text : bad) {
        EXPECT_EQ(failure([&] { setText(record, DECF16, text); }),
                  "Cannot convert string value " + text + " for the field DECF16 to type ZORTYPE_DECF16");
        EXPECT_EQ(getText(record, DECF16), "7");
    }
    setText(record, DECF34, tooLong16);
    EXPECT_NE(failure([&] { setText(record, DECF34, tooLong34); }), "");
    EXPECT_NE(failure([&] { setText(record, DECF34, "1.2345678901234567890123456789012345"); }), "");
}

TEST_F(Decimals, TextComesOutAndABufferMayBeTooShort) {
    setText(record, DECF16, "-1.50");
    KEL_CHAR buffer[8];
    unsigned length = 0;
    record.getValue(DECF16, buffer, 6, ZORTYPE_CHAR, &length);
    EXPECT_EQ(std::string_view(buffer, 6), "-1.50 ");
    EXPECT_EQ(length, 5u);
    EXPECT_EQ(
        messageOf<ZorBufferTooSmallException>(
            [&] { record.getValue(DECF16, buffer, 5, ZORTYPE_STRING, &length); }),
        "value with the type ZORTYPE_STRING does not fit into given buffer with the length 5 required buffer "
        "length 6");
    KEL_string form;
    record.getValue(DECF16, form);
    EXPECT_EQ(form, "-1.50");
    record.fillField(DECF16);
    EXPECT_EQ(getText(record, DECF16), "0E-398");  // all bytes zero
}

TEST_F(Decimals, ReadFromFieldsOfOtherTypes) {
    setText(record, CHAR, "1.5");
    setText(record, NUM, "7");
    setText(record, BCD, "-12.34");
    setText(record, STRING, "1E+3");
    setText(record, INT, "-42");
    setText(record, INT2, "-7");
    setText(record, INT8, "1234567890123456");
    setText(record, FLOAT, "0.1");
    setText(record, DECF34, "1E-398");
    const std::pair<unsigned, const char*> cases[] = {
        {CHAR, "1.5"},
        {NUM, "0007"},
        {BCD, "-12.34"},
        {STRING, "1E+3"},
        {INT, "-42"},
        {INT2, "-7"},
        {INT8, "1234567890123456"},
        {DECF34, "1E-398"},
    };
    for (const auto& [index, text] : cases) {
        const KEL_string wanted = index == NUM ? "7" : text;
        EXPECT_EQ(read16(index), wanted);
        EXPECT_EQ(read34(index), wanted);
    }
    EXPECT_EQ(read16(FLOAT), "0.1");
    EXPECT_EQ(read34(FLOAT), "0.10000000000000001");
    const ZOR_DECF16 value16 = small("-7.50");
    record.setValue(BYTE, value16.bytes, 8, ZORTYPE_BYTE);
    EXPECT_EQ(read16(BYTE), "-7.50");
    const ZOR_DECF34 value34 = large("-7.50");
    record.setValue(BYTE16, value34.bytes, 16, ZORTYPE_BYTE);
    EXPECT_EQ(read34(BYTE16), "-7.50");

    setText(record, CHAR, "1.2.3");
    setText(record, INT8, "12345678901234567");
    setText(record, DECF34, "12345678901234567");
    setText(record, PASSWORD, "geheim");
    const std::pair<unsigned, const char*> failures[] = {
        {CHAR, "unable to convert ZORTYPE_CHAR [1.2.3] to ZORTYPE_DECF16 with rc = 4"},
        {INT8, "unable to convert ZORTYPE_INT [12345678901234567] to ZORTYPE_DECF16 with rc = 1"},
        {DECF34, "unable to convert ZORTYPE_DECF34 [12345678901234567] to ZORTYPE_DECF16 with rc = 1"},
        {BYTE16, "BYTE16 of type ZORTYPE_BYTE cannot be converted to type ZOR_DECF16"},
        {PASSWORD, "unable to convert ZORTYPE_CHAR [***] to ZORTYPE_DECF16 with rc = 4"},
    };
    for (const auto& [index, message] : failures)
        EXPECT_EQ(failure([&, index = index] { read16(index); }), message);
}

TEST_F(Decimals, WrittenToFieldsOfOtherTypes) {
    struct Case {
        unsigned index;
        const char* value;
        const char* text;
    };
    const Case cases[] = {
        {CHAR, "1E+3", "1E+3"},
        {NUM, "12", "0012"},
        {BCD, "-12.345", "-12.35"},
        {STRING, "-0.00", "-0.00"},
        {INT, "1E+3", "1000"},
        {INT, "-2.00", "-2"},
        {INT2, "65537", "1"},
        {INT8, "-9E+15", "-9000000000000000"},
        {FLOAT, "0.1", "0.10000000000000001"},
        {DECF16, "1.50", "1.50"},
        {DECF34, "1.50", "1.50"},
    };
    for (const Case& c : cases) {
        record.setValue(c.index, small(c.value));
        EXPECT_EQ(getText(record, c.index), c.text) << c.value;
        record.setValue(c.index, large(c.value));
        EXPECT_EQ(getText(record, c.index), c.text) << c.value;
    }
    record.setValue(BYTE, small("1"));
    EXPECT_EQ(read16(BYTE), "1");
    record.setValue(BYTE16, large("1"));
    EXPECT_EQ(read34(BYTE16), "1");

    setText(record, INT, "5");
    const Case failures[] = {
        {INT, "2.5", "unable to convert ZORTYPE_DECF34 [2.5] with rc = 1"},
        {INT, "2147483648", "unable to convert ZORTYPE_DECF34 [2147483648] with rc = 6"},
        {INT8, "9223372036854775808", "unable to convert ZORTYPE_DECF34 [9223372036854775808] with rc = 3"},
        {FLOAT, "1E+309", "unable to convert ZORTYPE_DECF34 [1E+309] with rc = 3"},
        {DECF16, "1E+385", "unable to convert ZORTYPE_DECF34 [1E+385] to ZORTYPE_DECF16 with rc = 3"},
        {NUM, "-1", "NUM of type ZORTYPE_DECF34 value=-1 cannot be converted to type ZORTYPE_NUM"},
        {BYTE, "1", "BYTE of type ZORTYPE_BYTE cannot be converted to type ZOR_DECF34"},
        // The digits in front of an exponent aren't the number.
        {BCD, "1.234E-7",
         "Cannot convert string value 1.234E-7 at position 5 for the field BCD to type ZORTYPE_BCD"},
        {BCD, "NaN", "Cannot convert string value NaN at position 0 for the field BCD to type ZORTYPE_BCD"},
    };
    for (const Case& c : failures)
        EXPECT_EQ(failure([&] { record.setValue(c.index, large(c.value)); }), c.text);
    EXPECT_EQ(getText(record, INT), "5");
    EXPECT_EQ(getText(record, BCD), "0.00");  // reset, as after every failed text
}

TEST_F(Decimals, IntegersAndDoublesOfDecimalFields) {
    const std::pair<const char*, ZOR_INT> cases[] = {
        {"12.99", 12},
        {"-12.99", -12},
        {"1E+3", 1000},
        {"1E-7", 0},
        {"2147483648", std::numeric_limits<ZOR_INT>::max()},
        {"-1E+300", std::numeric_limits<ZOR_INT>::min()},
        {"NaN", 0},
    };
    for (const auto& [text, value] : cases)
        for (const unsigned index : {DECF16, DECF34}) {
            setText(record, index, text);
            EXPECT_EQ(getInt(record, index), value) << text;
        }
    record.setValue(DECF16, 0.1);
    record.setValue(DECF34, 0.1);
    EXPECT_EQ(getText(record, DECF16), "0.1");
    EXPECT_EQ(getText(record, DECF34), "0.10000000000000001");
    record.setValue(DECF16, std::numeric_limits<ZOR_FLOAT>::infinity());
    EXPECT_EQ(getText(record, DECF16), "Infinity");
}

}  // namespace
