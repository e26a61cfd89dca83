// Names, services, their caches, settings and the table of handles.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <semaphore>

#include "base/dptrc/dptrc.h"
#include "base/dptrc/err.h"
#include "base/ni/nicache.h"
#include "base/ni/niparam.h"
#include "base/ni/niresolve.h"
#include "tests/base/ni/niserver.h"

namespace {

/** The layer, started anew with an environment, and anew without it at the end. */
class Environment {
  public:
    Environment(std::initializer_list<std::pair<const char*, const char*>> all) : values(all) {
        for (const auto& [name, value] : values)
            setenv(name, value, 1);
        restart();
    }
    ~Environment() {
        for (const auto& [name, value] : values)
            unsetenv(name);
        restart();
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    static void restart() {
        EXPECT_EQ(NiInit(), NI_OK);
        for (int starts = 0; starts < 10; ++starts)
            EXPECT_EQ(NiExit(), NI_OK);
    }

  private:
    std::vector<std::pair<const char*, const char*>> values;
};

KEL_INT param(NI_PARAM no) {
    NI_PARAM_DATA data{.no = no};
    EXPECT_EQ(NiGetParamEx(&data), NI_OK);
    return data.value;
}

/** Stands for the system's resolver and the clock of the caches. */
class NiNames : public testing::Test {
  protected:
    void SetUp() override {
        lookups = 0;
        now = 1000;
        answer = 0;
        addresses = {address("10.0.0.1")};
        NiISetResolver(&FAKE);
        NiISetCacheClock([] { return now; });
        Environment::restart();
    }
    void TearDown() override {
        NiISetResolver(nullptr);
        NiISetCacheClock(nullptr);
        Environment::restart();
    }
    static NI_NODEADDR address(const char* text) {
        NI_NODEADDR node;
        EXPECT_EQ(NiStrToAddr(text, &node), NI_OK);
        return node;
    }
    static std::string resolve(const char* host) {
        NI_NODEADDR node;
        const KELRETURN rc = NiHostToAddr(host, &node);
        return rc == NI_OK ? NiAddrToStrStatic(node) : NiErrStr(rc);
    }

    static inline std::atomic<int> lookups;
    static inline std::int64_t now;
    static inline int answer;
    static inline std::vector<NI_NODEADDR> addresses;
    static constexpr NI_RESOLVER FAKE{[](const KEL_CHAR*, int, std::vector<NI_NODEADDR>& found) {
                                          ++lookups;
                                          if (answer == 0) found = addresses;
                                          return answer;
                                      },
                                      [](const NI_NODEADDR&, std::span<KEL_CHAR> name) {
                                          ++lookups;
                                          if (answer == 0) std::strcpy(name.data(), "named");
                                          return answer;
                                      }};
};

TEST_F(NiNames, AnAddressIsLookedUpOncePerDay) {
    EXPECT_EQ(resolve("host"), "10.0.0.1");
    now += 86399;
    EXPECT_EQ(resolve("host"), "10.0.0.1");
    EXPECT_EQ(lookups, 1);
    addresses = {address("10.0.0.2")};
    now += 1;
    EXPECT_EQ(resolve("host"), "10.0.0.2");
    EXPECT_EQ(lookups, 2);
    NiISetHostInvalid(address("10.0.0.2"));
    EXPECT_EQ(resolve("host"), "10.0.0.2");
    EXPECT_EQ(lookups, 3);
}

TEST_F(NiNames, AnUnknownHostIsAskedForEveryTenMinutes) {
    answer = EAI_NONAME;
    EXPECT_EQ(resolve("nowhere"), "NIEHOST_UNKNOWN");
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "hostname 'nowhere' unknown");
    answer = 0;
    now += 599;
    EXPECT_EQ(resolve("nowhere"), "NIEHOST_UNKNOWN");
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "hostname 'nowhere' unknown");
    EXPECT_EQ(lookups, 1);
    now += 1;
    EXPECT_EQ(resolve("nowhere"), "10.0.0.1");
}

TEST_F(NiNames, AResolverThatCannotAnswerIsAskedAgain) {
    answer = EAI_AGAIN;
    EXPECT_EQ(resolve("host"), "NIEHOST_UNKNOWN");
    answer = 0;
    EXPECT_EQ(resolve("host"), "10.0.0.1");
}

TEST_F(NiNames, TheOldestEntryGoesFirst) {
    for (int i = 0; i <= 100; ++i)
        resolve(("host" + std::to_string(i)).c_str());
    EXPECT_EQ(lookups, 101);
    resolve("host1");
    EXPECT_EQ(lookups, 101);
    resolve("host0");
    EXPECT_EQ(lookups, 102);
}

TEST_F(NiNames, NamesOfAddressesDontAnswerForNames) {
    KEL_CHAR name[20];
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(NiAddrToHost2(address("10.9.9.9"), name, sizeof name), NI_OK);
        EXPECT_STREQ(name, "named");
    }
    EXPECT_EQ(lookups, 1);
    EXPECT_EQ(NiAddrToHost2(address("10.9.9.9"), name, 5), NIETOO_SMALL);
    EXPECT_EQ(resolve("named"), "10.0.0.1");
    answer = EAI_NONAME;
    EXPECT_EQ(NiAddrToHost2(address("10.9.9.8"), name, sizeof name), NIEHOST_UNKNOWN);
    answer = 0;
    EXPECT_EQ(NiAddrToHost2(address("10.9.9.8"), name, sizeof name), NIEHOST_UNKNOWN);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "hostname '10.9.9.8' unknown");
}

TEST_F(NiNames, WithoutCachesEveryLookupAsks) {
    const Environment environment{{"KEL_NI_CACHE_DISABLED", "1"}};
    resolve("host");
    resolve("host");
    answer = EAI_NONAME;
    resolve("nowhere");
    resolve("nowhere");
    EXPECT_EQ(lookups, 4);
}

TEST_F(NiNames, NumbersAreNotLookedUp) {
    EXPECT_EQ(resolve("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(resolve("::1"), "NIEINVAL");
    EXPECT_EQ(lookups, 0);
    EXPECT_EQ(resolve("1and1"), "10.0.0.1");
    EXPECT_EQ(resolve(""), "NIEHOST_UNKNOWN");
    EXPECT_EQ(resolve(std::string(256, 'x').c_str()), "NIEINVAL");
}

std::binary_semaphore hangs(0);
std::binary_semaphore ended(0);

TEST_F(NiNames, AConnectDoesntWaitLongerForTheResolverThanItMay) {
    constexpr NI_RESOLVER hanging{[](const KEL_CHAR*, int, std::vector<NI_NODEADDR>&) {
                                      hangs.acquire();
                                      ended.release();
                                      return EAI_NONAME;
                                  },
                                  nullptr};
    NiISetResolver(&hanging);
    NI_HDL handle;
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(NiHandle("slow", "1", 1, &handle), NIEHOST_UNKNOWN);
        EXPECT_STREQ(ErrGetFld(ERR_DETAIL), i < 8 ? "NiHostToAddr: no answer of the resolver in time"
                                                  : "NiHostToAddr: too many lookups without an answer");
    }
    for (int i = 0; i < 8; ++i) {
        hangs.release();
        ended.acquire();
    }
    NiISetResolver(&FAKE);
    EXPECT_EQ(resolve("slow"), "10.0.0.1");  // nothing was kept
}

TEST_F(NiNames, LinkLocalAddressesAndPolicy) {
    struct Case {
        const char* linkLocal;
        const char* expected;
    };
    addresses = {address("169.254.1.1"), address("10.0.0.1")};
    for (const Case& test : {Case{"0", "10.0.0.1"}, Case{"1", "10.0.0.1"}, Case{"2", "169.254.1.1"},
                             Case{"4", "10.0.0.1"}, Case{"x", "10.0.0.1"}}) {
        const Environment environment{{"KEL_NI_HANDLE_LINK_LOCAL_ADDR", test.linkLocal}};
        EXPECT_EQ(resolve("host"), test.expected) << test.linkLocal;
    }
    addresses = {address("169.254.1.1")};
    EXPECT_EQ(resolve("only"), "169.254.1.1");
    const Environment environment{{"KEL_NI_HANDLE_LINK_LOCAL_ADDR", "1"}};
    EXPECT_EQ(resolve("only"), "NIEHOST_UNKNOWN");
}

TEST(NiSettings, AddressPolicy) {
    NI_SETTINGS settings;
    NiIReadAddrPolicy("10.0.0.0/8,5;;nonsense;10.1.0.0/16,-2;2001:db8::/32,7;::1,9;10.0.0.0/33,1", settings);
    EXPECT_EQ(settings.ruleCount, 4u);
    const std::pair<const char*, int> cases[] = {{"10.2.0.1", 5},    {"10.1.0.1", -2}, {"11.0.0.1", 0},
                                                 {"2001:db8::5", 7}, {"::1", 9},       {"2001:db9::5", 0}};
    for (const auto& [text, preference] : cases) {
        NI_NODEADDR node;
        ASSERT_EQ(NiStrToAddr(text, &node), NI_OK);
        EXPECT_EQ(NiIPreference(settings, node), preference) << text;
    }
    std::string many;
    for (int i = 0; i < 25; ++i)
        many += "10.0.0.0/8,1;";
    NI_SETTINGS full;
    NiIReadAddrPolicy(many.c_str(), full);
    EXPECT_EQ(full.ruleCount, 20u);
}

TEST(NiSettings, FromTheEnvironment) {
    const std::pair<const char*, KEL_INT> sizes[] = {
        {"20000", 20000}, {"10000000", 10000000}, {"10000001", 0}, {"-1", 0}, {"64k", 0}, {"", 0}};
    for (const auto& [text, expected] : sizes) {
        const Environment environment{{"NI_SOCK_BUF_SIZE", text}};
        EXPECT_EQ(param(NIP_SOCK_BUFFER_SIZE), expected) << text;
    }
    EXPECT_EQ(param(NIP_SOCK_BUFFER_SIZE), 0);
    std::string traced;
    DpLock();
    CTrcSetOutputMethod([](void* info, std::string_view text) { *static_cast<std::string*>(info) += text; },
                        &traced);
    ct_level = 1;
    DpUnlock();
    {
        const Environment environment{{"KEL_IPv6_ACTIVE", "yes"}, {"NI_USEIPv6", "1"}};
        EXPECT_FALSE(NiISettings().ipv6);
    }
    DpLock();
    ct_level = 0;
    CTrcSetOutputMethod(nullptr, nullptr);
    DpUnlock();
    EXPECT_THAT(traced, testing::HasSubstr("NiIInit: invalid value 'yes' for KEL_IPv6_ACTIVE [0,1]"));
    for (const auto& [name, value] : {std::pair("KEL_IPv6_ACTIVE", "1"), std::pair("NI_USEIPv6", "")}) {
        const Environment environment{{name, value}};
        if (!NiISettings().ipv6) continue;  // the machine has none
        NI_NODEADDR node;
        EXPECT_EQ(NiHostToAddr("::1", &node), NI_OK);
        KEL_USHORT port = 0;
        NI_HDL server, client, accepted;
        ASSERT_EQ(NiServerHandleForPort(&port, &server), NI_OK);
        NiSetConnLocal(false);
        for (const char* host : {"::1", "127.0.0.1"}) {
            ASSERT_EQ(NiHandle(host, std::to_string(port).c_str(), 5000, &client), NI_OK) << host;
            ASSERT_EQ(NiAcceptEx(server, 5000, &accepted, &node, nullptr), NI_OK);
            EXPECT_STREQ(NiAddrToStrStatic(node), host);
            EXPECT_EQ(ni_test::exchange(client, accepted), "hello");
        }
        EXPECT_EQ(NiHandleForProto("::1", "1", NI_PROTO_IPV4, 1, &client), NIEINVAL);
        EXPECT_EQ(NiHandleForProto("127.0.0.1", "1", NI_PROTO_IPV6, 1, &client), NIEINVAL);
    }
}

TEST(NiSettings, OnlyLocalTargets) {
    const Environment environment{{"KEL_CONNECT_RESTRICTION", "LOCAL"}};
    const ni_test::PlainServer server;
    NI_HDL handle;
    EXPECT_EQ(NiHandle("192.0.2.1", "1", 5000, &handle), NIEINVAL);
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL),
                 "NiIConnect: blocked connection to 192.0.2.1:1 (KEL_CONNECT_RESTRICTION)");
    EXPECT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 5000, &handle), NI_OK);
}

TEST(NiSettings, Parameters) {
    struct Case {
        NI_PARAM no;
        KEL_INT value;
        KELRETURN rc;
    };
    const Case cases[] = {{NIP_CONNLOCAL, 2, NIEINVAL},        {NIP_QUEUE_LEN, 0, NIEINVAL},
                          {NIP_MINPORT, 65536, NIEINVAL},      {NIP_MAXPORT, 0, NIEINVAL},
                          {NIP_LOCAL_ADDR, 0, NI_OK},          {static_cast<NI_PARAM>(99), 1, NIEINVAL},
                          {NIP_SOCK_BUFFER_SIZE, -1, NIEINVAL}};
    for (const Case& test : cases)
        EXPECT_EQ(NiSetParam(test.no, test.value), test.rc) << test.no;
    NI_PARAM_DATA unknown{.no = static_cast<NI_PARAM>(99)};
    EXPECT_EQ(NiGetParamEx(&unknown), NIEINVAL);
    EXPECT_EQ(NiSetParam(NIP_AUTO_RESOLVE_KEL_PORTS, 0), NI_OK);
    KEL_USHORT port;
    EXPECT_EQ(NiServToNo("kelgw42", &port), NIESERV_UNKNOWN);
    Environment::restart();
    EXPECT_EQ(NiServToNo("kelgw42", &port), NI_OK);
    EXPECT_EQ(port, 3342);
}

TEST(NiSettings, OwnAddressAndPortsOfConnections) {
    const ni_test::PlainServer server, taken;
    NI_PARAM_DATA own{.no = NIP_LOCAL_ADDR};
    ASSERT_EQ(NiStrToAddr("127.0.0.2", &own.address), NI_OK);
    ASSERT_EQ(NiSetParamEx(own), NI_OK);
    ASSERT_EQ(NiSetParam(NIP_CONNLOCAL, 0), NI_OK);
    NI_HDL handle;
    NI_NODEADDR address;
    KEL_USHORT port;
    ASSERT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 5000, &handle), NI_OK);
    ASSERT_EQ(NiHdlGetName(handle, &address, &port), NI_OK);
    EXPECT_STREQ(NiAddrToStrStatic(address), "127.0.0.2");
    Environment::restart();
    EXPECT_EQ(NiCloseHandle(handle), NIEINVAL);  // the end of the layer closed it
    // A range of one port that somebody else has.
    for (const NI_PARAM no : {NIP_MINPORT, NIP_MAXPORT})
        ASSERT_EQ(NiSetParam(no, taken.port), NI_OK);
    ASSERT_EQ(NiSetParam(NIP_PORTRANGE, 1), NI_OK);
    ASSERT_EQ(NiSetParam(NIP_CONNLOCAL, 0), NI_OK);
    EXPECT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 5000, &handle), NIENOFREEPORT);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "no free connect port found within range");
    Environment::restart();
}

TEST(NiTable, IsFull) {
    Environment::restart();
    EXPECT_EQ(NiInit2(0), NIEINVAL);
    EXPECT_EQ(NiInit2(65537), NIEINVAL);
    ASSERT_EQ(NiInit2(2), NI_OK);
    ASSERT_EQ(NiInit2(100), NI_OK);  // too late
    {
        const ni_test::PlainServer server;
        const ni_test::Pair first, second;
        NI_HDL handle;
        EXPECT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 5000, &handle), NIEINVAL);
        EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "NiBufIConnect: no free handle");
        KEL_USHORT port = 0;
        EXPECT_EQ(NiServerHandleForPort(&port, &handle), NIEINVAL);
        NiCloseHandle(first.handle);
        ASSERT_EQ(NiHandle("127.0.0.1", server.portText().c_str(), 5000, &handle), NI_OK);
        EXPECT_EQ(handle / 8, first.handle / 8);
        EXPECT_EQ(NiCloseHandle(first.handle), NIEINVAL);
        NiCloseHandle(handle);
    }
    Environment::restart();
}

TEST(NiServices, NamesOfPorts) {
    struct Case {
        KEL_USHORT port;
        const char* name;
    };
    const Case cases[] = {{3200, "keldp00"},  {3299, "keldp99"},  {3300, "kelgw00"}, {3399, "kelgw99"},
                          {4700, "keldp00s"}, {4899, "kelgw99s"}, {1, "tcpmux"}};
    KEL_CHAR name[20];
    for (const Case& test : cases) {
        if (test.port == 1 && !getservbyport(htons(1), "tcp")) continue;  // no service table here
        EXPECT_EQ(NiNoToServ2(test.port, name, sizeof name), NI_OK) << test.port;
        EXPECT_STREQ(name, test.name);
    }
    EXPECT_EQ(NiNoToServ2(3400, name, sizeof name), NIESERV_UNKNOWN);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "service '3400' unknown");
    EXPECT_EQ(NiNoToServ2(3300, name, 7), NIETOO_SMALL);
    EXPECT_EQ(NiServToStr(65535, name, sizeof name), NI_OK);
    EXPECT_STREQ(name, "65535");
    const std::pair<const char*, bool> forms[] = {{"kelgw00", true},  {"keldp99s", true}, {"3200", true},
                                                  {"3399", true},     {"3400", false},    {"4700", true},
                                                  {"4899", true},     {"4900", false},    {"03300", false},
                                                  {"kelms00", false}, {"kelgw0", false},  {"", false}};
    for (const auto& [text, is] : forms)
        EXPECT_EQ(NiIKelServNameCheck(text), is) << text;
}

TEST(NiAddresses, Texts) {
    NI_NODEADDR node;
    KEL_CHAR text[NI_ADDR_TEXT_MAX];
    ASSERT_EQ(NiStrToAddr("10.0.20.3", &node), NI_OK);
    ASSERT_EQ(NiAddrToStr(node, text, sizeof text, true), NI_OK);
    EXPECT_STREQ(text, "010.000.020.003");
    EXPECT_EQ(NiAddrToStr(node, text, 9), NIETOO_SMALL);
    EXPECT_EQ(NiAddrToStr(node, text, 10), NI_OK);
    KEL_RAW raw[4];
    EXPECT_TRUE(NiTransNodeToRaw(node, raw));
    EXPECT_EQ(NiTransRawToNode(raw), node);
    ASSERT_EQ(NiStrToAddr("2001:db8::1", &node), NI_OK);
    ASSERT_EQ(NiAddrToStr(node, text, sizeof text, true), NI_OK);
    EXPECT_STREQ(text, "2001:0db8:0000:0000:0000:0000:0000:0001");
    EXPECT_FALSE(NiTransNodeToRaw(node, raw));
    EXPECT_EQ(NiStrToAddr("host", &node), NIEINVAL);
    EXPECT_EQ(NiStrToAddr(nullptr, &node), NIEINVAL);
}

}  // namespace
