/** The library's conversation layer and the development gateway: programs in every role, byte for byte
 * checked. */
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "devsys/zordev.h"
#include "krn/si/cpic/cpic.h"
#include "krn/si/cpic/cpicconv.h"
#include "tests/devsys/devclient.h"
#include "tests/krn/si/cpic/conversation.h"

namespace {

using devclient::hex;
using devclient::item;
using zordev::DevOptions;
using zordev::DevSystem;
using zordev::ProgramAnswer;

constexpr CPIC_INT BLOCK = 28000;

// What a program answers: header and session information, then the result.
std::string answerWith(const std::string& result) {
    return item(0x0101, hex("03 01 01 01 01 01 00 00")) + item(0x0103, hex("00 00 0E 0B")) +
           item(7, "127.0.0.1") + item(17, "E") + item(18, "753") + item(19, "753") + item(304, "program") +
           item(0x0201, "RESULT") + item(0x0203, result) + item(0xFFFF);
}

// One conversation of a program.
struct Talk : TestConversation {
    std::string received;

    /** Receives to the partner's turn or end; the code of the last receive. */
    CM_RETCODE receiveAll() {
        received.clear();
        CM_RETCODE rc;
        do {
            rc = receive(BLOCK);
            received += text;
        } while (rc == CM_OK && status != CM_SEND_RECEIVED);
        return rc;
    }
    CM_RETCODE sendAll(const std::string& bytes) {
        CM_RETCODE rc = CM_OK;
        for (std::size_t done = 0; rc == CM_OK && done < bytes.size(); done += BLOCK)
            rc = send(bytes.substr(done, BLOCK));
        return rc;
    }
    /** Answers one call with `result` and ends. */
    CM_RETCODE serve(const std::string& result) {
        CM_RETCODE rc = receiveAll();
        if (rc == CM_OK) rc = sendAll(answerWith(result));
        return rc == CM_OK ? deal() : rc;
    }
};

// As many conversations as registrations, and both families, before the library looks.
[[maybe_unused]] const bool enlarged = [] {
    setenv("CPIC_MAX_CONV", "500", 0);
    setenv("KEL_IPv6_ACTIVE", "1", 0);
    return true;
}();

// This program again, started by a gateway: serves its one conversation and is gone.
[[maybe_unused]] const bool notStarted = [] {
    std::ifstream file("/proc/self/cmdline");
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(file, argument, '\0');)
        arguments.push_back(argument);
    std::vector<char*> argv;
    bool started = false;
    for (std::string& argument : arguments) {
        started = started || argument.starts_with("CONVID=");
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (!started) return true;
    Talk talk;
    const bool good = KEL_CMACCP(argv.data(), nullptr) == CM_OK && STACCP(talk.id, nullptr) == CM_OK &&
                      talk.serve("started") == CM_OK;
    _exit(good ? 0 : 1);
}();

struct Registration {
    explicit Registration(bool byNiHandle = true) : byNiHandle(byNiHandle) {}
    ~Registration() {
        if (handle != 0) leave();
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    CM_RETCODE enter(const DevSystem& system, const std::string& name, const char* host = "127.0.0.1") {
        const auto enterBy = byNiHandle ? KEL_CMREGTP3 : KEL_CMREGTP2;
        return enterBy(name.c_str(), host, system.gatewayService().c_str(), &handle, nullptr, nullptr);
    }
    CM_RETCODE accept(CPIC_INT seconds) {
        return byNiHandle ? KEL_CMACCPTP3(handle, seconds, talk.id, this, nullptr)
                          : KEL_CMACCPTP(handle, seconds, talk.id, nullptr);
    }
    CM_RETCODE leave() {
        const CPIC_INT left = std::exchange(handle, 0);
        return byNiHandle ? KEL_CMUNREGTP3(left, nullptr) : KEL_CMUNREGTP(left, nullptr);
    }

    bool byNiHandle;
    CPIC_INT handle = 0;
    Talk talk;
};

std::future<ProgramAnswer> callLater(DevSystem& system, const std::string& name,
                                     std::vector<zordev::ProgramParameter> parameters = {}) {
    return std::async(std::launch::async, [&system, name, parameters = std::move(parameters)] {
        return system.callRegistered(name, "ANY_FUNCTION", parameters);
    });
}

DevOptions patient(bool streaming = true) {
    DevOptions options;
    options.programs.wait = std::chrono::seconds(60);
    if (!streaming) options.capabilities.acceptInfo2 = 0x04;
    return options;
}

TEST(Programs, RegisteredOnesServeOnePartnerAfterTheOther) {
    for (const bool byNiHandle : {true, false}) {
        for (const bool streaming : {true, false}) {
            DevSystem system(patient(streaming));
            Registration program(byNiHandle);
            ASSERT_EQ(program.enter(system, "registered.program"), CM_OK) << KEL_CMPERR();
            for (const std::size_t size : {10U, 60000U}) {
                auto call = callLater(system, "registered.program", {zordev::textParameter("IN", "x", size)});
                ASSERT_EQ(program.accept(60), CM_OK) << KEL_CMPERR();
                EXPECT_EQ(program.talk.serve(std::string(size, 'r')), CM_OK) << KEL_CMPERR();
                EXPECT_GT(program.talk.received.size(), size);
                const ProgramAnswer answer = call.get();
                EXPECT_EQ(answer.failure, "");
                EXPECT_TRUE(answer.field("RESULT") == std::string(size, 'r'));
            }
            EXPECT_EQ(program.accept(0), CM_KEL_TIMEOUT_RETRY);
            EXPECT_EQ(KEL_CMUNACCPTP(program.handle, nullptr), CM_OK);
            auto call = callLater(system, "registered.program");
            ASSERT_EQ(program.accept(60), CM_OK) << KEL_CMPERR();
            EXPECT_EQ(program.talk.serve("alive"), CM_OK);
            EXPECT_EQ(call.get().field("RESULT"), "alive");
            EXPECT_EQ(program.leave(), CM_OK);
            EXPECT_EQ(system.violationText(), "");
        }
    }
}

TEST(Programs, RegisterOverIPv6) {
    NI_NODEADDR loopback;
    if (NiHostToAddr("::1", &loopback) != NI_OK) GTEST_SKIP() << "this host has no IPv6";
    DevSystem system(patient());
    Registration program;
    ASSERT_EQ(program.enter(system, "sixth", "::1"), CM_OK) << KEL_CMPERR();
    auto call = callLater(system, "sixth");
    ASSERT_EQ(program.accept(60), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(program.talk.serve("served"), CM_OK);
    EXPECT_EQ(call.get().field("RESULT"), "served");
    EXPECT_EQ(system.violationText(), "");
}

TEST(Programs, AStatefulOneKeepsItsPartner) {
    DevSystem system(patient());
    Registration program;
    ASSERT_EQ(program.enter(system, "stateful"), CM_OK);
    auto caller = std::async(std::launch::async, [&system] {
        auto session = system.openProgram("stateful");
        std::string all;
        for (int i = 0; i < 3; ++i)
            all += session.call("F", {}).field("RESULT").value_or("?");
        return all;
    });
    ASSERT_EQ(program.accept(60), CM_OK);
    for (const char* result : {"one ", "two ", "three"}) {
        ASSERT_EQ(program.talk.receiveAll(), CM_OK) << KEL_CMPERR();
        ASSERT_EQ(program.talk.sendAll(answerWith(result)), CM_OK);
    }
    // The partner's end comes where its next call would.
    EXPECT_EQ(program.talk.receiveAll(), CM_DEALLOCATED_NORMAL);
    EXPECT_EQ(caller.get(), "one two three");
    EXPECT_EQ(program.leave(), CM_OK);
    EXPECT_EQ(system.violationText(), "");
}

TEST(Programs, TwoHundredInOneSelectSet) {
    constexpr std::size_t count = 200;
    DevSystem system(patient());
    std::deque<Registration> programs;
    for (std::size_t i = 0; i < count; ++i) {
        programs.emplace_back();
        ASSERT_EQ(programs.back().enter(system, "many." + std::to_string(i)), CM_OK) << i << KEL_CMPERR();
        ASSERT_EQ(programs.back().accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);
    }
    ASSERT_TRUE(system.awaitPrograms("", count));
    auto callers = std::async(std::launch::async, [&system] {
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = "many." + std::to_string(i);
            if (system.callRegistered(name, "F").field("RESULT") != "served") return i;
        }
        return count;
    });
    for (std::size_t served = 0; served < count;) {
        ASSERT_EQ(KEL_CMLISTEN(60000, nullptr), CM_OK) << served << ' ' << KEL_CMPERR();
        CPIC_INT handle = 0;
        void* ptr = nullptr;
        ASSERT_EQ(KEL_CMGETNEXTHDL(&handle, &ptr, nullptr), CM_OK);
        if (handle == 0) continue;
        Registration& program = *static_cast<Registration*>(ptr);
        ASSERT_EQ(program.accept(60), CM_OK) << KEL_CMPERR();
        ASSERT_EQ(program.talk.serve("served"), CM_OK) << KEL_CMPERR();
        ASSERT_EQ(program.accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);
        ++served;
    }
    EXPECT_EQ(callers.get(), count);
    programs.clear();
    EXPECT_EQ(system.violationText(), "");
}

TEST(Programs, AStartedOneServesTheConversationThatItWasStartedFor) {
    for (const bool streaming : {true, false}) {
        DevOptions options = patient(streaming);
        char path[4096] = {};
        ASSERT_GT(readlink("/proc/self/exe", path, sizeof path - 1), 0);
        options.programs.commands["self"] = {path};
        DevSystem system(options);
        const ProgramAnswer answer = system.callRegistered("self", "F");
        EXPECT_EQ(answer.failure, "");
        EXPECT_EQ(answer.field("RESULT"), "started");
        EXPECT_EQ(system.violationText(), "");
    }
}

TEST(Programs, APartnerForWhomThereIsNoEntryIsSentBack) {
    DevSystem system(patient());
    Registration program;
    ASSERT_EQ(program.enter(system, "crowded"), CM_OK);
    std::vector<CONV_PROTO*> others;
    while (CONV_PROTO* conv = STIGetNewConv())
        others.push_back(conv);
    auto refused = callLater(system, "crowded");
    EXPECT_EQ(program.accept(60), CM_PRODUCT_SPECIFIC_ERROR);
    EXPECT_EQ(refused.get().failure, "the program is gone");
    for (CONV_PROTO* conv : others)
        STIFreeConv(*conv);
    auto served = callLater(system, "crowded");
    ASSERT_EQ(program.accept(60), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(program.talk.serve("served"), CM_OK);
    EXPECT_EQ(served.get().field("RESULT"), "served");
    EXPECT_EQ(system.violationText(), "");
}

TEST(Programs, HearWhenTheGatewayGoesAndRegisterAgain) {
    DevSystem system(patient());
    const struct {
        void (DevSystem::*go)();
        CM_RETCODE rc;
        const char* text;
    } cases[] = {{&DevSystem::shutDown, CM_DEALLOCATED_NORMAL, "gateway shutdown"},
                 {&DevSystem::vanish, CM_PRODUCT_SPECIFIC_ERROR, "broken"}};
    for (const auto& row : cases) {
        Registration program;
        ASSERT_EQ(program.enter(system, "restarted"), CM_OK) << KEL_CMPERR();
        std::thread gateway([&] {
            EXPECT_TRUE(system.awaitPrograms("restarted"));
            (system.*row.go)();
        });
        EXPECT_EQ(program.accept(60), row.rc);
        EXPECT_NE(std::string(KEL_CMPERR()).find(row.text), std::string::npos) << KEL_CMPERR();
        gateway.join();
        program.handle = 0;
        system.comeBack();
    }
    Registration program;
    ASSERT_EQ(program.enter(system, "cancelled"), CM_OK) << KEL_CMPERR();
    std::thread administrator([&system] {
        EXPECT_TRUE(system.awaitPrograms("cancelled"));
        EXPECT_EQ(system.cancelPrograms("cancelled"), 1U);
    });
    EXPECT_EQ(program.accept(60), CM_DEALLOCATED_NORMAL);
    EXPECT_NE(std::string(KEL_CMPERR()).find("connection canceled manually"), std::string::npos)
        << KEL_CMPERR();
    administrator.join();
    program.handle = 0;
    EXPECT_EQ(system.violationText(), "");
}

TEST(Programs, OneIdForAllConversationsIsReplacedAtHome) {
    DevSystem system(patient());
    zordev::Faults faults;
    faults.conversationNumber = 7;
    system.setFaults(faults);
    Registration first, second;
    ASSERT_EQ(first.enter(system, "first"), CM_OK);
    ASSERT_EQ(second.enter(system, "second"), CM_OK);
    auto one = callLater(system, "first");
    auto two = callLater(system, "second");
    ASSERT_EQ(first.accept(60), CM_OK);
    ASSERT_EQ(second.accept(60), CM_OK);
    EXPECT_NE(std::string(first.talk.id, first.talk.id + 8), std::string(second.talk.id, second.talk.id + 8));
    EXPECT_EQ(second.talk.serve("second"), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(first.talk.serve("first"), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(one.get().field("RESULT"), "first");
    EXPECT_EQ(two.get().field("RESULT"), "second");
    EXPECT_EQ(system.violationText(), "");
}

}  // namespace
