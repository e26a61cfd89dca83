// A program that serves with a loop of its own: registered at a gateway, or started by it.

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "serving.h"

namespace {

using namespace std::chrono_literals;
using Ids = std::vector<std::uint16_t>;

// This program again, started by a gateway: serves its one conversation and is gone.
[[maybe_unused]] const bool notStarted = [] {
    std::ifstream file("/proc/self/cmdline");
    std::vector<std::string> arguments;
    bool started = false;
    for (std::string argument; std::getline(file, argument, '\0');) {
        started = started || argument.starts_with("CONVID=");
        arguments.push_back(argument);
    }
    if (!started) return true;
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const ServedFunction function("UPPER", echoWith(" of a started program"));
    const ZOR_CONNECTION_HANDLE server =
        ZorStartServer(static_cast<int>(arguments.size()), argv.data(), nullptr, 0, nullptr);
    const bool good = ZorListenAndDispatch(server, 60, nullptr) == ZOR_OK &&
                      ZorListenAndDispatch(server, 60, nullptr) == ZOR_COMMUNICATION_FAILURE;
    _exit(good ? 0 : 1);
}();

class ServerTest : public ServingTest {
  protected:
    explicit ServerTest(zordev::DevOptions options = patient()) : ServingTest(std::move(options)) {}
    ~ServerTest() override {
        ZorInstallAuthorizationCheckHandler(nullptr, nullptr);
        if (server != nullptr) ZorCloseConnection(server, nullptr);
    }

    void enter(std::vector<ZOR_CONNECTION_PARAMETER> changes = {}) {
        if (server != nullptr) ZorCloseConnection(server, nullptr);
        const auto parameters = registration(std::move(changes));
        server = ZorRegisterServer(parameters.data(), static_cast<unsigned>(parameters.size()), &error);
        ASSERT_NE(server, nullptr) << error.message;
    }
    ZOR_RC listen(int timeout = 60) {
        error = {};
        return ZorListenAndDispatch(server, timeout, &error);
    }
    /** One call, served meanwhile. */
    zordev::ProgramAnswer serveOne(const char* function, ZOR_RC expected = ZOR_OK, std::string text = "") {
        auto calling = callLater(function, std::move(text));
        EXPECT_EQ(listen(), expected) << error.message;
        return calling.get();
    }

    ZOR_CONNECTION_HANDLE server = nullptr;
};

Ids idsOf(const zordev::ProgramAnswer& answer) {
    Ids ids;
    for (const auto& item : answer.items)
        if (item.id > 1024) ids.push_back(item.id);
    return ids;
}

TEST_F(ServerTest, servesOnePartnerAfterTheOther) {
    std::vector<std::string> sessions;
    const ServedFunction function("UPPER", [&](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        int active = 1;
        EXPECT_EQ(ZorIsParameterActive(call, "UNASKED", &active, nullptr), ZOR_OK);
        EXPECT_EQ(active, 0);
        ZOR_ATTRIBUTES attributes;
        EXPECT_EQ(ZorGetConnectionAttributes(own, &attributes, nullptr), ZOR_OK);
        ZOR_SERVER_CONTEXT context;
        EXPECT_EQ(ZorGetServerContext(own, &context, nullptr), ZOR_OK);
        EXPECT_EQ(context.type, ZOR_SYNCHRONOUS);
        EXPECT_EQ(context.isStateful, 0u);
        EXPECT_STREQ(context.sessionID, attributes.cpicConvId);
        EXPECT_EQ(ZorSetServerStateful(own, 1, nullptr), ZOR_ILLEGAL_STATE);
        EXPECT_EQ(ZorListenAndDispatch(own, 0, nullptr), ZOR_ILLEGAL_STATE);
        EXPECT_EQ(ZorCancel(own, nullptr), ZOR_INVALID_HANDLE);
        sessions.push_back(context.sessionID);
        return reply(call, textOf(call, "TEXT") + attributes.zorRole + attributes.sysId + attributes.user);
    });
    enter();
    EXPECT_EQ(listen(0), ZOR_RETRY);
    EXPECT_EQ(ZorPing(server, &error), ZOR_OK) << error.message;
    for (const char* text : {"one", "two", "three"})
        EXPECT_EQ(resultOf(serveOne("UPPER", ZOR_OK, text)), std::string(text) + "SZDVDEMO");
    EXPECT_NE(sessions[0], sessions[1]);
    EXPECT_EQ(sessions[0].size(), 8u);
    EXPECT_TRUE(serveOne("ZOR_PING").conversationOver);
    ZOR_SERVER_CONTEXT context;
    EXPECT_EQ(ZorGetServerContext(connect(), &context, &error), ZOR_INVALID_HANDLE);
}

TEST_F(ServerTest, failuresAreAnsweredAndTheHandleStaysValid) {
    const struct {
        const char* name;
        Served function;
        ZOR_RC code;
        const char* message;
        Ids answer;
    } cases[] = {
        {"exception",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "NOT_TODAY", "");
             std::strcpy(info->ubixMsgClass, "S1");
             return ZOR_UBIX_EXCEPTION;
         },
         ZOR_UBIX_EXCEPTION,
         "",
         {1045, 1025, 65535}},
        {"message",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "", "in words");
             return ZOR_UBIX_MESSAGE;
         },
         ZOR_UBIX_MESSAGE,
         "in words",
         {1026, 65535}},
        {"any other",
         [](auto, auto, ZOR_ERROR_INFO* info) {
             fill(info, "K", "in words");
             return ZOR_CONVERSION_FAILURE;
         },
         ZOR_CONVERSION_FAILURE,
         "in words",
         {1026, 65535}},
        {"C++ exception",
         [](auto, auto, auto) -> ZOR_RC { throw std::bad_alloc(); },
         ZOR_EXTERNAL_FAILURE,
         "",
         {1026, 65535}},
        {"class exception without an object",
         [](auto, auto, auto) { return ZOR_UBIX_CLASS_EXCEPTION; },
         ZOR_UBIX_EXCEPTION,
         "",
         {1025, 65535}},
    };
    enter();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ServedFunction function("FAILS", c.function);
        const auto answer = serveOne("FAILS", c.code);
        EXPECT_STREQ(error.message, c.message);
        EXPECT_EQ(idsOf(answer), c.answer);
    }
    const auto answer = serveOne("NOWHERE", ZOR_NOT_FOUND);
    EXPECT_EQ(idsOf(answer), (Ids{1027, 1026, 65535}));
    EXPECT_EQ(answer.text(1026), "Function NOWHERE not found");
    const ServedFunction function("ECHO", echoWith("!"));
    EXPECT_EQ(resultOf(serveOne("ECHO", ZOR_OK, "fine")), "fine!");
}

TEST_F(ServerTest, onlyTheSystemsOfTheListMayCall) {
    const ServedFunction function("ECHO", echoWith("!"));
    const struct {
        const char* list;
        bool served;
    } cases[] = {{"ABC, ZDV ,", true}, {"ABC,XYZ", false}, {" , ,", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.list);
        enter({{"SYS_IDS", c.list}});
        const auto answer = serveOne("ECHO", c.served ? ZOR_OK : ZOR_AUTHORIZATION_FAILURE);
        if (c.served) continue;
        EXPECT_EQ(answer.text(1026), "Access to server denied for backend system ZDV");
        EXPECT_EQ(error.group, EXTERNAL_AUTHORIZATION_FAILURE);
        EXPECT_STREQ(error.key, "ZOR_AUTHORIZATION_FAILURE");
        EXPECT_TRUE(isValid(server));
    }
    const auto parameters = registration({{"VSL_PARTNER_NAMES", "p:CN=A, O=B | p:CN=C"}});
    EXPECT_EQ(ZorRegisterServer(parameters.data(), static_cast<unsigned>(parameters.size()), &error),
              nullptr);
    EXPECT_EQ(error.code, ZOR_INVALID_PARAMETER);
}

TEST_F(ServerTest, aHandlerDecidesWhoMayCall) {
    const ServedFunction function("ECHO", echoWith("!"));
    enter();
    ASSERT_EQ(ZorInstallAuthorizationCheckHandler(
                  [](ZOR_CONNECTION_HANDLE, ZOR_SECURITY_ATTRIBUTES* who, ZOR_ERROR_INFO* info) {
                      EXPECT_STREQ(who->sysId, "ZDV");
                      EXPECT_STREQ(who->client, "100");
                      EXPECT_STREQ(who->user, "DEMO");
                      EXPECT_STREQ(who->progName, "zordev");
                      EXPECT_STREQ(who->vslName, "");
                      EXPECT_STREQ(who->ssoTicket, "");
                      if (std::strcmp(who->functionName, "ECHO") == 0) return ZOR_OK;
                      fill(info, "OWN_KEY", "not you");
                      return ZOR_CANCELED;
                  },
                  &error),
              ZOR_OK);
    EXPECT_EQ(resultOf(serveOne("ECHO", ZOR_OK, "in")), "in!");
    EXPECT_EQ(serveOne("ZOR_PING", ZOR_AUTHORIZATION_FAILURE).text(1026), "not you");
    EXPECT_STREQ(error.key, "OWN_KEY");
    EXPECT_EQ(resultOf(serveOne("ECHO", ZOR_OK, "again")), "again!");
}

TEST_F(ServerTest, aPartnerMayKeepTheConnection) {
    std::vector<std::string> sessions;
    const ServedFunction function("SESSION", [&](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        ZOR_SERVER_CONTEXT context;
        EXPECT_EQ(ZorGetServerContext(own, &context, nullptr), ZOR_OK);
        EXPECT_EQ(context.isStateful, 1u);
        sessions.push_back(context.sessionID);
        return reply(call, "kept");
    });
    enter();
    auto calling = std::async(std::launch::async, [this] {
        auto session = system.openProgram(program);
        EXPECT_FALSE(session.call("ZOR_SET_REG_SERVER_PROPERTY", {zordev::textParameter("EXCLUSIV", "Y", 1)})
                         .conversationOver);
        EXPECT_EQ(resultOf(session.call("SESSION", textCall(""))), "kept");
        return resultOf(session.call("SESSION", textCall("")));
    });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(listen(), ZOR_OK) << error.message;
    // The last answer goes out when the next call is awaited, and the partner's end comes in its place.
    EXPECT_EQ(listen(), ZOR_COMMUNICATION_FAILURE);
    EXPECT_EQ(calling.get(), "kept");
    EXPECT_EQ(sessions[0], sessions[1]);
    EXPECT_FALSE(isValid(server));
    server = nullptr;
}

TEST_F(ServerTest, aFunctionMayCloseItsConnectionOrFindInputUnread) {
    const ServedFunction unread("UNREAD", [](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        ZOR_ERROR_INFO info;
        Function back("ANY");
        EXPECT_EQ(ZorInvoke(own, back, &info), ZOR_ILLEGAL_STATE) << info.message;
        return reply(call, "told");
    });
    enter();
    auto calling = std::async(std::launch::async, [this] {
        auto session = system.openProgram(program);
        zordev::ItemWriter items;
        items.text(0x0205, "RESULT");
        items.text(0xFFFF, "");  // an end, behind which something is left
        return resultOf(session.callWithItems("UNREAD", items.bytes()));
    });
    EXPECT_EQ(listen(), ZOR_OK) << error.message;
    EXPECT_EQ(calling.get(), "told");
    const ServedFunction function("CLOSES", [](ZOR_CONNECTION_HANDLE own, auto, auto) {
        EXPECT_EQ(ZorCloseConnection(own, nullptr), ZOR_OK);
        EXPECT_EQ(ZorPing(own, nullptr), ZOR_INVALID_HANDLE);
        return ZOR_OK;
    });
    clientMayBreakRules = true;
    EXPECT_NE(serveOne("CLOSES", ZOR_COMMUNICATION_FAILURE).failure, "");
    EXPECT_STREQ(error.message, "The connection was closed by a function that ran during the call");
    EXPECT_FALSE(isValid(server));
    server = nullptr;
}

TEST_F(ServerTest, gatewaysAndPartnersThatGoCostTheHandle) {
    const ServedFunction slow("SLOW", [this](auto, auto, auto) {
        system.vanish();
        return ZOR_OK;
    });
    clientMayBreakRules = true;
    void (zordev::DevSystem::*const ways[])() = {&zordev::DevSystem::shutDown, &zordev::DevSystem::vanish};
    for (const auto way : ways) {
        enter();
        std::thread gateway([&] {
            EXPECT_TRUE(system.awaitPrograms(program));
            (system.*way)();
        });
        EXPECT_EQ(listen(-1), ZOR_COMMUNICATION_FAILURE);
        EXPECT_FALSE(isValid(server));
        server = nullptr;
        gateway.join();
        system.comeBack();
    }
    enter();
    EXPECT_NE(serveOne("SLOW", ZOR_COMMUNICATION_FAILURE).failure, "");
    EXPECT_FALSE(isValid(server));
    server = nullptr;
}

TEST_F(ServerTest, aRefusedRegistrationSaysWhy) {
    const ZOR_CONNECTION_PARAMETER wrong[] = {{"GWHOST", "127.0.0.1"}, {"GWSERV", "1"}, {"TPNAME", "A"}};
    EXPECT_EQ(ZorRegisterServer(wrong, 3, &error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    KEL_UC* argv[] = {nullptr};
    EXPECT_EQ(ZorStartServer(0, argv, nullptr, 0, &error), nullptr);
    EXPECT_EQ(error.code, ZOR_INVALID_PARAMETER);
}

class StartedServerTest : public ServerTest {
  protected:
    static zordev::DevOptions starting() {
        char path[4096] = {};
        EXPECT_GT(readlink("/proc/self/exe", path, sizeof path - 1), 0);
        zordev::DevOptions options = patient();
        options.programs.commands[program] = {path};
        return options;
    }
    StartedServerTest() : ServerTest(starting()) {}
};

TEST_F(StartedServerTest, servesTheConversationThatItWasStartedFor) {
    const auto answer = call("UPPER", "the call");
    EXPECT_EQ(resultOf(answer), "the call of a started program");
    EXPECT_FALSE(answer.conversationOver);
}

}  // namespace
