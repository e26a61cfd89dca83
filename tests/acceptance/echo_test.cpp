// Every kind of parameter goes out and comes back as it was.

#include <cmath>
#include <cstring>

#include "session.h"

namespace {

class EchoTest : public SessionTest {};

TEST_F(EchoTest, scalarsOfEveryType) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_SCALARS");
    const struct {
        const char* type;
        const char* text;
    } texts[] = {
        {"CHAR", "\xC4pfel & Birnen"}, {"NUM", "42"}, {"DATE", "20240229"}, {"TIME", "235959"},
        {"BCD", "-12345.67"},
    };
    for (const auto& t : texts)
        function.setText((std::string("I_") + t.type).c_str(), t.text);
    ASSERT_EQ(ZorSetBytes(function, "I_BYTE", reinterpret_cast<const KEL_RAW*>("\0\1\xFE\xFF"), 4, &error),
              ZOR_OK);
    ASSERT_EQ(ZorSetFloat(function, "I_FLOAT", -1.5e-300, &error), ZOR_OK);
    function.setInt("I_INT", -2147483647 - 1);
    function.setInt("I_INT1", 255);
    function.setInt("I_INT2", -32768);
    ASSERT_EQ(ZorSetInt8(function, "I_INT8", -9223372036854775807LL - 1, &error), ZOR_OK);
    const std::string decimal = "0123456789ABCDEF";
    ASSERT_EQ(ZorSetBytes(function, "I_DECF16", reinterpret_cast<const KEL_RAW*>(decimal.data()), 8, &error),
              ZOR_OK);
    ASSERT_EQ(ZorSetBytes(function, "I_DECF34", reinterpret_cast<const KEL_RAW*>(decimal.data()), 16, &error),
              ZOR_OK);

    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("E_CHAR"), "\xC4pfel & Birnen");
    EXPECT_EQ(function.text("E_NUM"), "0000000042");
    EXPECT_EQ(function.text("E_DATE"), "20240229");
    EXPECT_EQ(function.text("E_TIME"), "235959");
    EXPECT_EQ(function.text("E_BCD"), "-12345.67");
    EXPECT_EQ(function.bytes("E_BYTE", 10), std::string("\0\1\xFE\xFF\0\0\0\0\0\0", 10));
    ZOR_FLOAT number = 0;
    ASSERT_EQ(ZorGetFloat(function, "E_FLOAT", &number, &error), ZOR_OK);
    EXPECT_EQ(number, -1.5e-300);
    EXPECT_EQ(function.integer("E_INT"), -2147483647 - 1);
    EXPECT_EQ(function.integer("E_INT1"), 255);
    EXPECT_EQ(function.integer("E_INT2"), -32768);
    ZOR_INT8 large = 0;
    ASSERT_EQ(ZorGetInt8(function, "E_INT8", &large, &error), ZOR_OK);
    EXPECT_EQ(large, -9223372036854775807LL - 1);
    EXPECT_EQ(function.bytes("E_DECF16", 8), decimal.substr(0, 8));
    EXPECT_EQ(function.bytes("E_DECF34", 16), decimal);
}

TEST_F(EchoTest, initialValuesOfEveryTypePassToo) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_SCALARS");
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("E_CHAR"), "");
    EXPECT_EQ(function.text("E_NUM"), "0000000000");
    EXPECT_EQ(function.text("E_BCD"), "0.00");
    EXPECT_EQ(function.integer("E_INT"), 0);
}

TEST_F(EchoTest, stringsFromEmptyToLarge) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_STRINGS");
    std::string mixed;
    for (int i = 0; i < 200000; ++i)
        mixed += static_cast<char>(i % 7 == 0 ? 0xE4 : 'a' + i % 26);
    for (const std::string& text :
         {std::string(), std::string("a"), std::string("\xE4\xF6\xFC"), std::string(65533, 'x'),
          std::string(65534, 'x'), std::string(65535, 'x'), mixed}) {
        SCOPED_TRACE(text.size());
        function.setText("I_STRING", text);
        ASSERT_EQ(ZorSetXString(function, "I_XSTRING", reinterpret_cast<const KEL_RAW*>(text.data()),
                                static_cast<unsigned>(text.size()), &error),
                  ZOR_OK);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.text("E_STRING", 300000), text);
        unsigned length = 0;
        ASSERT_EQ(ZorGetStringLength(function, "E_XSTRING", &length, &error), ZOR_OK);
        ASSERT_EQ(length, text.size());
        std::string back(length, '\0');
        ASSERT_EQ(ZorGetXString(function, "E_XSTRING", reinterpret_cast<KEL_RAW*>(back.data()), length,
                                &length, &error),
                  ZOR_OK);
        EXPECT_EQ(back, text);
    }
}

void fillMixed(DATA_CONTAINER_HANDLE row, int number) {
    ZOR_ERROR_INFO error;
    EXPECT_EQ(ZorSetInt(row, "ID", number, &error), ZOR_OK) << error.message;
    EXPECT_EQ(ZorSetChars(row, "CODE", "ABC", 3, &error), ZOR_OK);
    EXPECT_EQ(ZorSetDate(row, "DAY", "20261122", &error), ZOR_OK);
    EXPECT_EQ(ZorSetFloat(row, "RATIO", number / 8.0, &error), ZOR_OK);
    EXPECT_EQ(ZorSetString(row, "PRICE", "1.25", 4, &error), ZOR_OK);
}

void expectMixed(DATA_CONTAINER_HANDLE row, int number) {
    ZOR_ERROR_INFO error;
    ZOR_INT id = 0;
    EXPECT_EQ(ZorGetInt(row, "ID", &id, &error), ZOR_OK) << error.message;
    EXPECT_EQ(id, number);
    ZOR_FLOAT ratio = 0;
    EXPECT_EQ(ZorGetFloat(row, "RATIO", &ratio, &error), ZOR_OK);
    EXPECT_EQ(ratio, number / 8.0);
    EXPECT_EQ(textOf(row, "CODE"), "ABC");
    EXPECT_EQ(textOf(row, "DAY"), "20261122");
    EXPECT_EQ(textOf(row, "PRICE"), "1.25");
    EXPECT_EQ(textOf(row, "NUMBER"), "0000");
}

TEST_F(EchoTest, structuresFlatAndNested) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_STRUCTURE");
    for (const char* name : {"I_FLAT", "C_FLAT"})
        fillMixed(function.structure(name), 7);
    for (const char* name : {"I_NESTED", "C_NESTED"}) {
        const ZOR_STRUCTURE_HANDLE nested = function.structure(name);
        ASSERT_EQ(ZorSetInt(nested, "ID", 1, &error), ZOR_OK);
        ASSERT_EQ(ZorSetInt(nested, "COUNT", -1, &error), ZOR_OK);
        ZOR_STRUCTURE_HANDLE address = nullptr;
        ASSERT_EQ(ZorGetStructure(nested, "ADDRESS", &address, &error), ZOR_OK);
        ASSERT_EQ(ZorSetChars(address, "CITY", "K\xF6ln", 4, &error), ZOR_OK);
        ASSERT_EQ(ZorSetNum(address, "ZIP", "50667", 5, &error), ZOR_OK);
    }
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        for (const char* name : {"E_FLAT", "C_FLAT"})
            expectMixed(function.structure(name), 7);
        for (const char* name : {"E_NESTED", "C_NESTED"}) {
            const ZOR_STRUCTURE_HANDLE nested = function.structure(name);
            EXPECT_EQ(textOf(nested, "ID"), "1");
            EXPECT_EQ(textOf(nested, "COUNT"), "-1");
            ZOR_STRUCTURE_HANDLE address = nullptr;
            ASSERT_EQ(ZorGetStructure(nested, "ADDRESS", &address, &error), ZOR_OK);
            EXPECT_EQ(textOf(address, "CITY"), "K\xF6ln");
            EXPECT_EQ(textOf(address, "ZIP"), "50667");
        }
    }
}

TEST_F(EchoTest, tablesOfManySizes) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const unsigned rows : {0u, 1u, 2u, 279u, 280u, 10000u}) {
        SCOPED_TRACE(rows);
        Function function("ECHO_TABLE");
        const ZOR_TABLE_HANDLE mixed = function.table("MIXED");
        const ZOR_TABLE_HANDLE lines = function.table("LINES");
        for (unsigned i = 0; i < rows; ++i) {
            fillMixed(ZorAppendNewRow(mixed, &error), static_cast<int>(i));
            const std::string text = "line " + std::to_string(i);
            ZorAppendNewRow(lines, &error);
            ASSERT_EQ(ZorSetString(lines, "TEXT", text.data(), static_cast<unsigned>(text.size()), &error),
                      ZOR_OK);
        }
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        for (const ZOR_TABLE_HANDLE table : {mixed, lines}) {
            unsigned count = 0;
            ASSERT_EQ(ZorGetRowCount(table, &count, &error), ZOR_OK);
            ASSERT_EQ(count, rows);
        }
        for (unsigned i = 0; i < rows; i += 97) {
            ASSERT_EQ(ZorMoveTo(mixed, i, &error), ZOR_OK);
            ASSERT_EQ(ZorMoveTo(lines, i, &error), ZOR_OK);
            expectMixed(mixed, static_cast<int>(i));
            EXPECT_EQ(textOf(lines, "TEXT"), "line " + std::to_string(i));
        }
    }
}

TEST_F(EchoTest, aContainerServesManyCalls) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_CHANGING");
    function.setText("C_CHAR", "start");
    function.setText("C_STRING", "text");
    function.setText("C_BCD", "1");
    for (int i = 0; i < 50; ++i) {
        function.setInt("C_INT", i);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.integer("C_INT"), i);
        EXPECT_EQ(function.text("C_CHAR"), "start");
        EXPECT_EQ(function.text("C_STRING"), "text");
        EXPECT_EQ(function.text("C_BCD"), "1.00");
    }
}

TEST_F(EchoTest, inactiveParametersNeitherTravelNorReturn) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    system.clearRequests();
    Function function("ECHO_TEN_SCALARS");
    for (const char* name : {"I_INT", "E_INT", "E_DATE"})
        ASSERT_EQ(ZorSetParameterActive(function, name, 0, &error), ZOR_OK);
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    const auto requests = system.requests();
    ASSERT_EQ(requests.size(), 1u);
    unsigned sent = 0, wanted = 0;
    for (const zordev::RecordedItem& recorded : requests[0].items()) {
        if (recorded.id == item::fieldName) ++sent;
        if (recorded.id == item::fieldIsSupplied) ++wanted;
        EXPECT_NE(std::string(recorded.payload.begin(), recorded.payload.end()), "I_INT");
    }
    EXPECT_EQ(sent, 9u);
    EXPECT_EQ(wanted, 8u);
}

TEST_F(EchoTest, manyConnectionsAtOnce) {
    std::vector<ZOR_CONNECTION_HANDLE> connections;
    for (int i = 0; i < 20; ++i)
        connections.push_back(connect());
    Function function("ECHO_TEN_SCALARS");
    for (int round = 0; round < 3; ++round)
        for (size_t i = 0; i < connections.size(); ++i) {
            function.setInt("I_INT", static_cast<int>(i));
            ASSERT_EQ(invoke(connections[i], function), ZOR_OK) << error.message;
            EXPECT_EQ(function.integer("E_INT"), static_cast<int>(i));
        }
}

}  // namespace
