// Descriptions fetched from the partner, on each release that does it in its own way.

#include "metadatafixture.h"

namespace {

using std::string;

constexpr Band bands[] = {
    {"31H", "3", false, false},
    {"400", "3", false, false},
    {"45B", "3", false, false},
    {"460", "3", false},
    {"46B", "3", false},
    {"46C"},
    {"46D"},
    {"470"},
    {"500"},
    {"501"},
    {"599"},
    {"620"},
    {"699"},
    {"700"},
    {"701"},
    {"702"},
    {"711"},
    {"720"},
    {"753"},
    {"793"},
};

class EveryBandTest : public MetadataTest, public testing::WithParamInterface<Band> {
  protected:
    EveryBandTest() : MetadataTest(GetParam()) {}
};

TEST_P(EveryBandTest, scalarFunctionsAreToldAsTheyAre) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const char* name : {"ECHO_SCALARS", "ECHO_STRINGS", "ECHO_CHANGING"}) {
        const auto& known = zordev::findFunction(name)->parameters;
        const ZOR_FUNCTION_DESC_HANDLE desc = function(connection, name);
        unsigned count = 0;
        ASSERT_EQ(ZorGetParameterCount(desc, &count, &error), ZOR_OK);
        ASSERT_EQ(count, known.size());
        for (unsigned i = 0; i < count; ++i) {
            ZOR_PARAMETER_DESC told;
            ASSERT_EQ(ZorGetParameterDescByIndex(desc, i, &told, &error), ZOR_OK);
            EXPECT_EQ(told.name, known[i].name);
            EXPECT_EQ(told.type, known[i].type) << told.name;
            EXPECT_EQ(told.direction, known[i].direction) << told.name;
            EXPECT_EQ(told.decimals, known[i].decimals) << told.name;
            EXPECT_EQ(told.nucLength, known[i].length != 0 ? known[i].length : 8) << told.name;
            const bool characters = told.type == ZORTYPE_CHAR || told.type == ZORTYPE_NUM ||
                                    told.type == ZORTYPE_DATE || told.type == ZORTYPE_TIME;
            EXPECT_EQ(told.ucLength, (characters ? 2 : 1) * told.nucLength) << told.name;
            EXPECT_EQ(told.optional != 0, GetParam().optional && told.direction != ZOR_EXPORT) << told.name;
        }
    }
}

TEST_P(EveryBandTest, aFetchedDescriptionCarriesACall) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_FUNCTION_HANDLE call = ZorCreateFunction(function(connection, "ECHO_STRUCTURE"), &error);
    ASSERT_NE(call, nullptr) << failure();
    ZOR_STRUCTURE_HANDLE flat = nullptr, nested = nullptr;
    ASSERT_EQ(ZorGetStructure(call, "I_FLAT", &flat, &error), ZOR_OK);
    ASSERT_EQ(ZorSetInt(flat, "ID", 4711, &error), ZOR_OK);
    ASSERT_EQ(ZorSetString(flat, "PRICE", "12.34", 5, &error), ZOR_OK) << failure();
    ASSERT_EQ(ZorGetStructure(call, "I_NESTED", &nested, &error), ZOR_OK);
    ZOR_STRUCTURE_HANDLE address = nested;
    if (GetParam().nested) {
        ASSERT_EQ(ZorGetStructure(nested, "ADDRESS", &address, &error), ZOR_OK);
    }
    ASSERT_EQ(ZorSetString(address, "CITY", "Ghent", 5, &error), ZOR_OK);
    ASSERT_EQ(ZorSetInt(nested, "COUNT", 12, &error), ZOR_OK);
    ASSERT_EQ(invoke(connection, call), ZOR_OK) << failure() << system.violationText();
    ZOR_INT id = 0, count = 0;
    ASSERT_EQ(ZorGetStructure(call, "E_FLAT", &flat, &error), ZOR_OK);
    ZorGetInt(flat, "ID", &id, &error);
    EXPECT_EQ(id, 4711);
    EXPECT_EQ(textOf(flat, "PRICE"), "12.34");
    ASSERT_EQ(ZorGetStructure(call, "E_NESTED", &nested, &error), ZOR_OK);
    ZorGetInt(nested, "COUNT", &count, &error);
    EXPECT_EQ(count, 12);
    ZorDestroyFunction(call, nullptr);
}

TEST_P(EveryBandTest, whatIsCachedIsNotAskedForAgain) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_FUNCTION_DESC_HANDLE first = function(connection, "ECHO_TABLE");
    EXPECT_FALSE(called().empty());
    EXPECT_EQ(function(connection, "ECHO_TABLE"), first);
    EXPECT_EQ(function(connect(), "ECHO_TABLE"), first);
    EXPECT_EQ(called(), std::vector<string>({"ZORPING"}));
    EXPECT_EQ(ZorGetCachedFunctionDesc("MTD", "ECHO_TABLE", &error), first);
    // The rows of its tables came along, each by its name.
    const char* const line = "ECHO_LINE";
    EXPECT_EQ(ZorGetCachedTypeDesc("MTD", line, &error), type(connection, line));
    EXPECT_TRUE(called().empty());
}

INSTANTIATE_TEST_SUITE_P(Releases, EveryBandTest, testing::ValuesIn(bands),
                         [](const auto& info) { return string(info.param.release); });

TEST_F(MetadataTest, theFieldsOfAFlatStructureInBothLayouts) {
    EXPECT_EQ(fieldsOf(type(connect(), "ECHO_MIXED")),
              "ID:INT@0+4/0+4 CODE:CHAR@4+3/4+6 FLAG:INT1@7+1/10+1 QUANTITY:INT2@8+2/12+2 "
              "DAY:DATE@10+8/14+16 AT:TIME@18+6/30+12 RATIO:FLOAT@24+8/48+8 PRICE:BCD@32+8/56+8 "
              "NUMBER:NUM@40+4/64+8 RAW:BYTE@44+4/72+4 48/76");
}

TEST_F(MetadataTest, genericParametersGetTheirTypesFromTheirReferences) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_FUNCTION_DESC_HANDLE desc = function(connection, "ZDEV_GENERIC");
    const struct {
        const char* name;
        ZORTYPE type;
        unsigned nucLength;
        const char* typeName;
    } rows[] = {
        {"TEXT", ZORTYPE_STRING, 8, nullptr},
        {"NUMBER", ZORTYPE_INT, 4, nullptr},
        {"PERSON", ZORTYPE_STRUCTURE, 0, "ZDEV_PERSON"},
        {"NAME", ZORTYPE_CHAR, 30, nullptr},
        {"CITY", ZORTYPE_STRUCTURE, 0, "ZDEV_CITY"},
        {"PERSONS", ZORTYPE_TABLE, 0, "ZDEV_PERSON"},
    };
    for (const auto& row : rows) {
        ZOR_PARAMETER_DESC told;
        ASSERT_EQ(ZorGetParameterDescByName(desc, row.name, &told, &error), ZOR_OK) << failure();
        EXPECT_EQ(told.type, row.type) << row.name;
        EXPECT_TRUE(row.nucLength == 0 || told.nucLength == row.nucLength) << row.name;
        ASSERT_EQ(told.typeDescHandle != nullptr, row.typeName != nullptr) << row.name;
        if (row.typeName == nullptr) continue;
        ZOR_UBIX_NAME name;
        ASSERT_EQ(ZorGetTypeName(told.typeDescHandle, name, &error), ZOR_OK);
        EXPECT_STREQ(name, row.typeName);
    }
    ZOR_EXCEPTION_DESC exception;
    ASSERT_EQ(ZorGetExceptionDescByIndex(desc, 1, &exception, &error), ZOR_OK);
    EXPECT_STREQ(exception.key, "TOO_LATE");
    EXPECT_STREQ(exception.message, "The day is over");
}

TEST_F(MetadataTest, nestedStructuresAreRebuiltFromTheFlatList) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_TYPE_DESC_HANDLE person = type(connection, "ZDEV_PERSON");
    ZOR_FIELD_DESC home, city, zip;
    ASSERT_EQ(ZorGetFieldDescByName(person, "HOME", &home, &error), ZOR_OK) << failure();
    ASSERT_EQ(ZorGetFieldDescByName(home.typeDescHandle, "CITY", &city, &error), ZOR_OK) << failure();
    ASSERT_EQ(ZorGetFieldDescByName(city.typeDescHandle, "ZIP", &zip, &error), ZOR_OK) << failure();
    EXPECT_EQ(zip.nucOffset, 0u);
    EXPECT_EQ(fieldsOf(city.typeDescHandle), "ZIP:NUM@0+5/0+10 NAME:CHAR@5+20/10+40 28/50");
    unsigned fields = 0;
    ASSERT_EQ(ZorGetFieldCount(person, &fields, &error), ZOR_OK);
    EXPECT_EQ(fields, 4u);
    // Each of them is cached under its own name.
    EXPECT_EQ(ZorGetCachedTypeDesc("MTD", "ZDEV_CITY", &error), city.typeDescHandle);
    EXPECT_EQ(ZorGetCachedTypeDesc("MTD", "ZDEV_ADDRESS", &error), home.typeDescHandle);
}

/** The bands that know nested types. */
class NestedBandTest : public EveryBandTest {};

TEST_P(NestedBandTest, typesOfEveryShape) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const Shape& row : shapes) {
        EXPECT_EQ(shapeOf(type(connection, row.name)), row.shape) << failure();
        ZorClearRepository("MTD", nullptr);
    }
    // The same, whatever is known already.
    for (const Shape& row : shapes)
        EXPECT_EQ(shapeOf(type(connection, row.name)), row.shape) << failure();
}

TEST_P(NestedBandTest, aTableTypeBringsTheTypeOfItsRows) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_TYPE_DESC_HANDLE table = type(connection, "ECHO_LINE_T");
    const ZOR_TYPE_DESC_HANDLE line = ZorGetCachedTypeDesc("MTD", "ECHO_LINE", &error);
    ASSERT_NE(line, nullptr) << failure();
    EXPECT_NE(line, table);
    EXPECT_EQ(shapeOf(line), "ECHO_LINE(TEXT:CHAR)");
}

INSTANTIATE_TEST_SUITE_P(Releases, NestedBandTest, testing::ValuesIn(std::begin(bands) + 5, std::end(bands)),
                         [](const auto& info) { return string(info.param.release); });

TEST_F(MetadataTest, deepParametersTravelByTheirFetchedDescriptions) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const ZOR_FUNCTION_HANDLE call = ZorCreateFunction(function(connection, "ECHO_DEEP_TABLE"), &error);
    ASSERT_NE(call, nullptr) << failure();
    ZOR_TABLE_HANDLE items = nullptr, notes = nullptr, words = nullptr;
    ASSERT_EQ(ZorGetTable(call, "I_ITEMS", &items, &error), ZOR_OK);
    ASSERT_NE(ZorAppendNewRow(items, &error), nullptr);
    ASSERT_EQ(ZorSetString(items, "MATERIAL", "BRICK", 5, &error), ZOR_OK);
    ASSERT_EQ(ZorGetTable(items, "NOTES", &notes, &error), ZOR_OK) << failure();
    ASSERT_NE(ZorAppendNewRow(notes, &error), nullptr);
    ASSERT_EQ(ZorSetString(notes, "TEXT", "red", 3, &error), ZOR_OK) << failure();
    ASSERT_EQ(ZorGetTable(call, "I_WORDS", &words, &error), ZOR_OK);
    ASSERT_NE(ZorAppendNewRow(words, &error), nullptr);
    ASSERT_EQ(ZorSetString(words, "", "one", 3, &error), ZOR_OK) << failure();
    ASSERT_EQ(invoke(connection, call), ZOR_OK) << failure() << system.violationText();
    ASSERT_EQ(ZorGetTable(call, "E_ITEMS", &items, &error), ZOR_OK);
    ASSERT_EQ(ZorMoveToFirstRow(items, &error), ZOR_OK);
    EXPECT_EQ(textOf(items, "MATERIAL"), "BRICK");
    ASSERT_EQ(ZorGetTable(items, "NOTES", &notes, &error), ZOR_OK);
    ASSERT_EQ(ZorMoveToFirstRow(notes, &error), ZOR_OK);
    EXPECT_EQ(textOf(notes, "TEXT"), "red");
    ZorDestroyFunction(call, nullptr);
}

TEST_F(MetadataTest, whatThePartnerDoesNotKnow) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(ZorGetFunctionDesc(connection, "NO_SUCH_FUNCTION", &error), nullptr);
    EXPECT_EQ(failure(), "5 FU_NOT_FOUND: ");
    EXPECT_EQ(ZorGetTypeDesc(connection, "NO_SUCH_TYPE", &error), nullptr);
    EXPECT_EQ(failure(), "5 NOT_FOUND: ");
    const string tooLong(40, 'X');
    EXPECT_EQ(ZorGetFunctionDesc(connection, tooLong.c_str(), &error), nullptr);
    EXPECT_EQ(error.code, ZOR_NOT_FOUND);
    EXPECT_EQ(error.message, "Type " + tooLong + " not found");
    EXPECT_EQ(ZorGetTypeDesc(connection, tooLong.c_str(), &error), nullptr);
    EXPECT_EQ(error.message, "Type " + tooLong + " not found");
    EXPECT_NE(function(connection, "ECHO_SCALARS"), nullptr);
}

TEST_F(MetadataTest, wrongArguments) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(ZorGetFunctionDesc(connection, nullptr, &error), nullptr);
    EXPECT_EQ(failure(),
              "20 ZOR_INVALID_PARAMETER: Invalid parameter 'Function name' was passed to the API call");
    EXPECT_EQ(ZorGetTypeDesc(connection, "", &error), nullptr);
    EXPECT_EQ(failure(), "20 ZOR_INVALID_PARAMETER: Parameter \"Type name\" is empty");
    EXPECT_EQ(error.group, EXTERNAL_APPLICATION_FAILURE);
    ZorCloseConnection(connection, nullptr);
    EXPECT_EQ(ZorGetTypeDesc(connection, "ECHO_LINE", &error), nullptr);
    EXPECT_EQ(failure(), "13 ZOR_INVALID_HANDLE: An invalid handle was passed to the API call");
}

class OtherPartnerTest : public MetadataTest, public testing::WithParamInterface<const char*> {
  protected:
    OtherPartnerTest() : MetadataTest({"753", GetParam()}) {}
};

TEST_P(OtherPartnerTest, programsHaveNoDictionary) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(ZorGetFunctionDesc(connection, "ECHO_TABLE", &error), nullptr);
    EXPECT_EQ(failure(), "18 ZOR_NOT_SUPPORTED: Connection to non-UBIX server is not supported");
    EXPECT_EQ(called(), std::vector<string>({"ZORPING"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, OtherPartnerTest, testing::Values("E", "R"));

class OldKindTest : public MetadataTest {
  protected:
    OldKindTest() : MetadataTest({"753", "2"}) {}
};

TEST_F(OldKindTest, functionsWithoutTypesOnly) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_NE(function(connection, "ECHO_SCALARS"), nullptr);
    EXPECT_EQ(ZorGetTypeDesc(connection, "ECHO_LINE", &error), nullptr);
    EXPECT_EQ(failure(), "20 ZOR_INVALID_PARAMETER: Unknown repository version 200");
    EXPECT_EQ(ZorGetFunctionDesc(connection, "ECHO_TABLE", &error), nullptr);
    EXPECT_EQ(failure(), "20 ZOR_INVALID_PARAMETER: Unknown repository version 200");
    EXPECT_EQ(ZorGetCachedFunctionDesc("MTD", "ECHO_TABLE", &error), nullptr);
}

}  // namespace
