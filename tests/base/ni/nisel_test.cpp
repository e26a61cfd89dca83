// Listening, accepting, select sets and wake-up pipes.

#include "base/ni/nisel.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/dptrc/err.h"
#include "tests/base/ni/nipeer.h"

namespace {

/** A listening handle on a free port, and the text of the port. */
struct Server {
    Server() { EXPECT_EQ(NiServerHandleForPort(&port, &handle), NI_OK); }
    ~Server() { NiCloseHandle(handle); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    NI_HDL connect(const char* host = "127.0.0.1") const {
        NI_HDL client = NI_INVALID_HDL;
        EXPECT_EQ(NiHandle(host, std::to_string(port).c_str(), 5000, &client), NI_OK);
        return client;
    }
    NI_HDL accept() const {
        NI_HDL accepted = NI_INVALID_HDL;
        EXPECT_EQ(NiAcceptEx(handle, 5000, &accepted, nullptr, nullptr), NI_OK);
        return accepted;
    }

    KEL_USHORT port = 0;
    NI_HDL handle = NI_INVALID_HDL;
};

/** A setting for the time of a test. */
class Param {
  public:
    Param(NI_PARAM no, KEL_INT value) : before{.no = no} {
        EXPECT_EQ(NiGetParamEx(&before), NI_OK);
        EXPECT_EQ(NiSetParam(no, value), NI_OK);
    }
    ~Param() { NiSetParamEx(before); }
    Param(const Param&) = delete;
    Param& operator=(const Param&) = delete;

  private:
    NI_PARAM_DATA before;
};

KELRETURN refuseAll(NI_HDL) {
    return NIEACLDENY;
}

TEST(NiListen, AcceptsOverIPAndOverTheLocalSocket) {
    for (const bool local : {false, true}) {
        SCOPED_TRACE(local);
        const Param param(NIP_CONNLOCAL, local ? 1 : 0);
        const Server server;
        const std::string path = "/tmp/.kelstream" + std::to_string(server.port);
        struct stat status;
        EXPECT_EQ(stat(path.c_str(), &status) == 0, local);
        const NI_HDL client = server.connect();
        NI_HDL accepted;
        NI_NODEADDR address;
        KEL_USHORT port = 1;
        ASSERT_EQ(NiAcceptEx(server.handle, 5000, &accepted, &address, &port), NI_OK);
        EXPECT_STREQ(NiAddrToStrStatic(address), "127.0.0.1");
        EXPECT_EQ(port == 0, local);
        NI_STAT status2;
        EXPECT_EQ(NiHdlGetStatus(accepted, &status2), NI_OK);
        EXPECT_EQ(status2, NI_ACCEPTED);
        EXPECT_EQ(ni_test::exchange(client, accepted), "hello");
        NiCloseHandle(client);
        NiCloseHandle(accepted);
    }
}

TEST(NiListen, RemovesTheFileOfTheLocalSocketAndTakesOverOneThatWasLeft) {
    std::string path;
    KEL_USHORT port;
    {
        const Server server;
        port = server.port;
        path = "/tmp/.kelstream" + std::to_string(port);
        ASSERT_EQ(link(path.c_str(), (path + "x").c_str()), 0);
    }
    ASSERT_NE(access(path.c_str(), F_OK), 0);
    ASSERT_EQ(rename((path + "x").c_str(), path.c_str()), 0);
    NI_HDL handle;
    ASSERT_EQ(NiServerHandleForPort(&port, &handle), NI_OK);
    NI_HDL client = NI_INVALID_HDL;
    EXPECT_EQ(NiHandleForProto("127.0.0.1", std::to_string(port).c_str(), NI_PROTO_LOCAL, 5000, &client),
              NI_OK);
    NiCloseHandle(client);
    NiCloseHandle(handle);
    EXPECT_NE(access(path.c_str(), F_OK), 0);
    EXPECT_EQ(NiHandleForProto("127.0.0.1", std::to_string(port).c_str(), NI_PROTO_LOCAL, 5000, &client),
              NIECONN_REFUSED);
}

TEST(NiListen, Refusals) {
    const Server server;
    KEL_USHORT port = server.port;
    NI_HDL handle = 0;
    EXPECT_EQ(NiServerHandleForPort(&port, &handle), NIESERV_USED);
    EXPECT_EQ(handle, NI_INVALID_HDL);
    EXPECT_EQ(ErrGetFld(ERR_ERROR), "service '" + std::to_string(port) + "' in use");
    EXPECT_EQ(NiServerHandle("kelmsABC", &handle), NIESERV_UNKNOWN);
    EXPECT_EQ(NiAcceptEx(server.handle, 0, &handle, nullptr, nullptr), NIETIMEOUT);
    EXPECT_EQ(NiAcceptEx(server.handle, 1, &handle, nullptr, nullptr), NIETIMEOUT);
    const NI_HDL client = server.connect();
    EXPECT_EQ(NiAcceptEx(client, 0, &handle, nullptr, nullptr), NIEINVAL);
    KEL_INT written = 0;
    EXPECT_EQ(NiCheckEx(server.handle, 0, true, &written), NIEINVAL);
    EXPECT_EQ(NiWrite(server.handle, nullptr, 0, 0), NIEINVAL);
    EXPECT_EQ(NiHdlSetInitFunc(client, refuseAll), NIEINVAL);
    EXPECT_EQ(NiHdlSetInitFunc(server.handle, refuseAll), NI_OK);
    EXPECT_EQ(NiAcceptEx(server.handle, 5000, &handle, nullptr, nullptr), NIEACLDENY);
    EXPECT_EQ(handle, NI_INVALID_HDL);
    ni_test::expectEnd(client);
    NiCloseHandle(client);
}

// The check of undefined behaviour opens a pipe to look at objects it meets the first time.
#ifndef __SANITIZE_ADDRESS__
TEST(NiListen, WithoutAFreeDescriptorThePartnerGoesOnWaiting) {
    const Server server;
    const NI_HDL client = server.connect();
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int lowest = dup(0);
    close(lowest);
    const rlimit none{.rlim_cur = static_cast<rlim_t>(lowest), .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    NI_HDL handle = 0, other = 0;
    NISEL_HDL set = nullptr;
    NI_WAKEUP_HDL wakeup = 0;
    const KELRETURN accepted = NiAcceptEx(server.handle, 5000, &handle, nullptr, nullptr);
    const std::string call = ErrGetFld(ERR_SYSTEM_CALL);
    const KELRETURN connected = NiHandle("127.0.0.1", std::to_string(server.port).c_str(), 5000, &other);
    const KELRETURN selected = NiSelNewSet(&set);
    const KELRETURN opened = NiWakeupOpen(&wakeup);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(accepted, NIEINVAL);
    EXPECT_EQ(call, "accept");
    EXPECT_EQ(connected, NIEINVAL);
    EXPECT_EQ(selected, NIEINVAL);
    EXPECT_EQ(opened, NIEINVAL);
    EXPECT_EQ(set, nullptr);
    NiCloseHandle(server.accept());
    NiCloseHandle(client);
}
#endif

class NiSelect : public testing::TestWithParam<SISEL_TYPE> {
  protected:
    void SetUp() override { ASSERT_EQ(NiSelNewSetOfType(&set, 100, GetParam()), NI_OK); }
    void TearDown() override { NiSelDeleteSet(&set); }

    /** The ready handles as a text: their names by `data`, and what they are ready for. */
    std::string ready(KEL_INT timeout = 5000) {
        const KELRETURN rc = NiSelSelect(set, timeout);
        if (rc != NI_OK) return NiErrStr(rc);
        std::multiset<std::string> told;
        bool read, write, connect;
        void* data;
        while (NiSelNext(set, &read, &write, &connect, &data) != NI_INVALID_HDL)
            told.insert(static_cast<const char*>(data) + std::string(read ? "r" : "") + (write ? "w" : "") +
                        (connect ? "c" : ""));
        std::string text;
        for (const std::string& one : told)
            text += (text.empty() ? "" : " ") + one;
        return text;
    }
    KELRETURN add(NI_HDL handle, KEL_RAW flags, const char* name) {
        return NiSelSet(set, handle, flags, const_cast<char*>(name));
    }

    NISEL_HDL set = nullptr;
};

TEST_P(NiSelect, TellsWhoIsReadyForWhat) {
    ni_test::Pair first, second;
    ASSERT_EQ(add(first.handle, NI_READ, "A"), NI_OK);
    ASSERT_EQ(add(second.handle, NI_READ | NI_WRITE, "B"), NI_OK);
    EXPECT_EQ(ready(), "Bw");
    first.give("x");
    second.give("x");
    EXPECT_EQ(ready(), "Ar Brw");
    EXPECT_EQ(ready(), "Ar Brw");  // until it is read
    ASSERT_EQ(NiSelClear(set, second.handle, NI_READ), NI_OK);
    EXPECT_EQ(ready(), "Ar Bw");
    ASSERT_EQ(NiSelClear(set, second.handle, NI_WRITE), NI_OK);
    EXPECT_EQ(ready(), "Ar");
    EXPECT_TRUE(NiSelIsMember(set, second.handle));
    second.hangUp();  // nothing is watched for, so nothing is told
    ASSERT_EQ(NiSelClear(set, first.handle, NI_SEL_ALL), NI_OK);
    EXPECT_FALSE(NiSelIsMember(set, first.handle));
    EXPECT_EQ(ready(0), "NIETIMEOUT");
    EXPECT_EQ(ready(1), "NIETIMEOUT");
    ASSERT_EQ(add(second.handle, NI_READ, "C"), NI_OK);
    EXPECT_EQ(ready(), "Cr");
}

TEST_P(NiSelect, PartnersOfListeningHandles) {
    const Server server;
    ASSERT_EQ(add(server.handle, NI_CONNECT, "S"), NI_OK);
    EXPECT_EQ(ready(0), "NIETIMEOUT");
    for (const bool local : {false, true}) {
        const Param param(NIP_CONNLOCAL, local ? 1 : 0);
        const NI_HDL client = server.connect();
        EXPECT_EQ(ready(), "Sc");
        NiCloseHandle(server.accept());
        EXPECT_EQ(ready(0), "NIETIMEOUT");
        NiCloseHandle(client);
    }
    ASSERT_EQ(NiSelClear(set, server.handle, NI_CONNECT), NI_OK);
    NiCloseHandle(server.connect());
    EXPECT_EQ(ready(0), "NIETIMEOUT");
}

TEST_P(NiSelect, AHandleIsReadyByBytesThatAReadTookTooEarly) {
    ni_test::Pair pair;
    ASSERT_EQ(add(pair.handle, NI_READ, "A"), NI_OK);
    pair.give(ni_test::frame("one") + ni_test::frame("two"));
    for (const char* expected : {"one", "two"}) {
        EXPECT_EQ(ready(), "Ar");
        EXPECT_EQ(ni_test::read(pair.handle), expected);
    }
    EXPECT_EQ(ready(0), "NIETIMEOUT");
}

TEST_P(NiSelect, WhatIsClearedBetweenIsNotTold) {
    ni_test::Pair first, second;
    for (ni_test::Pair* pair : {&first, &second})
        ASSERT_EQ(add(pair->handle, NI_WRITE, "X"), NI_OK);
    ASSERT_EQ(NiSelSelect(set, 5000), NI_OK);
    const NI_HDL told = NiSelNext(set, nullptr, nullptr, nullptr, nullptr);
    const NI_HDL other = told == first.handle ? second.handle : first.handle;
    ASSERT_EQ(NiSelClear(set, other, NI_SEL_ALL), NI_OK);
    EXPECT_EQ(NiSelNext(set, nullptr, nullptr, nullptr, nullptr), NI_INVALID_HDL);
}

TEST_P(NiSelect, AClosedHandleIsToldUntilItIsTakenOut) {
    ni_test::Pair pair;
    ASSERT_EQ(add(pair.handle, NI_READ, "A"), NI_OK);
    const NI_HDL closed = pair.handle;
    NiCloseHandle(pair.handle);
    EXPECT_EQ(ready(), "Ar");
    EXPECT_EQ(ready(), "Ar");
    // A new handle with the same socket number doesn't lose its place to the one that goes.
    ni_test::Pair next;
    ASSERT_EQ(add(next.handle, NI_READ, "B"), NI_OK);
    ASSERT_EQ(NiSelClear(set, closed, NI_SEL_ALL), NI_OK);
    next.give("x");
    EXPECT_EQ(ready(), "Br");
    EXPECT_EQ(NiSelClear(set, closed, NI_SEL_ALL), NIEINVAL);
}

TEST_P(NiSelect, Refusals) {
    ni_test::Pair pair, other;
    EXPECT_EQ(NiSelSet(set, NI_INVALID_HDL, NI_READ, nullptr), NIEINVAL);
    EXPECT_EQ(NiSelSet(set, pair.handle, NI_CONNECT, nullptr), NIEINVAL);
    EXPECT_EQ(NiSelSet(set, pair.handle, 8, nullptr), NIEINVAL);
    EXPECT_EQ(NiSelClear(set, pair.handle, NI_READ), NIEINVAL);
    EXPECT_EQ(NiSelSelect(nullptr, 0), NIEINVAL);
    NISEL_HDL small;
    EXPECT_EQ(NiSelNewSet2(&small, 0), NIEINVAL);
    EXPECT_EQ(NiSelNewSet2(&small, 65537), NIEINVAL);
    ASSERT_EQ(NiSelNewSetOfType(&small, 1, GetParam()), NI_OK);
    EXPECT_EQ(NiSelSet(small, pair.handle, NI_READ, nullptr), NI_OK);
    EXPECT_EQ(NiSelSet(small, pair.handle, NI_WRITE, nullptr), NI_OK);
    EXPECT_EQ(NiSelSet(small, other.handle, NI_READ, nullptr), NIEINVAL);
    EXPECT_EQ(NiSelClear(small, pair.handle, NI_SEL_ALL), NI_OK);
    EXPECT_EQ(NiSelSet(small, other.handle, NI_READ, nullptr), NI_OK);
    EXPECT_EQ(NiSelDeleteSet(&small), NI_OK);
    EXPECT_EQ(small, nullptr);
}

TEST_P(NiSelect, ManyHandles) {
    constexpr std::size_t count = 90;
    std::vector<std::unique_ptr<ni_test::Pair>> pairs;
    for (std::size_t i = 0; i < count; ++i) {
        pairs.push_back(std::make_unique<ni_test::Pair>());
        ASSERT_EQ(add(pairs.back()->handle, NI_READ, "x"), NI_OK);
    }
    for (std::size_t i = 0; i < count; i += 3)
        pairs[i]->give("x");
    std::set<NI_HDL> told;
    ASSERT_EQ(NiSelSelect(set, 5000), NI_OK);
    for (NI_HDL handle; (handle = NiSelNext(set, nullptr, nullptr, nullptr, nullptr)) != NI_INVALID_HDL;)
        told.insert(handle);
    EXPECT_EQ(told.size(), count / 3);
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_EQ(told.count(pairs[i]->handle), i % 3 == 0 ? 1u : 0u) << i;
}

TEST_P(NiSelect, AnotherThreadWakesItWithARecord) {
    NI_WAKEUP_HDL wakeup;
    NI_HDL handle;
    ASSERT_EQ(NiWakeupOpen(&wakeup), NI_OK);
    EXPECT_EQ(NiWakeupGetNiHdl(wakeup, &handle), NIEINVAL);
    ASSERT_EQ(NiWakeupAttach(wakeup), NI_OK);
    ASSERT_EQ(NiWakeupGetNiHdl(wakeup, &handle), NI_OK);
    ASSERT_EQ(add(handle, NI_READ, "W"), NI_OK);
    EXPECT_EQ(ready(0), "NIETIMEOUT");
    std::thread other([wakeup] {
        for (const char* record : {"first record", "second"})
            EXPECT_EQ(NiWakeupExec2(wakeup, reinterpret_cast<const KEL_RAW*>(record),
                                    static_cast<KEL_INT>(std::string(record).size()), 5000),
                      NI_OK);
    });
    for (const std::string expected : {"first record", "second"}) {
        EXPECT_EQ(ready(-1), "Wr");
        KEL_RAW record[20];
        KEL_INT length = 0;
        EXPECT_EQ(NiWakeupCollect2(wakeup, record, sizeof record, &length), NI_OK);
        EXPECT_EQ(std::string(record, record + length), expected);
    }
    other.join();
    KEL_RAW byte = 1;
    KEL_INT length = 0;
    EXPECT_EQ(NiWakeupCollect2(wakeup, &byte, 1, &length), NIETIMEOUT);
    EXPECT_EQ(ready(0), "NIETIMEOUT");
    EXPECT_EQ(NiSelClear(set, handle, NI_SEL_ALL), NI_OK);
    EXPECT_EQ(NiWakeupClose(wakeup), NI_OK);
    EXPECT_EQ(NiWakeupExec2(wakeup, &byte, 1, 0), NIEINVAL);
    EXPECT_EQ(NiCloseHandle(handle), NIEINVAL);
}

INSTANTIATE_TEST_SUITE_P(Types, NiSelect,
                         testing::Values(SISEL_TYPE::epoll, SISEL_TYPE::poll, SISEL_TYPE::select));

TEST(NiWakeup, AFullPipeRefusesWithinTheTime) {
    NI_WAKEUP_HDL wakeup;
    ASSERT_EQ(NiWakeupOpen(&wakeup), NI_OK);
    const KEL_RAW record[NI_WAKEUP_MAX] = {};
    KELRETURN rc = NI_OK;
    for (int i = 0; i < 100000 && rc == NI_OK; ++i)
        rc = NiWakeupExec2(wakeup, record, sizeof record, 0);
    EXPECT_EQ(rc, NIETIMEOUT);
    EXPECT_EQ(NiWakeupExec2(wakeup, record, sizeof record, 1), NIETIMEOUT);
    EXPECT_EQ(NiWakeupExec2(wakeup, record, 0, 0), NIEINVAL);
    EXPECT_EQ(NiWakeupExec2(wakeup, record, NI_WAKEUP_MAX + 1, 0), NIEINVAL);
    EXPECT_EQ(NiWakeupClose(wakeup), NI_OK);
    EXPECT_EQ(NiWakeupClose(wakeup), NIEINVAL);
}

}  // namespace
