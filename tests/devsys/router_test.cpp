/** The router, message by message: routes with passwords, chains, failures, faults, and its end. */
#include <gtest/gtest.h>

#include "devclient.h"
#include "devsys/router.h"
#include "devsys/zordev.h"

namespace {

using namespace devclient;
using zordev::DevSystem;
using zordev::Router;
using zordev::RouterFaults;
using zordev::RouterOptions;

const std::string PING("NI_PING\0", 8);
const std::string PONG("NI_PONG\0", 8);

std::string hop(const std::string& host, const std::string& service, const std::string& password = {}) {
    const std::string zero(1, '\0');
    return host + zero + service + zero + password + zero;
}

std::string hopTo(std::uint16_t port, const std::string& password = {}) {
    return hop("127.0.0.1", std::to_string(port), password);
}

// A route as a client sends it to its first hop.
std::string routePacket(const std::vector<std::string>& hops, unsigned talkMode = 0) {
    std::string space;
    for (const std::string& part : hops)
        space += part;
    std::string packet("NI_ROUTE\0", 9);
    packet += hex("02 28");
    packet += static_cast<char>(hops.size());
    packet += static_cast<char>(talkMode);
    packet += hex("00 00");
    packet += static_cast<char>(hops.size() - 1);
    return packet + be32(static_cast<unsigned>(space.size())) + be32(static_cast<unsigned>(hops[0].size())) +
           space;
}

// The code of an error message, which has to be whole.
int errorOf(const std::string& message) {
    if (message.size() < 24 || message.substr(0, 9) != std::string("NI_RTERR\0", 9)) return 0;
    if (message.substr(9, 3) != hex("28 00 00")) return 0;
    if (number(message.substr(16, 4)) != message.size() - 20) return 0;
    return static_cast<int>(number(message.substr(12, 4)));
}

std::string answerTo(const Router& router, const std::string& packet) {
    Client client(router.port());
    client.send(packet);
    return client.receive();
}

TEST(Router, LeadsToAGatewayDirectlyAndThroughAnother) {
    DevSystem system;
    RouterOptions guarded;
    guarded.password = "second";
    Router second(guarded);
    guarded.password = "first";
    Router first(guarded);

    Client one(first.port());
    one.send(routePacket({hopTo(first.port()), hopTo(system.gatewayPort(), "first")}));
    ASSERT_EQ(one.receive(), PONG);
    EXPECT_EQ(one.open(), "00000001");

    // A password may stand with the router itself or with the hop behind it.
    Client two(first.port());
    const std::vector<std::string> hops = {hopTo(first.port(), "first"), hopTo(second.port(), "second"),
                                           hop("localhost", system.gatewayService())};
    two.send(routePacket(hops));
    ASSERT_EQ(two.receive(), PONG);
    EXPECT_EQ(two.open(), "00000002");
    ASSERT_EQ(second.routes().size(), 1U);
    const zordev::Route route = second.routes()[0];
    EXPECT_EQ(route.next, 2U);
    EXPECT_EQ(route.hops[2], (zordev::RouteHop{"localhost", system.gatewayService(), ""}));
    EXPECT_EQ(first.violationText() + second.violationText() + system.violationText(), "");
}

TEST(Router, PassesPlainBytesOn) {
    // Two routers in a row: the inner one sees the outer one's bytes as its client's.
    Router inner, outer;
    Client client(outer.port());
    client.send(routePacket({hopTo(outer.port()), hopTo(inner.port())}, 1));
    ASSERT_EQ(client.receive(), PONG);
    client.send(PING);
    EXPECT_EQ(client.receive(), PONG);
    inner.vanish();
    EXPECT_EQ(client.receive(), "closed");
}

TEST(Router, ReportsItsFailures) {
    DevSystem system;
    RouterOptions options;
    options.password = "secret";
    options.deniedHosts = {"127.0.0.9"};
    Router router(options);
    const std::string self = hopTo(router.port(), "secret");
    const std::uint16_t nobody = [] { return Router().port(); }();
    const struct {
        std::string packet, text;
        int code;
    } cases[] = {
        {routePacket({self, hop("no.such.host", "3300")}), "hostname 'no.such.host' unknown", -90},
        {routePacket({self, hop("127.0.0.1", "kelms00")}), "service 'kelms00' unknown", -91},
        {routePacket({self, hop("127.0.0.1", "65536")}), "service '65536' unknown", -91},
        {routePacket({self, hopTo(nobody)}), "partner '127.0.0.1:" + std::to_string(nobody) + "' not reached",
         -92},
        {routePacket({hopTo(router.port()), hopTo(system.gatewayPort(), "guess")}),
         "zordev: route permission denied (127.0.0.1 to 127.0.0.1, " + system.gatewayService() + ")", -94},
        {routePacket({self, hop("127.0.0.9", "3300")}), "route permission denied", -94},
        {routePacket({self, hopTo(system.gatewayPort())}, 2), "talkmode Native2 not allowed", -101},
    };
    for (const auto& row : cases) {
        const std::string answer = answerTo(router, row.packet);
        EXPECT_EQ(errorOf(answer), row.code) << row.text;
        EXPECT_NE(answer.find(row.text), std::string::npos) << row.text;
    }
    EXPECT_EQ(router.violationText(), "");
    EXPECT_EQ(router.routes().size(), std::size(cases));
    // The second router's failure comes through the first.
    Router first;
    EXPECT_EQ(errorOf(answerTo(first, routePacket({hopTo(first.port()), hopTo(router.port()),
                                                   hopTo(system.gatewayPort())}))),
              -94);
    options.maxClients = 1;
    Router narrow(options);
    Client inside(narrow.port());
    inside.send(PING);
    inside.receive();
    EXPECT_EQ(errorOf(Client(narrow.port()).receive()), -100);
}

TEST(Router, NamesWhatIsWrongWithARoute) {
    const std::string good = routePacket({hop("a", "1"), hop("127.0.0.1", "3300")});
    const auto with = [&good](std::size_t offset, const char* bytes) {
        std::string packet = good;
        return packet.replace(offset, hex(bytes).size(), hex(bytes));
    };
    const struct {
        std::string packet;
        std::size_t offset;
        int code;
    } cases[] = {
        {"GET / HTTP/1.1", 0, -96},
        {good.substr(0, 23), 0, -93},
        {with(9, "03"), 9, -93},
        {with(10, "29"), 10, -93},
        {with(11, "03"), 45, -93},
        {with(12, "03"), 12, -93},
        {with(14, "01"), 13, -93},
        {with(15, "00"), 15, -93},
        {with(15, "02"), 15, -93},
        {with(19, "FF"), 16, -93},
        {with(23, "01"), 20, -93},
        {good + "x", 16, -93},
        {good.substr(0, good.size() - 1) + "x", 29, -93},
        {routePacket({hop("a", "1"), hop(std::string(10001, 'h'), "1")}), 16, -93},
    };
    for (const auto& row : cases) {
        Router router;
        EXPECT_EQ(errorOf(answerTo(router, row.packet)), row.code) << row.offset;
        EXPECT_NE(router.violationText().find("at offset " + std::to_string(row.offset) + " expected"),
                  std::string::npos)
            << row.offset << ' ' << router.violationText();
    }
}

TEST(Router, AnswersControlMessages) {
    Router router;
    Client client(router.port());
    const auto control = [](const char* operation) {
        return std::string("NI_RTERR\0", 9) + hex("28") + hex(operation) + std::string(13, '\0');
    };
    client.send(control("01"));
    EXPECT_EQ(client.receive(), control("02"));
    client.send(PING);
    EXPECT_EQ(client.receive(), PONG);
}

TEST(Router, TellsItsClientsThatItEnds) {
    DevSystem system;
    Router router;
    const std::string packet = routePacket({hopTo(router.port()), hopTo(system.gatewayPort())});
    for (const int code : {-98, -97}) {
        Client client(router.port());
        client.send(packet);
        ASSERT_EQ(client.receive(), PONG);
        ASSERT_NE(client.open(), "failed");
        router.shutDown(code);
        EXPECT_EQ(errorOf(client.receive()), code);
        EXPECT_EQ(client.receive(), "closed");
        EXPECT_FALSE(Client(router.port()).connected());
        router.comeBack();
    }
    Client client(router.port());
    client.send(packet);
    ASSERT_EQ(client.receive(), PONG);
    EXPECT_EQ(router.open(), 1U);
    router.vanish();
    EXPECT_EQ(client.receive(), "closed");
}

TEST(Router, Faults) {
    DevSystem system;
    Router router;
    const std::string packet = routePacket({hopTo(router.port()), hopTo(system.gatewayPort())});
    const auto answerUnder = [&](auto change) {
        RouterFaults faults;
        change(faults);
        router.setFaults(faults);
        return answerTo(router, packet);
    };
    EXPECT_EQ(errorOf(answerUnder([](auto& faults) { faults.refuseWith = -95; })), -95);
    EXPECT_EQ(answerUnder([](auto& faults) { faults.cutAfterBytes = 11; }), "closed");
    EXPECT_EQ(answerUnder([](auto& faults) { faults.cutAfterBytes = 12; }), PONG);
    EXPECT_EQ(answerUnder([](auto& faults) { faults.pings = 1; }), PING);
    EXPECT_EQ(answerUnder([](auto& faults) { faults.versionQuery = true; }).substr(9, 2), hex("28 01"));
    const std::string damaged = answerUnder([](auto& faults) {
        faults.refuseWith = -95;
        faults.wrongTextLength = true;
    });
    EXPECT_EQ(number(damaged.substr(16, 4)), damaged.size() - 19);

    RouterFaults slow;
    slow.pieceBytes = 1;
    slow.delayMs = 1;
    router.setFaults(slow);
    Client client(router.port());
    client.send(packet);
    ASSERT_EQ(client.receive(), PONG);
    EXPECT_NE(client.open(), "failed");
}

}  // namespace
