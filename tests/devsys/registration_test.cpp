/** Registered programs at the gateway, message by message: being called, waiting, keep-alive, the end. */
#include <gtest/gtest.h>

#include <functional>

#include "devclient.h"
#include "devsys/zordev.h"

namespace {

using namespace devclient;
using zordev::DevOptions;
using zordev::DevSystem;
using namespace std::chrono_literals;

constexpr std::string_view NAME = "calc.program";

struct Registered {
    explicit Registered(DevSystem& system, const std::string& id = std::string(NAME))
        : program(system.gatewayPort()) {
        EXPECT_TRUE(program.registerAs(id));
    }
    Program program;
};

DevOptions withoutStreaming() {
    DevOptions options;
    options.capabilities.acceptInfo2 = 0x04;
    return options;
}

TEST(Registration, AClientReachesTheProgramAndEachOfItsAnswers) {
    DevSystem system;
    Registered server(system);
    server.program.send(server.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
    Client client(system.gatewayPort());
    ASSERT_EQ(client.open(std::string(NAME)), "00000002");

    // The call names the conversation and says that data are pushed.
    EXPECT_EQ(server.program.receive(), hex("06 CF 07 00 FF FF") + pad("", 15, '\0') + hex("02") +
                                            pad("", 18, '\0') + "50000001" + pad("", 28, '\0') +
                                            hex("FF FF 75 31"));
    EXPECT_EQ(system.programs(std::string(NAME)).ready, 0U);
    client.send(client.sendRequest(8, "one "));
    client.send(client.sendReceiveRequest("two"));
    const std::string first = server.program.receive();
    EXPECT_EQ(fieldsOf(first), (AnswerFields{0, 3, 4, 0}));
    const std::string second = server.program.receive();
    EXPECT_EQ(fieldsOf(second), (AnswerFields{0, 2, 3, 1}));
    EXPECT_EQ(dataOf(first) + dataOf(second), "one two");
    EXPECT_EQ(second.substr(40, 8), "50000001");
}

TEST(Registration, StatefulAndStatelessConversationsFollowEachOther) {
    for (const bool streaming : {true, false}) {
        DevSystem system(streaming ? DevOptions{} : withoutStreaming());
        Registered server(system);
        for (int round = 0; round < 3; ++round) {
            server.program.send(server.program.ownRequest(209));
            ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
            Client client(system.gatewayPort());
            ASSERT_NE(client.open(std::string(NAME)), "failed");
            server.program.takeCall();
            client.send(client.sendReceiveRequest("question"));
            if (!streaming) server.program.send(server.program.receiveRequest(100));
            EXPECT_EQ(dataOf(server.program.receive()), "question");
            // The program asks back and gets the client's next request as the answer.
            server.program.send(server.program.sendReceiveRequest("really?"));
            EXPECT_EQ(fieldsOf(client.receive()), (AnswerFields{0, 2, 7, 1}));
            client.send(client.sendReceiveRequest("yes"));
            EXPECT_EQ(dataOf(server.program.receive()), "yes");
            server.program.answerAndEnd("answer");
            const std::string answer = client.receive();
            EXPECT_EQ(fieldsOf(answer), (AnswerFields{0, 3, 6, 0}));
            if (!streaming) client.send(client.receiveRequest(100));
            EXPECT_EQ(fieldsOf(client.receive()), (AnswerFields{18, 0, 0, 0}));
            EXPECT_EQ(client.receive(), "closed");
        }
        server.program.send(server.program.ownRequest(208));
        EXPECT_EQ(server.program.receive(), "closed");
        EXPECT_EQ(system.violationText(), "");
        EXPECT_EQ(system.programs().instances, 0U);
    }
}

TEST(Registration, InstancesAreCalledInTheOrderOfTheirWaiting) {
    DevSystem system;
    Registered first(system), second(system), other(system, "other");
    for (Registered* server : {&second, &first, &other}) {
        server->program.send(server->program.ownRequest(209));
        ASSERT_TRUE(system.awaitPrograms("", server == &second ? 1 : server == &first ? 2 : 3));
    }
    // Whoever has said that it is alive goes behind those that haven't.
    second.program.send(second.program.ownRequest(210));
    second.program.send(hex("4E 49 5F 50 49 4E 47 00"));
    EXPECT_EQ(second.program.receive(), hex("4E 49 5F 50 4F 4E 47 00"));
    Client a(system.gatewayPort()), b(system.gatewayPort()), c(system.gatewayPort());
    ASSERT_NE(a.open(std::string(NAME)), "failed");
    EXPECT_EQ(typeOf(first.program.receive()), 207U);
    // Its second word of being ready may cross the call.
    second.program.send(second.program.ownRequest(209));
    ASSERT_NE(b.open(std::string(NAME)), "failed");
    EXPECT_EQ(typeOf(second.program.receive()), 207U);
    ASSERT_NE(c.open("other"), "failed");
    EXPECT_EQ(typeOf(other.program.receive()), 207U);
    EXPECT_EQ(system.violationText(), "");
}

TEST(Registration, WithoutAFreeInstanceAClientIsRefusedOrWaits) {
    DevSystem strict;
    Client lonely(strict.gatewayPort());
    ASSERT_TRUE(lonely.beginOpen(std::string(NAME)));
    const std::string unknown = lonely.receive();
    EXPECT_EQ(kelRcOf(unknown), 679U);
    EXPECT_NE(unknown.find("program calc.program not registered"), std::string::npos);
    Registered idle(strict);
    ASSERT_NE(idle.program.ownRequest(209), "");
    idle.program.send(hex("4E 49 5F 50 49 4E 47 00"));
    idle.program.receive();  // the gateway has read the extension
    Client early(strict.gatewayPort());
    ASSERT_TRUE(early.beginOpen(std::string(NAME)));
    EXPECT_EQ(kelRcOf(early.receive()), 677U);

    DevOptions options;
    options.programs.wait = 20s;
    DevSystem patient(options);
    Client waiting(patient.gatewayPort()), quitting(patient.gatewayPort());
    ASSERT_TRUE(waiting.beginOpen(std::string(NAME)));
    ASSERT_TRUE(quitting.beginOpen(std::string(NAME)));
    quitting.send(quitting.bareRequest(213, 1, 8));
    EXPECT_EQ(fieldsOf(quitting.receive()).appcRc, 18U);
    Registered late(patient);
    EXPECT_EQ(typeOf(late.program.awaitCall()), 207U);
    EXPECT_EQ(waiting.receive().size(), 80U);
    EXPECT_EQ(patient.violationText() + strict.violationText(), "");

    options.programs.wait = 1ms;
    DevSystem hasty(options);
    Client tired(hasty.gatewayPort());
    ASSERT_TRUE(tired.beginOpen(std::string(NAME)));
    EXPECT_EQ(kelRcOf(tired.receive()), 677U);
}

TEST(Registration, TheProgramHearsHowItsPartnerEnded) {
    const struct {
        const char* what;
        std::function<void(std::optional<Client>&)> end;
        unsigned rqtype, appcRc, kelRc;
    } cases[] = {
        {"in order", [](auto& client) { client->send(client->bareRequest(11, 0)); }, 9, 18, 0},
        {"gone", [](auto& client) { client.reset(); }, 9, 17, 244},
        {"cancelled",
         [](auto& client) {
             client->send(client->bareRequest(213, 1, 8));
             client->receive();
         },
         214, 17, 474},
    };
    for (const auto& row : cases) {
        DevSystem system;
        Registered server(system);
        server.program.send(server.program.ownRequest(209));
        ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
        std::optional<Client> client(std::in_place, system.gatewayPort());
        ASSERT_NE(client->open(std::string(NAME)), "failed");
        server.program.takeCall();
        row.end(client);
        const std::string end = server.program.receive();
        EXPECT_EQ(typeOf(end), row.rqtype) << row.what;
        EXPECT_EQ(fieldsOf(end).appcRc, row.appcRc) << row.what;
        EXPECT_EQ(kelRcOf(end), row.kelRc) << row.what;
        // The registration goes on.
        server.program.send(server.program.ownRequest(210));
        server.program.send(server.program.ownRequest(209));
        EXPECT_TRUE(system.awaitPrograms(std::string(NAME)));
        EXPECT_EQ(system.violationText(), "") << row.what;
    }
}

TEST(Registration, ACancelReachesAProgramThatSends) {
    DevSystem system;
    Registered server(system);
    server.program.send(server.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
    Client client(system.gatewayPort());
    ASSERT_NE(client.open(std::string(NAME)), "failed");
    server.program.takeCall();
    client.send(client.sendReceiveRequest("work"));
    EXPECT_EQ(dataOf(server.program.receive()), "work");
    client.send(client.bareRequest(213, 1, 8));
    EXPECT_EQ(fieldsOf(client.receive()).appcRc, 18U);
    server.program.send(server.program.sendRequest(7, "too late"));
    EXPECT_EQ(fieldsOf(server.program.receive()).appcRc, 10002U);
    server.program.send(server.program.bareRequest(11, 0));
    server.program.send(server.program.ownRequest(210));
    server.program.send(server.program.ownRequest(209));
    EXPECT_TRUE(system.awaitPrograms(std::string(NAME)));
    EXPECT_EQ(system.violationText(), "");
}

TEST(Registration, AProgramEndsItsConversationByAnErrorOrLeaves) {
    DevSystem system;
    Registered server(system);
    server.program.send(server.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
    Client client(system.gatewayPort());
    ASSERT_NE(client.open(std::string(NAME)), "failed");
    server.program.takeCall();
    client.send(client.sendReceiveRequest("work"));
    server.program.receive();
    const std::string block("*ERR*\0whatever\0*ERR*\0", 21);
    std::string end = server.program.bareRequest(11, 16) + block;
    end.replace(8, 2, be16(21)).replace(32, 8, be32(17) + be32(766));
    server.program.send(end);
    const std::string told = client.receive();
    EXPECT_EQ(fieldsOf(told).appcRc, 17U);
    EXPECT_EQ(kelRcOf(told), 766U);
    EXPECT_EQ(dataOf(told), block);
    server.program.send(server.program.ownRequest(210));

    server.program.send(server.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
    Client next(system.gatewayPort());
    ASSERT_NE(next.open(std::string(NAME)), "failed");
    server.program.takeCall();
    next.send(next.sendReceiveRequest("work"));
    server.program.receive();
    server.program.send(server.program.ownRequest(208));
    EXPECT_EQ(fieldsOf(next.receive()).appcRc, 17U);
    EXPECT_EQ(server.program.receive(), "closed");
    EXPECT_EQ(system.violationText(), "");
}

TEST(Registration, IsCancelledAndShutDown) {
    DevSystem system;
    Registered server(system), busy(system, "busy");
    server.program.send(server.program.ownRequest(209));
    busy.program.send(busy.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms("", 2));
    EXPECT_EQ(system.cancelPrograms(std::string(NAME)), 1U);
    const std::string cancelled = server.program.receive();
    EXPECT_EQ(typeOf(cancelled), 211U);
    EXPECT_EQ(kelRcOf(cancelled), 474U);
    EXPECT_EQ(server.program.receive(), "closed");

    Client client(system.gatewayPort());
    ASSERT_NE(client.open("busy"), "failed");
    client.send(client.sendReceiveRequest("work"));
    busy.program.takeCall();
    busy.program.receive();
    Registered again(system);
    again.program.send(again.program.ownRequest(209));
    ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
    system.shutDown();
    const std::string end = again.program.receive();
    EXPECT_EQ(typeOf(end), 211U);
    EXPECT_EQ(kelRcOf(end), 731U);
    const std::string told = client.receive();
    EXPECT_EQ(fieldsOf(told).appcRc, 17U);
    EXPECT_EQ(kelRcOf(told), 731U);
    EXPECT_FALSE(Client(system.gatewayPort()).connected());
    for (int round = 0; round < 3; ++round) {
        system.comeBack();
        Client back(system.gatewayPort());
        EXPECT_NE(back.open(), "failed");
        system.vanish();
        EXPECT_EQ(back.receive(), "closed");
    }
    EXPECT_EQ(system.violationText(), "");
}

TEST(Registration, IdleProgramsArePingedAndSilentOnesDropped) {
    DevOptions options;
    options.programs.keepAlive = 10ms;
    DevSystem system(options);
    Registered server(system);
    EXPECT_EQ(server.program.receive(), std::string("NI_PING\0", 8));
    EXPECT_EQ(server.program.receive(), std::string("NI_PING\0", 8));
    EXPECT_EQ(server.program.receive(), "closed");
}

TEST(Registration, WhatAProgramGetsWrongIsNamed) {
    using Send = std::function<void(Program&)>;
    const auto with = [](std::string message, std::size_t offset, const char* bytes) {
        return message.replace(offset, hex(bytes).size(), hex(bytes));
    };
    const struct {
        Send send;
        const char* record;
        std::size_t offset;
    } cases[] = {
        {[](Program& p) { p.send(pad("", 511)); }, "connect extension", 0},
        {[](Program& p) { p.send(extension("another")); }, "connect extension, long_tp", 128},
        {[&](Program& p) { p.send(with(extension("calc.program"), 511, "00")); }, "connect extension, fill",
         192},
        {[](Program& p) {
             p.send(extension("calc.program"));
             p.send(p.ownRequest(209, "X17     "));
         },
         "request of a registration, conversation_ID", 40},
        {[&](Program& p) {
             p.send(extension("calc.program"));
             p.send(with(p.ownRequest(209), 48, "00 00 00 51"));
         },
         "request of a registration, send_length", 48},
        {[&](Program& p) {
             p.send(extension("calc.program"));
             p.send(with(p.ownRequest(209), 2, "02"));
         },
         "request header, protocol", 2},
        {[](Program& p) {
             p.send(extension("calc.program"));
             p.send(p.ownRequest(209));
             p.send(p.ownRequest(209));
         },
         "request header, rqtype", 1},
        {[](Program& p) {
             p.send(extension("calc.program"));
             p.send(p.ownRequest(209));
             p.send(p.ownRequest(208, "N18     "));
         },
         "request header, conversation_ID", 40},
    };
    for (const auto& row : cases) {
        DevSystem system;
        Program program(system.gatewayPort());
        program.send(connectRecord(11, "calc.pro"));
        ASSERT_EQ(program.receive().size(), 64U);
        row.send(program);
        while (program.receive() != "closed") {
        }
        const auto violations = system.violations();
        ASSERT_EQ(violations.size(), 1U) << row.record << '\n' << system.violationText();
        EXPECT_EQ(violations[0].record, row.record);
        EXPECT_EQ(violations[0].offset, row.offset) << row.record;
    }
}

TEST(Registration, Faults) {
    const auto with = [](auto change) {
        zordev::Faults faults;
        change(faults);
        return faults;
    };
    DevSystem system;
    system.setFaults(with([](auto& faults) { faults.registrationError = 720; }));
    Program refused(system.gatewayPort());
    EXPECT_FALSE(refused.registerAs("calc.program"));
    system.setFaults(with([](auto& faults) { faults.registrationCancel = 747; }));
    Registered cancelled(system);
    EXPECT_EQ(kelRcOf(cancelled.program.awaitCall()), 747U);

    const struct {
        std::function<void(zordev::Faults&)> change;
        std::size_t offset;
        const char* bytes;
    } cases[] = {
        {[](auto& faults) { faults.registrationWrongRequest = true; }, 1, "CD"},
        {[](auto& faults) { faults.shortProgramCall = true; }, 16, "80"},
        {[](auto& faults) { faults.conversationNumber = 7; }, 40, "35 30 30 30 30 30 30 37"},
        {[](auto& faults) { faults.headerVersion = 5; }, 0, "05"},
    };
    for (const auto& row : cases) {
        system.setFaults({});
        Registered server(system);
        server.program.send(server.program.ownRequest(209));
        ASSERT_TRUE(system.awaitPrograms(std::string(NAME)));
        Client client(system.gatewayPort());
        system.setFaults(with(row.change));
        client.beginOpen(std::string(NAME));
        const std::string expected = hex(row.bytes);
        EXPECT_EQ(server.program.receive().substr(row.offset, expected.size()), expected) << row.offset;
    }
}

}  // namespace
