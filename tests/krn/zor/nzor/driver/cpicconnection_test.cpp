#include "driver/cpicconnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "config/zoroptions.h"
#include "tests/krn/si/cpic/fakegateway.h"

using testing::HasSubstr;

namespace {

/** A connection that notes what its driver tells it. */
struct Owner final : ZorStreamOwner {
    void setConvId(const KEL_RAW* convId) noexcept override {
        id = convId ? std::string(convId, convId + 8) : "";
    }
    bool isLoggedOn() const noexcept override { return loggedOn; }
    unsigned connectionTraceLevel() const noexcept override { return 0; }
    KEL_string traceCodepage() const override { return "1100"; }
    void coverDump(Dump, bool, unsigned, std::span<KEL_RAW>) noexcept override {}
    void setHasErrorMsg() noexcept override { hasError = true; }
    void parseErrorMsg(const KEL_RAW*, unsigned length, DATA_RECEIVED) override {
        unsigned read = 0;
        error.resize(length);
        driver->readBytes(reinterpret_cast<KEL_RAW*>(error.data()), 0, length, read);
        EXPECT_EQ(driver->readBytes(nullptr, 0, 1, read), CM_DEALLOCATED_NORMAL);
    }
    void throwZorErrorMsg() override { throw ZorSystemException(error); }
    void leaveConnectionList() noexcept override { left = true; }
    void acceptTraceLevel(unsigned) noexcept override {}

    CpicConnection* driver = nullptr;
    std::string id;
    std::string error;
    bool loggedOn = true;
    bool hasError = false;
    bool left = false;
};

struct Line {
    Owner owner;
    CpicConnection driver{&owner};

    void open(const FakeGateway& gateway) {
        owner.driver = &driver;
        ZorOptions options;
        options.ashost = "127.0.0.1";
        options.gwserv = gateway.service;
        ASSERT_EQ(driver.connectAsClient(options), CM_OK);
    }
    void write(const std::string& text) {
        driver.writeBytes(reinterpret_cast<const KEL_RAW*>(text.data()), 0,
                          static_cast<unsigned>(text.size()));
    }
    std::string read(unsigned count, CM_RETCODE expected = CM_OK) {
        std::string text(count, '?');
        unsigned read = 0;
        EXPECT_EQ(driver.readBytes(reinterpret_cast<KEL_RAW*>(text.data()), 0, count, read), expected);
        text.resize(read);
        return text;
    }
};

TEST(CpicConnection, FillsInWhatTheCallerLeftOpen) {
    struct Case {
        const char *ashost, *gwhost, *kelrouter, *sysnr, *gwserv;
        const char *wantedGwhost, *wantedAshost, *wantedGwserv, *wantedAsserv;
    };
    const Case cases[] = {
        {"as", "", "", "01", "", "as", "as", "3301", "keldp01"},
        {"as", "gw", "", "", "", "gw", "gw", "3300", "keldp00"},
        {"as", "/H/gw/S/3300/P/secret", "", "01", "", "/H/gw/S/3300/P/secret", "gw/S/3300", "3301",
         "keldp01"},
        {"as", "", "/H/router", "7", "", "/H/router/H/as", "as", "3300", "keldp00"},
        {"as", "", "", "01", "kelgw42", "as", "as", "kelgw42", "keldp42"},
    };
    Owner owner;
    CpicConnection driver(&owner);
    for (const Case& test : cases) {
        ZorOptions options;
        options.ashost = test.ashost;
        options.gwhost = test.gwhost;
        options.kelrouter = test.kelrouter;
        options.sysnr = test.sysnr;
        options.gwserv = test.gwserv;
        driver.parseConnParameters(options);
        EXPECT_EQ(options.gwhost, test.wantedGwhost);
        EXPECT_EQ(options.ashost, test.wantedAshost);
        EXPECT_EQ(options.gwserv, test.wantedGwserv);
        EXPECT_EQ(options.asserv, test.wantedAsserv);
    }
    ZorOptions shortService;
    shortService.ashost = "as";
    shortService.gwserv = "1";
    EXPECT_THROW(driver.parseConnParameters(shortService), ZorCommunicationException);
    ZorOptions group;
    group.mshost = "ms";
    group.group = "G";
    EXPECT_THROW(driver.parseConnParameters(group), ZorCommunicationException);
}

TEST(CpicConnection, ARefusedConnectThrowsTheLayersText) {
    std::string service;
    {
        FakeGateway gateway([](FakeGateway&) {});
        service = gateway.service;
        Owner owner;
        CpicConnection driver(&owner);
        ZorOptions options;
        options.ashost = "127.0.0.1";
        options.gwserv = service;
        EXPECT_THROW(driver.connectAsClient(options), ZorCommunicationException);
        EXPECT_THAT(driver.getErrorMsg(), HasSubstr("LOCATION    CPIC (TCP/IP) on local host\n"));
        EXPECT_FALSE(driver.connected);
        EXPECT_EQ(driver.close(), CM_OK);
    }
}

TEST(CpicConnection, OneRequestOneAnswer) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open();
        EXPECT_EQ(self.expect(203).substr(88), "abcdef");
        self.answer({.rqtype = 203, .status = 0, .data = "first "});
        self.expect(9);
        self.answer({.rqtype = 9, .data = "second and rest"});
        self.expect(11);
    });
    Line line;
    line.open(gateway);
    EXPECT_EQ(line.owner.id, "12345678");
    KEL_UC id[9];
    line.driver.printConvID(id, sizeof id);
    EXPECT_STREQ(id, "12345678");
    EXPECT_THROW(line.driver.printConvID(id, 8), ZorBufferTooSmallException);
    line.write("abc");
    line.write("def");
    EXPECT_EQ(line.driver.sendFlush(), CM_OK);
    EXPECT_EQ(line.read(3), "fir");
    EXPECT_EQ(line.read(9), "st second");
    unsigned skipped = 0;
    EXPECT_EQ(line.driver.readBytes(nullptr, 0, 5, skipped), CM_OK);
    EXPECT_EQ(line.read(1), "r");
    EXPECT_FALSE(line.driver.isBufferEmpty());
    EXPECT_EQ(line.driver.receiveFlush(), CM_OK);
    EXPECT_TRUE(line.driver.isBufferEmpty());
    EXPECT_EQ(line.driver.close(), CM_OK);
    EXPECT_EQ(line.read(1, CM_DEALLOCATED_NORMAL), "");
}

TEST(CpicConnection, AFullBufferGoesOutAtOnce) {
    const unsigned size = CpicConnection::BUFFER_SIZE;
    FakeGateway gateway([size](FakeGateway& self) {
        self.open();
        EXPECT_EQ(self.expect(8).substr(80), std::string(size, 'a'));
        EXPECT_EQ(self.expect(8).substr(80), std::string(size, 'b'));
        EXPECT_EQ(self.expect(8).substr(80), "c");
        self.expect(11);
    });
    Line line;
    line.open(gateway);
    line.write(std::string(size, 'a'));
    EXPECT_TRUE(line.driver.isBufferEmpty());
    line.write(std::string(size, 'b') + "c");
    EXPECT_FALSE(line.driver.isBufferEmpty());
    EXPECT_EQ(line.driver.sendFlush(), CM_OK);
    EXPECT_EQ(line.driver.close(), CM_OK);
}

TEST(CpicConnection, AnEndWithDataIsThePartnersError) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open();
        self.expect(203);
        self.answer({.rqtype = 203, .appcRc = 18, .data = "no such user"});
    });
    Line line;
    line.open(gateway);
    line.owner.loggedOn = false;
    line.write("logon");
    line.driver.sendFlush();
    unsigned read = 0;
    KEL_RAW byte;
    EXPECT_THROW(line.driver.readBytes(&byte, 0, 1, read), ZorSystemException);
    EXPECT_EQ(line.owner.error, "no such user");
    EXPECT_TRUE(line.owner.hasError);
    EXPECT_EQ(line.driver.close(), CM_OK);
}

TEST(CpicConnection, APartnerThatOnlyGivesTheTurnBackIsLeft) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open();
        self.expect(203);
        self.answer({.rqtype = 203});
        for (int i = 0; i < 2; ++i) {
            self.expect(9);
            self.answer({.rqtype = 9});
        }
        self.expect(11);
    });
    Line line;
    line.open(gateway);
    line.write("question");
    EXPECT_EQ(line.driver.sendFlush(), CM_OK);
    EXPECT_THROW(line.read(1), ZorCommunicationException);
    EXPECT_EQ(line.driver.getErrorMsg(), "The partner sends messages without data");
    EXPECT_EQ(line.driver.close(), CM_OK);
}

TEST(CpicConnection, ALostConnectionEndsTheStream) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open();
        self.expect(9);
    });
    Line line;
    line.open(gateway);
    EXPECT_EQ(line.read(1, CM_DEALLOCATED_NORMAL), "");
    EXPECT_THAT(line.driver.getErrorMsg(), HasSubstr("ERROR       connection to partner '127.0.0.1:"));
    line.write("x");
    EXPECT_THROW(line.driver.sendFlush(), ZorCommunicationException);
}

TEST(CpicConnection, CancelEndsASendThatThePartnerDoesNotTake) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open(2);
        self.standStill();
    });
    Line line;
    line.open(gateway);
    const auto* const id = reinterpret_cast<const KEL_RAW*>(line.owner.id.data());
    keepSmall(id);
    NI_HDL handle;
    int socketNo = -1;
    ASSERT_EQ(KEL_CMNIHANDLE(id, &handle, nullptr), CM_OK);
    ASSERT_EQ(NiHdlToSock(handle, &socketNo), NI_OK);
    std::chrono::steady_clock::time_point cancelled;
    std::thread other([&] {
        // Nobody reads what is sent: once the socket takes no more, the sender stands still.
        pollfd entry{socketNo, POLLOUT, 0};
        while (poll(&entry, 1, 0) > 0 && entry.revents == POLLOUT)
            std::this_thread::yield();
        cancelled = std::chrono::steady_clock::now();
        line.driver.cancel();
    });
    try {
        line.write(std::string(500'000, 'x'));
        ADD_FAILURE() << "all was sent";
    } catch (const ZorSystemException& exception) {
        EXPECT_EQ(exception.getCode(), ZOR_CANCELED);
    }
    const auto end = std::chrono::steady_clock::now();
    other.join();
    EXPECT_LT(end - cancelled, std::chrono::seconds(2));
    EXPECT_TRUE(line.owner.left);
    EXPECT_EQ(line.driver.close(), CM_OK);
}

TEST(CpicConnection, AFailureThatLeavesTheConversationEndsIt) {
    FakeGateway gateway([](FakeGateway& self) {
        self.open();
        self.expect(9);
        self.answer({.rqtype = 9, .appcRc = CM_UNSUCCESSFUL});
        self.expect(11);
        EXPECT_EQ(self.take(), "");
    });
    Line line;
    line.open(gateway);
    EXPECT_EQ(line.read(1, CM_DEALLOCATED_NORMAL), "");
    EXPECT_THAT(line.driver.getErrorMsg(), HasSubstr("CPIC-RC=CM_UNSUCCESSFUL"));
    EXPECT_EQ(line.driver.close(), CM_OK);
}

TEST(CpicConnection, AnIdThatIsGivenAgainIsNotTouchedByItsFormerOwner) {
    FakeGateway first([](FakeGateway& self) {
        self.open();
        self.expect(9);
        self.answer({.rqtype = 9, .appcRc = CM_DEALLOCATED_ABEND});
    });
    FakeGateway second([](FakeGateway& self) {
        self.open();
        EXPECT_EQ(self.expect(203).substr(88), "mine");
        self.answer({.rqtype = 203, .data = "!"});
        self.expect(11);
    });
    Line former, present;
    former.open(first);
    EXPECT_EQ(former.read(1, CM_DEALLOCATED_NORMAL), "");
    present.open(second);
    EXPECT_EQ(former.owner.id, present.owner.id);
    present.write("mine");
    present.driver.sendFlush();
    former.write("not mine");
    EXPECT_THROW(former.driver.sendFlush(), ZorCommunicationException);
    EXPECT_EQ(former.driver.close(), CM_OK);
    EXPECT_EQ(present.read(1), "!");
    EXPECT_EQ(present.driver.close(), CM_OK);
}

TEST(CpicConnection, CancelFromAnotherThreadEndsAWaitingRead) {
    std::promise<void> waiting;
    FakeGateway gateway([&](FakeGateway& self) {
        self.open();
        self.expect(9);
        waiting.set_value();
        self.expect(213);
        self.answer({.rqtype = 213});
        self.expect(11);
    });
    Line line;
    line.open(gateway);
    std::thread other([&] {
        waiting.get_future().wait();
        line.driver.cancel();
    });
    try {
        line.read(1);
        ADD_FAILURE() << "the read came back";
    } catch (const ZorSystemException& cancelled) {
        EXPECT_EQ(cancelled.getCode(), ZOR_CANCELED);
        EXPECT_EQ(cancelled.getMessage(), "Connection was canceled.");
    }
    other.join();
    EXPECT_TRUE(line.owner.left);
    EXPECT_EQ(line.driver.close(), CM_OK);
}

}  // namespace
