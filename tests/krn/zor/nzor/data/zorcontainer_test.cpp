// Structures, parameters and functions: ownership, copies, activity.

#include <gtest/gtest.h>

#include <cstring>

#include "datafixture.h"

namespace {

using namespace datatest;

constexpr unsigned pointer = sizeof(void*);

/** NO, TEXT, ROWS of the same kind as INNER, and INNER, a structure of a number and a string. */
ZorMetaDataRef<ZorRecordMetaData> deepType() {
    auto inner = makeType({{"NO", ZORTYPE_INT, 4}, {"TEXT", ZORTYPE_STRING, pointer}}, "INNER");
    return makeType({{"NO", ZORTYPE_INT, 4},
                     {"TEXT", ZORTYPE_STRING, pointer},
                     {"ROWS", ZORTYPE_TABLE, pointer, 0, inner.get()},
                     {"INNER", ZORTYPE_STRUCTURE, 2 * pointer, 0, inner.get()},
                     {"BYTES", ZORTYPE_XSTRING, pointer}});
}

ZorTable& tableIn(ZorRecord& record, unsigned index) {
    ZorTable* table = nullptr;
    record.getValue(index, &table, true);
    return *table;
}

ZorStructure& structureIn(ZorRecord& record, unsigned index) {
    ZorStructure* child = nullptr;
    record.getValue(index, &child, true);
    return *child;
}

void fillDeep(ZorStructure& record) {
    record.setValue(0, ZOR_INT{1});
    setText(record, 1, "outer");
    tableIn(record, 2).appendNewRow();
    setText(tableIn(record, 2), 1, "row");
    setText(structureIn(record, 3), 1, "inner");
    setText(record, 4, "AB");
}

TEST(ZorFunction, ServesWhatItsCallerAskedFor) {
    const struct {
        const char* kernelRelease;
        bool unaskedStays;  ///< Of an exporting parameter.
    } cases[] = {{"753", false}, {"46D", false}, {"500", false}, {"45B", true}, {"31I", true}, {"", true}};
    for (const auto& c : cases) {
        auto desc = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("SERVED", "custom", 3, false);
        desc->add("IN", ZORTYPE_INT, ZOR_IMPORT, 4, 4, 0);
        desc->add("OUT", ZORTYPE_INT, ZOR_EXPORT, 4, 4, 0);
        desc->add("ASKED", ZORTYPE_INT, ZOR_EXPORT, 4, 4, 0);
        ZorFunction call(*desc);
        call.getParameter("ASKED", true)->setRequested(true);
        call.deactivateUnrequestedParameters(c.kernelRelease);
        EXPECT_FALSE(call.isParameterActive("IN")) << c.kernelRelease;
        EXPECT_EQ(call.isParameterActive("OUT"), c.unaskedStays) << c.kernelRelease;
        EXPECT_TRUE(call.isParameterActive("ASKED")) << c.kernelRelease;
    }
}

TEST(ZorStructure, MakesChildrenOnDemandAndKeepsThem) {
    ZorStructure record(deepType().get());
    ZorStructure* child = nullptr;
    record.getValue(3, &child, false);
    EXPECT_EQ(child, nullptr);
    EXPECT_EQ(&structureIn(record, 3), &structureIn(record, 3));
    EXPECT_EQ(record.getStringLength(1), 0u);
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { tableIn(record, 3); }),
              "INNER of type ZORTYPE_STRUCTURE cannot be converted to type ZOR_TABLE_HANDLE");
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { structureIn(record, 2); }),
              "ROWS of type ZORTYPE_TABLE cannot be converted to type ZOR_STRUCTURE_HANDLE");
}

TEST(ZorStructure, CopiesAreIndependentOfTheSource) {
    ZorStructure source(deepType().get());
    fillDeep(source);
    const auto copy = source.clone();
    EXPECT_EQ(getInt(*copy, 0), 1);
    EXPECT_EQ(getText(*copy, 1), "outer");
    EXPECT_EQ(getText(tableIn(*copy, 2), 1), "row");
    EXPECT_EQ(getText(structureIn(*copy, 3), 1), "inner");
    EXPECT_EQ(getText(*copy, 4), "AB");
    tableIn(*copy, 2).appendNewRow();
    setText(structureIn(*copy, 3), 1, "changed");
    EXPECT_EQ(tableIn(source, 2).getCount(), 1u);
    EXPECT_EQ(getText(structureIn(source, 3), 1), "inner");
}

TEST(ZorStructure, AssignmentTakesTheOtherTypeAndSurvivesOwnParts) {
    ZorStructure target(deepType().get());
    fillDeep(target);
    target.setValue(3, static_cast<const ZorStructure&>(target));  // a record into a field of its own
    EXPECT_EQ(structureIn(target, 3).getFieldCount(), 5u);
    EXPECT_EQ(getText(structureIn(structureIn(target, 3), 3), 1), "inner");
    structureIn(target, 3) = structureIn(structureIn(target, 3), 3);  // a part into its whole
    EXPECT_EQ(getText(structureIn(target, 3), 1), "inner");
    target = target;
    EXPECT_EQ(getText(target, 1), "outer");

    ZorTable rows = tableIn(target, 2);
    rows.appendNewRow();
    target.setValue(2, rows);
    rows.removeAll();
    EXPECT_EQ(tableIn(target, 2).getCount(), 2u);
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { target.setValue(0, rows); }),
              "value with the type ZOR_TABLE_HANDLE cannot be converted to type ZORTYPE_INT on the field NO");
    EXPECT_EQ(
        messageOf<ZorTypeConversionException>([&] { target.setValue(0, structureIn(target, 3)); }),
        "value with the type ZOR_STRUCTURE_HANDLE cannot be converted to type ZORTYPE_INT on the field NO");
}

TEST(ZorStructure, RowsTakeOverValuesOfTheirTypeOnly) {
    auto type = deepType();
    ZorTable table(type.get());
    ZorStructure& row = table.appendNewRow();
    ZorStructure value(type.get());
    fillDeep(value);
    row = value;
    EXPECT_EQ(getText(structureIn(table, 3), 1), "inner");
    const OwnStructure other{{"X", ZORTYPE_INT, 4}};
    EXPECT_NE(messageOf<ZorInvalidParameterException>([&] { row = other; }), "");
    EXPECT_EQ(getText(table, 1), "outer");
    const ZorStructure copy(row);
    EXPECT_FALSE(copy.isRow());
}

TEST(ZorStructure, FillingEmptiesExistingChildren) {
    ZorStructure record(deepType().get());
    fillDeep(record);
    ZorTable& table = tableIn(record, 2);
    record.initBuffer();
    EXPECT_EQ(&tableIn(record, 2), &table);
    EXPECT_EQ(table.getCount(), 0u);
    EXPECT_EQ(getText(structureIn(record, 3), 1), "");
    EXPECT_EQ(record.getStringLength(1), 0u);
    EXPECT_EQ(record.getStringLength(4), 0u);
    EXPECT_EQ(getInt(record, 0), 0);
}

TEST(ZorStructure, LivesOnWithoutItsOwnersReferenceToTheType) {
    auto type = deepType();
    ZorStructure record(type.get());
    type = {};
    fillDeep(record);
    EXPECT_EQ(getText(record, 1), "outer");
    EXPECT_TRUE(record.getDescriptor()->isLocked());
    EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { record.getIndex("NONE"); }),
              "field 'NONE' not found");
}

TEST(ZorStructure, BlocksRunOverFieldBorders) {
    OwnStructure record{{"A", ZORTYPE_CHAR, 16}, {"B", ZORTYPE_CHAR, 4}};
    KEL_RAW buffer[40];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(record.setBlock(0, buffer, 20), 20u);
    EXPECT_EQ(rawBytes(record, 1), "xxxx");
    EXPECT_EQ(record.setBlock(1, buffer, 40), 16u);  // up to the end of the record of 32 bytes
    EXPECT_EQ(record.getBlock(1, buffer, 40), 16u);
    EXPECT_EQ(record.setBlock(2, buffer, 1), 0u);
    EXPECT_EQ(record.getBlock(2, buffer, 1), 0u);
}

TEST(ZorStructure, SimpleCompressionDropsTheRunAtTheEnd) {
    const auto compressed = [](std::string_view text) {
        return ZorStructure::simpleCompress(reinterpret_cast<const KEL_RAW*>(text.data()),
                                            static_cast<unsigned>(text.size()));
    };
    EXPECT_EQ(compressed("ABCC  "), 5u);
    EXPECT_EQ(compressed("aaaaaa"), 1u);
    EXPECT_EQ(compressed("ab"), 2u);
    EXPECT_EQ(compressed(""), 0u);
    EXPECT_EQ(ZorStructure::simpleCompress(nullptr, 4), 0u);
    KEL_RAW buffer[7] = "ABCC ";
    EXPECT_EQ(ZorStructure::simpleDecompress(buffer, 6, 5), 6u);
    EXPECT_EQ(std::memcmp(buffer, "ABCC  ", 6), 0);
    EXPECT_EQ(ZorStructure::simpleDecompress(buffer, 6, 0), 6u);
    EXPECT_EQ(ZorStructure::simpleDecompress(buffer, 6, 9), 6u);
}

struct ParameterSpec {
    const char* name;
    ZORTYPE type;
    ZOR_DIRECTION direction;
    unsigned length;
    unsigned char optional;
    ZorAbstractMetaData* typeDesc = nullptr;
};

ZorMetaDataRef<ZorFunctionMetaData> makeFunction(std::initializer_list<ParameterSpec> parameters) {
    auto desc = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("z_some_name", "custom", 5, false);
    for (const ParameterSpec& p : parameters)
        desc->add(p.name, p.type, p.direction, p.length, 2 * p.length, 0, p.typeDesc, {}, {}, p.optional);
    return desc;
}

TEST(ZorFunction, OptionalScalarsThatAreSentStartInactive) {
    auto row = makeType({{"NO", ZORTYPE_INT, 4}});
    ZorFunction function(*makeFunction({{"IN_OPT", ZORTYPE_CHAR, ZOR_IMPORT, 3, 1},
                                        {"CH_OPT", ZORTYPE_INT, ZOR_CHANGING, 4, 1},
                                        {"STR_OPT", ZORTYPE_STRING, ZOR_IMPORT, pointer, 1},
                                        {"IN", ZORTYPE_CHAR, ZOR_IMPORT, 3, 0},
                                        {"OUT_OPT", ZORTYPE_CHAR, ZOR_EXPORT, 3, 1},
                                        {"TAB_OPT", ZORTYPE_TABLE, ZOR_TABLES, 4, 1, row.get()},
                                        {"STRU_OPT", ZORTYPE_STRUCTURE, ZOR_IMPORT, 4, 1, row.get()}}));
    const bool active[] = {false, false, false, true, true, true, true};
    for (unsigned index = 0; index < 7; ++index)
        EXPECT_EQ(function.parameter(index).isActive(), active[index]) << function.getName(index);
    EXPECT_EQ(function.getName(), "Z_SOME_NAME");

    EXPECT_EQ(function.getParameter("IN_OPT", false), nullptr);
    setText(function, 0, "abc");
    EXPECT_EQ(function.getParameter("IN_OPT", false), &function.parameter(0));
    EXPECT_EQ(getText(function, 0), "abc");
    EXPECT_THROW(setText(function, 1, "x"), ZorTypeConversionException);
    EXPECT_FALSE(function.isParameterActive("CH_OPT"));  // a failed write activates nothing
    function.setValue(1, ZOR_INT8{5});
    EXPECT_TRUE(function.isParameterActive("CH_OPT"));
    setText(function, 2, "text");
    EXPECT_TRUE(function.isParameterActive("STR_OPT"));

    function.setParameterActive("IN", false);
    EXPECT_EQ(function.getParameter("IN", false), nullptr);
    EXPECT_EQ(function.getParameter("IN", true), &function.parameter(3));
    EXPECT_EQ(function.getParameter("NONE", true), nullptr);
    function.setParameterActive("NONE", true);
    EXPECT_FALSE(function.isParameterActive("NONE"));
    EXPECT_THROW(function.getIndex("NONE"), ZorInvalidParameterException);
}

TEST(ZorFunction, ParametersHoldValuesAndChildren) {
    auto row = makeType({{"NO", ZORTYPE_INT, 4}});
    ZorFunction function(*makeFunction({{"NUM", ZORTYPE_NUM, ZOR_IMPORT, 4, 0},
                                        {"PACKED", ZORTYPE_BCD, ZOR_IMPORT, 2, 0},
                                        {"ROWS", ZORTYPE_TABLE, ZOR_TABLES, 4, 0, row.get()},
                                        {"LINES", ZORTYPE_TABLE, ZOR_TABLES, 10, 0},
                                        {"STRU", ZORTYPE_STRUCTURE, ZOR_EXPORT, 4, 0, row.get()}}));
    EXPECT_EQ(rawBytes(function, 0), "0000");
    EXPECT_EQ(rawBytes(function, 1), std::string_view("\x00\x0C", 2));
    ZorParameter& number = function.parameter(0);
    EXPECT_EQ(number.length(), 4u);
    number.setLength(9);
    EXPECT_EQ(number.length(), 4u);
    EXPECT_EQ(number.getRecord(), &number);
    EXPECT_EQ(number.getDescriptor(), nullptr);

    EXPECT_EQ(function.parameter(2).length(), 0u);
    EXPECT_EQ(function.parameter(2).getRecord(), &tableIn(function, 2));
    EXPECT_EQ(function.parameter(2).getDescriptor(), row.get());
    EXPECT_EQ(function.parameter(4).getRecord(), &structureIn(function, 4));

    // Without row description a table exists only once its width is known.
    EXPECT_EQ(function.parameter(3).getRecord(), nullptr);
    EXPECT_EQ(function.parameter(3).getDescriptor(), nullptr);
    EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { function.parameter(3).getTable(0, 1); }),
              "table width is 0");
    ZorTable* lines = function.parameter(3).getTable(20, 2);
    EXPECT_EQ(lines->getRowLength(), 10u);
    EXPECT_EQ(function.parameter(3).getTable(7, 1), lines);
    EXPECT_EQ(function.parameter(3).getRecord(), lines);
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { number.getTable(4, 1); }),
              "NUM of type ZORTYPE_NUM cannot be converted to type ZOR_TABLE_HANDLE");
}

// Short copies go in overlapping pieces of their own.
TEST(PlainText, ofEveryLengthIsCutOrFilledUp) {
    constexpr unsigned widest = 150;
    std::string text;
    for (unsigned i = 0; i < widest; ++i)
        text += static_cast<char>('0' + i % 75);
    for (unsigned width : {1u, 15u, 16u, 17u, 40u, 127u, 128u, 129u}) {
        OwnStructure record({{"TEXT", ZORTYPE_CHAR, width}, {"NEXT", ZORTYPE_CHAR, 1}});
        setText(record, 1, "x");
        for (unsigned length = 0; length <= widest; ++length) {
            ASSERT_TRUE(record.setPlainText(0, text.data(), length));
            std::string expected = text.substr(0, length);
            expected.resize(width, ' ');
            KEL_CHAR stored[widest];
            record.getValue(0, stored, width, ZORTYPE_CHAR, nullptr);
            ASSERT_EQ(std::string(stored, width), expected) << width << " " << length;
        }
        EXPECT_EQ(getText(record, 1), "x");
    }
}

}  // namespace
