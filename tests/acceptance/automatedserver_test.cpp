// Automated servers: registered ones and ones with a port of their own.

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "serving.h"

namespace {

using namespace std::chrono_literals;

/** What the listeners heard; they have no place of their own to note it. */
struct Heard {
    std::mutex lock;
    std::string states;
    std::vector<std::string> errors;

    void clear() {
        const std::lock_guard guard(lock);
        states.clear();
        errors.clear();
    }
    std::string statesNow() {
        const std::lock_guard guard(lock);
        return states;
    }
    std::size_t errorCount() {
        const std::lock_guard guard(lock);
        return errors.size();
    }
} heard;

void hearState(ZOR_SERVER_HANDLE server, ZOR_STATE_CHANGE* change) {
    ZOR_SERVER_ATTRIBUTES attributes;
    EXPECT_EQ(ZorGetServerAttributes(server, &attributes, nullptr), ZOR_OK);
    EXPECT_EQ(attributes.state, change->oldState);
    const std::lock_guard guard(heard.lock);
    heard.states += static_cast<char>('0' + change->newState);
}

void hearError(ZOR_SERVER_HANDLE, ZOR_ATTRIBUTES*, ZOR_ERROR_INFO* info) {
    const std::lock_guard guard(heard.lock);
    heard.errors.push_back(info->message);
}

/** A door that functions wait at. */
struct Door {
    std::mutex lock;
    std::condition_variable changed;
    bool isOpen = false;
    int waiting = 0;

    void pass() {
        std::unique_lock guard(lock);
        ++waiting;
        changed.notify_all();
        changed.wait(guard, [this] { return isOpen; });
        --waiting;
    }
    void open() {
        const std::lock_guard guard(lock);
        isOpen = true;
        changed.notify_all();
    }
    bool awaitWaiting(int count) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, 60s, [&] { return waiting >= count; });
    }
};

class AutomatedServerTest : public ServingTest {
  protected:
    AutomatedServerTest() { heard.clear(); }
    ~AutomatedServerTest() override {
        if (server != nullptr) ZorDestroyServer(server, nullptr);
    }

    ZOR_SERVER_HANDLE create(const std::vector<ZOR_CONNECTION_PARAMETER>& parameters) {
        const ZOR_SERVER_HANDLE made =
            ZorCreateServer(parameters.data(), static_cast<unsigned>(parameters.size()), &error);
        EXPECT_NE(made, nullptr) << error.message;
        EXPECT_EQ(ZorAddServerErrorListener(made, hearError, &error), ZOR_OK);
        EXPECT_EQ(ZorAddServerStateChangedListener(made, hearState, &error), ZOR_OK);
        return made;
    }
    /** Launches a registered server. */
    void launch(const char* regCount, const char* maxRegCount = "0") {
        server = create(registration({{"REG_COUNT", regCount}, {"MAX_REG_COUNT", maxRegCount}}));
        ASSERT_EQ(ZorLaunchServer(server, &error), ZOR_OK) << error.message;
    }
    void launchSocket(const char* threads = "4") {
        server =
            launchOnFreePort(threads, port, [this](const auto& parameters) { return create(parameters); });
        ASSERT_NE(server, nullptr);
    }
    ZOR_CONNECTION_HANDLE connectSocket() {
        const ZOR_CONNECTION_HANDLE client = openSocket(port, error);
        EXPECT_NE(client, nullptr) << error.message;
        return client;
    }
    ZOR_SERVER_ATTRIBUTES attributes() {
        ZOR_SERVER_ATTRIBUTES known;
        EXPECT_EQ(ZorGetServerAttributes(server, &known, &error), ZOR_OK) << error.message;
        return known;
    }
    bool awaitCount(unsigned count) {
        return await([&] { return attributes().registrationCount == count; });
    }

    ZOR_SERVER_HANDLE server = nullptr;
    std::string port;
};

TEST_F(AutomatedServerTest, isMadeFromParametersThatSayWhere) {
    const struct {
        std::vector<ZOR_CONNECTION_PARAMETER> parameters;
        const char* name;
        ZOR_PROTOCOL_TYPE type;
    } cases[] = {
        {{{"TPNAME", "P"}, {"GWHOST", "h"}, {"GWSERV", "s"}, {"REG_COUNT", "3"}},
         "Registered ZOR Server on h:s|P",
         ZOR_MULTI_COUNT_REGISTERED_SERVER},
        {{{"SERVER_PORT", "8100"}, {"TPNAME", "P"}}, "ZOR Server on port 8100", ZOR_TCP_SOCKET_SERVER},
        {{{"SERVER_PORT", "8100"}, {"BIND_ADDRESS", "::1"}},
         "ZOR Server on port 8100 [::1]",
         ZOR_TCP_SOCKET_SERVER},
        {{{"SERVER_PORT", "8100"}, {"SERVER_NAME", "OWN"}}, "OWN", ZOR_TCP_SOCKET_SERVER},
    };
    for (const auto& c : cases) {
        server = create(c.parameters);
        EXPECT_STREQ(attributes().serverName, c.name);
        EXPECT_EQ(attributes().type, c.type);
        EXPECT_EQ(attributes().state, ZOR_SERVER_INITIAL);
        EXPECT_EQ(ZorDestroyServer(server, &error), ZOR_OK);
        EXPECT_EQ(ZorDestroyServer(server, &error), ZOR_INVALID_HANDLE);
        server = nullptr;
    }
    const ZOR_CONNECTION_PARAMETER nowhere[] = {{"GWHOST", "h"}, {"GWSERV", "s"}};
    EXPECT_EQ(ZorCreateServer(nowhere, 2, &error), nullptr);
    EXPECT_STREQ(error.message, "One or more required parameters for lauching an ZOR server are misssing");
}

TEST_F(AutomatedServerTest, servesSeveralPartnersAtOnceAndTellsOfThem) {
    Door door;
    const ServedFunction waits("WAITS", [&](auto, ZOR_FUNCTION_HANDLE call, auto) {
        door.pass();
        return reply(call, textOf(call, "TEXT") + " passed");
    });
    launch("3");
    EXPECT_EQ(attributes().state, ZOR_SERVER_RUNNING);
    EXPECT_EQ(attributes().registrationCount, 3u);
    EXPECT_EQ(ZorLaunchServer(server, &error), ZOR_ILLEGAL_STATE);
    std::vector<std::future<zordev::ProgramAnswer>> calls;
    for (const char* text : {"one", "two"})
        calls.push_back(callLater("WAITS", text));
    ASSERT_TRUE(door.awaitWaiting(2));
    EXPECT_EQ(attributes().currentBusyCount, 2u);
    unsigned count = 0;
    ZOR_SERVER_MONITOR_DATA* data = nullptr;
    ASSERT_EQ(ZorGetServerConnectionMonitorData(server, &count, &data, &error), ZOR_OK);
    ASSERT_EQ(count, 3u);
    unsigned active = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (data[i].isActive == 0) continue;
        ++active;
        EXPECT_STREQ(data[i].functionModuleName, "WAITS");
        EXPECT_STREQ(data[i].clientInfo->sysId, "ZDV");
        EXPECT_EQ(data[i].lastActivity, 0);
    }
    EXPECT_EQ(active, 2u);
    EXPECT_EQ(ZorDestroyServerConnectionMonitorData(count, data, &error), ZOR_OK);
    door.open();
    EXPECT_EQ(resultOf(calls[0].get()), "one passed");
    EXPECT_EQ(resultOf(calls[1].get()), "two passed");
    EXPECT_EQ(resultOf(call("WAITS", "three")), "three passed");
    EXPECT_TRUE(await([&] { return attributes().currentBusyCount == 0; }));
    EXPECT_EQ(attributes().peakBusyCount, 2u);
    EXPECT_EQ(ZorShutdownServer(server, 10, &error), ZOR_OK);
    EXPECT_EQ(ZorShutdownServer(server, 10, &error), ZOR_OK);
    EXPECT_EQ(heard.statesNow(), "1245");
    EXPECT_EQ(heard.errorCount(), 0u);
    EXPECT_TRUE(awaitUnregistered());
}

TEST_F(AutomatedServerTest, keepsFreeRegistrationsBesideStatefulSessions) {
    const ServedFunction keep("KEEP", [](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        EXPECT_EQ(ZorSetServerStateful(own, textOf(call, "TEXT") == "on", nullptr), ZOR_OK);
        return reply(call, "done");
    });
    launch("2", "3");
    auto first = system.openProgram(program);
    EXPECT_EQ(resultOf(first.call("KEEP", textCall("on"))), "done");
    EXPECT_TRUE(awaitCount(3));
    auto second = system.openProgram(program);
    EXPECT_EQ(resultOf(second.call("KEEP", textCall("on"))), "done");
    EXPECT_EQ(resultOf(call("KEEP", "off")), "done");
    EXPECT_EQ(attributes().registrationCount, 3u);  // the upper limit
    EXPECT_EQ(resultOf(second.call("KEEP", textCall("off"))), "done");
    EXPECT_FALSE(second.open());
    { const auto over = std::move(first); }  // a session that ends costs its registration
    EXPECT_TRUE(awaitCount(2));
    EXPECT_EQ(resultOf(call("KEEP", "off")), "done");
    EXPECT_TRUE(awaitCount(2));
}

TEST_F(AutomatedServerTest, failuresOfFunctionsCostNothingAndUnknownOnesAreTold) {
    const ServedFunction fails("FAILS", [](auto, auto, ZOR_ERROR_INFO* info) {
        fill(info, "ITS_KEY", "in words");
        return ZOR_UBIX_EXCEPTION;
    });
    const ServedFunction throws("THROWS", [](auto, auto, auto) -> ZOR_RC { throw 1; });
    const ServedFunction closes("CLOSES", [](ZOR_CONNECTION_HANDLE own, auto, auto) {
        EXPECT_EQ(ZorCancel(own, nullptr), ZOR_INVALID_HANDLE);
        EXPECT_EQ(ZorCloseConnection(own, nullptr), ZOR_OK);
        EXPECT_EQ(ZorPing(own, nullptr), ZOR_INVALID_HANDLE);
        return ZOR_OK;
    });
    launch("1");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(call("FAILS").text(1025), "ITS_KEY");
        EXPECT_EQ(call("THROWS").failure, "");
    }
    EXPECT_EQ(heard.errorCount(), 0u);
    EXPECT_EQ(call("NOWHERE").text(1026), "Function NOWHERE not found");
    EXPECT_EQ(call("FAILS").text(1025), "ITS_KEY");  // by a new registration
    EXPECT_EQ(heard.errorCount(), 1u);
    clientMayBreakRules = true;
    EXPECT_NE(call("CLOSES").failure, "");
    EXPECT_EQ(call("FAILS").text(1025), "ITS_KEY");
    EXPECT_EQ(heard.errorCount(), 2u);
}

TEST_F(AutomatedServerTest, aShutdownWaitsAsLongAsItMay) {
    Door door;
    const ServedFunction waits("WAITS", [&](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        door.pass();
        ZOR_ATTRIBUTES attributes;
        ZorGetConnectionAttributes(own, &attributes, nullptr);
        return reply(call, "passed");
    });
    clientMayBreakRules = true;
    launch("2");
    auto patientCall = callLater("WAITS");
    ASSERT_TRUE(door.awaitWaiting(1));
    auto stopping = std::async(std::launch::async, [&] { return ZorShutdownServer(server, 60, nullptr); });
    EXPECT_TRUE(await([&] { return heard.statesNow() == "124"; }));
    door.open();
    EXPECT_EQ(resultOf(patientCall.get()), "passed");
    EXPECT_EQ(stopping.get(), ZOR_OK);

    door.isOpen = false;
    ASSERT_EQ(ZorLaunchServer(server, &error), ZOR_OK) << error.message;  // once more
    auto hanging = callLater("WAITS");
    ASSERT_TRUE(door.awaitWaiting(1));
    EXPECT_EQ(ZorShutdownServer(server, 0, &error), ZOR_OK);
    EXPECT_EQ(hanging.get().text(1026), "Server is shutting down");
    EXPECT_EQ(attributes().state, ZOR_SERVER_STOPPED);
    EXPECT_EQ(ZorDestroyServer(server, &error), ZOR_OK);
    server = nullptr;
    door.open();  // the function ends when nobody waits for it any more
    EXPECT_TRUE(await([&] {
        const std::lock_guard guard(door.lock);
        return door.waiting == 0;
    }));
    EXPECT_EQ(heard.errorCount(), 0u);
}

TEST_F(AutomatedServerTest, aFunctionMayEndItsOwnServer) {
    const ServedFunction ends("ENDS", [&](auto, ZOR_FUNCTION_HANDLE, auto) {
        EXPECT_EQ(ZorDestroyServer(server, nullptr), ZOR_OK);
        return ZOR_OK;
    });
    launch("2");
    EXPECT_EQ(call("ENDS").text(1026), "Server is shutting down");
    EXPECT_TRUE(await([&] { return ZorGetServerAttributes(server, nullptr, &error) == ZOR_INVALID_HANDLE; }));
    server = nullptr;
}

TEST_F(AutomatedServerTest, isBrokenWithoutItsGatewayAndRunsAgainWithIt) {
    const ServedFunction echo("ECHO", echoWith("!"));
    launch("2");
    ASSERT_TRUE(system.awaitPrograms(program, 2));
    clientMayBreakRules = true;
    system.vanish();
    EXPECT_TRUE(await([&] { return attributes().state == ZOR_SERVER_BROKEN; }));
    EXPECT_GE(heard.errorCount(), 2u);
    system.comeBack();
    EXPECT_TRUE(await([&] { return attributes().state == ZOR_SERVER_RUNNING; }));
    EXPECT_EQ(resultOf(call("ECHO", "back")), "back!");
    EXPECT_TRUE(awaitCount(2));
    // One that is cancelled is replaced at once.
    ASSERT_TRUE(system.awaitPrograms(program, 2));
    EXPECT_EQ(system.cancelPrograms(program), 2u);
    EXPECT_EQ(resultOf(call("ECHO", "again")), "again!");
}

TEST_F(AutomatedServerTest, manyServersStartAndStopAgainAndAgain) {
    const ServedFunction echo("ECHO", echoWith("!"));
    for (int round = 0; round < 5; ++round) {
        launch("2");
        const ZOR_SERVER_HANDLE first = std::exchange(server, nullptr);
        launch("1");
        EXPECT_EQ(resultOf(call("ECHO", "x")), "x!");
        EXPECT_EQ(ZorDestroyServer(first, &error), ZOR_OK);
        EXPECT_EQ(resultOf(call("ECHO", "y")), "y!");
        EXPECT_EQ(ZorDestroyServer(std::exchange(server, nullptr), &error), ZOR_OK);
        EXPECT_TRUE(awaitUnregistered());
    }
    launch("0");
    EXPECT_EQ(attributes().state, ZOR_SERVER_RUNNING);
    EXPECT_EQ(attributes().registrationCount, 0u);
}

TEST_F(AutomatedServerTest, servesSocketPartnersWithCallsBack) {
    const ServedFunction inner("INNER", echoWith("<"));
    const ServedFunction outer("OUTER", [](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        ZOR_SERVER_CONTEXT context;
        EXPECT_EQ(ZorGetServerContext(own, &context, nullptr), ZOR_OK);
        EXPECT_EQ(std::strlen(context.sessionID), 32u);
        EXPECT_EQ(ZorSetServerStateful(own, 1, nullptr), ZOR_OK);
        TextCall back("INNER");
        const std::string answer = back(own, textOf(call, "TEXT"));
        return reply(call, answer + context.sessionID);
    });
    launchSocket();
    const ZOR_CONNECTION_HANDLE one = connectSocket(), other = connectSocket();
    TextCall calling("OUTER");
    const std::string first = calling(one, "a");
    EXPECT_EQ(first.substr(0, 2), "a<");
    EXPECT_EQ(calling(one, "a"), first);  // one session
    EXPECT_NE(calling(other, "a"), first);
    TextCall nowhere("NOWHERE");
    EXPECT_EQ(nowhere(other, ""), "Function NOWHERE not found");
    EXPECT_EQ(calling(one, "a"), first);
    EXPECT_EQ(attributes().state, ZOR_SERVER_RUNNING);
    EXPECT_EQ(attributes().registrationCount, 4u);
    EXPECT_EQ(ZorCloseConnection(one, &error), ZOR_OK);
    ZorCloseConnection(other, nullptr);
    EXPECT_EQ(ZorShutdownServer(server, 5, &error), ZOR_OK);
    EXPECT_EQ(openSocket(port, error), nullptr);
    EXPECT_EQ(ZorLaunchServer(server, &error), ZOR_OK) << error.message;
    const ZOR_CONNECTION_HANDLE later = connectSocket();
    EXPECT_EQ(calling(later, "b").substr(0, 2), "b<");
    // Its port is taken: another server there is broken.
    const ZOR_SERVER_HANDLE late = create({{"SERVER_PORT", port.c_str()}});
    EXPECT_EQ(ZorLaunchServer(late, &error), ZOR_COMMUNICATION_FAILURE);
    ZOR_SERVER_ATTRIBUTES known;
    EXPECT_EQ(ZorGetServerAttributes(late, &known, nullptr), ZOR_OK);
    EXPECT_EQ(known.state, ZOR_SERVER_BROKEN);
    ZorDestroyServer(late, nullptr);
    ZorCloseConnection(later, nullptr);
}

TEST_F(AutomatedServerTest, aSocketServerGivesUpWhatHangs) {
    Door door;
    const ServedFunction waits("WAITS", [&](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        door.pass();
        TextCall back("INNER");
        back(own, "");
        EXPECT_EQ(back.rc, ZOR_INVALID_HANDLE);
        return reply(call, "late");
    });
    launchSocket("1");
    const ZOR_CONNECTION_HANDLE client = connectSocket();
    auto hanging = std::async(std::launch::async, [&] {
        TextCall calling("WAITS");
        return calling(client, "");
    });
    ASSERT_TRUE(door.awaitWaiting(1));
    EXPECT_EQ(ZorDestroyServer(std::exchange(server, nullptr), &error), ZOR_OK);
    EXPECT_EQ(hanging.get(), "Server is shutting down");
    door.open();
    EXPECT_TRUE(await([&] {
        const std::lock_guard guard(door.lock);
        return door.waiting == 0;
    }));
    ZorCloseConnection(client, nullptr);
}

TEST_F(AutomatedServerTest, refusedCallersAndLostOnesLeaveItServing) {
    Door door;
    const ServedFunction waits("WAITS", [&](auto, ZOR_FUNCTION_HANDLE call, auto) {
        door.pass();
        return reply(call, "passed");
    });
    server = create(registration({{"REG_COUNT", "1"}, {"SYS_IDS", "ABC"}}));
    ASSERT_EQ(ZorLaunchServer(server, &error), ZOR_OK) << error.message;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(call("WAITS").text(1026), "Access to server denied for backend system ZDV");
    EXPECT_EQ(heard.errorCount(), 0u);
    EXPECT_EQ(ZorDestroyServer(server, &error), ZOR_OK);
    launch("1");
    clientMayBreakRules = true;
    {
        auto session = system.openProgram(program);
        session.limit = 1ms;
        EXPECT_NE(session.call("WAITS", textCall("")).failure, "");
    }
    ASSERT_TRUE(door.awaitWaiting(1));
    door.open();  // nobody is there for the answer
    EXPECT_EQ(resultOf(call("WAITS")), "passed");
    EXPECT_TRUE(awaitCount(1));
}

TEST_F(AutomatedServerTest, aShutdownEndsACallBackThatHangs) {
    Door door;
    std::atomic<ZOR_RC> within = ZOR_OK;
    const ServedFunction inner("INNER", [&](auto, ZOR_FUNCTION_HANDLE call, auto) {
        door.pass();
        return reply(call, "too late");
    });
    const ServedFunction outer("OUTER", [&](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) {
        TextCall back("INNER");
        back(own, "");
        within = back.rc;
        return reply(call, "not wanted");
    });
    launchSocket("1");
    const ZOR_CONNECTION_HANDLE client = connectSocket();
    auto hanging = std::async(std::launch::async, [&] {
        TextCall calling("OUTER");
        calling(client, "");
        return calling.rc;
    });
    ASSERT_TRUE(door.awaitWaiting(1));
    EXPECT_EQ(ZorShutdownServer(server, 0, &error), ZOR_OK);
    EXPECT_TRUE(await([&] { return within == ZOR_CANCELED; }));
    door.open();
    EXPECT_EQ(hanging.get(), ZOR_COMMUNICATION_FAILURE);
    ZorCloseConnection(client, nullptr);
}

}  // namespace
