// Opening, describing, pinging and closing connections.

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "session.h"

namespace {

class LogonTest : public SessionTest {};

TEST_F(LogonTest, aGoodLogonGivesAConnectionThatKnowsItsPartner) {
    const ZOR_CONNECTION_HANDLE connection = connect({{"LANG", "DE"}});
    EXPECT_TRUE(isValid(connection));
    ZOR_ATTRIBUTES attributes;
    ASSERT_EQ(ZorGetConnectionAttributes(connection, &attributes, &error), ZOR_OK);
    const struct {
        const char* name;
        const char* got;
        const char* expected;
    } cases[] = {
        {"sysId", attributes.sysId, "ZDV"},
        {"sysNumber", attributes.sysNumber, "00"},
        {"partnerHost", attributes.partnerHost, "zordev"},
        {"client", attributes.client, "100"},
        {"user", attributes.user, "DEMO"},
        {"language", attributes.language, "D"},
        {"isoLanguage", attributes.isoLanguage, "DE"},
        {"codepage", attributes.codepage, "1100"},
        {"partnerCodepage", attributes.partnerCodepage, "1100"},
        {"zorRole", attributes.zorRole, "C"},
        {"type", attributes.type, "E"},
        {"partnerType", attributes.partnerType, "3"},
        {"rel", attributes.rel, "753"},
        {"partnerRel", attributes.partnerRel, "753"},
        {"partnerBytesPerChar", attributes.partnerBytesPerChar, "1"},
        {"trace", attributes.trace, "0"},
    };
    for (const auto& c : cases)
        EXPECT_STREQ(c.got, c.expected) << c.name;
    EXPECT_EQ(std::string(attributes.cpicConvId).size(), 8u);
    EXPECT_STRNE(attributes.host, "");
    EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_OK);
    EXPECT_FALSE(isValid(connection));
}

TEST_F(LogonTest, refusalsLeaveNothingBehind) {
    const struct {
        Parameters changes;
        const char* message;
    } cases[] = {
        {{{"PASSWD", "wrong"}}, "Name or password is incorrect (repeat logon)"},
        {{{"PASSWD", ""}}, "Name or password is incorrect (repeat logon)"},
        {{{"USER", "NOBODY"}}, "Name or password is incorrect (repeat logon)"},
        {{{"USER", "LOCKED"}}, "User is locked"},
        {{{"CLIENT", "999"}}, "Client is not available in this system"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        error = {};
        EXPECT_EQ(open(logon(c.changes), error), nullptr);
        EXPECT_EQ(error.code, ZOR_LOGON_FAILURE);
        EXPECT_EQ(error.group, LOGON_FAILURE);
        EXPECT_STREQ(error.key, "ZOR_LOGON_FAILURE");
        EXPECT_STREQ(error.message, c.message);
    }
}

TEST_F(LogonTest, everyFormOfIdentityLogsOn) {
    using Ids = std::vector<std::uint16_t>;
    const struct {
        Parameters changes;
        Ids logonItems;  ///< Between the header and the client.
    } cases[] = {
        {{}, {273, 279}},
        {{{"USER", ""}, {"PASSWD", ""}, {"MYKELSSO2", "TICKET-OF-DEMO"}}, {1648}},
        {{{"MYKELSSO2", "TICKET-OF-DEMO"}}, {1648}},
        {{{"USER", ""}, {"EXTIDDATA", "demo@example"}, {"EXTIDTYPE", "ID"}}, {1651, 1652}},
        {{{"EXTIDDATA", "demo@example"}, {"EXTIDTYPE", "ID"}}, {1651, 1652, 273}},
        {{{"USER", ""}, {"X509CERT", "CN=DEMO, O=Example"}}, {1650}},
        {{{"X509CERT", "CN=DEMO, O=Example"}, {"GETSSO2", "1"}}, {1650, 273, 1649}},
    };
    for (const auto& c : cases) {
        system.clearRequests();
        const ZOR_CONNECTION_HANDLE connection = connect(c.changes);
        ZOR_ATTRIBUTES attributes;
        ASSERT_EQ(ZorGetConnectionAttributes(connection, &attributes, &error), ZOR_OK);
        EXPECT_STREQ(attributes.user, "DEMO");
        const Ids ids = system.requests().at(0).ids();
        const Ids header = {257, 259, 262, 352};
        const auto client = std::find(ids.begin(), ids.end(), 276);
        ASSERT_GT(client - ids.begin(), 3);
        EXPECT_EQ(Ids(ids.begin(), ids.begin() + 4), header);
        EXPECT_EQ(Ids(ids.begin() + 4, client), c.logonItems);
    }
}

TEST_F(LogonTest, anIdentityThatNobodyHasIsRefused) {
    const Parameters cases[] = {
        {{"MYKELSSO2", "TICKET-OF-NOBODY"}},
        {{"EXTIDDATA", "demo@example"}, {"EXTIDTYPE", "NT"}},
        {{"USER", "LOCKED"}, {"X509CERT", "CN=DEMO, O=Example"}},
    };
    for (const Parameters& changes : cases) {
        EXPECT_EQ(open(logon(changes), error), nullptr);
        EXPECT_EQ(error.code, ZOR_LOGON_FAILURE);
        EXPECT_STREQ(error.message, "Nobody is known by this ticket, certificate or identity");
    }
}

TEST_F(LogonTest, whatAClientBroughtAlongIsForItsServerOnly) {
    const ZOR_CONNECTION_HANDLE connection = connect({{"GETSSO2", "1"}});
    KEL_UC text[16];
    KEL_RAW key[16];
    unsigned length = 16;
    EXPECT_EQ(ZorGetPartnerSSOTicket(connection, text, &length, &error), ZOR_ILLEGAL_STATE);
    EXPECT_STREQ(error.message, "");
    EXPECT_EQ(ZorGetPartnerVSLName(connection, text, length, &error), ZOR_ILLEGAL_STATE);
    EXPECT_EQ(ZorGetPartnerVSLKey(connection, key, &length, &error), ZOR_ILLEGAL_STATE);
    EXPECT_EQ(length, 16u);
    length = 0;
    EXPECT_EQ(ZorGetPartnerSSOTicket(connection, text, &length, &error), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter 'unsigned' was passed to the API call");
    EXPECT_EQ(ZorVSLNameToKey(nullptr, "p:CN=A", key, &length, &error), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter 'unsigned' was passed to the API call");
    length = 16;
    EXPECT_EQ(ZorVSLNameToKey(nullptr, "p:CN=A", key, &length, &error), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter with KEL_CMNAMETOACLKEY");
    EXPECT_EQ(ZorVSLKeyToName(nullptr, key, 16, text, 16, &error), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(error.message, "Invalid parameter with KEL_CMACLKEYTONAME");
}

TEST_F(LogonTest, afterAResetTheNextCallIntroducesTheClientAnew) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    ASSERT_EQ(ZorPing(connection, &error), ZOR_OK);  // the first call repeats the header by itself
    ASSERT_EQ(ZorResetServerContext(connection, &error), ZOR_OK) << error.message;
    system.clearRequests();
    ASSERT_EQ(ZorPing(connection, &error), ZOR_OK);
    ASSERT_EQ(ZorPing(connection, &error), ZOR_OK);
    const auto requests = system.requests();
    ASSERT_EQ(requests.size(), 2u);
    const std::vector<std::uint16_t> introduced = {257, 259, 262, 352,  7,  17,  18,   19,
                                                   8,   6,   304, 1282, 11, 258, 1298, 65535};
    EXPECT_EQ(requests[0].ids(), introduced);
    EXPECT_EQ(requests[1].ids(), (std::vector<std::uint16_t>{1282, 11, 258, 1298, 65535}));
}

TEST_F(LogonTest, thePasswordTravelsScrambledOnly) {
    connect({{"PASSWD", "welcome"}});
    for (const zordev::RecordedRequest& request : system.requests()) {
        const std::string bytes(request.bytes.begin(), request.bytes.end());
        EXPECT_EQ(bytes.find("welcome"), std::string::npos);
        EXPECT_NE(request.text(item::scrambledPassword), "");
    }
}

TEST_F(LogonTest, theCheckOfTheLogonIsAnOption) {
    connect();
    connect({{"LCHECK", "0"}});
    const auto requests = system.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].function, "ZORPING");
    EXPECT_EQ(requests[1].function, "ZOR_PING");
}

TEST_F(LogonTest, passwordStatesLeaveTheConnectionOpenUnlessAChangeIsEnforced) {
    const struct {
        const char* user;
        const char* key;
    } cases[] = {{"INITIAL", "PASSWORD_INITIAL"},
                 {"EXPIRED", "PASSWORD_EXPIRED"},
                 {"ENFORCED", "PASSWORD_RULES_ENFORCED"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.user);
        connect({{"USER", c.user}});
        EXPECT_EQ(open(logon({{"USER", c.user}, {"PASSWORD_CHANGE_ENFORCED", "1"}}), error), nullptr);
        EXPECT_EQ(error.code, ZOR_LOGON_FAILURE);
        EXPECT_STREQ(error.key, c.key);
        EXPECT_STREQ(error.message, "Password must be changed.");
    }
}

TEST_F(LogonTest, parametersAreCheckedBeforeAnythingIsSent) {
    const struct {
        Parameters changes;
        ZOR_RC code;
        const char* message;
    } cases[] = {
        {{{"GWHOST", ""}},
         ZOR_INVALID_PARAMETER,
         "Parameter ASHOST, GWHOST, MSHOST or SERVER_PORT is missing."},
        {{{"LANG", "QQ"}}, ZOR_INVALID_PARAMETER, "Invalid logon language QQ."},
        {{{"CODEPAGE", "123"}},
         ZOR_INVALID_PARAMETER,
         "123 can't be a valid codepage as its length is not 4 characters"},
        {{{"VSL_MODE", "1"}}, ZOR_NOT_SUPPORTED, "Parameter VSL_MODE is not supported."},
        {{{"SERIALIZATION_FORMAT", "FAST_SERIALIZATION"}},
         ZOR_NOT_SUPPORTED,
         "Parameter SERIALIZATION_FORMAT is not supported."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        error = {};
        EXPECT_EQ(open(logon(c.changes), error), nullptr);
        EXPECT_EQ(error.code, c.code);
        EXPECT_STREQ(error.message, c.message);
    }
    EXPECT_EQ(system.counts().accepted, 0u);
}

TEST_F(LogonTest, argumentsAreChecked) {
    const ZOR_CONNECTION_PARAMETER parameter{"GWHOST", "127.0.0.1"};
    EXPECT_EQ(ZorOpenConnection(nullptr, 0, &error), nullptr);
    EXPECT_STREQ(error.message, "Invalid parameter 'ZOR_CONNECTION_PARAMETER' was passed to the API call");
    EXPECT_EQ(ZorOpenConnection(&parameter, 0, &error), nullptr);
    EXPECT_STREQ(error.message, "Invalid parameter 'unsigned paramCount' was passed to the API call");
    EXPECT_EQ(error.code, ZOR_INVALID_PARAMETER);
}

TEST_F(LogonTest, handlesThatAreNullClosedOrForeignAreNeverFollowed) {
    const ZOR_CONNECTION_HANDLE closed = connect();
    ASSERT_EQ(ZorCloseConnection(closed, &error), ZOR_OK);
    Function function("ZOR_PING");
    // An address that no read survives: whoever follows it dies.
    const auto foreign = reinterpret_cast<ZOR_CONNECTION_HANDLE>(uintptr_t{16});
    ZOR_ATTRIBUTES attributes;
    for (const ZOR_CONNECTION_HANDLE handle : {ZOR_CONNECTION_HANDLE{}, closed, foreign}) {
        EXPECT_EQ(ZorInvoke(handle, function, &error), ZOR_INVALID_HANDLE);
        EXPECT_STREQ(error.message, "An invalid handle was passed to the API call");
        EXPECT_STREQ(error.key, "ZOR_INVALID_HANDLE");
        EXPECT_EQ(error.group, EXTERNAL_RUNTIME_FAILURE);
        EXPECT_EQ(ZorPing(handle, &error), ZOR_INVALID_HANDLE);
        EXPECT_EQ(ZorCancel(handle, &error), ZOR_INVALID_HANDLE);
        EXPECT_EQ(ZorCloseConnection(handle, &error), ZOR_INVALID_HANDLE);
        EXPECT_EQ(ZorGetConnectionAttributes(handle, &attributes, &error), ZOR_INVALID_HANDLE);
        int valid = 1;
        EXPECT_EQ(ZorIsConnectionHandleValid(handle, &valid, &error), ZOR_INVALID_HANDLE);
        EXPECT_EQ(valid, 0);
        EXPECT_EQ(error.group, EXTERNAL_APPLICATION_FAILURE);
        EXPECT_STREQ(error.message, handle == nullptr ? "Handle is NULL" : "Handle is already closed");
    }
}

TEST_F(LogonTest, pingAsksThePartner) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    system.clearRequests();
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(ZorPing(connection, &error), ZOR_OK);
    const auto requests = system.requests();
    ASSERT_EQ(requests.size(), 3u);
    for (const auto& request : requests)
        EXPECT_EQ(request.function, "ZOR_PING");
    // The session header comes once more behind the logon, then no more.
    EXPECT_FALSE(requests[0].text(item::header).empty());
    EXPECT_TRUE(requests[1].text(item::header).empty());
}

TEST_F(LogonTest, cancelWithoutACallIsRefused) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    EXPECT_EQ(ZorCancel(connection, &error), ZOR_ILLEGAL_STATE);
    EXPECT_STREQ(error.message, "ZOR connection is currently not in call.");
    EXPECT_EQ(ZorPing(connection, &error), ZOR_OK);
}

TEST_F(LogonTest, anApplicationServerStandsForItsGateway) {
    // The host alone leads to the gateway; its port comes from the number of the system or is given.
    connect({{"GWHOST", ""}, {"ASHOST", "localhost"}, {"SYSNR", "00"}});
}

TEST_F(LogonTest, aDestinationOfTheIniFileHoldsTheParameters) {
    char directory[] = "kelzor-ini-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    const std::string file = std::string(directory) + "/kelzor.ini";
    std::ofstream(file) << "DEST=BACKEND\nGWHOST=127.0.0.1\nGWSERV=" << system.gatewayService()
                        << "\nCLIENT=000\nUSER=DEMO\nPASSWD=welcome\nLANG=EN\n";
    ASSERT_EQ(ZorSetIniPath(directory, &error), ZOR_OK) << error.message;
    std::filesystem::remove_all(directory);

    const struct {
        Parameters parameters;
        const char* client;
        const char* language;
    } cases[] = {
        {{{"DEST", "BACKEND"}}, "000", "E"},
        {{{"LANG", "DE"}, {"dest", "BACKEND"}, {"CLIENT", "100"}}, "100", "D"},
    };
    for (const auto& c : cases) {
        const ZOR_CONNECTION_HANDLE connection = open(c.parameters, error);
        ASSERT_NE(connection, nullptr) << error.message;
        ZOR_ATTRIBUTES attributes;
        ASSERT_EQ(ZorGetConnectionAttributes(connection, &attributes, &error), ZOR_OK);
        EXPECT_STREQ(attributes.client, c.client);
        EXPECT_STREQ(attributes.language, c.language);
        EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_OK);
    }
    EXPECT_EQ(open({{"DEST", "NOWHERE"}}, error), nullptr);
    EXPECT_STREQ(error.message, "Parameter ASHOST, GWHOST, MSHOST or SERVER_PORT is missing.");
}

}  // namespace
