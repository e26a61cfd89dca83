// Structures, tables, functions and field access as a caller of the library sees them.

#include <gtest/gtest.h>
#include <kelzor/data.h>
#include <kelzor/function.h>
#include <kelzor/metadata.h>
#include <kelzor/table.h>

#include <cstring>
#include <string>

namespace {

/** A description with fields one behind the other at aligned offsets. */
class TypeBuilder {
  public:
    explicit TypeBuilder(const char* name) : handle(ZorCreateTypeDesc(name, nullptr)) {}

    TypeBuilder& add(const char* name, ZORTYPE type, unsigned length, unsigned decimals = 0,
                     ZOR_TYPE_DESC_HANDLE typeDesc = nullptr) {
        ZOR_FIELD_DESC field;
        std::memset(&field, 0, sizeof field);
        std::strcpy(field.name, name);
        field.type = type;
        field.nucLength = length;
        field.nucOffset = offset;
        field.ucLength = 2 * length;
        field.ucOffset = 2 * offset;
        field.decimals = decimals;
        field.typeDescHandle = typeDesc;
        EXPECT_EQ(ZorAddTypeField(handle, &field, nullptr), ZOR_OK);
        offset = (offset + length + 15) / 16 * 16;
        return *this;
    }

    ZOR_TYPE_DESC_HANDLE done() {
        EXPECT_EQ(ZorSetTypeLength(handle, offset, 2 * offset, nullptr), ZOR_OK);
        return handle;
    }

    ZOR_TYPE_DESC_HANDLE handle;

  private:
    unsigned offset = 0;
};

class ContainerApi : public testing::Test {
  protected:
    ContainerApi() {
        row = TypeBuilder("ROW").add("NO", ZORTYPE_INT, 4).add("NAME", ZORTYPE_CHAR, 5).done();
        type = TypeBuilder("TYPE")
                   .add("NAME", ZORTYPE_CHAR, 5)
                   .add("COUNT", ZORTYPE_INT, 4)
                   .add("TEXT", ZORTYPE_STRING, sizeof(void*))
                   .add("ROWS", ZORTYPE_TABLE, sizeof(void*), 0, row)
                   .add("INNER", ZORTYPE_STRUCTURE, 32, 0, row)
                   .add("DAY", ZORTYPE_DATE, 8)
                   .add("AT", ZORTYPE_TIME, 6)
                   .done();
        record = ZorCreateStructure(type, &info);
        table = ZorCreateTable(row, &info);
        EXPECT_EQ(info.code, ZOR_OK) << info.message;
    }
    ~ContainerApi() override {
        ZorDestroyTable(table, nullptr);
        ZorDestroyStructure(record, nullptr);
        ZorDestroyTypeDesc(type, nullptr);
        ZorDestroyTypeDesc(row, nullptr);
    }

    /** Code, group, key and message of the last failure. */
    std::string failure() const {
        return std::to_string(info.code) + " " + std::to_string(info.group) + " " + info.key + ": " +
               info.message;
    }

    const std::string badHandle = "13 5 ZOR_INVALID_HANDLE: An invalid handle was passed to the API call";

    ZOR_ERROR_INFO info{};
    ZOR_TYPE_DESC_HANDLE row = nullptr;
    ZOR_TYPE_DESC_HANDLE type = nullptr;
    ZOR_STRUCTURE_HANDLE record = nullptr;
    ZOR_TABLE_HANDLE table = nullptr;
};

TEST_F(ContainerApi, FieldsByNameAndByIndex) {
    EXPECT_EQ(ZorSetChars(record, "NAME", "ABCDEFG", 7, &info), ZOR_OK);
    ZOR_CHAR chars[6];
    EXPECT_EQ(ZorGetCharsByIndex(record, 0, chars, 6, &info), ZOR_OK);
    EXPECT_EQ(std::string_view(chars, 6), "ABCDE ");
    EXPECT_EQ(ZorSetIntByIndex(record, 1, -42, &info), ZOR_OK);
    ZOR_INT count = 0;
    EXPECT_EQ(ZorGetInt(record, "COUNT", &count, &info), ZOR_OK);
    EXPECT_EQ(count, -42);

    const ZOR_DATE day = {'2', '0', '2', '4', '0', '2', '3', '0'};
    const ZOR_TIME at = {'2', '3', '5', '9', '5', '8'};
    ZOR_DATE dayBack;
    ZOR_TIME atBack;
    EXPECT_EQ(ZorSetDate(record, "DAY", day, &info), ZOR_OK);
    EXPECT_EQ(ZorSetTime(record, "AT", at, &info), ZOR_OK);
    EXPECT_EQ(ZorGetDate(record, "DAY", dayBack, &info), ZOR_OK);
    EXPECT_EQ(ZorGetTime(record, "AT", atBack, &info), ZOR_OK);
    EXPECT_EQ(std::memcmp(day, dayBack, sizeof day), 0);
    EXPECT_EQ(std::memcmp(at, atBack, sizeof at), 0);

    unsigned length = 0;
    EXPECT_EQ(ZorSetString(record, "TEXT", "four", 4, &info), ZOR_OK);
    EXPECT_EQ(ZorGetStringLength(record, "TEXT", &length, &info), ZOR_OK);
    EXPECT_EQ(length, 4u);
    KEL_UC text[5] = "????";
    EXPECT_EQ(ZorGetString(record, "TEXT", text, 4, &length, &info), ZOR_BUFFER_TOO_SMALL);
    EXPECT_EQ(failure(),
              "23 5 ZOR_BUFFER_TOO_SMALL: value with the type ZORTYPE_STRING does not fit into given buffer "
              "with the length 4 required buffer length 5");
    EXPECT_STREQ(text, "????");
    EXPECT_EQ(ZorGetString(record, "TEXT", text, 5, nullptr, &info), ZOR_OK);
    EXPECT_STREQ(text, "four");
}

TEST_F(ContainerApi, FieldFailures) {
    ZOR_INT value = 0;
    EXPECT_EQ(ZorGetInt(nullptr, nullptr, &value, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(failure(), "20 5 ZOR_INVALID_PARAMETER: Invalid parameter 'NAME' was passed to the API call");
    EXPECT_EQ(ZorGetInt(nullptr, "COUNT", &value, &info), ZOR_INVALID_HANDLE);
    EXPECT_EQ(failure(), badHandle);
    EXPECT_EQ(ZorGetInt(record, "NONE", &value, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(failure(), "20 5 ZOR_INVALID_PARAMETER: field 'NONE' not found");
    EXPECT_EQ(ZorGetInt(record, "COUNT", nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(failure(), "20 5 ZOR_INVALID_PARAMETER: value is null");
    EXPECT_EQ(ZorGetIntByIndex(record, 7, &value, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(failure(), "20 5 ZOR_INVALID_PARAMETER: index does not exist");
    EXPECT_EQ(ZorGetIntByIndex(record, 5, &value, &info), ZOR_CONVERSION_FAILURE);
    EXPECT_EQ(failure(),
              "22 5 ZOR_CONVERSION_FAILURE: DAY of type ZORTYPE_DATE cannot be converted to type ZOR_INT");
    EXPECT_EQ(ZorGetStringLength(record, "TEXT", nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(ZorGetTable(record, "ROWS", nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(ZorGetIntByIndex(table, 0, &value, &info), ZOR_ILLEGAL_STATE);
    EXPECT_EQ(value, 0);

    // What bears no mark is no container.
    alignas(16) unsigned char foreign[256] = {};
    EXPECT_EQ(ZorGetIntByIndex(reinterpret_cast<DATA_CONTAINER_HANDLE>(foreign), 0, &value, &info),
              ZOR_INVALID_HANDLE);
    EXPECT_EQ(failure(), badHandle);
    EXPECT_EQ(ZorGetInt(record, "COUNT", &value, nullptr), ZOR_OK);
}

TEST_F(ContainerApi, ChildrenBelongToTheRecordAndValuesAreCopied) {
    ZOR_STRUCTURE_HANDLE inner = nullptr;
    ZOR_STRUCTURE_HANDLE again = nullptr;
    EXPECT_EQ(ZorGetStructure(record, "INNER", &inner, &info), ZOR_OK);
    EXPECT_EQ(ZorGetStructureByIndex(record, 4, &again, &info), ZOR_OK);
    EXPECT_EQ(inner, again);
    EXPECT_EQ(ZorDestroyStructure(inner, &info), ZOR_INVALID_HANDLE);  // the record's

    ASSERT_NE(ZorAppendNewRow(table, &info), nullptr);
    EXPECT_EQ(ZorSetInt(table, "NO", 7, &info), ZOR_OK);
    EXPECT_EQ(ZorSetTable(record, "ROWS", table, &info), ZOR_OK);
    EXPECT_EQ(ZorDeleteAllRows(table, &info), ZOR_OK);
    ZOR_TABLE_HANDLE rows = nullptr;
    unsigned count = 0;
    EXPECT_EQ(ZorGetTable(record, "ROWS", &rows, &info), ZOR_OK);
    EXPECT_EQ(ZorGetRowCount(rows, &count, &info), ZOR_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(ZorDestroyTable(rows, &info), ZOR_INVALID_HANDLE);
    const auto copy = ZorCloneStructure(record, &info);  // whose children are its own
    EXPECT_EQ(ZorGetTable(copy, "ROWS", &rows, &info), ZOR_OK);
    EXPECT_EQ(ZorDestroyTable(rows, &info), ZOR_INVALID_HANDLE);
    const auto rowsCopy = ZorCloneTable(rows, &info);
    EXPECT_EQ(ZorDestroyStructure(copy, &info), ZOR_OK);
    EXPECT_EQ(ZorDestroyTable(rowsCopy, &info), ZOR_OK);
    EXPECT_EQ(ZorGetTable(record, "ROWS", &rows, &info), ZOR_OK);
    EXPECT_EQ(ZorSetStructure(record, "INNER", ZorGetCurrentRow(rows, &info), &info), ZOR_OK);
    ZOR_INT number = 0;
    EXPECT_EQ(ZorGetInt(inner, "NO", &number, &info), ZOR_OK);
    EXPECT_EQ(number, 7);

    EXPECT_EQ(ZorSetStructure(record, "INNER", table, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "only ZOR_STRUCTURE_HANDLE is allowed as value in ZorSetStructure");
    EXPECT_EQ(ZorSetStructureByIndex(record, 4, table, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "only ZOR_STRUCTURE_HANDLE is allowed as value in ZorSetStructureByIndex");
    EXPECT_EQ(ZorSetTable(record, "ROWS", record, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "Only ZOR_TABLE_HANDLE is allowed as value in ZorSetTable");
    EXPECT_EQ(ZorSetTable(record, "ROWS", nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "value is null");
    // An index that doesn't exist comes before a null value.
    EXPECT_EQ(ZorSetStructureByIndex(record, 99, nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "index does not exist");
    EXPECT_EQ(ZorGetStringLengthByIndex(record, 99, nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "index does not exist");
    EXPECT_EQ(ZorSetTable(record, "COUNT", table, &info), ZOR_CONVERSION_FAILURE);
    EXPECT_STREQ(
        info.message,
        "value with the type ZOR_TABLE_HANDLE cannot be converted to type ZORTYPE_INT on the field COUNT");
}

TEST_F(ContainerApi, StructuresLockTheirDescription) {
    ZOR_FIELD_DESC field{};
    std::strcpy(field.name, "MORE");
    field.nucLength = field.ucLength = 1;
    EXPECT_EQ(ZorAddTypeField(type, &field, &info), ZOR_ILLEGAL_STATE);

    TypeBuilder open("OPEN");
    open.add("A", ZORTYPE_INT, 4);
    EXPECT_EQ(ZorCreateStructure(open.handle, &info), nullptr);
    EXPECT_STREQ(info.message, "inconsistence in description detected: non-unicode length is too small");
    open.done();
    const auto late = ZorCreateStructure(open.handle, &info);
    EXPECT_NE(late, nullptr);
    ZorDestroyStructure(late, nullptr);
    ZorDestroyTypeDesc(open.handle, nullptr);
    EXPECT_EQ(ZorCreateStructure(open.handle, &info), nullptr);
    EXPECT_EQ(info.code, ZOR_INVALID_PARAMETER);

    TypeBuilder empty("EMPTY");
    EXPECT_EQ(ZorCreateTable(empty.handle, &info), nullptr);
    EXPECT_EQ(failure(), "19 5 ZOR_ILLEGAL_STATE: Invalid structure descriptor");
    ZorDestroyTypeDesc(empty.handle, nullptr);
}

TEST_F(ContainerApi, KindsOfHandlesAreToldApart) {
    ZOR_PARAMETER_DESC parameter{};
    std::strcpy(parameter.name, "P");
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = parameter.ucLength = 3;
    parameter.optional = 1;
    const auto functionDesc = ZorCreateFunctionDesc("F", nullptr);
    EXPECT_EQ(ZorAddParameter(functionDesc, &parameter, &info), ZOR_OK);
    const auto function = ZorCreateFunction(functionDesc, &info);
    ASSERT_NE(function, nullptr);

    EXPECT_EQ(ZorDescribeType(record, &info), type);
    EXPECT_EQ(ZorDescribeType(table, &info), row);
    EXPECT_EQ(ZorGetRowType(table, &info), row);
    EXPECT_EQ(ZorDescribeType(function, &info), nullptr);
    EXPECT_EQ(failure(),
              "13 5 ZOR_INVALID_HANDLE: Only structure or table handles are allowed in ZorDescribeType");
    EXPECT_EQ(ZorDescribeType(nullptr, &info), nullptr);
    EXPECT_EQ(failure(), badHandle);
    EXPECT_EQ(ZorDescribeFunction(function, &info), functionDesc);
    EXPECT_EQ(ZorDescribeFunction(record, &info), nullptr);
    EXPECT_EQ(failure(), "13 5 ZOR_INVALID_HANDLE: Only function handles are allowed in ZorDescribeFunction");

    EXPECT_EQ(ZorAppendNewRow(record, &info), nullptr);
    EXPECT_EQ(failure(), badHandle);
    EXPECT_EQ(ZorAppendRow(table, table, &info), ZOR_INVALID_HANDLE);
    EXPECT_EQ(ZorCloneStructure(table, &info), nullptr);
    EXPECT_EQ(ZorDestroyTable(record, &info), ZOR_INVALID_HANDLE);
    EXPECT_EQ(ZorDestroyFunction(table, &info), ZOR_INVALID_HANDLE);
    const auto rowHandle = ZorAppendNewRow(table, &info);
    EXPECT_EQ(ZorDestroyStructure(rowHandle, &info), ZOR_INVALID_HANDLE);  // the table's
    EXPECT_EQ(ZorSetIntByIndex(rowHandle, 0, 1, &info), ZOR_OK);

    int active = 9;
    EXPECT_EQ(ZorIsParameterActive(function, "P", &active, &info), ZOR_OK);
    EXPECT_EQ(active, 0);
    EXPECT_EQ(ZorSetChars(function, "P", "abc", 3, &info), ZOR_OK);
    EXPECT_EQ(ZorIsParameterActive(function, "P", &active, &info), ZOR_OK);
    EXPECT_EQ(active, 1);
    EXPECT_EQ(ZorSetParameterActive(function, "P", 0, &info), ZOR_OK);
    EXPECT_EQ(ZorSetParameterActive(function, "NONE", 1, &info), ZOR_OK);
    EXPECT_EQ(ZorIsParameterActive(function, "NONE", &active, &info), ZOR_OK);
    EXPECT_EQ(active, 0);
    EXPECT_EQ(ZorSetParameterActive(function, nullptr, 1, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "Invalid parameter 'KEL_UC*' was passed to the API call");
    EXPECT_EQ(ZorIsParameterActive(function, "P", nullptr, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "Invalid parameter 'int*' was passed to the API call");

    EXPECT_EQ(ZorDestroyFunctionDesc(functionDesc, &info), ZOR_OK);
    EXPECT_EQ(ZorSetChars(function, "P", "xyz", 3, &info), ZOR_OK);
    EXPECT_EQ(ZorDestroyFunction(function, &info), ZOR_OK);
}

TEST_F(ContainerApi, MovesThatFindNoRow) {
    const auto check = [&](ZOR_RC rc, const char* text) {
        EXPECT_EQ(rc, info.code);
        EXPECT_EQ(failure(), text);
    };
    check(ZorMoveToFirstRow(table, &info), "24 6 ZOR_TABLE_MOVE_BOF: No first row");
    check(ZorMoveToLastRow(table, &info), "25 6 ZOR_TABLE_MOVE_EOF: No last row");
    check(ZorMoveToNextRow(table, &info), "25 6 ZOR_TABLE_MOVE_EOF: No next row");
    check(ZorMoveToPreviousRow(table, &info), "24 6 ZOR_TABLE_MOVE_BOF: No previous row");
    check(ZorMoveTo(table, 0, &info), "25 6 : Invalid index");
    EXPECT_EQ(ZorGetCurrentRow(table, &info), nullptr);
    EXPECT_EQ(info.code, ZOR_OK);
    EXPECT_EQ(ZorDeleteCurrentRow(table, &info), ZOR_OK);
    EXPECT_EQ(ZorAppendNewRows(table, 2, &info), ZOR_OK);
    EXPECT_EQ(ZorMoveToNextRow(table, &info), ZOR_OK);
    EXPECT_EQ(ZorMoveToNextRow(table, nullptr), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(ZorAppendNewRows(table, 0xFFFFFFFF, &info), ZOR_MEMORY_INSUFFICIENT);
    EXPECT_EQ(ZorGetRowCount(table, nullptr, &info), ZOR_INVALID_HANDLE);
    EXPECT_EQ(failure(), badHandle);
    const auto copy = ZorCloneTable(table, &info);
    EXPECT_NE(ZorGetCurrentRow(copy, &info), nullptr);
    ZorDestroyTable(copy, nullptr);
}

}  // namespace
