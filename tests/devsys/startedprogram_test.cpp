/** Programs that the gateway starts: what they are told, how they join, and what becomes of bad ones. */
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "devclient.h"
#include "devsys/zordev.h"

namespace {

using namespace devclient;
using zordev::DevOptions;
using zordev::DevSystem;
using namespace std::chrono_literals;

// A program that writes down its arguments and then waits; the test does the rest of its work.
struct Scribe {
    Scribe() : folder(testing::TempDir() + "startedXXXXXX") {
        if (mkdtemp(folder.data()) == nullptr) ADD_FAILURE() << folder;
        file = folder + "/arguments";
    }
    ~Scribe() { std::filesystem::remove_all(folder); }

    zordev::ProgramCommand command() const {
        return {"/bin/sh", "-c",
                "echo \"$*\" > " + file + ".new && mv " + file + ".new " + file + " && exec sleep 600",
                "own"};
    }
    /** The arguments, as soon as the program has written them. */
    std::string arguments() const {
        std::string line;
        for (int i = 0; i < 2000 && line.empty(); ++i) {
            std::ifstream input(file);
            if (!std::getline(input, line)) std::this_thread::sleep_for(10ms);
        }
        return line;
    }

    std::string folder;
    std::string file;
};

TEST(StartedProgram, IsToldItsConversationAndServesIt) {
    for (const bool streaming : {true, false}) {
        const Scribe scribe;
        DevOptions options;
        options.programs.commands["worker"] = scribe.command();
        if (!streaming) options.capabilities.acceptInfo2 = 0x04;
        DevSystem system(options);
        Client client(system.gatewayPort());
        ASSERT_TRUE(client.beginOpen("worker"));
        ASSERT_EQ(scribe.arguments(), "GWHOST=127.0.0.1 GWSERV=" + system.gatewayService() +
                                          " CONVID=50000001 STREAMING=" + (streaming ? "1" : "0"));
        EXPECT_EQ(system.startedPrograms(), 1U);
        Program program(system.gatewayPort());
        ASSERT_TRUE(program.joinAs("50000001"));
        ASSERT_EQ(client.receive().size(), 80U);
        client.send(client.sendReceiveRequest("question"));
        // Asking for the first data is right with and without streaming.
        program.send(program.receiveRequest(100));
        EXPECT_EQ(fieldsOf(program.receive()), (AnswerFields{0, 2, 8, 1}));
        program.send(program.sendRequest(8, "answer"));
        program.send(program.bareRequest(11, 0));
        EXPECT_EQ(dataOf(client.receive()), "answer");
        EXPECT_EQ(program.receive(), "closed");
        EXPECT_EQ(system.violationText(), "");
    }
}

TEST(StartedProgram, OneThatRegistersIsStartedOnce) {
    const Scribe scribe;
    DevOptions options;
    options.programs.registering["worker"] = scribe.command();
    DevSystem system(options);
    Client first(system.gatewayPort());
    ASSERT_TRUE(first.beginOpen("worker"));
    ASSERT_EQ(scribe.arguments(), "GWHOST=127.0.0.1 GWSERV=" + system.gatewayService() + " TP=worker");
    Program program(system.gatewayPort());
    ASSERT_TRUE(program.registerAs("worker"));
    EXPECT_EQ(typeOf(program.awaitCall()), 207U);
    EXPECT_EQ(first.receive().size(), 80U);
    // While it is busy, others are told so, or wait; no second one is started.
    Client second(system.gatewayPort());
    ASSERT_TRUE(second.beginOpen("worker"));
    EXPECT_EQ(kelRcOf(second.receive()), 677U);
    EXPECT_EQ(system.startedPrograms(), 1U);
    EXPECT_EQ(system.violationText(), "");
}

TEST(StartedProgram, BadOnesAreReported) {
    DevOptions options;
    options.programs.commands["missing"] = {"/no/such/program"};
    options.programs.commands["brief"] = {"/bin/true"};
    options.programs.commands["idle"] = {"/bin/sh", "-c", "exec sleep 600"};
    const struct {
        const char* name;
        std::chrono::milliseconds limit;
        unsigned kelRc;
    } cases[] = {{"missing", 60s, 667}, {"brief", 60s, 638}, {"idle", 1ms, 638}};
    for (const auto& row : cases) {
        options.programs.startLimit = row.limit;
        DevSystem system(options);
        Client client(system.gatewayPort());
        ASSERT_TRUE(client.beginOpen(row.name));
        EXPECT_EQ(kelRcOf(client.receive()), row.kelRc) << row.name;
        EXPECT_EQ(system.violationText(), "");
    }
    DevSystem system;
    Program stranger(system.gatewayPort());
    stranger.joinAs("50000009");
    EXPECT_EQ(stranger.receive(), "closed");
    EXPECT_NE(system.violationText().find("conversation_ID"), std::string::npos);
}

}  // namespace
