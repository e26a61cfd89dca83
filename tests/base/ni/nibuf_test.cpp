// Buffered handles.

#include <gtest/gtest.h>

#include "base/dptrc/err.h"
#include "base/ni/nisel.h"
#include "tests/base/ni/niserver.h"

namespace {

class NiBuffered : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(NiSelNewSet(&set), NI_OK); }
    void TearDown() override {
        NiSelDeleteSet(&set);
        if (handle != NI_INVALID_HDL) NiCloseHandle(handle);
    }
    void connectTo(const ni_test::PlainServer& server, const std::string& route = "127.0.0.1") {
        const KELRETURN rc = NiBufHandle(route.c_str(), server.portText().c_str(), 0, &handle);
        ASSERT_TRUE(rc == NI_OK || rc == NIECONN_PENDING) << rc;
        ASSERT_NE(handle, NI_INVALID_HDL);
    }
    KELRETURN write(const std::string& text, KEL_INT timeout = 0) {
        return NiWrite(handle, reinterpret_cast<const KEL_RAW*>(text.data()),
                       static_cast<KEL_INT>(text.size()), timeout);
    }
    /** What a select tells of the handle. */
    std::string ready(KEL_INT timeout = 5000) {
        const KELRETURN rc = NiSelSelect(set, timeout);
        bool read, writable;
        if (rc != NI_OK) return NiErrStr(rc);
        EXPECT_EQ(NiSelNext(set, &read, &writable, nullptr, nullptr), handle);
        return std::string(read ? "r" : "") + (writable ? "w" : "");
    }

    NISEL_HDL set = nullptr;
    NI_HDL handle = NI_INVALID_HDL;
};

TEST_F(NiBuffered, WritesBeforeItIsConnectedAndReadsWholeMessages) {
    const ni_test::PlainServer server;
    connectTo(server);
    ASSERT_EQ(write("one"), NI_OK);
    ASSERT_EQ(write(""), NI_OK);
    ASSERT_EQ(NiWriteOK(handle, 5000), NI_OK);
    const ni_test::Peer peer(server.acceptPlain());
    EXPECT_EQ(peer.take(11), ni_test::frame("one") + ni_test::frame(""));
    ASSERT_EQ(NiSelSet(set, handle, NI_READ, nullptr), NI_OK);
    peer.give(ni_test::frame("message").substr(0, 6));
    EXPECT_EQ(ready(20), "NIETIMEOUT");  // half a message is none
    peer.give(ni_test::frame("message").substr(6) + ni_test::frame(ni_test::PING) + ni_test::frame("next"));
    EXPECT_EQ(ready(), "r");
    EXPECT_EQ(ready(), "r");
    KEL_RAW buffer[4];
    KEL_INT length;
    EXPECT_EQ(NiRead(handle, buffer, sizeof buffer, 0, &length), NIETOO_SMALL);
    EXPECT_EQ(std::string(buffer, buffer + length), "mess");
    EXPECT_EQ(ni_test::read(handle), "age");
    EXPECT_EQ(ready(), "r");
    EXPECT_EQ(ni_test::read(handle), "next");
    EXPECT_EQ(peer.takeFrame(), ni_test::PONG);
    EXPECT_EQ(ni_test::read(handle, 0), "NIETIMEOUT");
}

TEST_F(NiBuffered, CompletesARouteInTheBackground) {
    const ni_test::PlainServer server;
    connectTo(server, "/H/127.0.0.1/S/" + server.portText() + "/H/far");
    EXPECT_EQ(ni_test::read(handle, 1), "NIECONN_PENDING");
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "timeout while pending for route completion");
    ASSERT_EQ(NiSelSet(set, handle, NI_READ | NI_WRITE, nullptr), NI_OK);
    EXPECT_EQ(ready(1), "NIETIMEOUT");
    const ni_test::Peer peer(server.acceptPlain());
    EXPECT_EQ(peer.takeFrame().substr(0, 8), "NI_ROUTE");
    peer.give(ni_test::frame(ni_test::PONG) + ni_test::frame("data"));
    std::string told;
    for (int i = 0; i < 100 && told != "rw"; ++i)
        told = ready();
    EXPECT_EQ(told, "rw");
    EXPECT_EQ(ni_test::read(handle), "data");
}

TEST_F(NiBuffered, AFailureOfTheBackgroundIsTheResultOfTheNextCalls) {
    struct Case {
        const char* name;
        std::string answer;
        KELRETURN rc;
    };
    const Case cases[] = {
        {"router refuses", ni_test::frame(ni_test::control(0, -90, "", "rest")), NIEROUT_HOST_UNKNOWN},
        {"router dies", "", NIECONN_BROKEN},
        {"bad length", "\x80xxx", NIEINTERN},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const ni_test::PlainServer server;
        connectTo(server, "/H/127.0.0.1/S/" + server.portText() + "/H/far");
        ASSERT_EQ(NiSelSet(set, handle, NI_READ, nullptr), NI_OK);
        {
            const ni_test::Peer peer(server.acceptPlain());
            EXPECT_EQ(ready(1), "NIETIMEOUT");
            peer.takeFrame();
            peer.give(test.answer);
        }
        EXPECT_EQ(ready(), "r");
        EXPECT_EQ(ni_test::read(handle), NiErrStr(test.rc));
        EXPECT_EQ(write("x"), test.rc);
        NiSelClear(set, handle, NI_SEL_ALL);
        NiCloseHandle(handle);
        handle = NI_INVALID_HDL;
    }
}

TEST_F(NiBuffered, NobodyListens) {
    const ni_test::PlainServer server(-1);
    const KELRETURN rc = NiBufHandle("127.0.0.1", server.portText().c_str(), 0, &handle);
    EXPECT_TRUE(rc == NIECONN_PENDING || rc == NIECONN_REFUSED);
    if (rc == NIECONN_PENDING) {
        EXPECT_EQ(ni_test::read(handle), "NIECONN_REFUSED");
    }
}

TEST_F(NiBuffered, AConnectThatTakesItsTime) {
    ni_test::PlainServer server(0);
    server.fillQueue();
    NI_STAT status;
    ASSERT_EQ(NiBufHandle("127.0.0.1", server.portText().c_str(), 0, &handle), NIECONN_PENDING);
    ASSERT_EQ(NiHdlGetStatus(handle, &status), NI_OK);
    EXPECT_EQ(status, NI_CONN_WAIT);
    EXPECT_EQ(ni_test::read(handle, 10), "NIECONN_PENDING");
    EXPECT_EQ(NiWriteOK(handle, 10), NIECONN_PENDING);
    NI_HDL other = 0;
    EXPECT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 50, &other), NIECONN_REFUSED);
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "NiIConnect: connection pending after 50ms");
    EXPECT_EQ(other, NI_INVALID_HDL);
}

TEST_F(NiBuffered, AFullQueueRefusesWithinTheTimeAndLosesNothing) {
    const ni_test::PlainServer server;
    connectTo(server);
    const ni_test::Peer peer(server.acceptPlain());
    const std::string message(100000, 'x');
    ASSERT_EQ(NiSelSet(set, handle, NI_WRITE, nullptr), NI_OK);
    int sent = 0;
    std::string expected, got;
    KELRETURN rc = NI_OK;
    const auto send = [&](const std::string& text, int timeout) {
        rc = write(text, timeout);
        if (rc == NI_OK) expected += ni_test::frame(text);
        return rc == NI_OK && ++sent < 10000;
    };
    // The system's own buffers grow for a while before they are full too.
    do
        while (send(message, 0))
            ;
    while (sent < 10000 && ready(20) == "w");
    while (send("more", 1))
        ;
    EXPECT_EQ(rc, NIEQUE_FULL);
    while (got.size() < expected.size()) {
        NiSelSelect(set, 0);  // moves the queue on
        got += peer.takeWhatIsThere();
    }
    EXPECT_TRUE(got == expected);
    EXPECT_EQ(ready(), "w");
    EXPECT_EQ(write("last"), NI_OK);
}

TEST_F(NiBuffered, PlainBytes) {
    const ni_test::PlainServer server;
    const KELRETURN rc = NiBufRawHandle("127.0.0.1", server.portText().c_str(), 0, &handle);
    ASSERT_TRUE(rc == NI_OK || rc == NIECONN_PENDING);
    const ni_test::Peer peer(server.acceptPlain());
    KEL_INT length = 0;
    EXPECT_EQ(NiRawWrite(handle, reinterpret_cast<const KEL_RAW*>("abc"), 3, 5000, &length), NI_OK);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(peer.take(3), "abc");
    ASSERT_EQ(NiSelSet(set, handle, NI_READ, nullptr), NI_OK);
    EXPECT_EQ(ready(1), "NIETIMEOUT");
    peer.give("defg");
    EXPECT_EQ(ready(), "r");
    KEL_RAW buffer[3];
    ASSERT_EQ(NiRawRead(handle, buffer, 3, 0, &length), NI_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), "def");
    EXPECT_EQ(ready(), "r");
    ASSERT_EQ(NiRawRead(handle, buffer, 3, 0, &length), NI_OK);
    EXPECT_EQ(NiRawRead(handle, buffer, 3, 0, &length), NIETIMEOUT);
}

}  // namespace
