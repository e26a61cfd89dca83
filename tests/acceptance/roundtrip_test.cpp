// Descriptions that come in one round trip, many at once, and classes.

#include "metadatafixture.h"

namespace {

using std::string;

constexpr const char* metadataGet = "ZOR_METADATA_GET";

class RoundTripTest : public MetadataTest {
  protected:
    ZOR_CONNECTION_HANDLE connectForRoundTrips() {
        const ZOR_CONNECTION_HANDLE connection = connect({{"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", "1"}});
        called();
        return connection;
    }

    using Names = std::vector<const KEL_UC*>;

    ZOR_RC query(ZOR_CONNECTION_HANDLE connection, Names functions, Names types, Names classes) {
        return ZorMetadataBatchQuery(connection, functions.data(), static_cast<unsigned>(functions.size()),
                                     types.data(), static_cast<unsigned>(types.size()), classes.data(),
                                     static_cast<unsigned>(classes.size()), result, &error);
    }

    /** The names of a kind: those found, a stroke, those not found with the reason. */
    string told(ZOR_METADATA_OBJ_TYPE type) {
        unsigned found = 0, failed = 0;
        ZorDescribeMetadataQueryResult(result, type, &found, &failed, nullptr);
        string text;
        for (unsigned i = 0; i < found; ++i) {
            ZOR_UBIX_NAME name;
            ZorGetMetadataQuerySucceededEntry(result, type, i, name, nullptr);
            text += string(name) + " ";
        }
        text += "|";
        for (unsigned i = 0; i < failed; ++i) {
            ZOR_METADATA_QUERY_RESULT_ENTRY entry;
            ZorGetMetadataQueryFailedEntry(result, type, i, &entry, nullptr);
            text += string(" ") + entry.name + "=" + entry.errorMessage;
        }
        return text;
    }

    ~RoundTripTest() override { ZorDestroyMetadataQueryResult(result, nullptr); }
    ZOR_METADATA_QUERY_RESULT_HANDLE result = ZorCreateMetadataQueryResult(nullptr);
};

TEST_F(RoundTripTest, typesOfEveryShapeByOneCallEach) {
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    for (const Shape& row : shapes) {
        if (string(row.name) == "ZDEV_NODE") continue;
        EXPECT_EQ(shapeOf(type(connection, row.name)), row.shape) << failure();
        EXPECT_EQ(called(), std::vector<string>({metadataGet}));
        ZorClearRepository("MTD", nullptr);
    }
}

TEST_F(RoundTripTest, sameAsByTheClassicRoad) {
    const ZOR_CONNECTION_HANDLE classic = connect();
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    for (const char* name : {"ECHO_MIXED", "ZDEV_PERSON", "ZDEV_ORDER", "ECHO_LINE_T", "DEEP_ORDER"}) {
        const string expected = fieldsOf(type(classic, name));
        ZorClearRepository("MTD", nullptr);
        EXPECT_EQ(fieldsOf(type(connection, name)), expected) << name;
        ZorClearRepository("MTD", nullptr);
    }
    for (const char* name : {"ECHO_SCALARS", "ECHO_STRINGS", "ECHO_STRUCTURE", "ECHO_DEEP", "ECHO_DEEP_TABLE",
                             "COUNTRY_GET_LIST", "ZDEV_GENERIC"}) {
        const string expected = parametersOf(function(classic, name));
        ZorClearRepository("MTD", nullptr);
        called();
        EXPECT_EQ(parametersOf(function(connection, name)), expected);
        EXPECT_EQ(called(), std::vector<string>({metadataGet})) << name;
        ZorClearRepository("MTD", nullptr);
    }
}

TEST_F(RoundTripTest, aFetchedDescriptionCarriesACall) {
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    const ZOR_FUNCTION_HANDLE call = ZorCreateFunction(function(connection, "COUNTRY_GET_LIST"), &error);
    ASSERT_EQ(ZorSetString(call, "LANGUAGE", "EN", 2, &error), ZOR_OK) << failure();
    ASSERT_EQ(invoke(connection, call), ZOR_OK) << failure();
    ZOR_TABLE_HANDLE countries = nullptr;
    ASSERT_EQ(ZorGetTable(call, "COUNTRIES", &countries, &error), ZOR_OK);
    ASSERT_EQ(ZorMoveToFirstRow(countries, &error), ZOR_OK);
    EXPECT_EQ(textOf(countries, "ALPHA2"), "AF");
    ZorDestroyFunction(call, nullptr);
}

TEST_F(RoundTripTest, anUnknownNameIsNotFoundAndNotAskedForAgain) {
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    EXPECT_EQ(ZorGetFunctionDesc(connection, "NO_SUCH_FUNCTION", &error), nullptr);
    EXPECT_EQ(failure(), "17 ZOR_NOT_FOUND: Type NO_SUCH_FUNCTION not found");
    EXPECT_EQ(ZorGetTypeDesc(connection, "NO_SUCH_TYPE", &error), nullptr);
    EXPECT_EQ(failure(), "17 ZOR_NOT_FOUND: Type NO_SUCH_TYPE not found");
    EXPECT_EQ(called(), std::vector<string>({metadataGet, metadataGet}));
    const string tooLong(31, 'X');
    EXPECT_EQ(ZorGetTypeDesc(connection, tooLong.c_str(), &error), nullptr);
    EXPECT_EQ(error.code, ZOR_NOT_FOUND);
    EXPECT_TRUE(called().empty());
    // A table whose rows nobody describes can't be told on this road.
    EXPECT_EQ(ZorGetFunctionDesc(connection, "ECHO_TABLE", &error), nullptr);
    EXPECT_EQ(error.code, ZOR_UNKNOWN_ERROR) << failure();
    EXPECT_EQ(ZorGetCachedTypeDesc("MTD", "ECHO_LINE", &error), nullptr);
}

TEST_F(RoundTripTest, manyAtOnce) {
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    EXPECT_EQ(
        query(connection, {"ECHO_STRUCTURE", "NOWHERE", "ZOR_PING", "ECHO_DEEP"},
              {"ZDEV_PERSON", "NO_TYPE", "ZDEV_LOCKED", "ZDEV_NAME"}, {"ZCL_DEV_PERSON", "ZCL_NOWHERE"}),
        ZOR_UNKNOWN_ERROR);
    EXPECT_EQ(failure(),
              "28 EXTERNAL_APPLICATION_FAILURE: See ZOR_METADATA_SET_QUERY_RESULT_HANDLE for details");
    EXPECT_EQ(error.group, EXTERNAL_APPLICATION_FAILURE);
    EXPECT_EQ(told(ZOR_METADATA_FUNCTION),
              "ECHO_STRUCTURE ECHO_DEEP | NOWHERE=NOWHERE not found ZOR_PING=ZOR_PING not ZOR enabled");
    EXPECT_EQ(
        told(ZOR_METADATA_TYPE),
        "ZDEV_PERSON ZDEV_NAME | NO_TYPE=NO_TYPE not found ZDEV_LOCKED=ZDEV_LOCKED could not be queried. "
        "Caused by NO_AUTHORITY: Nobody may see it");
    EXPECT_EQ(told(ZOR_METADATA_CLASS),
              "ZCL_DEV_PERSON | ZCL_NOWHERE=ZCL_NOWHERE could not be queried. Caused by NOT_EXISTING: ");
    called();
    // What was found is there.
    for (const char* name : {"ECHO_STRUCTURE", "ECHO_DEEP"})
        EXPECT_NE(function(connection, name), nullptr);
    EXPECT_NE(ZorGetClassDesc(connection, "ZCL_DEV_ORDER", &error), nullptr);
    EXPECT_TRUE(called().empty());
    EXPECT_EQ(query(connection, {"ECHO_STRUCTURE"}, {}, {}), ZOR_OK) << failure();
    EXPECT_EQ(told(ZOR_METADATA_FUNCTION), "ECHO_STRUCTURE |");
    EXPECT_EQ(told(ZOR_METADATA_TYPE), "|");
}

TEST_F(RoundTripTest, aBatchOfClassesAloneStillAsksOnce) {
    const ZOR_CONNECTION_HANDLE connection = connectForRoundTrips();
    EXPECT_EQ(query(connection, {}, {}, {"ZCL_DEV_PERSON"}), ZOR_OK) << failure();
    // The order's items are a type, which takes a round trip of its own.
    EXPECT_EQ(called(),
              std::vector<string>({metadataGet, "SEO_GET_CLIF_REMOTE", "SEO_GET_CLIF_REMOTE", metadataGet}));
}

TEST_F(RoundTripTest, batchesAreRefused) {
    const ZOR_CONNECTION_HANDLE plain = connect();
    EXPECT_EQ(query(plain, {"ECHO_STRUCTURE"}, {}, {}), ZOR_ILLEGAL_STATE);
    EXPECT_STREQ(
        error.message,
        "lookupMetadataInBatch is only allowed on connections with flag "
        "USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION. Check ZOR_METADATA_GET on the KEL backend side before you "
        "set this flag.");
    EXPECT_EQ(query(nullptr, {}, {}, {}), ZOR_INVALID_HANDLE);
    EXPECT_STREQ(error.message, "conn handle equals NULL is not allowed");
    EXPECT_EQ(query(plain, {"A", nullptr}, {}, {}), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter 'functionNames' was passed to the API call");
}

TEST_F(MetadataTest, classesInACircle) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    called();
    const ZOR_CLASS_DESC_HANDLE order = ZorGetClassDesc(connection, "ZCL_DEV_ORDER", &error);
    ASSERT_NE(order, nullptr) << failure();
    unsigned count = 0;
    ASSERT_EQ(ZorGetClassAttributesCount(order, &count, &error), ZOR_OK);
    EXPECT_EQ(count, 4u);  // without the secret one
    ZOR_CLASS_ATTRIBUTE_DESC buyer, kind, last;
    ASSERT_EQ(ZorGetClassAttributeDescByName(order, "BUYER", &buyer, &error), ZOR_OK) << failure();
    EXPECT_EQ(buyer.type, ZORTYPE_UBIXOBJECT);
    EXPECT_NE(buyer.isReadOnly, 0);
    ASSERT_EQ(ZorGetClassAttributeDescByName(order, "KIND", &kind, &error), ZOR_OK);
    EXPECT_EQ(kind.attributeType, ZOR_CLASS_ATTRIBUTE_CONSTANT);
    EXPECT_STREQ(kind.defaultValue, "'SALE'");
    const ZOR_CLASS_DESC_HANDLE person = ZorGetCachedClassDesc("MTD", "ZCL_DEV_PERSON", &error);
    EXPECT_EQ(reinterpret_cast<void*>(buyer.typeDescHandle), reinterpret_cast<void*>(person));
    ASSERT_EQ(ZorGetClassAttributeDescByName(person, "LAST_ORDER", &last, &error), ZOR_OK);
    EXPECT_EQ(reinterpret_cast<void*>(last.typeDescHandle), reinterpret_cast<void*>(order));
    ZOR_UBIX_NAME parent;
    ASSERT_EQ(ZorGetParentClassByIndex(order, 0, parent, &error), ZOR_OK);
    EXPECT_STREQ(parent, "ZCL_DEV_BASE");
    ASSERT_EQ(ZorGetImplementedInterfacesCount(order, &count, &error), ZOR_OK);
    EXPECT_EQ(count, 2u);
    called();
    EXPECT_EQ(ZorGetClassDesc(connection, "ZCL_DEV_PERSON", &error), person);
    EXPECT_TRUE(called().empty());
    EXPECT_EQ(ZorGetClassDesc(connection, "ZCL_DEV_BROKEN", &error), nullptr);
    EXPECT_EQ(error.code, ZOR_UBIX_EXCEPTION) << failure();
    EXPECT_EQ(ZorGetCachedClassDesc("MTD", "ZCL_DEV_BROKEN", &error), nullptr);
}

class BeforeClassesTest : public MetadataTest {
  protected:
    BeforeClassesTest() : MetadataTest(Band{"711"}) {}
};

TEST_F(BeforeClassesTest, noneIsFound) {
    EXPECT_EQ(ZorGetClassDesc(connect(), "ZCL_DEV_ORDER", &error), nullptr);
    EXPECT_EQ(failure(), "17 ZOR_NOT_FOUND: Type ZCL_DEV_ORDER not found");
}

}  // namespace
