// Back-ends on other machines: byte orders, float formats, code pages and character sizes.

#include <algorithm>

#include "session.h"

namespace {

struct ProfileCase {
    const char* name;
    bool bigEndian;
    bool hexFloat;
};

void PrintTo(const ProfileCase& profile, std::ostream* out) {
    *out << profile.name;
}

class PartnerTest : public SessionTest, public testing::WithParamInterface<ProfileCase> {
  protected:
    PartnerTest() : SessionTest(options()) {}

    static zordev::DevOptions options() {
        zordev::DevOptions made;
        made.profile.bigEndian = GetParam().bigEndian;
        made.profile.hexFloat = GetParam().hexFloat;
        return made;
    }
};

constexpr double doubles[] = {0.0, 1.0, -1.0, 0.1, -118.625, 1e70, 3.5e-70, 65536.0};

TEST_P(PartnerTest, scalarsComeBackAsTheyWent) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_SCALARS");
    const ZOR_INT8 large = 0x0102030405060708;
    function.setInt("I_INT", -123456789);
    ASSERT_EQ(ZorSetInt2(function, "I_INT2", -12345, &error), ZOR_OK);
    ASSERT_EQ(ZorSetInt1(function, "I_INT1", 200, &error), ZOR_OK);
    ASSERT_EQ(ZorSetInt8(function, "I_INT8", large, &error), ZOR_OK);
    function.setText("I_DECF16", "-1.5E+10");
    function.setText("I_DECF34", "123456789012345678901234567890.1234");
    function.setText("I_CHAR", "text");
    function.setText("I_BCD", "-12.34");
    for (const double value : doubles) {
        SCOPED_TRACE(value);
        ASSERT_EQ(ZorSetFloat(function, "I_FLOAT", value, &error), ZOR_OK);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        double back = -1;
        ASSERT_EQ(ZorGetFloat(function, "E_FLOAT", &back, &error), ZOR_OK);
        EXPECT_EQ(back, value);
    }
    for (const char* type : {"INT", "INT2", "INT1", "INT8", "DECF16", "DECF34", "CHAR", "BCD"})
        EXPECT_EQ(function.text((std::string("E_") + type).c_str()),
                  function.text((std::string("I_") + type).c_str()))
            << type;
    EXPECT_EQ(function.integer("E_INT"), -123456789);
}

TEST_P(PartnerTest, recordsAndRowsComeBackAsTheyWent) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_STRUCTURE");
    for (const char* name : {"I_FLAT", "C_FLAT"}) {
        const ZOR_STRUCTURE_HANDLE flat = function.structure(name);
        ASSERT_EQ(ZorSetInt(flat, "ID", 1000001, &error), ZOR_OK);
        ASSERT_EQ(ZorSetInt(flat, "QUANTITY", -2, &error), ZOR_OK);
        ASSERT_EQ(ZorSetFloat(flat, "RATIO", -118.625, &error), ZOR_OK);
        ASSERT_EQ(ZorSetString(flat, "CODE", "abc", 3, &error), ZOR_OK);
    }
    for (const char* name : {"I_NESTED", "C_NESTED"}) {
        const ZOR_STRUCTURE_HANDLE nested = function.structure(name);
        ASSERT_EQ(ZorSetInt(nested, "ID", 258, &error), ZOR_OK);
        ASSERT_EQ(ZorSetInt(nested, "COUNT", -3, &error), ZOR_OK);
    }
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    for (const char* name : {"E_FLAT", "C_FLAT"}) {
        const ZOR_STRUCTURE_HANDLE flat = function.structure(name);
        EXPECT_EQ(textOf(flat, "ID"), "1000001");
        EXPECT_EQ(textOf(flat, "QUANTITY"), "-2");
        EXPECT_EQ(textOf(flat, "CODE"), "abc");
        double ratio = 0;
        EXPECT_EQ(ZorGetFloat(flat, "RATIO", &ratio, &error), ZOR_OK);
        EXPECT_EQ(ratio, -118.625);
    }
    for (const char* name : {"E_NESTED", "C_NESTED"}) {
        EXPECT_EQ(textOf(function.structure(name), "ID"), "258");
        EXPECT_EQ(textOf(function.structure(name), "COUNT"), "-3");
    }
    Function table("ECHO_TABLE");
    const ZOR_TABLE_HANDLE rows = table.table("MIXED");
    for (int i = 0; i < 3; ++i) {
        ZOR_STRUCTURE_HANDLE row = ZorAppendNewRow(rows, &error);
        ASSERT_EQ(ZorSetInt(row, "ID", 70000 * i, &error), ZOR_OK);
        ASSERT_EQ(ZorSetFloat(row, "RATIO", doubles[i + 3], &error), ZOR_OK);
    }
    ASSERT_EQ(invoke(connection, table), ZOR_OK) << error.message;
    for (unsigned i = 0; i < 3; ++i) {
        ASSERT_EQ(ZorMoveTo(rows, i, &error), ZOR_OK);
        EXPECT_EQ(textOf(rows, "ID"), std::to_string(70000 * i));
        double ratio = 0;
        EXPECT_EQ(ZorGetFloat(rows, "RATIO", &ratio, &error), ZOR_OK);
        EXPECT_EQ(ratio, doubles[i + 3]);
    }
}

TEST_P(PartnerTest, thePasswordStateIsUnderstood) {
    EXPECT_EQ(open(logon({{"USER", "EXPIRED"}, {"PASSWORD_CHANGE_ENFORCED", "1"}}), error), nullptr);
    EXPECT_STREQ(error.key, "PASSWORD_EXPIRED");
}

// An item with a short payload.
std::string item(unsigned id, std::string_view payload) {
    const auto number = [](size_t value) {
        return std::string{static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    return number(id) + number(payload.size()) + std::string(payload) + number(id);
}

std::string field(std::string_view name, std::string_view value) {
    return item(513, name) + item(515, value);
}

ZOR_RC addOne(ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO*) {
    ZOR_INT number = 0;
    double ratio = 0;
    EXPECT_EQ(ZorGetInt(call, "I_INT", &number, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetFloat(call, "I_FLOAT", &ratio, nullptr), ZOR_OK);
    EXPECT_EQ(ratio, -118.625);
    return ZorSetInt(call, "E_INT", number + 1, nullptr);
}

TEST_P(PartnerTest, aCallbackComesInItsFormatAndIsAnsweredInOurs) {
    Function served("ECHO_TEN_SCALARS");
    const ZOR_FUNCTION_DESC_HANDLE description = ZorDescribeFunction(served, &error);
    ASSERT_EQ(ZorInstallServerFunction(nullptr, description, addOne, &error), ZOR_OK) << error.message;
    std::string number{1, 2, 3, 4};
    std::string ratio(GetParam().hexFloat ? "\xC2\x76\xA0\0\0\0\0\0" : "\xC0\x5D\xA8\0\0\0\0\0", 8);
    if (!GetParam().bigEndian) {
        std::ranges::reverse(number);
        std::ranges::reverse(ratio);
    }
    const std::string items = item(517, "E_INT") + field("I_INT", number) + field("I_FLOAT", ratio);
    Function function("CALL_BACK_ITEMS");
    function.setText("FUNCTION", "ECHO_TEN_SCALARS");
    ASSERT_EQ(ZorSetXString(function, "ITEMS", reinterpret_cast<const KEL_RAW*>(items.data()),
                            static_cast<unsigned>(items.size()), &error),
              ZOR_OK);
    EXPECT_EQ(invoke(connect(), function), ZOR_OK) << error.message;
    EXPECT_NE(function.bytes("ANSWER", 4096).find(field("E_INT", "\x05\x03\x02\x01")), std::string::npos);
    EXPECT_EQ(ZorInstallServerFunction(nullptr, description, nullptr, &error), ZOR_OK);
}

TEST_P(PartnerTest, failuresAreUnderstood) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function exception("RAISE_EXCEPTION");
    exception.setText("NAME", "NO_ROOM");
    for (const auto& [name, value] : Parameters{{"MSGID", "ZZ"}, {"MSGTY", "E"}, {"MSGNO", "012"}})
        exception.setText(name.c_str(), value);
    EXPECT_EQ(invoke(connection, exception), ZOR_UBIX_EXCEPTION);
    EXPECT_STREQ(error.key, "NO_ROOM");
    EXPECT_STREQ(error.ubixMsgNumber, "012");
    Function message("RAISE_MESSAGE");
    message.setText("TEXT", "no more");
    EXPECT_EQ(invoke(connection, message), ZOR_UBIX_MESSAGE);
    EXPECT_STREQ(error.message, "no more");
}

INSTANTIATE_TEST_SUITE_P(Formats, PartnerTest,
                         testing::Values(ProfileCase{"LittleEndianIeee", false, false},
                                         ProfileCase{"BigEndianIeee", true, false},
                                         ProfileCase{"BigEndianHexadecimal", true, true},
                                         ProfileCase{"LittleEndianHexadecimal", false, true}),
                         [](const auto& info) { return info.param.name; });

class UnicodeTest : public SessionTest {
  protected:
    UnicodeTest() : SessionTest(options()) {}

    static zordev::DevOptions options() {
        zordev::DevOptions made;
        made.profile.codePage = made.profile.systemCodePage = "4103";
        made.profile.characterClass = 5;
        return made;
    }
};

TEST_F(UnicodeTest, charactersOfTwoBytesAreAnnouncedByBothSides) {
    const ZOR_CONNECTION_HANDLE connection = connect({{"PCS", "2"}});
    const std::string header = system.requests().at(0).text(item::header);
    EXPECT_EQ(header, std::string("\x03\x01\x01\x05\x01\x01\x00\x00", 8));
    ZOR_ATTRIBUTES attributes;
    ASSERT_EQ(ZorGetConnectionAttributes(connection, &attributes, &error), ZOR_OK);
    EXPECT_STREQ(attributes.codepage, "1100");
    EXPECT_STREQ(attributes.partnerCodepage, "4103");
    EXPECT_STREQ(attributes.partnerSystemCodepage, "4103");
    EXPECT_STREQ(attributes.partnerBytesPerChar, "2");
    // Values travel by their own lengths; a record has no image in a layout that isn't the memory's.
    Function scalars("ECHO_TEN_SCALARS");
    scalars.setText("I_CHAR1", "text");
    ASSERT_EQ(invoke(connection, scalars), ZOR_OK) << error.message;
    EXPECT_EQ(scalars.text("E_CHAR1"), "text");
    Function table("ECHO_TABLE");
    ZorAppendNewRow(table.table("LINES"), &error);
    EXPECT_EQ(invoke(connection, table), ZOR_SERIALIZATION_FAILURE);
    ASSERT_EQ(invoke(connection, scalars), ZOR_OK) << error.message;
}

}  // namespace
