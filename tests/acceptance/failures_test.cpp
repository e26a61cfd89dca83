// Every way in which a call can fail, with its exact code, group, key and texts, and what is left after it.

#include <thread>

#include "session.h"

namespace {

class FailureTest : public SessionTest {
  protected:
    /** Calls a failing function and checks the record. */
    void expectFailure(ZOR_CONNECTION_HANDLE connection, Function& function, ZOR_RC code,
                       ZOR_ERROR_GROUP group, const char* key, const char* message) {
        EXPECT_EQ(invoke(connection, function), code);
        EXPECT_EQ(error.code, code);
        EXPECT_EQ(error.group, group);
        EXPECT_STREQ(error.key, key);
        EXPECT_STREQ(error.message, message);
    }

    void expectUsable(ZOR_CONNECTION_HANDLE connection) {
        Function echo("ECHO_TEN_SCALARS");
        echo.setInt("I_INT", 4711);
        EXPECT_EQ(invoke(connection, echo), ZOR_OK) << error.message;
        EXPECT_EQ(echo.integer("E_INT"), 4711);
    }
};

TEST_F(FailureTest, anExceptionLeavesTheConnectionReady) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("RAISE_EXCEPTION");
    function.setText("NAME", "NOT_FOUND");
    expectFailure(connection, function, ZOR_UBIX_EXCEPTION, UBIX_APPLICATION_FAILURE, "NOT_FOUND", "");
    EXPECT_STREQ(error.ubixMsgClass, "");
    expectUsable(connection);

    function.setText("MSGID", "S1");
    function.setText("MSGTY", "E");
    function.setText("MSGNO", "042");
    function.setText("MSGV1", "one");
    function.setText("MSGV4", "four");
    expectFailure(connection, function, ZOR_UBIX_EXCEPTION, UBIX_APPLICATION_FAILURE, "NOT_FOUND",
                  "ID:S1 Type:E Number:042 onefour");
    EXPECT_STREQ(error.ubixMsgClass, "S1");
    EXPECT_STREQ(error.ubixMsgType, "E");
    EXPECT_STREQ(error.ubixMsgNumber, "042");
    EXPECT_STREQ(error.ubixMsgV1, "one");
    EXPECT_STREQ(error.ubixMsgV2, "");
    EXPECT_STREQ(error.ubixMsgV4, "four");
    expectUsable(connection);
}

TEST_F(FailureTest, whatEndsTheConversationIsToldAndTheNextCallFails) {
    const struct {
        const char* function;
        ZOR_RC code;
        ZOR_ERROR_GROUP group;
        const char* key;
        const char* message;
    } cases[] = {
        {"RAISE_MESSAGE", ZOR_UBIX_MESSAGE, UBIX_RUNTIME_FAILURE, "", "Message of the function"},
        {"SHORT_DUMP", ZOR_UBIX_RUNTIME_FAILURE, UBIX_RUNTIME_FAILURE, "COMPUTE_INT_ZERODIVIDE",
         "Division by 0"},
        {"SHORT_DUMP_MESSAGE_X", ZOR_UBIX_MESSAGE, UBIX_RUNTIME_FAILURE, "MESSAGE_TYPE_X",
         "The program was ended by a message of type X"},
        {"FREE_TEXT", ZOR_UBIX_MESSAGE, UBIX_RUNTIME_FAILURE, "", "Free text"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        const ZOR_CONNECTION_HANDLE connection = connect();
        Function function(c.function);
        expectFailure(connection, function, c.code, c.group, c.key, c.message);
        EXPECT_TRUE(isValid(connection));
        EXPECT_EQ(invoke(connection, function), ZOR_COMMUNICATION_FAILURE);
        EXPECT_FALSE(isValid(connection));
    }
}

TEST_F(FailureTest, whatBreaksTheConnectionClosesTheHandle) {
    const struct {
        const char* function;
        ZOR_RC code;
        const char* key;
        const char* message;
    } cases[] = {
        {"END_WITHOUT_DATA", ZOR_COMMUNICATION_FAILURE, "ZOR_COMMUNICATION_FAILURE",
         "connection closed without message (CM_NO_DATA_RECEIVED)"},
        {"ERROR_WITHOUT_END", ZOR_COMMUNICATION_FAILURE, "ZOR_COMMUNICATION_FAILURE",
         "An error without an end of the conversation"},
        {"WRONG_STATE", ZOR_INVALID_PROTOCOL, "ZOR_INVALID_PROTOCOL", "Unexpected data received."},
        {"HEADER_VERSION_6", ZOR_VERSION_MISMATCH, "ZOR_VERSION_MISMATCH",
         "Unsupported ZOR protocol version."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        const ZOR_CONNECTION_HANDLE connection = connect();
        Function function(c.function);
        expectFailure(connection, function, c.code, COMMUNICATION_FAILURE, c.key, c.message);
        EXPECT_FALSE(isValid(connection));
        EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_INVALID_HANDLE);
    }
}

TEST_F(FailureTest, anUnknownFunctionIsTheBackEndsFailure) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("NO_SUCH_FUNCTION");
    EXPECT_EQ(invoke(connection, function), ZOR_UBIX_RUNTIME_FAILURE);
    EXPECT_STREQ(error.key, "CALL_FUNCTION_NOT_FOUND");
    EXPECT_NE(std::string(error.message).find("NO_SUCH_FUNCTION"), std::string::npos) << error.message;
}

TEST_F(FailureTest, unknownItemsAreSkipped) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("UNKNOWN_ITEMS");
    function.setText("TEXT", "through all of them");
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("RESULT"), "through all of them");
    expectUsable(connection);
}

TEST_F(FailureTest, aCallbackToAFunctionThatDoesNotExistIsRefused) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("CALL_BACK");
    function.setText("FUNCTION", "NOBODY_HOME");
    function.setInt("TIMES", 1);
    expectFailure(connection, function, ZOR_NOT_FOUND, EXTERNAL_RUNTIME_FAILURE, "ZOR_NOT_FOUND",
                  "Function NOBODY_HOME not found");
    EXPECT_TRUE(isValid(connection));
    expectUsable(connection);
}

TEST_F(FailureTest, aFormThatCannotTravelIsRefusedBeforeAnythingIsSent) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    ZOR_TYPE_DESC_HANDLE deep = ZorCreateTypeDesc("DEEP", &error);
    ZOR_FIELD_DESC field{};
    std::snprintf(field.name, sizeof field.name, "TEXT");
    field.type = ZORTYPE_STRING;
    field.nucLength = field.ucLength = 8;
    ASSERT_EQ(ZorAddTypeField(deep, &field, &error), ZOR_OK);
    ASSERT_EQ(ZorSetTypeLength(deep, 8, 8, &error), ZOR_OK);
    ZOR_FUNCTION_DESC_HANDLE description = ZorCreateFunctionDesc("ECHO_STRUCTURE", &error);
    ZOR_PARAMETER_DESC parameter{};
    std::snprintf(parameter.name, sizeof parameter.name, "DEEP");
    parameter.type = ZORTYPE_STRUCTURE;
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = parameter.ucLength = 8;
    parameter.typeDescHandle = deep;
    ASSERT_EQ(ZorAddParameter(description, &parameter, &error), ZOR_OK);
    ZOR_TYPE_DESC_HANDLE flat = ZorCreateTypeDesc("FLAT", &error);
    field.type = ZORTYPE_CHAR;
    ASSERT_EQ(ZorAddTypeField(flat, &field, &error), ZOR_OK);
    ASSERT_EQ(ZorSetTypeLength(flat, 8, 8, &error), ZOR_OK);
    std::snprintf(parameter.name, sizeof parameter.name, "FLAT");
    parameter.typeDescHandle = flat;
    ASSERT_EQ(ZorAddParameter(description, &parameter, &error), ZOR_OK);
    ZOR_FUNCTION_HANDLE function = ZorCreateFunction(description, &error);
    EXPECT_EQ(invoke(connection, function), ZOR_OK)
        << "without a value nothing has to travel: " << error.message;
    system.clearRequests();
    ZOR_STRUCTURE_HANDLE value = nullptr;
    ASSERT_EQ(ZorGetStructure(function, "DEEP", &value, &error), ZOR_OK);
    // A flat parameter whose value was taken over from a deep record: the partner expects an image.
    ASSERT_EQ(ZorSetStructure(function, "FLAT", value, &error), ZOR_OK);
    ASSERT_EQ(ZorSetParameterActive(function, "DEEP", 0, &error), ZOR_OK);
    EXPECT_EQ(invoke(connection, function), ZOR_SERIALIZATION_FAILURE);
    EXPECT_STREQ(error.message, "Parameter FLAT has a type that can't travel in the classic format");
    EXPECT_TRUE(system.requests().empty());
    expectUsable(connection);
    ZorDestroyFunction(function, nullptr);
    ZorDestroyFunctionDesc(description, nullptr);
    ZorDestroyTypeDesc(deep, nullptr);
    ZorDestroyTypeDesc(flat, nullptr);
}

TEST_F(FailureTest, aValueThatCannotBeConvertedLeavesTheConnectionReady) {
    // The back-end's bytes come back as a text, and these are no UTF-8; more items follow behind them.
    ZOR_FUNCTION_DESC_HANDLE description = ZorCreateFunctionDesc("ECHO_STRINGS", &error);
    const struct {
        const char* name;
        ZORTYPE type;
        ZOR_DIRECTION direction;
    } parameters[] = {{"I_XSTRING", ZORTYPE_XSTRING, ZOR_IMPORT},
                      {"E_XSTRING", ZORTYPE_STRING, ZOR_EXPORT},
                      {"E_STRING", ZORTYPE_STRING, ZOR_EXPORT}};
    for (const auto& p : parameters) {
        ZOR_PARAMETER_DESC parameter{};
        std::snprintf(parameter.name, sizeof parameter.name, "%s", p.name);
        parameter.type = p.type;
        parameter.direction = p.direction;
        parameter.nucLength = parameter.ucLength = 8;
        ASSERT_EQ(ZorAddParameter(description, &parameter, &error), ZOR_OK) << error.message;
    }
    ZOR_FUNCTION_HANDLE function = ZorCreateFunction(description, &error);
    std::string broken(100000, 'x');
    broken += "\xC3\x28";
    ASSERT_EQ(ZorSetXString(function, "I_XSTRING", reinterpret_cast<const KEL_RAW*>(broken.data()),
                            static_cast<unsigned>(broken.size()), &error),
              ZOR_OK);
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(invoke(connection, function), ZOR_CONVERSION_FAILURE) << error.message;
    EXPECT_TRUE(isValid(connection));
    expectUsable(connection);
    ZorDestroyFunction(function, nullptr);
    ZorDestroyFunctionDesc(description, nullptr);
}

TEST_F(FailureTest, aHandleOfAnotherKindIsNoFunction) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(invoke(connection, nullptr), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter 'ZOR_FUNCTION_HANDLE' was passed to the API call");
    Function function("ECHO_STRUCTURE");
    EXPECT_EQ(invoke(connection, function.structure("I_FLAT")), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Only function handles are allowed in ZorInvoke");
    expectUsable(connection);
}

TEST_F(FailureTest, cancelEndsARunningCall) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("SLEEP");
    function.setInt("MILLISECONDS", 60000);
    ZOR_RC cancelled = ZOR_OK;
    std::thread second([&] {
        // Until the call runs there is nothing to cancel.
        ZOR_ERROR_INFO info;
        while ((cancelled = ZorCancel(connection, &info)) == ZOR_ILLEGAL_STATE)
            std::this_thread::yield();
    });
    expectFailure(connection, function, ZOR_CANCELED, COMMUNICATION_FAILURE, "ZOR_CANCELED",
                  "Connection was canceled.");
    second.join();
    EXPECT_EQ(cancelled, ZOR_OK);
    EXPECT_FALSE(isValid(connection));
    EXPECT_EQ(ZorCancel(connection, &error), ZOR_INVALID_HANDLE);
}

TEST_F(FailureTest, aSlowAnswerIsWaitedFor) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("SLEEP");
    function.setInt("MILLISECONDS", 2300);  // beyond two rounds of the receiving loop
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(function.integer("SLEPT"), 2300);
    expectUsable(connection);
}

}  // namespace
