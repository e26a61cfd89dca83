// Registered programs, programs that a gateway starts, and the select set.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <future>
#include <map>
#include <thread>

#include "base/dptrc/err.h"
#include "krn/si/cpic/cpicconv.h"
#include "tests/krn/si/cpic/conversation.h"
#include "tests/krn/si/cpic/fakegateway.h"

using testing::HasSubstr;

namespace {

std::string textOf(const KEL_RAW* id) {
    return {reinterpret_cast<const char*>(id), KEL_CONV_ID_LN};
}

/** A program's side: a registration, and the conversation of its partner. */
struct Program : TestConversation {
    explicit Program(bool byNiHandle = false) : byNiHandle(byNiHandle) {}
    ~Program() {
        if (handle != 0) leave();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    CM_RETCODE enter(const FakeGateway& gateway, const char* name = "PROGRAM.ID") {
        const auto call = byNiHandle ? KEL_CMREGTP3 : KEL_CMREGTP2;
        return call(name, "127.0.0.1", gateway.service.c_str(), &handle, nullptr, nullptr);
    }
    CM_RETCODE accept(CPIC_INT seconds) {
        return byNiHandle ? KEL_CMACCPTP3(handle, seconds, id, this, nullptr)
                          : KEL_CMACCPTP(handle, seconds, id, nullptr);
    }
    CM_RETCODE leave() {
        const CPIC_INT left = std::exchange(handle, 0);
        return byNiHandle ? KEL_CMUNREGTP3(left, nullptr) : KEL_CMUNREGTP(left, nullptr);
    }
    bool byNiHandle;
    CPIC_INT handle = 0;
};

TEST(CpicServer, OneLineCarriesPartnersOneAfterTheOther) {
    for (const bool byNiHandle : {false, true}) {
        std::string ownId;
        FakeGateway gateway([&](FakeGateway& self) {
            std::string record = self.take();
            ASSERT_EQ(record.size(), 64u);
            EXPECT_EQ(record.substr(0, 2), "\2\13");
            EXPECT_EQ(record.substr(10, 10), std::string("PROGRAM.I\0", 10));
            EXPECT_EQ(record.substr(38, 16), "PROGRAM.        ");
            record[55] = static_cast<char>(0xC9);
            self.give(record);
            const std::string extension = self.take();
            ASSERT_EQ(extension.size(), 512u);
            EXPECT_EQ(extension.substr(128, 12), std::string("PROGRAM.ID\0 ", 12));

            for (const char* partner : {"PARTNER1", "PARTNER2"}) {
                const std::string ready = self.expect(209);
                EXPECT_EQ(ready.size(), 80u);
                EXPECT_EQ(ready[2], 7);
                EXPECT_EQ(ready[30], 1);
                ownId = ready.substr(40, 8);
                EXPECT_EQ(ready.substr(48, 4), number(80, 4));
                self.conversation = partner;
                self.answer({.rqtype = 207});
                EXPECT_EQ(self.expect(9).substr(40, 8), partner);
                self.answer({.rqtype = 9, .data = "question"});
                const std::string block = self.expect(8);
                EXPECT_EQ(block.substr(40, 8), partner);
                EXPECT_EQ(block.substr(80), "reply");
                EXPECT_EQ(self.expect(11).substr(40, 8), partner);
                EXPECT_EQ(self.expect(210).substr(40, 8), ownId);
                self.answer({.rqtype = 9, .data = "what the old partner still says"});
            }
            EXPECT_EQ(self.expect(208).substr(40, 8), ownId);
            EXPECT_EQ(self.take(), "");
        });
        Program program(byNiHandle);
        ASSERT_EQ(program.enter(gateway), CM_OK) << KEL_CMPERR();
        for (const char* partner : {"PARTNER1", "PARTNER2"}) {
            ASSERT_EQ(program.accept(-1), CM_OK) << KEL_CMPERR();
            EXPECT_EQ(textOf(program.id), partner);
            EXPECT_EQ(program.send("too early"), CM_PROGRAM_STATE_CHECK);
            EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "called function STSEND in state AFTER_CMACCP");
            KEL_RAW other[8];
            EXPECT_EQ(byNiHandle ? KEL_CMACCPTP3(program.handle, 0, other, nullptr, nullptr)
                                 : KEL_CMACCPTP(program.handle, 0, other, nullptr),
                      CM_PROGRAM_STATE_CHECK);
            EXPECT_THAT(ErrGetFld(ERR_ERROR),
                        HasSubstr("Invalid register state (REG_RUNNING) to perform function KEL_CMACCPTP"));
            EXPECT_EQ(program.receive(), CM_OK);
            EXPECT_EQ(program.text, "question");
            EXPECT_EQ(program.send("reply"), CM_OK);
            EXPECT_EQ(program.deal(), CM_OK);
        }
        EXPECT_EQ(ownId[0], byNiHandle ? 'N' : 'H');
        EXPECT_EQ(std::stoi(ownId.substr(1)), program.handle);
        EXPECT_EQ(program.leave(), CM_OK);
        EXPECT_EQ(STIConvCount().current, 0);
    }
}

TEST(CpicServer, AStreamingPartnerIsNotAskedForData) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("STREAM01", {.info4 = 2});
        self.answer({.rqtype = 9, .dataReceived = 3, .status = 0, .data = "first"});
        self.answer({.rqtype = 9, .data = "last"});
        EXPECT_EQ(self.expect(11).size(), 80u) << "no request of data";
    });
    Program program;
    ASSERT_EQ(program.enter(gateway), CM_OK);
    ASSERT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.text, "first");
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.text, "last");
    EXPECT_EQ(program.deal(), CM_OK);
}

TEST(CpicServer, WhatAnAcceptMayMeet) {
    struct Case {
        const char* name;
        std::function<void(FakeGateway&)> script;  ///< Once the program is ready.
        CM_RETCODE rc;
        const char* error;
        bool stays;  ///< The registration.
    };
    const std::string trace = "\1CPIC    " + std::string(36, 'x');
    const auto refused = [](FakeGateway& self) {
        const std::string message = self.expect(11);
        EXPECT_EQ(message.substr(36, 4), number(766, 4));
        EXPECT_EQ(message.substr(80, 5), "*ERR*");
        self.expect(210);
    };
    const Case cases[] = {
        {"nothing", [](FakeGateway&) {}, CM_KEL_TIMEOUT_RETRY, "timeout during accept for handle", true},
        {"pings", [](FakeGateway& self) { self.answer({.rqtype = 206}); }, CM_KEL_PING_RECEIVED, "", true},
        {"shutdown", [](FakeGateway& self) { self.answer({.rqtype = 211, .kelRc = 731}); }, 18,
         "gateway shutdown", false},
        {"cancelled", [](FakeGateway& self) { self.answer({.rqtype = 211, .kelRc = 755}); }, 18,
         "connection canceled manually", false},
        {"another request", [](FakeGateway& self) { self.answer({.rqtype = 5}); }, 20, "invalid cpic request",
         false},
        {"the end", [](FakeGateway& self) { self.hangUp(); }, 20, "broken", false},
        {"a wrong version", [](FakeGateway& self) { self.give(std::string(80, '\5')); }, 20,
         "client with wrong appc header version rejected", false},
        {"a short secure record",
         [](FakeGateway& self) {
             self.answer({.rqtype = 207, .info2 = 32, .data = std::string(775, 'x')});
             self.expect(210);
         },
         17, "invalid length", true},
        {"a short trace record",
         [&](FakeGateway& self) {
             self.answer({.rqtype = 207, .info3 = 128, .data = trace.substr(1)});
             self.expect(210);
         },
         17, "invalid length", true},
        {"a secure partner",
         [&](FakeGateway& self) {
             self.answer({.rqtype = 207, .info2 = 32, .info3 = 128, .data = std::string(776, '\0') + trace});
             refused(self);
         },
         17, "VSL disabled for conversation PARTNERX, tp = PROGRAM.ID", true},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        std::promise<void> tried;
        FakeGateway gateway([&](FakeGateway& self) {
            self.openRegistration();
            self.expect(209);
            self.conversation = "PARTNERX";
            test.script(self);
            tried.get_future().wait();
        });
        Program program(true);
        ASSERT_EQ(program.enter(gateway), CM_OK);
        const bool waits = test.rc == CM_KEL_TIMEOUT_RETRY || test.rc == CM_KEL_PING_RECEIVED;
        ErrClear();
        EXPECT_EQ(program.accept(waits ? 1 : 30), test.rc);
        EXPECT_THAT(ErrGetFld(ERR_ERROR), HasSubstr(test.error));
        tried.set_value();
        EXPECT_EQ(program.leave(), test.stays ? CM_OK : CM_PARAMETER_ERROR);
        EXPECT_EQ(STIConvCount().current, 0);
    }
}

/** Entries of the table that nobody else can have meanwhile. */
class FullTable {
  public:
    FullTable() {
        while (CONV_PROTO* conv = STIGetNewConv())
            taken.push_back(conv);
    }
    ~FullTable() {
        for (CONV_PROTO* conv : taken)
            STIFreeConv(*conv);
    }
    FullTable(const FullTable&) = delete;
    FullTable& operator=(const FullTable&) = delete;

  private:
    std::vector<CONV_PROTO*> taken;
};

TEST(CpicServer, APartnerForWhomThereIsNoEntryIsToldSo) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        const std::string end = self.expect(11);
        EXPECT_EQ(end.substr(30, 10), std::string("\x10\0", 2) + number(17, 4) + number(466, 4));
        EXPECT_EQ(end.substr(40, 8), "PARTNER1");
        EXPECT_EQ(end.substr(78), number(77, 2) + end.substr(80));
        EXPECT_EQ(number(static_cast<unsigned>(end.size() - 80), 2), end.substr(8, 2));
        EXPECT_THAT(end.substr(80), HasSubstr("max no of 200 conversations exceeded"));
        EXPECT_EQ(self.expect(210).substr(40, 1), "N");
        self.answer({.rqtype = 9, .data = "what the partner said meanwhile"});
        self.givePartner("PARTNER2");
        self.expect(11);
    });
    Program program(true);
    ASSERT_EQ(program.enter(gateway), CM_OK);
    {
        const FullTable full;
        EXPECT_EQ(program.accept(-1), CM_PRODUCT_SPECIFIC_ERROR);
        EXPECT_THAT(KEL_CMPERR(), HasSubstr("max no of 200 conversations exceeded"));
    }
    EXPECT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(textOf(program.id), "PARTNER2");
    EXPECT_EQ(program.deal(), CM_OK);
}

TEST(CpicServer, TheEndOfTheLineEndsTheRegistrationToo) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        self.expect(9);
        self.hangUp();
    });
    Program program;
    ASSERT_EQ(program.enter(gateway), CM_OK);
    ASSERT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(program.receive(), CM_PRODUCT_SPECIFIC_ERROR);
    EXPECT_EQ(program.accept(0), CM_PARAMETER_ERROR);
    EXPECT_EQ(program.leave(), CM_PARAMETER_ERROR);
    EXPECT_EQ(STIConvCount().current, 0);
}

TEST(CpicServer, LeavingEndsThePartnersConversation) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        self.expect(208);
        EXPECT_EQ(self.take(), "");
    });
    Program program;
    ASSERT_EQ(program.enter(gateway), CM_OK);
    ASSERT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(program.leave(), CM_OK);
    EXPECT_EQ(program.receive(), CM_PARAMETER_ERROR);
    EXPECT_EQ(STIConvCount().current, 0);
}

TEST(CpicServer, ASignOfLifeTakesTheOfferBackForAMoment) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.expect(209);
        self.expect(210);
        self.givePartner("PARTNER1");  // offered anew
        self.expect(11);
        self.expect(210);
    });
    Program program;
    ASSERT_EQ(program.enter(gateway), CM_OK);
    EXPECT_EQ(program.accept(0), CM_KEL_TIMEOUT_RETRY);
    EXPECT_EQ(KEL_CMUNACCPTP(program.handle, nullptr), CM_OK);
    EXPECT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(program.deal(), CM_OK);
    EXPECT_EQ(KEL_CMUNACCPTP(99999, nullptr), CM_PARAMETER_ERROR);
}

TEST(CpicServer, ProgramIdsAndGatewaysThatAreRefused) {
    struct Case {
        std::string tp, host, service;
        const char* error;
    };
    const Case cases[] = {
        {"a*", "h", "1", "parameter=tpname / value=a* )"},
        {std::string(65, 'p'), "h", "1", "parameter=tpname"},
        {"", "h", "1", "parameter=tpname"},
        {"p", "", "1", "parameter=gwhost"},
        {"p", std::string(2049, 'h'), "1", "parameter=gwhost / value=2049 )"},
        {"p", "h", "", "parameter=gwserv"},
    };
    CPIC_INT handle;
    for (const Case& test : cases) {
        EXPECT_EQ(
            KEL_CMREGTP3(test.tp.c_str(), test.host.c_str(), test.service.c_str(), &handle, nullptr, nullptr),
            CM_PARAMETER_ERROR);
        EXPECT_THAT(ErrGetFld(ERR_ERROR), HasSubstr(test.error));
    }
    FakeGateway gateway([](FakeGateway& self) { self.openRegistration(), self.take(); });
    Program longest;
    EXPECT_EQ(longest.enter(gateway, std::string(64, 'p').c_str()), CM_OK);
}

/** Runs KEL_CMLISTEN until it names a program. */
Program* listenForOne() {
    for (;;) {
        const CM_RETCODE rc = KEL_CMLISTEN(10000, nullptr);
        EXPECT_EQ(rc, CM_OK) << KEL_CMPERR();
        if (rc != CM_OK) return nullptr;
        CPIC_INT handle = 0;
        void* ptr = nullptr;
        EXPECT_EQ(KEL_CMGETNEXTHDL(&handle, &ptr, nullptr), CM_OK);
        if (handle == 0) continue;  // only the set has changed
        EXPECT_EQ(handle, static_cast<Program*>(ptr)->handle);
        return static_cast<Program*>(ptr);
    }
}

TEST(CpicSelect, AConversationWaitsForItsNextBlock) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        self.expect(9);
        self.answer({.rqtype = 9, .data = "first"});
        const std::string request = self.expect(203);
        EXPECT_EQ(request.substr(80), number(6, 4) + number(28000, 4) + "answer");
        self.answer({.rqtype = 203, .data = "second and more"});
        self.expect(9);
        self.answer({.rqtype = 9, .data = "third"});
        self.expect(11);
    });
    Program program(true);
    ASSERT_EQ(program.enter(gateway), CM_OK);
    ASSERT_EQ(program.accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);
    ASSERT_EQ(listenForOne(), &program);
    ASSERT_EQ(program.accept(-1), CM_OK);
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.send("answer"), CM_OK);
    ASSERT_EQ(KEL_CMLISTEN3(program.id, nullptr, nullptr), CM_OK);
    ASSERT_EQ(listenForOne(), &program);
    EXPECT_EQ(program.receive(6), CM_OK);
    EXPECT_EQ(program.text, "second");
    // What has come already is ready at once, though the line is silent.
    ASSERT_EQ(KEL_CMLISTEN3(program.id, nullptr, nullptr), CM_OK);
    ASSERT_EQ(listenForOne(), &program);
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.text, " and more");
    ASSERT_EQ(KEL_CMLISTEN3(program.id, nullptr, nullptr), CM_OK);
    ASSERT_EQ(listenForOne(), &program);
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.text, "third");
    EXPECT_EQ(program.deal(), CM_OK);
}

/** `count` programs, each of which waits in the set for its partners and serves them. */
void serveMany(int count) {
    constexpr int partners = 2;
    std::deque<FakeGateway> gateways;
    std::deque<Program> programs;
    for (int i = 0; i < count; ++i) {
        FakeGateway& gateway = gateways.emplace_back([](FakeGateway& self) {
            self.openRegistration();
            for (int partner = 0; partner < partners; ++partner) {
                self.givePartner("PARTNER" + std::to_string(partner));
                self.expect(9);
                self.answer({.rqtype = 9, .data = "call"});
                self.expect(11);
                self.expect(210);
            }
            self.take();
        });
        Program& program = programs.emplace_back(true);
        ASSERT_EQ(program.enter(gateway), CM_OK) << KEL_CMPERR();
        ASSERT_EQ(program.accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);
    }
    std::map<Program*, int> served;
    for (int left = count * partners; left > 0; --left) {
        Program* program = listenForOne();
        ASSERT_NE(program, nullptr) << left << " partners weren't told of";
        ASSERT_EQ(program->accept(30), CM_OK) << KEL_CMPERR();
        EXPECT_EQ(program->receive(), CM_OK) << KEL_CMPERR();
        EXPECT_EQ(program->deal(), CM_OK);
        if (++served[program] == partners) continue;
        ASSERT_EQ(program->accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);
    }
}

TEST(CpicSelect, ManyRegistrationsInOneThread) {
    // In the last rounds handles come again: each value was another program's before.
    for (int round = 0; round < 10 && !HasFatalFailure(); ++round)
        serveMany(50);
    EXPECT_EQ(STIConvCount().current, 0);
}

TEST(CpicSelect, WhatHasEndedIsNotToldOf) {
    FakeGateway gateway([](FakeGateway& self) {
        self.openRegistration();
        self.givePartner("PARTNER1");
        self.expect(9);
        self.answer({.rqtype = 9, .data = "call"});
        self.expect(203);
        self.expect(11);
        self.expect(210);
        self.answer({.rqtype = 203, .data = "too late"});
        self.expect(208);
    });
    FakeGateway partner(
        [](FakeGateway& self) { self.open(), self.expect(203), self.expect(11), self.take(); });
    Program program(true);
    ASSERT_EQ(program.enter(gateway), CM_OK);
    ASSERT_EQ(program.accept(-1), CM_OK);
    ASSERT_EQ(program.receive(), CM_OK);
    Client client;
    ASSERT_EQ(client.open(partner), CM_OK);
    for (TestConversation* talk :
         {static_cast<TestConversation*>(&program), static_cast<TestConversation*>(&client)}) {
        ASSERT_EQ(talk->send("all"), CM_OK);
        ASSERT_EQ(KEL_CMLISTEN3(talk->id, nullptr, nullptr), CM_OK);
        EXPECT_EQ(talk->deal(), CM_OK);
        EXPECT_EQ(KEL_CMLISTEN(100, nullptr), CM_KEL_TIMEOUT_RETRY);
    }
}

TEST(CpicSelect, OtherThreadsReachTheSetWhileOneListens) {
    constexpr int rounds = 30;
    std::promise<void> stopped;
    std::thread listener([&] {
        std::future<void> stop = stopped.get_future();
        while (stop.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            if (KEL_CMLISTEN(20, nullptr) != CM_OK) continue;
            CPIC_INT handle = 0;
            void* ptr = nullptr;
            KEL_CMGETNEXTHDL(&handle, &ptr, nullptr);
            if (handle != 0) static_cast<std::promise<void>*>(ptr)->set_value();
        }
    });
    for (int round = 0; round < rounds; ++round) {
        const bool served = round % 3 == 0;  // else the program leaves while it waits
        std::promise<void> ready;
        FakeGateway gateway([served](FakeGateway& self) {
            self.openRegistration();
            self.expect(209);
            self.conversation = "PARTNER1";
            if (served) self.answer({.rqtype = 207});
            while (!self.take().empty()) {
            }
        });
        CPIC_INT handle = 0;
        KEL_RAW id[8];
        ASSERT_EQ(KEL_CMREGTP3("P", "127.0.0.1", gateway.service.c_str(), &handle, nullptr, nullptr), CM_OK);
        ASSERT_EQ(KEL_CMACCPTP3(handle, CPIC_ACCEPT_BY_LISTEN, id, &ready, nullptr), CM_OK);
        if (served) {
            ready.get_future().wait();
            EXPECT_EQ(KEL_CMACCPTP3(handle, -1, id, nullptr, nullptr), CM_OK);
        } else if (round % 3 == 1) {
            EXPECT_EQ(KEL_CMACCPTP3(handle, 0, id, &ready, nullptr), CM_KEL_TIMEOUT_RETRY);
        }
        EXPECT_EQ(KEL_CMUNREGTP3(handle, nullptr), CM_OK);
    }
    stopped.set_value();
    listener.join();
    EXPECT_EQ(STIConvCount().current, 0);
}

TEST(CpicSelect, OneThreadListensAtATime) {
    FakeGateway gateway([](FakeGateway& self) { self.openRegistration(), self.expect(209), self.take(); });
    Program program(true);
    ASSERT_EQ(program.enter(gateway), CM_OK);
    std::promise<CM_RETCODE> first;
    std::thread listener([&] {
        CM_RETCODE rc;
        while ((rc = KEL_CMLISTEN(60000, nullptr)) == CM_PROGRAM_STATE_CHECK) {
        }
        first.set_value(rc);
    });
    CM_RETCODE second;
    while ((second = KEL_CMLISTEN(0, nullptr)) == CM_KEL_TIMEOUT_RETRY) {
    }
    EXPECT_EQ(second, CM_PROGRAM_STATE_CHECK);
    ASSERT_EQ(program.accept(CPIC_ACCEPT_BY_LISTEN), CM_OK);  // wakes the listener
    EXPECT_EQ(first.get_future().get(), CM_OK);
    listener.join();
}

TEST(CpicStarted, JoinsTheConversationThatItWasStartedFor) {
    FakeGateway gateway([](FakeGateway& self) {
        const std::string record = self.take();
        ASSERT_EQ(record.size(), 64u);
        EXPECT_EQ(record[1], 3);
        EXPECT_EQ(record.substr(46, 8), "87654321");
        self.give(record);
        self.conversation = "87654321";
        const std::string request = self.expect(9);
        EXPECT_EQ(request[2], 3);
        EXPECT_EQ(request.substr(78, 2), number(5, 2));
        self.answer({.rqtype = 9, .data = "call"});
        self.expect(11);
    });
    std::string service = "GWSERV=" + gateway.service;
    const char* argv[] = {"prog",
                          "127.0.0.1",
                          "TRACE=0",
                          "CONVID=87654321",
                          service.c_str(),
                          "IDX=5",
                          "DT_ROOT_ID=0123456789abcdef0123456789ABCDEF",
                          nullptr};
    ASSERT_EQ(KEL_CMACCP(const_cast<KEL_CHAR**>(argv), nullptr), CM_OK);
    Program program;
    ASSERT_EQ(STACCP(program.id, nullptr), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(textOf(program.id), "87654321");
    EXPECT_EQ(program.receive(), CM_OK);
    EXPECT_EQ(program.text, "call");
    EXPECT_EQ(program.deal(), CM_OK);
}

TEST(CpicStarted, WithAProgramIdItRegistersForOnePartner) {
    for (const bool inTime : {true, false}) {
        FakeGateway gateway([inTime](FakeGateway& self) {
            self.openRegistration();
            self.expect(209);
            self.conversation = "PARTNER1";
            if (inTime) {
                self.answer({.rqtype = 207});
                self.expect(11);
                self.expect(210);
            }
            self.expect(208);
            EXPECT_EQ(self.take(), "");
        });
        const std::string service = "GWSERV=" + gateway.service;
        const char* argv[] = {
            "prog", "TP=PROGRAM.ID", "GWHOST=127.0.0.1", service.c_str(), inTime ? "TIMEOUT=30" : "TIMEOUT=0",
            nullptr};
        ASSERT_EQ(KEL_CMACCP(const_cast<KEL_CHAR**>(argv), nullptr), CM_OK);
        Program program;
        EXPECT_EQ(STACCP(program.id, nullptr), inTime ? CM_OK : CM_PRODUCT_SPECIFIC_ERROR);
        if (inTime)
            EXPECT_EQ(program.deal(), CM_OK);
        else
            EXPECT_THAT(ErrGetFld(ERR_ERROR), HasSubstr("timeout during accept for handle"));
        EXPECT_EQ(STIConvCount().current, 0);
    }
}

}  // namespace
