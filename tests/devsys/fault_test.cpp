/** Faults on demand: what the client gets is exactly the fault, and the system stays clean. */
#include <gtest/gtest.h>

#include <signal.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "devclient.h"
#include "devsys/zordev.h"
#include "testpaths.h"

namespace {

using namespace devclient;
using zordev::DevSystem;
using zordev::Faults;

const std::string PASSWORD = hex("01 00 00 00 83 E7 E0 3A 95 D7 6A");
const std::string PING = callStream("ZOR_PING", "");
constexpr unsigned LOGGED_ON = 4;  // answers of a conversation up to the logon's

// A client that is logged on before the faults begin.
void logOn(Client& client) {
    client.open();
    client.exchange(logonStream("ZORPING", "100", PASSWORD));
}

TEST(Faults, OfTheConnect) {
    DevSystem system;
    Faults faults;
    faults.refuseConnect = true;
    system.setFaults(faults);
    Client refused(system.gatewayPort());
    EXPECT_EQ(refused.receive(), "closed");

    faults = {};
    faults.connectError = 230;
    system.setFaults(faults);
    Client failing(system.gatewayPort());
    failing.send(connectRecord());
    const std::string answer = failing.receive();
    EXPECT_EQ(number(answer.substr(58, 4)), 230U);
    EXPECT_EQ(answer.substr(64, 6), std::string("*ERR*\0", 6));
    EXPECT_EQ(failing.receive(), "closed");

    faults = {};
    faults.shortConnectAnswer = true;
    system.setFaults(faults);
    Client cheated(system.gatewayPort());
    cheated.send(connectRecord());
    EXPECT_EQ(cheated.receive().size(), 63U);

    faults = {};
    faults.connectEcho = true;
    system.setFaults(faults);
    Client echoing(system.gatewayPort());
    echoing.send(connectRecord());
    const std::string asked = echoing.receive();
    EXPECT_EQ(asked[62], 1);
    echoing.send(asked);
    echoing.send(initializeRequest());
    EXPECT_EQ(echoing.receive().size(), 80U);
    EXPECT_EQ(system.violationText(), "");
}

TEST(Faults, OfAnswers) {
    Faults version, refusal, oversize, negative, pieces;
    version.headerVersion = 5;
    refusal.dataError = 242;
    oversize.oversizeLength = true;
    negative.negativeLength = true;
    pieces.pieceBytes = 1;
    for (Faults* faults : {&version, &refusal, &oversize, &negative})
        faults->afterAnswers = LOGGED_ON;
    const auto answerUnder = [](const Faults& faults) {
        zordev::DevOptions options;
        options.faults = faults;
        DevSystem system(options);
        Client client(system.gatewayPort());
        logOn(client);
        const std::string answer = client.exchange(PING);
        EXPECT_EQ(system.violationText(), "");
        return answer;
    };
    const std::string good = answerUnder({});
    EXPECT_EQ(good.substr(80), item(0xFFFF));
    EXPECT_EQ(answerUnder(version), "\x05" + good.substr(1));
    const std::string refused = answerUnder(refusal);
    EXPECT_EQ(number(refused.substr(36, 4)), 242U);
    EXPECT_EQ(refused[30], 16);
    EXPECT_EQ(number(refused.substr(8, 2)), refused.size() - 80);
    EXPECT_EQ(answerUnder(oversize), "closed");
    EXPECT_EQ(answerUnder(negative), "closed");
    EXPECT_EQ(answerUnder(pieces), good);
}

TEST(Faults, CutAtEveryByteOfAnAnswer) {
    DevSystem system;
    // Connect 68, initialise and allocate 84 each; then the logon's answer is cut.
    constexpr std::size_t opened = 68 + 84 + 84;
    for (std::size_t more = 0; more < 90; ++more) {
        Faults faults;
        faults.cutAfterBytes = opened + more;
        system.setFaults(faults);
        Client client(system.gatewayPort());
        ASSERT_NE(client.open(), "failed") << more;
        EXPECT_EQ(client.exchange(logonStream("ZORPING", "100", PASSWORD)), "closed") << more;
    }
    EXPECT_EQ(system.violationText(), "");
}

TEST(Faults, PingsComeBeforeTheAnswer) {
    DevSystem system;
    Client client(system.gatewayPort());
    logOn(client);
    Faults faults;
    faults.networkPings = 1;
    faults.gatewayPings = 1;
    system.setFaults(faults);
    EXPECT_EQ(client.exchange(PING), std::string("NI_PING\0", 8));
    const std::string gatewayPing = client.receive();
    EXPECT_EQ(gatewayPing.size(), 80U);
    EXPECT_EQ(number(gatewayPing.substr(1, 1)), 206U);
    EXPECT_EQ(client.receive().substr(80), item(0xFFFF));
    client.send(std::string("NI_PONG\0", 8));
    client.send(std::string("NI_PING\0", 8));
    EXPECT_EQ(client.receive(), std::string("NI_PONG\0", 8));
    EXPECT_EQ(system.violationText(), "");
}

// A silent system, a sleeping function and an idle client: destruction ends them all at once.
TEST(Faults, ShutDownWaitsForNobody) {
    {
        DevSystem system;
        Client idle(system.gatewayPort());
        idle.open();
        Client sleeping(system.gatewayPort());
        logOn(sleeping);
        sleeping.send(sleeping.sendReceiveRequest(
            callStream("SLEEP", item(0x0201, "MILLISECONDS") + item(0x0203, hex("80 EE 36 00")))));
        Client silent(system.gatewayPort());
        logOn(silent);
        Faults faults;
        faults.silent = true;
        system.setFaults(faults);
        silent.send(silent.sendReceiveRequest(PING));
        EXPECT_EQ(system.counts().accepted, 3U);
        EXPECT_EQ(system.counts().conversations, 3U);
    }
}

TEST(Faults, ASenderIsAskedToSynchronise) {
    DevSystem system;
    Faults faults;
    faults.askForSync = true;
    system.setFaults(faults);
    Client client(system.gatewayPort());
    logOn(client);
    const std::string call = callStream("ZOR_PING", "");
    client.send(client.sendRequest(7, call.substr(0, 10)));
    EXPECT_EQ(client.receive().substr(30, 1), hex("08"));
    client.send(client.bareRequest(205, 1));
    EXPECT_EQ(client.receive().substr(1, 1), hex("CD"));
    client.send(client.bareRequest(27, 0));  // a flush has no answer
    client.send(client.sendReceiveRequest(call.substr(10)));
    EXPECT_EQ(client.receive().size(), 80U + 6U);
    EXPECT_EQ(system.violationText(), "");
    client.send(client.bareRequest(205, 1));
    client.receive();
    EXPECT_EQ(system.violations().size(), 1U);
}

TEST(Program, PrintsItsPortAndEndsWithItsInput) {
    std::FILE* program = popen(KELZOR_ZORDEV " --end-with-input < /dev/null", "r");
    ASSERT_NE(program, nullptr);
    std::array<char, 200> line = {};
    ASSERT_NE(std::fgets(line.data(), line.size(), program), nullptr);
    const std::string text(line.data());
    EXPECT_EQ(text.find("{\"gwhost\":\"127.0.0.1\",\"gwserv\":\""), 0U) << text;
    EXPECT_EQ(pclose(program), 0);
}

// The number behind `key` in the program's line.
int numberIn(const std::string& line, const std::string& key) {
    const std::size_t at = line.find(key);
    return at == std::string::npos ? 0 : std::atoi(line.c_str() + at + key.size());
}

TEST(Program, GoesAndComesBackBySignalsAndHasARouter) {
    std::FILE* program =
        popen("exec " KELZOR_ZORDEV " --router --program p=/bin/true --keep-alive 1000", "r");
    ASSERT_NE(program, nullptr);
    std::array<char, 200> line = {};
    ASSERT_NE(std::fgets(line.data(), line.size(), program), nullptr);
    const int pid = numberIn(line.data(), "\"pid\":");
    const auto port = static_cast<std::uint16_t>(numberIn(line.data(), "\"gwserv\":\""));
    const auto router = static_cast<std::uint16_t>(numberIn(line.data(), "\"kelrouter\":\"/H/127.0.0.1/S/"));
    ASSERT_GT(pid, 0) << line.data();
    EXPECT_TRUE(Client(router).connected());
    for (const int signal : {SIGUSR1, SIGUSR2}) {
        Client client(port);
        EXPECT_NE(client.open(), "failed");
        kill(pid, signal);
        EXPECT_EQ(client.receive(), "closed");
        kill(pid, signal);
        for (bool back = false; !back; back = Client(port).connected())
            std::this_thread::yield();
    }
    kill(pid, SIGTERM);
    EXPECT_EQ(pclose(program), 0);
}

}  // namespace
