// The driver of a program that serves: registered, started, many registrations in one thread.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "config/zoroptions.h"
#include "driver/cpicconnection.h"
#include "tests/krn/si/cpic/fakegateway.h"

using testing::HasSubstr;

namespace {

/** A server's connection that notes what its driver tells it. */
struct Server final : ZorStreamOwner {
    Server() { driver.zorProgType = ZOR_REGISTERED_SERVER; }

    void setConvId(const KEL_RAW* convId) noexcept override {
        id = convId ? std::string(convId, convId + 8) : "";
    }
    bool isLoggedOn() const noexcept override { return false; }
    unsigned connectionTraceLevel() const noexcept override { return 0; }
    KEL_string traceCodepage() const override { return "1100"; }
    void coverDump(Dump, bool, unsigned, std::span<KEL_RAW>) noexcept override {}
    void setHasErrorMsg() noexcept override {}
    void parseErrorMsg(const KEL_RAW*, unsigned, DATA_RECEIVED) override {}
    void throwZorErrorMsg() override {}
    void leaveConnectionList() noexcept override {}
    void acceptTraceLevel(unsigned level) noexcept override { traceLevel = level; }
    void forgetPartner() noexcept override { ++forgotten; }
    bool keepsSession() const noexcept override { return keeps; }
    void sessionEnded() noexcept override { ++ended; }

    ZorOptions options(const FakeGateway& gateway) const {
        ZorOptions made;
        made.tpname = "PROGRAM.ID";
        made.gwhost = "127.0.0.1";
        made.gwserv = gateway.service;
        made.keepalive = 1;
        return made;
    }
    void enter(const FakeGateway& gateway) {
        ZorOptions made = options(gateway);
        ASSERT_EQ(driver.registerAsServer(made), CM_OK);
    }
    std::string read(unsigned count) {
        std::string text(count, '?');
        unsigned read = 0;
        EXPECT_EQ(driver.readBytes(reinterpret_cast<KEL_RAW*>(text.data()), 0, count, read), CM_OK);
        return text;
    }
    void write(const std::string& text) {
        driver.writeBytes(reinterpret_cast<const KEL_RAW*>(text.data()), 0,
                          static_cast<unsigned>(text.size()));
    }

    CpicConnection driver{this};
    std::string id;
    unsigned traceLevel = 0;
    int forgotten = 0;
    int ended = 0;
    bool keeps = false;
};

TEST(CpicDriverServer, ServesPartnersOneAfterTheOther) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        self.expect(9);
        self.answer({.rqtype = 9, .data = "Tquestion"});  // the first byte asks for a trace
        EXPECT_EQ(self.expect(8).substr(80), "answer");
        self.expect(11);
        self.expect(210);
        self.givePartner("PARTNER2");
        self.expect(9);
        self.answer({.rqtype = 9, .data = "again"});
        const std::string kept = self.expect(203);  // the session goes on
        EXPECT_EQ(kept.substr(88), "and");
        self.answer({.rqtype = 203, .data = "Time"});  // no request for a trace: not the first byte
        self.expect(11);
        self.expect(210);
        self.expect(208);
    });
    Server server;
    server.enter(gateway);
    EXPECT_TRUE(server.driver.registered && server.driver.serverMode);
    ASSERT_EQ(server.driver.listen(-1), CM_OK);
    EXPECT_EQ(server.id, "PARTNER1");
    EXPECT_EQ(server.traceLevel, 2u);
    EXPECT_EQ(server.read(8), "question");
    server.write("answer");
    EXPECT_EQ(server.driver.sendFlush(), CM_OK);
    EXPECT_EQ(server.id, "");
    EXPECT_EQ(server.ended, 1);
    EXPECT_FALSE(server.driver.accepted);
    server.traceLevel = 0;
    ASSERT_EQ(server.driver.listen(30), CM_OK);
    EXPECT_EQ(server.forgotten, 2);
    EXPECT_EQ(server.read(5), "again");
    server.keeps = true;
    server.write("and");
    EXPECT_EQ(server.driver.sendFlush(), CM_OK);
    ASSERT_EQ(server.driver.listen(30), CM_OK);
    EXPECT_EQ(server.read(4), "Time");
    EXPECT_EQ(server.traceLevel, 0u);
    EXPECT_EQ(server.driver.close(), CM_OK);
    EXPECT_FALSE(server.driver.registered);
}

TEST(CpicDriverServer, WaitsAndSignsOfLife) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.expect(209);
        self.expect(210);
        self.expect(209);
        self.answer({.rqtype = 211, .kelRc = 731});
    });
    Server server;
    EXPECT_EQ(server.driver.listen(0), CM_KEL_TIMEOUT_RETRY) << "neither registered nor accepted";
    server.enter(gateway);
    EXPECT_EQ(server.driver.listen(0), CM_KEL_TIMEOUT_RETRY);
    EXPECT_EQ(server.driver.keepAlive(false), CM_OK);  // not due
    EXPECT_EQ(server.driver.keepAlive(true), CM_OK);
    try {
        server.driver.listen(30);
        ADD_FAILURE() << "somebody came";
    } catch (const ZorCommunicationException& failure) {
        EXPECT_THAT(failure.getMessage(), HasSubstr("gateway shutdown"));
    }
    EXPECT_EQ(server.driver.close(), CM_PARAMETER_ERROR) << "the registration is gone";
}

TEST(CpicDriverServer, ARefusedRegistrationIsAFailure) {
    FakeGateway gateway([](FakeGateway& self) {
        std::string record = self.take();
        record.replace(58, 4, number(720, 4));
        self.give(record);
    });
    Server server;
    ZorOptions options = server.options(gateway);
    try {
        server.driver.registerAsServer(options);
        ADD_FAILURE() << "registered";
    } catch (const ZorCommunicationException& failure) {
        EXPECT_THAT(failure.getMessage(), HasSubstr("TP_REG_SECU_ERROR"));
    }
    EXPECT_FALSE(server.driver.registered);
}

TEST(CpicDriverServer, AStartedProgramTakesItsConversationOver) {
    FakeGateway gateway([](FakeGateway& self) {
        std::string record = self.take();
        ASSERT_EQ(record.size(), 64u);
        EXPECT_EQ(record.substr(46, 8), "STARTED1");
        self.give(record);
        self.conversation = "STARTED1";
        self.expect(9);
        self.answer({.rqtype = 9, .data = "call"});
        EXPECT_EQ(self.expect(8).substr(80), "done");
        self.expect(11);
    });
    const std::string service = gateway.service;
    std::vector<const char*> argv{"prog", "127.0.0.1", service.c_str(), "STARTED1", nullptr};
    Server server;
    ZorOptions options;
    EXPECT_EQ(server.driver.connectAsServer(options), CM_OK) << "not started by a gateway";
    EXPECT_FALSE(server.driver.connected);
    options.argc = 4;
    options.argv = const_cast<KEL_UC**>(argv.data());
    ASSERT_EQ(server.driver.connectAsServer(options), CM_OK);
    EXPECT_TRUE(server.driver.connected && server.driver.accepted && server.driver.serverMode);
    EXPECT_EQ(server.id, "STARTED1");
    EXPECT_EQ(server.driver.listen(30), CM_OK);
    EXPECT_EQ(server.read(4), "call");
    server.write("done");
    EXPECT_EQ(server.driver.sendFlush(), CM_OK);
    EXPECT_EQ(server.driver.close(), CM_OK);
    options.argc = 2;
    argv[1] = nullptr;
    Server other;
    EXPECT_THROW(other.driver.connectAsServer(options), ZorCommunicationException);
    EXPECT_FALSE(other.driver.connected || other.driver.accepted || other.driver.serverMode);
}

/** Listens until a server is named. */
Server* listenForOne() {
    for (;;) {
        CPIC_INT handle = 0;
        ZorStreamOwner* owner = nullptr;
        const CM_RETCODE rc = CpicConnection::listen_SM(&handle, &owner, 5000);
        EXPECT_TRUE(rc == CM_OK || rc == CM_KEL_TIMEOUT_RETRY) << rc;
        if (handle > 0) return static_cast<Server*>(owner);
    }
}

TEST(CpicDriverServer, ManyRegistrationsInOneThread) {
    std::promise<void> secondCalls;
    const auto script = [](FakeGateway& self, const char* partner) {
        self.conversation = partner;
        self.answer({.rqtype = 207});
        self.expect(9);
        self.answer({.rqtype = 9, .data = "one"});
        self.expect(203);
        self.answer({.rqtype = 203, .data = "two"});
        self.expect(11);
        self.expect(210);
        self.expect(209);
    };
    FakeGateway first([&](FakeGateway& self) {
        self.openRegistration();
        self.expect(209);
        script(self, "FIRST001");
        self.answer({.rqtype = 211, .kelRc = 731});
    });
    FakeGateway second([&](FakeGateway& self) {
        self.openRegistration();
        self.expect(209);
        secondCalls.get_future().wait();
        script(self, "SECOND01");
        self.expect(208);
    });
    Server one, two;
    ZorOptions toFirst = one.options(first), toSecond = two.options(second);
    ASSERT_EQ(one.driver.registerAsServer_SM(toFirst), CM_OK);
    ASSERT_EQ(two.driver.registerAsServer_SM(toSecond), CM_OK);
    EXPECT_THROW(two.driver.registerAsServer_SM(toSecond), ZorCommunicationException);
    for (Server* const expected : {&one, &two}) {
        Server* ready = listenForOne();
        ASSERT_EQ(ready, expected);
        EXPECT_TRUE(ready->driver.isConvIdInitial());
        ASSERT_EQ(ready->driver.accept_SM(-1), CM_OK);
        ASSERT_EQ(ready->driver.receive(30), CM_OK);
        EXPECT_EQ(ready->read(3), "one");
        ready->keeps = true;
        ready->write("go on");
        EXPECT_EQ(ready->driver.sendFlush(), CM_OK);
        EXPECT_EQ(ready->driver.reListen_SM(), CM_OK);
        ready = listenForOne();
        ASSERT_EQ(ready, expected);
        ASSERT_EQ(ready->driver.receive(30), CM_OK);
        EXPECT_EQ(ready->read(3), "two");
        EXPECT_EQ(ready->driver.reAccept_SM(), CM_OK);
        EXPECT_TRUE(ready->driver.isConvIdInitial());
        if (ready != &one) break;
        ASSERT_EQ(listenForOne(), &one);  // the first gateway shuts down
        try {
            one.driver.accept_SM(-1);
            ADD_FAILURE() << "accepted";
        } catch (const ZorCommunicationException& failure) {
            EXPECT_THAT(failure.getMessage(),
                        HasSubstr("Connection to (127.0.0.1," + first.service + ") with cpicHandle = "));
            EXPECT_THAT(failure.getMessage(), HasSubstr(" closed by gateway."));
        }
        secondCalls.set_value();
    }
    EXPECT_EQ(two.driver.close(), CM_OK);
}

}  // namespace
