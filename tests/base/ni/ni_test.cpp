#include "base/ni/ni.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "base/dptrc/err.h"
#include "base/ni/nisel.h"
#include "tests/base/ni/nipeer.h"

namespace {

using ni_test::control;
using ni_test::frame;
using ni_test::PING;
using ni_test::PONG;

class NiPair : public testing::Test, protected ni_test::Pair {
  protected:
    /** Reads with a buffer of the given size; `text` is what came. */
    KELRETURN get(std::string& text, KEL_INT size = 100, KEL_INT timeout = 5000) {
        text.assign(static_cast<std::size_t>(size), '?');
        KEL_INT length = -1;
        const KELRETURN rc = NiRead(handle, reinterpret_cast<KEL_RAW*>(text.data()), size, timeout, &length);
        text.resize(static_cast<std::size_t>(length));
        return rc;
    }

    std::string text;
};

TEST_F(NiPair, WritesLengthAndParts) {
    char first[] = "ab", second[] = "cde";
    const iovec parts[] = {{first, 2}, {nullptr, 0}, {second, 3}};
    ASSERT_EQ(NiWriteV(handle, parts, -1), NI_OK);
    EXPECT_EQ(take(9), std::string("\0\0\0\5abcde", 9));
    ASSERT_EQ(NiWriteV(handle, {}, -1), NI_OK);
    EXPECT_EQ(take(4), std::string(4, '\0'));
}

TEST_F(NiPair, ResumesAWriteThatTheTimeLimitCut) {
    std::string big(4'000'000, 'x');
    big.back() = 'y';
    const auto data = reinterpret_cast<const KEL_RAW*>(big.data());
    ASSERT_EQ(NiWrite(handle, data, static_cast<KEL_INT>(big.size()), 1), NIETIMEOUT);
    std::string got;
    std::thread reader([&] { got = take(big.size() + 4); });
    EXPECT_EQ(NiWrite(handle, data, static_cast<KEL_INT>(big.size()), -1), NI_OK);
    reader.join();
    EXPECT_TRUE(got == frame(big));
}

TEST_F(NiPair, KeepsAMessageCutAtEveryByte) {
    const std::string bytes = frame("hello, world");
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        SCOPED_TRACE(cut);
        give(bytes.substr(0, cut));
        ASSERT_EQ(get(text, 100, 0), NIETIMEOUT);
        EXPECT_EQ(text, "");
        give(bytes.substr(cut));
        ASSERT_EQ(get(text), NI_OK);
        EXPECT_EQ(text, "hello, world");
    }
}

TEST_F(NiPair, ReadsFromASlowPeer) {
    std::thread writer([this] {
        for (const char c : frame("slow") + frame("") + frame("peer"))
            give({c});
    });
    for (const char* expected : {"slow", "", "peer"}) {
        EXPECT_EQ(get(text), NI_OK);
        EXPECT_EQ(text, expected);
    }
    writer.join();
}

TEST_F(NiPair, SeparatesMessagesOfOneSegment) {
    give(frame("one") + frame(PING) + frame("second message") + frame("") + frame("four").substr(0, 6));
    ASSERT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, "one");
    EXPECT_EQ(get(text), NIEPING);
    ASSERT_EQ(get(text, 6), NIETOO_SMALL);
    EXPECT_EQ(text, "second");
    ASSERT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, " message");
    ASSERT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, "");
    ASSERT_EQ(get(text, 100, 1), NIETIMEOUT);
    give("ur");
    ASSERT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, "four");
    EXPECT_EQ(take(12), frame(PONG));
}

TEST_F(NiPair, FillsSeveralParts) {
    char first[3], second[4];
    const iovec parts[] = {{first, 3}, {second, 4}};
    KEL_INT length;
    give(frame("abcde") + frame("1234567") + frame("12345678"));
    ASSERT_EQ(NiReadV(handle, parts, -1, &length), NI_OK);
    EXPECT_EQ(std::string(first, 3) + std::string(second, static_cast<std::size_t>(length) - 3), "abcde");
    ASSERT_EQ(NiReadV(handle, parts, -1, &length), NI_OK);
    EXPECT_EQ(std::string(second, 4), "4567");
    ASSERT_EQ(NiReadV(handle, parts, -1, &length), NIETOO_SMALL);
    ASSERT_EQ(NiReadV(handle, parts, -1, &length), NI_OK);
    EXPECT_EQ(first[0], '8');
    EXPECT_EQ(length, 1);
}

TEST_F(NiPair, ABufferOfTheMessagesSizeIsEnough) {
    give(frame("12345") + frame("12345") + frame(""));
    EXPECT_EQ(get(text, 5), NI_OK);
    EXPECT_EQ(get(text, 0), NIETOO_SMALL);
    EXPECT_EQ(get(text, 5), NI_OK);
    EXPECT_EQ(text, "12345");
    EXPECT_EQ(get(text, 0), NI_OK);
}

TEST_F(NiPair, OnlyExactPingsArePings) {
    for (const std::string& data :
         {std::string("NI_PING"), PING + "x", PONG + '\0', std::string("NI_RTERR\0", 9)}) {
        give(frame(data));
        EXPECT_EQ(get(text), NI_OK);
        EXPECT_EQ(text, data);
    }
    give(frame(PONG));
    EXPECT_EQ(get(text), NIEPING);
}

TEST_F(NiPair, APingCutByATimeLimitIsStillAPing) {
    give(frame(PING).substr(0, 9));
    EXPECT_EQ(get(text, 100, 0), NIETIMEOUT);
    give(frame(PING).substr(9));
    EXPECT_EQ(get(text), NIEPING);
    EXPECT_EQ(take(12), frame(PONG));
}

TEST_F(NiPair, ControlMessages) {
    struct Case {
        const char* name;
        std::string message;
        KELRETURN rc;
        std::string answer;
    };
    std::string oldVersion = control(8, -92, "", "rest");
    oldVersion[9] = 28;
    const Case cases[] = {
        {"error", control(0, -94, "", "rest"), NIEROUT_PERM_DENIED, ""},
        {"error that says success", control(0, 0, "", "rest"), NIEINTERN, ""},
        {"old sender", oldVersion, NIEROUT_CONN_REFUSED, ""},
        {"version query", control(1, 0, "", "rest"), NIEPING, frame(control(2, 0, "", std::string(4, '\0')))},
        {"unknown", control(99, 0, "", "rest"), NIEPING, frame(control(0, -13, "", std::string(4, '\0')))},
        {"other", control(6, 0, "", "rest"), NIEPING, ""},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        give(frame(test.message));
        EXPECT_EQ(get(text), test.rc);
        EXPECT_EQ(take(test.answer.size()), test.answer);
    }
    const std::string tooLong = control(0, -94, "", "rest").replace(16, 4, std::string("\0\0\0\5", 4));
    give(frame(tooLong));
    EXPECT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, tooLong);
}

TEST_F(NiPair, TakesTheErrorOfTheNetwork) {
    std::string block(
        "*ERR*\0"
        "1\0"
        "route denied\0",
        21);
    block += std::string(17, '\0') + std::string("*ERR*\0", 6);
    give(frame(control(0, -94, block, "")));
    EXPECT_EQ(get(text), NIEROUT_PERM_DENIED);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "route denied");
}

TEST_F(NiPair, BadLengthsEndTheStream) {
    ASSERT_EQ(NiHdlSetMaxValidPacketLen(handle, 5), NI_OK);
    give(frame("12345"));
    EXPECT_EQ(get(text), NI_OK);
    give(frame("123456"));
    EXPECT_EQ(get(text), NIEINTERN);
    give(frame("12345"));
    EXPECT_EQ(get(text), NIEINTERN);
}

TEST_F(NiPair, ATopBitEndsTheStream) {
    give(std::string("\x80\0\0\0", 4));
    EXPECT_EQ(get(text), NIEINTERN);
}

TEST_F(NiPair, ThePeersEndIsNoticed) {
    give(frame("last") + "\0");
    hangUp();
    EXPECT_EQ(get(text), NI_OK);
    EXPECT_EQ(get(text), NIECONN_BROKEN);
    EXPECT_EQ(NiWrite(handle, reinterpret_cast<const KEL_RAW*>("x"), 1, -1), NIECONN_BROKEN);
    EXPECT_STREQ(ErrGetFld(ERR_SYSTEM_CALL), "sendmsg");
    EXPECT_STREQ(ErrGetFld(ERR_COMPONENT), "NI (network interface)");
}

TEST_F(NiPair, APeerThatDiesInTheMiddleOfAMessage) {
    const std::string bytes = frame("hello");
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        ni_test::Pair pair;
        pair.give(bytes.substr(0, cut));
        pair.hangUp();
        EXPECT_EQ(ni_test::read(pair.handle), "NIECONN_BROKEN") << cut;
        EXPECT_EQ(ni_test::read(pair.handle), "NIECONN_BROKEN") << cut;
    }
}

TEST_F(NiPair, PeeksDontTakeAnything) {
    EXPECT_EQ(NiPeek(handle, 0), NIETIMEOUT);
    EXPECT_EQ(NiPeek(handle, 1), NIETIMEOUT);
    EXPECT_EQ(NiWriteOK(handle, 0), NI_OK);
    give(frame("one") + frame("two"));
    for (const char* expected : {"one", "two"}) {
        EXPECT_EQ(NiPeek(handle, 5000), NI_OK);
        EXPECT_EQ(ni_test::read(handle), expected);
    }
    EXPECT_EQ(NiPeek(handle, 0), NIETIMEOUT);
    hangUp();
    EXPECT_EQ(NiPeek(handle, 5000), NI_OK);
    EXPECT_EQ(NiPeek(NI_INVALID_HDL, 0), NIEINVAL);
    EXPECT_EQ(NiWriteOK(NI_INVALID_HDL, 0), NIEINVAL);
}

TEST_F(NiPair, ChecksOfTheConnection) {
    KEL_INT written = 0;
    EXPECT_EQ(NiCheckEx(handle, 0, true, &written), NI_OK);
    EXPECT_EQ(take(12), frame(PING));
    EXPECT_EQ(NiCheckEx(handle, 0, false, &written), NI_OK);
    EXPECT_EQ(take(12), frame(PONG));
    give(frame(PONG));
    EXPECT_EQ(get(text), NIEPING);
    // Within a message of the caller's no ping has a place.
    const std::string big(4'000'000, 'x');
    EXPECT_EQ(NiWrite(handle, reinterpret_cast<const KEL_RAW*>(big.data()), 4'000'000, 0, &written),
              NIETIMEOUT);
    EXPECT_GT(written, 0);
    EXPECT_LT(written, 4'000'000);
    written = 0;
    EXPECT_EQ(NiCheckEx(handle, 0, true, &written), NIEINVAL);
}

TEST_F(NiPair, ACheckThatFindsNoRoomLeavesNothingHalfWritten) {
    const std::string filler(100'000, 'x');
    KEL_INT written = 0;
    while (NiRawWrite(handle, reinterpret_cast<const KEL_RAW*>(filler.data()), 100'000, 0, &written) ==
           NI_OK) {
    }
    written = 0;
    EXPECT_EQ(NiCheckEx(handle, 1, true, &written), NIETIMEOUT);
    EXPECT_EQ(written, 0);
    EXPECT_EQ(NiWriteOK(handle, 1), NIETIMEOUT);
}

TEST_F(NiPair, AsksForTheVersionOfThePeer) {
    give(frame(control(2, 0, "", "rest")));  // nobody asked
    EXPECT_EQ(get(text), NIEPING);
    ASSERT_EQ(NiVersionEx(handle, 0), NI_OK);
    EXPECT_EQ(take(28), frame(control(1, 0, "", std::string(4, '\0'))));
    give(frame(control(2, 0, "", "rest")));
    EXPECT_EQ(get(text), NI_OK);
    EXPECT_EQ(text, "\x28");
}

TEST_F(NiPair, PlainBytesAreNotFramed) {
    KEL_RAW buffer[8];
    KEL_INT length = 0;
    EXPECT_EQ(NiRawRead(handle, buffer, sizeof buffer, 1, &length), NIETIMEOUT);
    give("\x80-plain-bytes");
    EXPECT_EQ(NiRawRead(handle, buffer, sizeof buffer, 5000, &length), NI_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), "\x80-plain-");
    EXPECT_EQ(NiRawRead(handle, buffer, sizeof buffer, 5000, &length), NI_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), "bytes");
    EXPECT_EQ(NiRawWrite(handle, buffer, 5, 5000, &length), NI_OK);
    EXPECT_EQ(take(5), "bytes");
    NI_COUNTERS counters;
    EXPECT_EQ(NiHdlGetCounters(handle, &counters), NI_OK);
    EXPECT_EQ(counters.mInOctets, 13u);
    EXPECT_EQ(counters.mOutOctets, 5u);
    EXPECT_EQ(counters.mInMsgs + counters.mOutMsgs, 0u);
    EXPECT_EQ(NiRawRead(handle, buffer, 0, 0, &length), NIEINVAL);
    EXPECT_EQ(NiRawRead(handle, nullptr, 5, 0, &length), NIEINVAL);
    EXPECT_EQ(NiRawWrite(handle, buffer, -1, 0, &length), NIEINVAL);
    hangUp();
    EXPECT_EQ(NiRawRead(handle, buffer, sizeof buffer, 5000, &length), NIECONN_BROKEN);
    EXPECT_EQ(length, 0);
    EXPECT_STREQ(ErrGetFld(ERR_ERRNO), "");  // an orderly end is no system error
}

TEST_F(NiPair, AHandleThatDoesNotBlockNeverWaits) {
    ASSERT_EQ(NiHdlSetBlockmode(handle, false), NI_OK);
    EXPECT_EQ(get(text, 100, -1), NIETIMEOUT);
    EXPECT_EQ(NiPeek(handle, -1), NIETIMEOUT);
    NI_HDL same = NI_INVALID_HDL;
    int socketNo = -1;
    ASSERT_EQ(NiHdlToSock(handle, &socketNo), NI_OK);
    ASSERT_EQ(NiSockToHdl(socketNo, &same), NI_OK);
    EXPECT_EQ(same, handle);
}

TEST_F(NiPair, StaleHandlesAreRefused) {
    const NI_HDL stale = handle;
    ASSERT_EQ(NiCloseHandle(handle), NI_OK);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    hangUp();
    peer = ends[1];
    ASSERT_EQ(NiSockToHdl(ends[0], &handle), NI_OK);
    const NI_HDL next = stale / 8 * 8 + (stale + 1) % 8;
    EXPECT_EQ(handle, next != 0 ? next : 1);
    KEL_INT length;
    for (const NI_HDL bad : {stale, NI_INVALID_HDL, handle + 8, 65536 * 8, INT32_MAX}) {
        EXPECT_EQ(NiRead(bad, nullptr, 0, 0, &length), NIEINVAL) << bad;
        EXPECT_EQ(NiCloseHandle(bad), NIEINVAL) << bad;
    }
}

TEST(Ni, NoHandleIsZero) {
    for (int round = 0; round < 20; ++round) {
        NI_WAKEUP_HDL wakeup;
        NI_HDL handle;
        ASSERT_EQ(NiWakeupOpen(&wakeup), NI_OK);
        ASSERT_EQ(NiWakeupAttach(wakeup), NI_OK);
        ASSERT_EQ(NiWakeupGetNiHdl(wakeup, &handle), NI_OK);
        EXPECT_GT(handle, 0) << round;
        EXPECT_EQ(NiWakeupClose(wakeup), NI_OK);
    }
}

/** What the system says of the send and the receive buffer; its own part counts too. */
std::pair<int, int> bufferSizes(int socketNo) {
    std::pair<int, int> sizes;
    socklen_t length = sizeof(int);
    EXPECT_EQ(getsockopt(socketNo, SOL_SOCKET, SO_SNDBUF, &sizes.first, &length), 0);
    EXPECT_EQ(getsockopt(socketNo, SOL_SOCKET, SO_RCVBUF, &sizes.second, &length), 0);
    return sizes;
}

TEST(Ni, ConnectsAndReportsAddresses) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string port = std::to_string(ntohs(address.sin_port));

    NI_HDL handle = 0;
    EXPECT_EQ(NiHandle("127.0.0.1", port.c_str(), 5000, &handle), NIECONN_REFUSED);
    EXPECT_EQ(handle, NI_INVALID_HDL);
    EXPECT_EQ(std::string(ErrGetFld(ERR_ERROR)), "partner '127.0.0.1:" + port + "' not reached");
    EXPECT_STREQ(ErrGetFld(ERR_SYSTEM_CALL), "connect");

    ASSERT_EQ(listen(listener, 5), 0);
    constexpr int asked = 20000;
    const int model = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(setsockopt(model, SOL_SOCKET, SO_SNDBUF, &asked, sizeof asked), 0);
    ASSERT_EQ(setsockopt(model, SOL_SOCKET, SO_RCVBUF, &asked, sizeof asked), 0);
    EXPECT_EQ(NiSetSockBufferSize(asked), NI_OK);
    EXPECT_EQ(NiSetSockBufferSize(10000001), NIEINVAL);
    for (const char* host : {"127.0.0.1", "/H/127.0.0.1"}) {
        ASSERT_EQ(NiHandle(host, port.c_str(), 5000, &handle), NI_OK) << host;
        NI_NODEADDR peer;
        KEL_USHORT peerPort;
        EXPECT_EQ(NiHdlGetPeer(handle, &peer, &peerPort), NI_OK);
        EXPECT_EQ(peerPort, ntohs(address.sin_port));
        KEL_CHAR text[NI_ADDR_TEXT_MAX];
        EXPECT_EQ(NiAddrToStr(peer, text, sizeof text), NI_OK);
        EXPECT_STREQ(text, "127.0.0.1");
        EXPECT_EQ(NiSetSO_KeepAlive(handle, true), NI_OK);
        int socketNo = -1;
        EXPECT_EQ(NiHdlToSock(handle, &socketNo), NI_OK);
        EXPECT_EQ(bufferSizes(socketNo), bufferSizes(model));
        EXPECT_EQ(NiCloseHandle(handle), NI_OK);
    }
    EXPECT_EQ(NiSetSockBufferSize(0), NI_OK);
    close(model);
    close(listener);
}

TEST(Ni, ServiceNames) {
    const std::pair<const char*, int> cases[] = {
        {"3300", 3300},    {"65535", 65535},   {"kelgw00", 3300}, {"kelgw07s", 4807},
        {"keldp99", 3299}, {"keldp01s", 4701}, {"65536", 0},      {"kelgw1", 0},
        {"kelgw001", 0},   {"kelgwxx", 0},     {"kelmsABC", 0},   {"no such service", 0},
    };
    for (const auto& [name, expected] : cases) {
        KEL_USHORT port = 1;
        EXPECT_EQ(NiServToNo(name, &port), expected != 0 ? NI_OK : NIESERV_UNKNOWN) << name;
        EXPECT_EQ(port, expected) << name;
    }
    KEL_USHORT port;
    EXPECT_EQ(NiServToNo(std::string(32, 'x').c_str(), &port), NIEINVAL);
}

TEST(Ni, Names) {
    NI_NODEADDR address;
    EXPECT_EQ(NiHostToAddr("host.invalid", &address), NIEHOST_UNKNOWN);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "hostname 'host.invalid' unknown");
    EXPECT_EQ(NiHostToAddr("::1", &address), NIEINVAL);
    EXPECT_EQ(NiHostToAddr(nullptr, &address), NI_OK);
    EXPECT_TRUE(NiIsIPv4(address));
    EXPECT_STREQ(NiErrStr(NIEROUT_PERM_DENIED), "NIEROUT_PERM_DENIED");
    EXPECT_STREQ(NiErrStr(-9), "*** ERROR ***");
    EXPECT_EQ(NiErrSet(NIEROUT_CANCELED), NIEROUT_CANCELED);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "route canceled by administator");
    EXPECT_STREQ(ErrGetFld(ERR_RETURN_CODE), "-97");
}

TEST(Ni, TextsShowNoPasswords) {
    struct Case {
        const char* route;
        const char* shown;
    };
    const Case cases[] = {
        {"host", "host"},
        {"/H/gw/S/3300", "/H/gw/S/3300"},
        {"/H/gw/S/3300/P/secret", "/H/gw/S/3300/P/<pass>"},
        {"/H/r1/W/a/S/b/H/r2/P/c/H/gw", "/H/r1/P/<pass>/H/r2/P/<pass>/H/gw"},
        {"", ""},
    };
    for (const Case& test : cases) {
        KEL_CHAR text[64];
        NiSecStr(test.route, text);
        EXPECT_STREQ(text, test.shown);
    }
    KEL_CHAR small[8];
    NiSecStr("/H/gw/P/secret", small);
    EXPECT_STREQ(small, "/H/gw/P");
}

TEST(Ni, ASocketWithoutAPeerIsClosed) {
    const int socketNo = socket(AF_INET, SOCK_STREAM, 0);
    NI_HDL handle = 0;
    EXPECT_NE(NiSockToHdl(socketNo, &handle), NI_OK);
    EXPECT_EQ(handle, NI_INVALID_HDL);
    EXPECT_EQ(fcntl(socketNo, F_GETFD), -1);
}

}  // namespace
