// The back-end calls functions of this program while a call to it is waiting for its answer.

#include <cstring>
#include <stdexcept>
#include <thread>

#include "serving.h"

namespace {

/** What the installed function does; the test that runs sets it. */
Served served;
unsigned providerCalls = 0;
ZOR_FUNCTION_DESC_HANDLE provided = nullptr;

ZOR_RC serve(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    return served(connection, call, info);
}

ZOR_RC provide(const KEL_UC* name, ZOR_ATTRIBUTES attributes, ZOR_FUNCTION_DESC_HANDLE* description) {
    ++providerCalls;
    EXPECT_STREQ(attributes.sysId, "ZDV");
    if (std::strcmp(name, "ZORDEV_CALLBACK") != 0) return ZOR_NOT_FOUND;
    *description = provided;
    return ZOR_OK;
}

class CallbackTest : public SessionTest {
  protected:
    CallbackTest() : description(describeTextFunction("ZORDEV_CALLBACK")) {}
    ~CallbackTest() override {
        install(nullptr, nullptr);
        install("ZDV", nullptr);
        install("XYZ", nullptr);
        ZorDestroyFunctionDesc(description, nullptr);
    }

    void install(const char* system, ZOR_SERVER_FUNCTION function) {
        EXPECT_EQ(ZorInstallServerFunction(system, description, function, &error), ZOR_OK) << error.message;
    }

    ZOR_RC callBack(ZOR_CONNECTION_HANDLE connection, const char* text, int times = 1) {
        Function function("CALL_BACK");
        function.setText("TEXT", text);
        function.setInt("TIMES", times);
        const ZOR_RC rc = invoke(connection, function);
        result = rc == ZOR_OK ? function.text("RESULT") : "";
        return rc;
    }

    void expectUsable(ZOR_CONNECTION_HANDLE connection) {
        Function echo("ECHO_TEN_SCALARS");
        echo.setInt("I_INT", 4711);
        EXPECT_EQ(invoke(connection, echo), ZOR_OK) << error.message;
        EXPECT_EQ(echo.integer("E_INT"), 4711);
    }

    ZOR_FUNCTION_DESC_HANDLE description;
    std::string result;
};

TEST_F(CallbackTest, anInstalledFunctionIsServedAnyNumberOfTimes) {
    served = [](ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO*) {
        int active = 1;
        EXPECT_EQ(ZorIsParameterActive(call, "UNASKED", &active, nullptr), ZOR_OK);
        EXPECT_EQ(active, 0);
        ZOR_ATTRIBUTES attributes;
        EXPECT_EQ(ZorGetConnectionAttributes(connection, &attributes, nullptr), ZOR_OK);
        const std::string text = textOf(call, "TEXT") + attributes.user[0];
        return ZorSetString(call, "RESULT", text.data(), static_cast<unsigned>(text.size()), nullptr);
    };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(callBack(connection, ">", 5), ZOR_OK) << error.message;
    EXPECT_EQ(result, ">DDDDD");
    // What came back: the item of the result alone, without a name of a function.
    const auto requests = system.requests();
    EXPECT_EQ(requests.back().ids(), (std::vector<std::uint16_t>{513, 515, 65535}));
    expectUsable(connection);
}

TEST_F(CallbackTest, aServedFunctionCallsBackToAnyDepth) {
    served = [](ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO*) {
        std::string text = textOf(call, "TEXT");
        EXPECT_EQ(ZorPing(connection, nullptr), ZOR_OK);
        if (text.size() < 20) {
            Function nested("CALL_BACK");
            nested.setText("TEXT", text + "x");
            nested.setInt("TIMES", 1);
            ZOR_ERROR_INFO info;
            EXPECT_EQ(ZorInvoke(connection, nested, &info), ZOR_OK) << info.message;
            text = nested.text("RESULT");
        }
        return ZorSetString(call, "RESULT", text.data(), static_cast<unsigned>(text.size()), nullptr);
    };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(callBack(connection, "x"), ZOR_OK) << error.message;
    EXPECT_EQ(result, std::string(20, 'x'));
    expectUsable(connection);
}

TEST_F(CallbackTest, aFailureOfACallWithinIsTheServedFunctionsBusiness) {
    served = [](ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO*) {
        Function nested("RAISE_EXCEPTION");
        nested.setText("NAME", "WITHIN");
        nested.setText("MSGID", "S1");
        ZOR_ERROR_INFO info;
        EXPECT_EQ(ZorInvoke(connection, nested, &info), ZOR_UBIX_EXCEPTION);
        return ZorSetString(call, "RESULT", info.key, static_cast<unsigned>(std::strlen(info.key)), nullptr);
    };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(callBack(connection, "", 3), ZOR_OK) << error.message;
    EXPECT_EQ(result, "WITHIN");
    // Nothing of it is left for the texts of a later failure.
    Function later("RAISE_EXCEPTION");
    EXPECT_EQ(invoke(connection, later), ZOR_UBIX_EXCEPTION);
    EXPECT_STREQ(error.message, "");
}

TEST_F(CallbackTest, anExceptionGoesToTheCallerAndTheOuterCallGoesOn) {
    served = [](ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE, ZOR_ERROR_INFO* info) {
        fill(info, "NOT_TODAY", "");
        std::strcpy(info->ubixMsgClass, "S1");
        std::strcpy(info->ubixMsgV4, "four");
        return ZOR_UBIX_EXCEPTION;
    };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(callBack(connection, "", 2), ZOR_OK) << error.message;
    EXPECT_EQ(result, "NOT_TODAY");
    EXPECT_EQ(system.requests().back().ids(), (std::vector<std::uint16_t>{1045, 1044, 1025, 65535}));
    // A class exception without an object is an exception.
    served = [](ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE, ZOR_ERROR_INFO* info) {
        fill(info, "NO_OBJECT", "");
        return ZOR_UBIX_CLASS_EXCEPTION;
    };
    ASSERT_EQ(callBack(connection, ""), ZOR_OK) << error.message;
    EXPECT_EQ(result, "NO_OBJECT");
    expectUsable(connection);
}

TEST_F(CallbackTest, otherFailuresAreAnsweredAndEndTheOuterCall) {
    using Ids = std::vector<std::uint16_t>;
    const struct {
        const char* name;
        Served function;
        ZOR_RC code;
        const char* key;
        const char* message;
        Ids answer;
    } cases[] = {
        {"message",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "", "in words");
             std::strcpy(info->ubixMsgNumber, "042");
             return ZOR_UBIX_MESSAGE;
         },
         ZOR_UBIX_MESSAGE,
         "",
         "in words",
         {1047, 1026, 65535}},
        {"external",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "MY_KEY", "in words");
             return ZOR_EXTERNAL_FAILURE;
         },
         ZOR_EXTERNAL_FAILURE,
         "MY_KEY",
         "in words",
         {1026, 65535}},
        {"not found",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "MY_KEY", "in words");
             return ZOR_NOT_FOUND;
         },
         ZOR_NOT_FOUND,
         "MY_KEY",
         "in words",
         {1027, 1026, 65535}},
        {"any other",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "MY_KEY", "in words");
             return ZOR_CONVERSION_FAILURE;
         },
         ZOR_CONVERSION_FAILURE,
         "MY_KEY",
         "in words",
         {1026, 65535}},
        {"C++ exception",
         [](auto, auto, auto) -> ZOR_RC { throw std::runtime_error("broken"); },
         ZOR_EXTERNAL_FAILURE,
         "",
         "",
         {1026, 65535}},
    };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        served = c.function;
        EXPECT_EQ(callBack(connection, ""), c.code);
        EXPECT_STREQ(error.key, c.key);
        EXPECT_STREQ(error.message, c.message);
        EXPECT_EQ(system.requests().back().ids(), c.answer);
        EXPECT_TRUE(isValid(connection));
        expectUsable(connection);
    }
}

TEST_F(CallbackTest, aFunctionMayCancelOrCloseItsOwnConnection) {
    install(nullptr, serve);
    clientMayBreakRules = true;
    served = [](ZOR_CONNECTION_HANDLE connection, auto, auto) { return ZorCancel(connection, nullptr); };
    ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(callBack(connection, ""), ZOR_CANCELED);
    EXPECT_STREQ(error.message, "Connection was canceled.");
    EXPECT_FALSE(isValid(connection));
    served = [](ZOR_CONNECTION_HANDLE own, auto, auto) {
        EXPECT_EQ(ZorCloseConnection(own, nullptr), ZOR_OK);
        EXPECT_EQ(ZorCloseConnection(own, nullptr), ZOR_INVALID_HANDLE);
        EXPECT_EQ(ZorPing(own, nullptr), ZOR_INVALID_HANDLE);
        return ZOR_OK;
    };
    connection = connect();
    EXPECT_EQ(callBack(connection, ""), ZOR_COMMUNICATION_FAILURE);
    EXPECT_STREQ(error.message, "The connection was closed by a function that ran during the call");
    EXPECT_FALSE(isValid(connection));
}

TEST_F(CallbackTest, aCallThatBreaksTheConnectionWithinEndsTheOuterOneToo) {
    install(nullptr, serve);
    const struct {
        const char* function;
        ZOR_RC within;
        ZOR_RC outside;
    } cases[] = {
        {"WRONG_STATE", ZOR_INVALID_PROTOCOL, ZOR_COMMUNICATION_FAILURE},
        {"END_WITHOUT_DATA", ZOR_COMMUNICATION_FAILURE, ZOR_COMMUNICATION_FAILURE},
        {"RAISE_MESSAGE", ZOR_UBIX_MESSAGE, ZOR_COMMUNICATION_FAILURE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        served = [&c](ZOR_CONNECTION_HANDLE connection, auto, auto) {
            Function nested(c.function);
            EXPECT_EQ(ZorInvoke(connection, nested, nullptr), c.within);
            return ZOR_OK;
        };
        const ZOR_CONNECTION_HANDLE connection = connect();
        EXPECT_EQ(callBack(connection, ""), c.outside) << error.message;
        EXPECT_FALSE(isValid(connection));
    }
}

TEST_F(CallbackTest, aSecondThreadCancelsWhileAFunctionIsServed) {
    install(nullptr, serve);
    clientMayBreakRules = true;
    served = [](ZOR_CONNECTION_HANDLE connection, auto, auto) {
        std::thread([connection] { EXPECT_EQ(ZorCancel(connection, nullptr), ZOR_OK); }).join();
        Function nested("ECHO_TEN_SCALARS");
        EXPECT_EQ(ZorInvoke(connection, nested, nullptr), ZOR_CANCELED);
        return ZOR_OK;
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(callBack(connection, ""), ZOR_CANCELED) << error.message;
    EXPECT_FALSE(isValid(connection));
}

TEST_F(CallbackTest, theFunctionOfTheSystemGoesBeforeThatOfAll) {
    const auto answers = [](const char* text) {
        return [text](auto, ZOR_FUNCTION_HANDLE call, auto) {
            return ZorSetString(call, "RESULT", text, static_cast<unsigned>(std::strlen(text)), nullptr);
        };
    };
    static ZOR_SERVER_FUNCTION const other = [](ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE call,
                                                ZOR_ERROR_INFO*) {
        return ZorSetString(call, "RESULT", "other", 5, nullptr);
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    served = answers("mine");
    install("XYZ", other);
    install(nullptr, serve);
    EXPECT_EQ(callBack(connection, ""), ZOR_OK);
    EXPECT_EQ(result, "mine");
    install("ZDV", other);
    EXPECT_EQ(callBack(connection, ""), ZOR_OK);
    EXPECT_EQ(result, "other");
    install("ZDV", nullptr);
    install(nullptr, nullptr);
    EXPECT_EQ(callBack(connection, ""), ZOR_NOT_FOUND);
    EXPECT_STREQ(error.message, "Function ZORDEV_CALLBACK not found");
    expectUsable(connection);
}

TEST_F(CallbackTest, theProviderOfDescriptionsIsAskedOncePerName) {
    provided = description;
    providerCalls = 0;
    served = [](auto, ZOR_FUNCTION_HANDLE call, auto) {
        return ZorSetString(call, "RESULT", "generic", 7, nullptr);
    };
    ASSERT_EQ(ZorInstallGenericServerFunction(serve, provide, &error), ZOR_OK);
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(callBack(connection, ""), ZOR_OK) << error.message;
        EXPECT_EQ(result, "generic");
    }
    EXPECT_EQ(providerCalls, 1u);
    Function unknown("CALL_BACK");
    unknown.setText("FUNCTION", "NOBODY_HOME");
    unknown.setInt("TIMES", 1);
    EXPECT_EQ(invoke(connection, unknown), ZOR_NOT_FOUND);
    EXPECT_EQ(providerCalls, 2u);
}

TEST_F(CallbackTest, theSystemFunctionsAnswerAlways) {
    served = [](auto, auto, auto) { return ZOR_EXTERNAL_FAILURE; };
    ZOR_FUNCTION_DESC_HANDLE ping = ZorCreateFunctionDesc("ZOR_PING", nullptr);
    ASSERT_EQ(ZorInstallServerFunction(nullptr, ping, serve, &error), ZOR_OK);
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("CALL_BACK");
    function.setInt("TIMES", 1);
    for (const char* name : {"ZOR_PING", "ZOR_DOCU", "ZOR_SYSTEM_INFO", "ZOR_SET_REG_SERVER_PROPERTY"}) {
        function.setText("FUNCTION", name);
        EXPECT_EQ(invoke(connection, function), ZOR_OK) << name << ": " << error.message;
    }
    ZorInstallServerFunction(nullptr, ping, nullptr, nullptr);
    ZorDestroyFunctionDesc(ping, nullptr);
}

/** A field as it travels. */
std::string field(std::string_view name, std::string_view value) {
    const auto make = [](unsigned id, std::string_view payload) {
        const auto big = [](size_t number) {
            return std::string{static_cast<char>(number >> 8), static_cast<char>(number)};
        };
        return big(id) + big(payload.size()) + std::string(payload) + big(id);
    };
    return value.empty() ? make(517, name) : make(513, name) + make(515, value);
}

TEST_F(CallbackTest, theSystemFunctionsTellAboutThisProcess) {
    served = [](auto, auto, auto) { return ZOR_OK; };
    install(nullptr, serve);
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("CALL_BACK_ITEMS");
    const auto ask = [&](const char* name, const std::string& items) {
        function.setText("FUNCTION", name);
        EXPECT_EQ(ZorSetXString(function, "ITEMS", reinterpret_cast<const KEL_RAW*>(items.data()),
                                static_cast<unsigned>(items.size()), &error),
                  ZOR_OK);
        EXPECT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        unsigned length = 0;
        ZorGetStringLength(function, "ANSWER", &length, &error);
        std::string answer(length, 0);
        ZorGetXString(function, "ANSWER", reinterpret_cast<KEL_RAW*>(answer.data()), length, &length, &error);
        return answer;
    };
    const std::string info = ask("ZOR_SYSTEM_INFO", field("ZORSI_EXPORT", ""));
    // The name and its framing, the framing of the value, its 245 characters, an end.
    ASSERT_EQ(info.size(), 6 + 12 + 6 + 245 + 6u);
    const std::string image = info.substr(6 + 12 + 4, 245);
    EXPECT_EQ(image.substr(0, 7), "0111100");
    EXPECT_EQ(image.substr(53, 8), "(extern)");
    EXPECT_EQ(image.substr(111, 4), "753 ");
    EXPECT_EQ(image.substr(115, 5), "  387");
    EXPECT_EQ(ask("ZOR_SYSTEM_INFO", ""), std::string("\xFF\xFF\0\0\xFF\xFF", 6));
    // The list has what was installed for this system and for all, not what is another's.
    install("XYZ", serve);
    const std::string list = ask("ZOR_DOCU", std::string("\x03\x01\0\x04"
                                                         "DOCU"
                                                         "\x03\x01\x03\x02\0\x08\0\0\0\x50\0\0\0\0\x03\x02",
                                                         24));
    EXPECT_EQ(list.find("ZORDEV_CALLBACK"), list.rfind("ZORDEV_CALLBACK"));
    EXPECT_NE(list.find("ZORDEV_CALLBACK"), std::string::npos);
    ask("ZOR_SET_REG_SERVER_PROPERTY", field("EXCLUSIV", "Y"));
}

TEST_F(CallbackTest, aCallThatBreaksTheProtocolClosesTheConnection) {
    install(nullptr, serve);
    clientMayBreakRules = true;
    Function function("CALL_BACK_ITEMS");
    const ZOR_CONNECTION_HANDLE connection = connect();
    const std::string items = field("TEXT", "x").substr(10);  // a value without a name
    ASSERT_EQ(ZorSetXString(function, "ITEMS", reinterpret_cast<const KEL_RAW*>(items.data()),
                            static_cast<unsigned>(items.size()), &error),
              ZOR_OK);
    EXPECT_EQ(invoke(connection, function), ZOR_INVALID_PROTOCOL);
    EXPECT_FALSE(isValid(connection));
}

std::vector<size_t> passportRooms;
std::string passportHooks;

TEST_F(CallbackTest, aPassportIsAskedForBeforeEachCallAndItsEndIsTold) {
    const ZOR_PM_CALLBACK give = [](ZOR_CONNECTION_HANDLE, const KEL_UC*, KEL_RAW*, size_t, size_t* length) {
        passportHooks += "<" + std::to_string(*length);
        *length = passportHooks.size() < 12 ? 100 : 0;
        return ZOR_OK;
    };
    const ZOR_PM_CALLBACK end = [](ZOR_CONNECTION_HANDLE, const KEL_UC* name, KEL_RAW*, size_t,
                                   size_t* length) {
        EXPECT_STREQ(name, "ECHO_TEN_SCALARS");
        passportHooks += std::to_string(*length) + ">";
        return ZOR_OK;
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(ZorInstallPassportManager(give, end, end, end, &error), ZOR_OK);
    for (int i = 0; i < 3; ++i)
        expectUsable(connection);
    ASSERT_EQ(ZorInstallPassportManager(nullptr, nullptr, nullptr, nullptr, &error), ZOR_OK);
    // Two calls with a passport, which stays until the application takes it back.
    EXPECT_EQ(passportHooks, "<0100><100100><100");
}

TEST_F(CallbackTest, aPassportGetsTheRoomItNeeds) {
    passportRooms.clear();
    const ZOR_PM_CALLBACK start = [](ZOR_CONNECTION_HANDLE, const KEL_UC* name, KEL_RAW*, size_t room,
                                     size_t* length) {
        EXPECT_STREQ(name, "ECHO_TEN_SCALARS");
        passportRooms.push_back(room);
        *length = 0;
        return room < 2000 ? ZOR_BUFFER_TOO_SMALL : ZOR_OK;
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(ZorInstallPassportManager(start, nullptr, nullptr, nullptr, &error), ZOR_OK);
    expectUsable(connection);
    ASSERT_EQ(ZorInstallPassportManager(nullptr, nullptr, nullptr, nullptr, &error), ZOR_OK);
    expectUsable(connection);
    EXPECT_EQ(passportRooms, (std::vector<size_t>{512, 1024, 2048}));
}

}  // namespace
