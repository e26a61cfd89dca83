// A gateway that misbehaves: the right failure, nothing left behind, nothing hangs.

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "session.h"

namespace {

class FaultTest : public SessionTest {
  protected:
    FaultTest() { clientMayBreakRules = true; }  // connections end in the middle of things here

    void expectNoConnection(const char* part) {
        error = {};
        EXPECT_EQ(open(logon(), error), nullptr);
        EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE) << error.message;
        EXPECT_EQ(error.group, COMMUNICATION_FAILURE);
        EXPECT_STREQ(error.key, "ZOR_COMMUNICATION_FAILURE");
        EXPECT_NE(std::string(error.message).find(part), std::string::npos) << error.message;
    }

    /** The other side lives in this process too, and ends a little later. */
    void awaitNoConnection() {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (system.counts().open != 0 && std::chrono::steady_clock::now() < limit)
            usleep(1000);
        ASSERT_EQ(system.counts().open, 0U);
    }
};

unsigned openDescriptors() {
    DIR* const directory = opendir("/proc/self/fd");
    unsigned count = 0;
    while (readdir(directory) != nullptr)
        ++count;
    closedir(directory);
    return count;
}

/** A port of this machine on which nobody listens. */
std::string freePort() {
    const int socketNo = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(socketNo, reinterpret_cast<sockaddr*>(&address), length), 0);
    getsockname(socketNo, reinterpret_cast<sockaddr*>(&address), &length);
    close(socketNo);
    return std::to_string(ntohs(address.sin_port));
}

TEST_F(FaultTest, aGatewayThatIsNotThereIsNamed) {
    error = {};
    const std::string port = freePort();
    EXPECT_EQ(open(logon({{"GWSERV", port}}), error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    const std::string message = error.message;
    for (const char* part : {"LOCATION", "ERROR", "RC", "COMPONENT", "NI (network interface)", "127.0.0.1"})
        EXPECT_NE(message.find(part), std::string::npos) << message;
    EXPECT_NE(message.find(port), std::string::npos) << message;
}

TEST_F(FaultTest, namesThatDoNotResolveAreNamed) {
    error = {};
    EXPECT_EQ(open(logon({{"GWHOST", "no-such-host.invalid"}}), error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    EXPECT_NE(std::string(error.message).find("hostname 'no-such-host.invalid' unknown"), std::string::npos)
        << error.message;
    EXPECT_EQ(open(logon({{"GWSERV", "no-such-service"}}), error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    EXPECT_NE(std::string(error.message).find("service 'no-such-service' unknown"), std::string::npos)
        << error.message;
}

TEST_F(FaultTest, refusalsOfTheConnectRecord) {
    zordev::Faults faults;
    faults.refuseConnect = true;
    system.setFaults(faults);
    expectNoConnection("COMPONENT");

    faults = {};
    faults.connectError = 676;  // a gateway's own code, with its error block
    system.setFaults(faults);
    expectNoConnection("676");

    faults = {};
    faults.shortConnectAnswer = true;
    system.setFaults(faults);
    expectNoConnection("invalid length");

    faults = {};
    faults.headerVersion = 5;
    system.setFaults(faults);
    expectNoConnection("client version 6, gateway version 5");

    system.setFaults({});
    connect();
}

TEST_F(FaultTest, answersThatCannotBeReadCloseTheHandle) {
    const struct {
        const char* name;
        void (*set)(zordev::Faults&);
    } cases[] = {
        {"a length above the limit", [](zordev::Faults& f) { f.oversizeLength = true; }},
        {"a length with the top bit set", [](zordev::Faults& f) { f.negativeLength = true; }},
        {"another header version", [](zordev::Faults& f) { f.headerVersion = 7; }},
        {"an error block", [](zordev::Faults& f) { f.dataError = 244; }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        system.setFaults({});
        const ZOR_CONNECTION_HANDLE connection = connect();
        zordev::Faults faults;
        c.set(faults);
        system.setFaults(faults);
        Function function("ECHO_TEN_SCALARS");
        EXPECT_EQ(invoke(connection, function), ZOR_COMMUNICATION_FAILURE) << error.message;
        EXPECT_STRNE(error.message, "");
        EXPECT_FALSE(isValid(connection));
    }
}

TEST_F(FaultTest, aBrokenPingClosesTheHandle) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    zordev::Faults faults;
    faults.dataError = 244;
    system.setFaults(faults);
    EXPECT_EQ(ZorPing(connection, &error), ZOR_COMMUNICATION_FAILURE);
    EXPECT_FALSE(isValid(connection));
}

TEST_F(FaultTest, piecesOfAnySizeMakeAWhole) {
    for (const size_t piece : {1, 2, 3, 7, 79, 80, 81}) {
        SCOPED_TRACE(piece);
        zordev::Faults faults;
        faults.pieceBytes = piece;
        faults.gatewayPings = 1;
        faults.networkPings = 2;
        faults.connectEcho = true;
        system.setFaults(faults);
        const ZOR_CONNECTION_HANDLE connection = connect();
        Function function("ECHO_TEN_SCALARS");
        function.setInt("I_INT", 17);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.integer("E_INT"), 17);
    }
    EXPECT_EQ(system.violationText(), "");
}

/** Logs on, calls, closes; true when all of it succeeded. */
bool wholeRun(const Parameters& parameters, Function& function, ZOR_ERROR_INFO& error) {
    const ZOR_CONNECTION_HANDLE connection = open(parameters, error);
    if (connection == nullptr) return false;
    const ZOR_RC rc = ZorInvoke(connection, function, &error);
    int valid = 0;
    ZOR_ERROR_INFO info;
    ZorIsConnectionHandleValid(connection, &valid, &info);
    EXPECT_EQ(valid != 0, rc == ZOR_OK) << error.message;
    if (valid != 0) ZorCloseConnection(connection, nullptr);
    return rc == ZOR_OK;
}

TEST_F(FaultTest, aLineCutAtAnyByteIsACommunicationFailure) {
    Function function("ECHO_TEN_SCALARS");
    // The first failure opens the log, which stays open; only what comes after it would be a leak.
    zordev::Faults atOnce;
    atOnce.cutAfterBytes = 0;
    system.setFaults(atOnce);
    ASSERT_FALSE(wholeRun(logon(), function, error));
    system.setFaults({});
    ASSERT_TRUE(wholeRun(logon(), function, error)) << error.message;
    awaitNoConnection();
    const unsigned before = openDescriptors();
    size_t cut = 0;
    for (bool done = false; !done; ++cut) {
        zordev::Faults faults;
        faults.cutAfterBytes = cut;
        system.setFaults(faults);
        error = {};
        done = wholeRun(logon(), function, error);
        if (!done) {
            ASSERT_EQ(error.code, ZOR_COMMUNICATION_FAILURE) << "cut after " << cut << ": " << error.message;
            ASSERT_STRNE(error.message, "") << "cut after " << cut;
        }
    }
    // Connect answer, initialisation, allocation, logon and call: all of it was cut somewhere.
    EXPECT_GT(cut, 500u);
    awaitNoConnection();
    EXPECT_LE(openDescriptors(), before);
}

}  // namespace
