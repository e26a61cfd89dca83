#include "base/ni/niroute.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <functional>
#include <thread>

#include "base/dptrc/dptrc.h"
#include "base/dptrc/err.h"
#include "base/ni/niresolve.h"
#include "tests/base/ni/nipeer.h"
#include "tests/base/ni/niserver.h"

namespace {

using testing::HasSubstr;
using testing::Not;

/** The hops of a route as a text, each "host|service|password". */
std::string hopsOf(const NI_IROUTE& route) {
    std::string text;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < route.hops(); ++i) {
        NI_HOP hop;
        if (route.NiBufIRouteGetNext(&offset, &hop) != NI_OK) return text + " damaged";
        text += (i == 0 ? "" : " ") + std::string(hop.host) + "|" + hop.service + "|" + hop.password;
    }
    return text;
}

std::string bytesOf(const NI_IROUTE& route) {
    NI_IROUTE::Packet packet;
    route.packet(&packet);
    std::string bytes;
    for (const iovec& part : packet.parts)
        bytes.append(static_cast<const char*>(part.iov_base), part.iov_len);
    return bytes;
}

std::span<const KEL_RAW> raw(const std::string& bytes) {
    return {reinterpret_cast<const KEL_RAW*>(bytes.data()), bytes.size()};
}

TEST(NiRoute, Texts) {
    struct Case {
        const char* text;
        const char* hops;
    };
    const Case cases[] = {
        {"host", "host|kelgw00|"},
        {"H/host/P/x", "H/host/P/x|kelgw00|"},
        {"/H/host", "host|kelgw00|"},
        {"/H/host/S/1", "host|1|"},
        {"/H/r/H/host/S/1", "r|3299| host|1|"},
        {"/H/r/S/2/H/host", "r|2| host|kelgw00|"},
        {"/H/r/P/one/S/2/H/host/P/two", "r|2|one host|kelgw00|two"},
        {"/H/r/W/two/H/host", "r|3299| host|kelgw00|two"},
        {"/H/r/W/two/H/host/P/own", "r|3299| host|kelgw00|own"},
        {"/H/r/W/two/S/2/H/s/S/3/H/host/W/none", "r|2| s|3|two host|kelgw00|"},
        {"/H/r/P/a\xe4"
         "b/H/h",
         "r|3299|a#b h|kelgw00|"},
    };
    for (const Case& test : cases) {
        NI_IROUTE route;
        EXPECT_EQ(route.NiBufIHostToRoute(test.text, "kelgw00", MESG_IO), NI_OK) << test.text;
        EXPECT_EQ(hopsOf(route), test.hops) << test.text;
    }
}

TEST(NiRoute, TheBytesOfAPacket) {
    NI_IROUTE route;
    ASSERT_EQ(route.NiBufIHostToRoute("/H/r/S/1/W/pw/H/host", "3300", RAW_IO), NI_OK);
    const std::string hops("r\0001\0\0host\0003300\0pw\0", 18);
    EXPECT_EQ(bytesOf(route), std::string("NI_ROUTE\0\2\x28\2\1\0\0\2\0\0\0\x12\0\0\0\0", 24) + hops);
    NI_HOP hop;
    ASSERT_EQ(route.takeHop(&hop), NI_OK);
    EXPECT_STREQ(hop.host, "r");
    EXPECT_EQ(route.hopsToGo(), 1u);
    EXPECT_EQ(bytesOf(route), std::string("NI_ROUTE\0\2\x28\2\1\0\0\1\0\0\0\x12\0\0\0\5", 24) + hops);
    ASSERT_EQ(route.takeHop(&hop), NI_OK);
    EXPECT_EQ(route.takeHop(&hop), NIEINVAL);
}

TEST(NiRoute, Limits) {
    struct Case {
        const char* name;
        std::string text;
        KELRETURN rc;
    };
    std::string hops255;
    for (int i = 0; i < 255; ++i)
        hops255 += "/H/h";
    // 9999 bytes: the password and 10 for the rest, as each text ends in a zero byte.
    const std::string fits = "/H/r/S/1/P/" + std::string(9989, 'x') + "/H/h/S/s";
    const Case cases[] = {
        {"no host", "/H/", NIEINVAL},
        {"no host in front", "/H//H/host", NIEINVAL},
        {"no host before a mark", "/H//S/1", NIEINVAL},
        {"255 hops", hops255, NI_OK},
        {"256 hops", hops255 + "/H/h", NIEINVAL},
        {"10001 bytes", fits + "xx", NIEINVAL},
    };
    for (const Case& test : cases) {
        NI_IROUTE route;
        EXPECT_EQ(route.NiBufIHostToRoute(test.text, "s", MESG_IO), test.rc) << test.name;
    }
    NI_IROUTE whole;
    ASSERT_EQ(whole.NiBufIHostToRoute(fits, "", MESG_IO), NI_OK);
    EXPECT_EQ(bytesOf(whole).size(), 24u + 9999u);
    NI_IROUTE exact;
    ASSERT_EQ(exact.NiBufIHostToRoute(fits + "x", "", MESG_IO), NI_OK);
    EXPECT_EQ(bytesOf(exact).size(), 24u + 10000u);
}

TEST(NiRoute, ReadsAPacketAndRefusesADamagedOne) {
    NI_IROUTE made;
    ASSERT_EQ(made.NiBufIHostToRoute("/H/r/P/one/H/host", "3300", RAW_IO), NI_OK);
    const std::string bytes = bytesOf(made);
    NI_IROUTE route;
    ASSERT_EQ(route.read(raw(bytes)), NI_OK);
    EXPECT_EQ(hopsOf(route), "r|3299|one host|3300|");
    EXPECT_EQ(route.mode(), RAW_IO);
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_EQ(NI_IROUTE().read(raw(bytes.substr(0, length))), NIEINVAL) << length;
    const std::pair<std::size_t, char> damages[] = {{0, 'X'}, {15, 3}, {16, '\x80'}, {19, 1}, {23, 100}};
    for (const auto& [at, value] : damages) {
        std::string damaged = bytes;
        damaged[at] = value;
        EXPECT_EQ(NI_IROUTE().read(raw(damaged)), NIEINVAL) << at;
    }
    std::string endless = bytes;
    endless.back() = 'x';  // the last password has no end
    ASSERT_EQ(route.read(raw(endless)), NI_OK);
    EXPECT_EQ(hopsOf(route), "r|3299|one damaged");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "NiBufIRouteGetNext: invalid route received");
}

TEST(NiRoute, CutsWhatIsTooLongForItsPlace) {
    NI_IROUTE route;
    ASSERT_EQ(route.NiBufIHostToRoute("/H/" + std::string(300, 'h') + "/S/" + std::string(40, 's') + "/P/" +
                                          std::string(200, 'p'),
                                      "", MESG_IO),
              NI_OK);
    EXPECT_EQ(hopsOf(route),
              std::string(255, 'h') + "|" + std::string(31, 's') + "|" + std::string(111, 'p'));
}

TEST(NiRoute, TablesHaveNoPasswordsAndKeepTheLastHops) {
    NI_ROUTE_TABLE table[2];
    KEL_INT count;
    ASSERT_EQ(NiRouteToTable(&count, "/H/a/S/1/P/x/H/b/S/2/H/c/S/3/P/y", table, 2), NI_OK);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(table[0].hostname, "b");
    EXPECT_STREQ(table[1].hostname, "c");
    EXPECT_STREQ(table[1].service, "3");
    ASSERT_EQ(NiRouteToTable(&count, "host", table, 2), NI_OK);
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(table[0].service, "");
    EXPECT_EQ(NiRouteToTable(&count, nullptr, table, 2), NIEINVAL);
    EXPECT_EQ(NiRouteToTable(&count, "host", table, 0), NIEINVAL);
}

/** A router of one connection: does what it is told with the plain socket, then closes. */
class Router {
  public:
    explicit Router(std::function<void(ni_test::Peer&)> script)
        : worker([this, script] {
              ni_test::Peer peer(server.acceptPlain());
              route = peer.takeFrame();
              script(peer);
          }) {}
    ~Router() { finish(); }
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    void finish() {
        if (worker.joinable()) worker.join();
    }
    std::string text(const std::string& rest = "/H/far/S/4711") const {
        return "/H/127.0.0.1/S/" + std::to_string(server.port) + "/W/far word" + rest;
    }
    std::string route;  ///< The packet that came; after finish().

  private:
    ni_test::PlainServer server;
    std::thread worker;
};

TEST(NiRouted, APongCompletesTheWayAndDataFollows) {
    Router router([](ni_test::Peer& peer) {
        peer.give(ni_test::frame(ni_test::PING));
        EXPECT_EQ(peer.takeFrame(), ni_test::PONG);
        peer.give(ni_test::frame(ni_test::PONG) + ni_test::frame("first"));
        EXPECT_EQ(peer.takeFrame(), "hello");
    });
    NI_HDL handle;
    ASSERT_EQ(NiHandle(router.text().c_str(), "unused", 5000, &handle), NI_OK);
    EXPECT_EQ(ni_test::read(handle), "first");
    EXPECT_EQ(NiWrite(handle, reinterpret_cast<const KEL_RAW*>("hello"), 5, 5000), NI_OK);
    router.finish();
    NI_IROUTE route;
    ASSERT_EQ(route.read(raw(router.route)), NI_OK);
    EXPECT_EQ(route.hopsToGo(), 1u);
    EXPECT_EQ(route.mode(), MESG_IO);
    EXPECT_THAT(hopsOf(route), testing::EndsWith(" far|4711|far word"));
    NiCloseHandle(handle);
}

TEST(NiRouted, PlainBytesBehindThePongBelongToTheReader) {
    Router router([](ni_test::Peer& peer) {
        peer.give(ni_test::frame(ni_test::PONG) + "plain bytes");
        EXPECT_EQ(peer.take(3), "abc");
    });
    NI_HDL handle;
    ASSERT_EQ(NiRawHandle(router.text("/H/far").c_str(), "kelgw07", 5000, &handle), NI_OK);
    KEL_RAW buffer[20];
    KEL_INT length;
    ASSERT_EQ(NiPeek(handle, 0), NI_OK);
    ASSERT_EQ(NiRawRead(handle, buffer, 5, 5000, &length), NI_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), "plain");
    ASSERT_EQ(NiRawRead(handle, buffer, sizeof buffer, 5000, &length), NI_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), " bytes");
    ASSERT_EQ(NiRawWrite(handle, reinterpret_cast<const KEL_RAW*>("abc"), 3, 5000, &length), NI_OK);
    EXPECT_EQ(length, 3);
    router.finish();
    EXPECT_EQ(NiRawRead(handle, buffer, sizeof buffer, 5000, &length), NIECONN_BROKEN);
    NI_IROUTE route;
    ASSERT_EQ(route.read(raw(router.route)), NI_OK);
    EXPECT_EQ(route.mode(), RAW_IO);
    EXPECT_THAT(hopsOf(route), testing::EndsWith(" far|kelgw07|far word"));
    NiCloseHandle(handle);
}

TEST(NiRouted, Failures) {
    const std::string block = std::string(
                                  "*ERR*\0"
                                  "1\0"
                                  "route permission denied\0",
                                  32) +
                              std::string(17, '\0') + std::string("*ERR*\0", 6);
    struct Case {
        const char* name;
        std::string answer;
        bool closes;
        KELRETURN rc;
        const char* error;
    };
    const Case cases[] = {
        {"told why", ni_test::frame(ni_test::control(0, -94, block, "")), true, NIEROUT_PERM_DENIED,
         "route permission denied"},
        {"told the code", ni_test::frame(ni_test::control(0, -92, "", "rest")), true, NIEROUT_CONN_REFUSED,
         "partner '127.0.0.1:"},
        {"dies", "", true, NIECONN_BROKEN, "connection to partner '127.0.0.1:"},
        {"dies within the answer", ni_test::frame(ni_test::PONG).substr(0, 7), true, NIECONN_BROKEN, ""},
        {"data", ni_test::frame("data"), true, NIEINTERN, "internal error"},
        {"silent", "", false, NIETIMEOUT, "timeout occured"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        std::binary_semaphore tested(0);
        Router router([&](ni_test::Peer& peer) {
            peer.give(test.answer);
            if (!test.closes) tested.acquire();
        });
        NI_HDL handle = 0;
        EXPECT_EQ(NiHandle(router.text().c_str(), "1", test.closes ? 5000 : 50, &handle), test.rc);
        EXPECT_EQ(handle, NI_INVALID_HDL);
        EXPECT_THAT(ErrGetFld(ERR_ERROR), HasSubstr(test.error));
        tested.release();
    }
}

TEST(NiRouted, PingsDoNotProlongTheWait) {
    Router router([](ni_test::Peer& peer) {
        do
            peer.give(ni_test::frame(ni_test::PING));
        while (!peer.takeFrame().empty());
    });
    NI_HDL handle;
    EXPECT_EQ(NiHandle(router.text().c_str(), "1", 50, &handle), NIETIMEOUT);
}

TEST(NiRouted, ARouterThatTakesNothingIsGivenUp) {
    ni_test::PlainServer server;
    server.keepSmall();
    std::string route = "/H/127.0.0.1/S/" + server.portText();
    for (int hop = 0; hop < 80; ++hop)
        route += "/H/far/P/" + std::string(110, 'p');
    ASSERT_EQ(NiSetSockBufferSize(1), NI_OK);
    NI_HDL handle;
    EXPECT_EQ(NiHandle(route.c_str(), "1", 50, &handle), NIECONN_REFUSED);
    EXPECT_THAT(ErrGetFld(ERR_DETAIL), HasSubstr("router doesn't read"));
    EXPECT_EQ(NiSetSockBufferSize(0), NI_OK);
}

TEST(NiRouted, NoTextShowsAPassword) {
    std::string traced;
    DpLock();
    CTrcSetOutputMethod([](void* info, std::string_view text) { *static_cast<std::string*>(info) += text; },
                        &traced);
    ct_level = 3;
    DpUnlock();
    constexpr NI_RESOLVER nobody{[](const KEL_CHAR*, int, std::vector<NI_NODEADDR>&) { return EAI_AGAIN; },
                                 nullptr};
    NiISetResolver(&nobody);
    NI_HDL handle;
    const char* const routes[] = {
        "/H/127.0.0.1/S/1/P/geheim1/W/geheim2/H/far",
        "/H/127.0.0.1/S/nowhere/P/geheim1/H/far",
        "/H//P/geheim1",
        "H/host/P/geheim1",
    };
    std::string errors;
    for (const char* route : routes) {
        EXPECT_NE(NiHandle(route, "1", 50, &handle), NI_OK);
        errors += ErrPr();
    }
    NiISetResolver(nullptr);
    DpLock();
    ct_level = 0;
    CTrcSetOutputMethod(nullptr, nullptr);
    DpUnlock();
    EXPECT_THAT(traced, HasSubstr("/H/127.0.0.1/S/1/P/<pass>/H/far"));
    EXPECT_THAT(traced, Not(HasSubstr("geheim")));
    EXPECT_THAT(errors, Not(HasSubstr("geheim")));
}

}  // namespace
