/** The back-end calls programs: what it sends, what it reads, and what it finds wrong. */
#include <gtest/gtest.h>

#include <cstdio>
#include <future>

#include "devclient.h"
#include "devsys/zordev.h"
#include "testpaths.h"

namespace {

using namespace devclient;
using namespace std::chrono_literals;
using zordev::DevSystem;
using zordev::ProgramAnswer;

constexpr const char* NAME = "calc.program";

// Header and session information of a program's answer, by hand.
const std::string OPENING = item(0x0101, hex("03 01 01 01 01 01 00 00")) + item(0x0103, hex("00 00 0E 0B")) +
                            item(7, "127.0.0.1") + item(17, "E") + item(18, "753") + item(19, "753") +
                            item(304, "devtest");

// What the back-end sends: the first call of a conversation has all of it, a later one the last part.
std::string callItems(std::string_view function, const std::string& parameters) {
    return item(0x0502) + item(11, "753") + item(0x0102, function) + parameters + item(0xFFFF);
}
std::string firstCall(std::string_view function, const std::string& parameters) {
    return item(0x0101, hex("03 01 01 01 01 01 00 00")) + item(0x0103, hex("00 00 0E 09")) +
           item(0x0106, hex("01 01 00 00 00 00 01 00 00 00 23")) + item(0x0160, hex("00 00")) +
           item(9, "DEMO") + item(308, "100") + item(277, "E") + item(7, "127.0.0.1") + item(17, "3") +
           item(18, "753") + item(19, "753") + item(8, "zordev_ZDV_00") + item(6, "zordev_ZDV_00") +
           item(304, "zordev") + callItems(function, parameters);
}

// A registered program, and a call to it on another thread.
struct Fixture {
    Fixture() : program(system.gatewayPort()) {
        EXPECT_TRUE(program.registerAs(NAME));
        program.send(program.ownRequest(209));
        EXPECT_TRUE(system.awaitPrograms(NAME));
    }
    DevSystem system;
    Program program;
};

TEST(ProgramCall, SendsParametersAndReadsResults) {
    Fixture f;
    auto call = std::async(std::launch::async, [&f] {
        return f.system.callRegistered(
            NAME, "ADD",
            {zordev::wantedParameter("SUM"), zordev::intParameter("A", 0x01020304),
             zordev::textParameter("UNIT", "kg", 4), zordev::stringParameter("NOTE", "abc"),
             zordev::tableParameter("LINES", 2, {"r1", "r2"})});
    });
    f.program.takeCall();
    EXPECT_EQ(
        dataOf(f.program.receive()),
        firstCall("ADD", item(0x0205, "SUM") + item(0x0205, "LINES") + item(0x0201, "A") +
                             item(0x0203, hex("04 03 02 01")) + item(0x0201, "UNIT") + item(0x0203, "kg  ") +
                             item(0x0201, "NOTE") + item(0x0203, std::string("abc\0", 4)) +
                             item(0x0301, "LINES") + item(0x0302, hex("00 00 00 02 00 00 00 02")) +
                             item(0x0303, "r1") + item(0x0303, "r2")));
    f.program.answerAndEnd(OPENING + item(0x0201, "SUM") + item(0x0203, hex("2A 00 00 00")) +
                           item(0x0301, "LINES") + item(0x0302, hex("00 00 00 02 00 00 00 01")) +
                           item(0x0303, "r3") + item(0xFFFF));
    const ProgramAnswer answer = call.get();
    EXPECT_EQ(answer.failure, "");
    EXPECT_TRUE(answer.conversationOver);
    EXPECT_EQ(answer.field("SUM"), hex("2A 00 00 00"));
    EXPECT_EQ(answer.field("NOTE"), std::nullopt);
    EXPECT_EQ(answer.table("LINES"), std::vector<std::string>{"r3"});
    EXPECT_EQ(f.system.violationText(), "");
}

TEST(ProgramCall, AStatefulProgramIsCalledAgain) {
    Fixture f;
    auto session = f.system.openProgram(NAME);
    session.trace = true;
    f.program.takeCall();
    auto first = std::async(std::launch::async, [&] { return session.call("ONE", {}); });
    EXPECT_EQ(dataOf(f.program.receive()), "T" + firstCall("ONE", ""));
    f.program.send(f.program.sendReceiveRequest(OPENING + item(0x0401, "NOT_NOW") + item(0xFFFF)));
    EXPECT_EQ(first.get().text(0x0401), "NOT_NOW");
    auto second = std::async(std::launch::async, [&] { return session.call("TWO", {}); });
    EXPECT_EQ(dataOf(f.program.receive()), callItems("TWO", ""));
    f.program.answerAndEnd(item(0x0402, "no more") + item(0xFFFF));
    EXPECT_EQ(second.get().text(0x0402), "no more");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.call("THREE", {}).failure, "the conversation is over");
    EXPECT_EQ(f.system.violationText(), "");
}

TEST(ProgramCall, ItsFailuresAreTold) {
    DevSystem lonely;
    const ProgramAnswer nobody = lonely.callRegistered(NAME, "F");
    EXPECT_EQ(nobody.kelRc, 679);
    EXPECT_EQ(nobody.failure, "program calc.program not registered");
    const struct {
        std::function<void(Program&)> answer;
        std::chrono::milliseconds limit;
        const char* failure;
    } cases[] = {
        {[](Program& p) { p.send(p.bareRequest(11, 0)); }, 60s, "the program has ended without an answer"},
        {[](Program& p) { p.sendRaw(hex("FF FF FF FF")); }, 60s, "the program is gone"},
        {[](Program&) {}, 1ms, "the program has not answered in time"},
    };
    for (const auto& row : cases) {
        Fixture f;
        auto session = f.system.openProgram(NAME);
        session.limit = row.limit;
        auto call = std::async(std::launch::async, [&] { return session.call("F", {}); });
        f.program.takeCall();
        f.program.receive();
        row.answer(f.program);
        EXPECT_EQ(call.get().failure, row.failure);
    }
}

TEST(ProgramCall, WrongAnswersAreNamed) {
    const std::string end = item(0xFFFF);
    const struct {
        std::string answer;
        std::size_t offset;
    } cases[] = {
        {end, 0},
        {OPENING, OPENING.size()},
        {OPENING + hex("FF FF 00 00 FF FE"), OPENING.size()},
        {OPENING + end + "x", OPENING.size()},
        {OPENING + item(0xFFFF, "x"), OPENING.size()},
        {OPENING.substr(0, 14) + end, 14},
        {OPENING + OPENING.substr(0, 14) + end, OPENING.size()},
        {item(0x0101, hex("06 01 01 01 01 01 00 00")) + end, 0},
        {OPENING.substr(0, 24) + item(17, "E") + end, 24},
    };
    for (const auto& row : cases) {
        Fixture f;
        auto call = std::async(std::launch::async, [&] { return f.system.callRegistered(NAME, "F"); });
        f.program.takeCall();
        f.program.receive();
        f.program.answerAndEnd(row.answer);
        call.get();
        const auto violations = f.system.violations();
        ASSERT_EQ(violations.size(), 1U) << hex("") << f.system.violationText();
        EXPECT_EQ(violations[0].record, "answer of a program");
        EXPECT_EQ(violations[0].offset, row.offset) << f.system.violationText();
    }
}

// The command line form is a client of the gateway like any other.
TEST(ProgramCall, FromTheCommandLine) {
    for (const std::uint8_t acceptInfo2 : {0x06, 0x04}) {
        zordev::DevOptions options;
        options.capabilities.acceptInfo2 = acceptInfo2;
        DevSystem system(options);
        Program program(system.gatewayPort());
        ASSERT_TRUE(program.registerAs(NAME));
        program.send(program.ownRequest(209));
        ASSERT_TRUE(system.awaitPrograms(NAME));
        const std::string command =
            std::string(KELZOR_ZORDEV) + " call --gwserv " + system.gatewayService() + " " + NAME +
            " ADD SUM NOTE A=i:7 B=x:0102 C=s:text D=plain E=" + std::string(60000, 'e');
        FILE* output = popen(command.c_str(), "r");
        ASSERT_NE(output, nullptr);
        program.takeCall();
        std::string request;
        for (unsigned status = 0; status == 0;) {
            if (acceptInfo2 == 0x04) program.send(program.receiveRequest(32000));
            const std::string block = program.receive();
            ASSERT_EQ(fieldsOf(block).appcRc, 0U);
            status = fieldsOf(block).status;
            request += dataOf(block);
        }
        const std::string parameters =
            item(0x0205, "SUM") + item(0x0205, "NOTE") + item(0x0201, "A") +
            item(0x0203, hex("07 00 00 00")) + item(0x0201, "B") + item(0x0203, hex("01 02")) +
            item(0x0201, "C") + item(0x0203, std::string("text\0", 5)) + item(0x0201, "D") +
            item(0x0203, "plain") + item(0x0201, "E") + item(0x0203, std::string(60000, 'e'));
        EXPECT_EQ(request, firstCall("ADD", parameters));
        program.answerAndEnd(OPENING + item(0x0201, "SUM") + item(0x0203, hex("2A 00")) +
                             item(0x0201, "NOTE") + item(0x0203, "fine") + item(0xFFFF));
        char line[200];
        std::string text;
        while (fgets(line, sizeof line, output) != nullptr)
            text += line;
        EXPECT_EQ(pclose(output), 0);
        EXPECT_EQ(text, "SUM=x:2A00\nNOTE=fine\n");
        EXPECT_EQ(system.violationText(), "");
    }
}

}  // namespace
