#include "krn/si/cpic/cpic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

#include "base/dptrc/err.h"
#include "krn/si/cpic/cpicconv.h"
#include "krn/si/gw/gwenum.h"
#include "tests/krn/si/cpic/conversation.h"
#include "tests/krn/si/cpic/fakegateway.h"

using testing::HasSubstr;

namespace {

/** ms for each step of an opening. The layer reads it once, so it stands before the first test runs. */
constexpr const char* CONNECT_TIMEOUT = "2000";
const bool limited = setenv("CPIC_CONNECT_TIMEOUT", CONNECT_TIMEOUT, 1) == 0;

/** Runs a client against a script that starts once the conversation stands, opened with `info4`. */
void converse(const std::function<void(FakeGateway&)>& script, const std::function<void(Client&)>& work,
              int info4 = 0) {
    FakeGateway gateway([&script, info4](FakeGateway& self) {
        self.open(info4);
        script(self);
    });
    Client client;
    ASSERT_EQ(client.open(gateway), CM_OK) << KEL_CMPERR();
    work(client);
}

TEST(Cpic, OpeningByHand) {
    FakeGateway gateway([](FakeGateway& self) {
        const std::string record = self.take();
        ASSERT_EQ(record.size(), 64u);
        EXPECT_EQ(record.substr(0, 10), std::string("\2\3\0\0\x7F\0\0\1\0\0", 10));
        EXPECT_EQ(record.substr(46), std::string("        \6\xCB\xFF\xFF\0\0\0\0\0\0", 18));
        std::string answer = record;
        answer[29] = 4;
        answer[55] = static_cast<char>(0xC9);
        answer[62] = 1;
        self.give(answer);
        EXPECT_EQ(self.take(), answer) << "the echo";

        const std::string init = self.expect(1);
        ASSERT_EQ(init.size(), 453u);
        EXPECT_EQ(init.substr(0, 16), std::string("\6\1\2\0\xFF\xFF\0\0\0\0\1\0\0\0\0\0", 16));
        EXPECT_EQ(init.substr(16, 32),
                  std::string("\xC0\0\0\0\0\4\0\0\0\0\1\x75\0\0\5\0\0\0\0\0\0\0\0\0        ", 32));
        EXPECT_EQ(init.substr(48, 28), std::string("TSLZOR  partner keldp00 I\1\0\0", 28));
        EXPECT_EQ(init.substr(80, 33), "TSLZOR" + std::string(26, ' ') + '\0');
        EXPECT_EQ(init.substr(113, 9), "\1CPIC    ");
        EXPECT_EQ(init.substr(158, 11), std::string("\xFF\xFF\xFF\xFE\xFF\xFF\xFF\xFE\2\0\0", 11));
        EXPECT_EQ(init.substr(185, 8), std::string("partner\0", 8));
        EXPECT_EQ(init.substr(389, 8), std::string("keldp00\0", 8));
        self.answer({.rqtype = 1});

        const std::string name = self.expect(15);
        ASSERT_EQ(name.size(), 224u);
        EXPECT_EQ(name[10], 1);
        EXPECT_EQ(name[30], 4);
        EXPECT_EQ(name.substr(26, 2), number(144, 2));
        EXPECT_EQ(name.substr(40, 20), "12345678partner " + number(7, 4));
        EXPECT_EQ(name.substr(76, 4), "\xFF\xFF" + number(77, 2));
        const std::string allocate = self.expect(5);
        EXPECT_EQ(allocate.size(), 80u);
        EXPECT_EQ(allocate[30], 1);
        self.answer({.rqtype = 5});
        const std::string end = self.expect(11);
        EXPECT_EQ(end.size(), 80u);
        EXPECT_EQ(end[30], 0);
    });
    Client client;
    ASSERT_EQ(client.open(gateway), CM_OK) << KEL_CMPERR();
    EXPECT_EQ(client.deal(), CM_OK);
    EXPECT_EQ(client.deal(), CM_PARAMETER_ERROR);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "no conversation found with id 12345678");
}

TEST(Cpic, OneBlockAndItsReceiveAreOneMessage) {
    converse(
        [](FakeGateway& self) {
            const std::string request = self.expect(203);
            EXPECT_EQ(request.size(), 93u);
            EXPECT_EQ(request.substr(26, 6), number(8, 2) + std::string("\0\0\5\x0C", 4));
            EXPECT_EQ(request.substr(48, 4), number(5, 4));
            EXPECT_EQ(request.substr(80), number(5, 4) + number(28000, 4) + "hello");
            self.answer({.rqtype = 203, .data = "world"});
            EXPECT_EQ(self.expect(9).substr(48, 4), number(28000, 4));
            self.answer({.rqtype = 9, .status = 0, .data = "more"});
        },
        [](Client& client) {
            EXPECT_EQ(client.send("hello"), CM_OK);
            EXPECT_EQ(client.receive(), CM_OK);
            EXPECT_EQ(client.text, "world");
            EXPECT_EQ(client.status, CM_SEND_RECEIVED);
            EXPECT_EQ(client.data, CM_COMPLETE_DATA_RECEIVED);
            EXPECT_EQ(client.receive(), CM_OK);
            EXPECT_EQ(client.text, "more");
            EXPECT_EQ(client.status, CM_NO_STATUS_RECEIVED);
        });
}

TEST(Cpic, TheSixthSendWaits) {
    converse(
        [](FakeGateway& self) {
            for (const char c : std::string("12345")) {
                const std::string block = self.expect(8);
                EXPECT_EQ(block[30], 0);
                EXPECT_EQ(block[31], 4);
                EXPECT_EQ(block.substr(80), std::string(1, c));
            }
            EXPECT_EQ(self.expect(7)[30], 1);
            self.answer({.rqtype = 7});
            EXPECT_EQ(self.expect(8).substr(80), "7");
            self.expect(9);
            self.answer({.rqtype = 9});
        },
        [](Client& client) {
            for (const char c : std::string("1234567"))
                EXPECT_EQ(client.send(std::string(1, c)), CM_OK);
            EXPECT_EQ(client.receive(), CM_OK);
        });
}

TEST(Cpic, AStreamingGatewayPushesAfterOneRequest) {
    converse(
        [](FakeGateway& self) {
            self.expect(9);
            self.answer({.rqtype = 9, .dataReceived = 3, .status = 0, .data = "one"});
            self.answer({.rqtype = 9, .dataReceived = 3, .status = 0, .data = "twothree"});
            self.answer({.rqtype = 9, .data = "four"});
            // With the right to send the next receive is a request again.
            for (int i = 0; i < 20; ++i)
                self.expect(8);
            self.expect(7);
            self.answer({.rqtype = 7});
            self.expect(9);
            self.answer({.rqtype = 9, .data = "five"});
        },
        [](Client& client) {
            // The blocks may be larger than what one call has room for.
            for (const char* piece : {"one", "twot", "hree", "four"}) {
                EXPECT_EQ(client.receive(4), CM_OK);
                EXPECT_EQ(client.text, piece);
                const bool last = client.text == "four";
                EXPECT_EQ(client.status, last ? CM_SEND_RECEIVED : CM_NO_STATUS_RECEIVED) << piece;
            }
            for (int i = 0; i < 21; ++i)
                EXPECT_EQ(client.send("x"), CM_OK);
            EXPECT_EQ(client.receive(), CM_OK);
            EXPECT_EQ(client.text, "five");
        },
        GW_WITH_STREAMING);
}

TEST(Cpic, TheKeptBlockGoesOutBeforeTheEnd) {
    converse(
        [](FakeGateway& self) {
            const std::string block = self.expect(8);
            EXPECT_EQ(block.substr(80), "last words");
            EXPECT_EQ(block[31], 20);
            self.expect(11);
            EXPECT_EQ(self.take(), "");
        },
        [](Client& client) {
            EXPECT_EQ(client.send("last words"), CM_OK);
            EXPECT_EQ(client.deal(), CM_OK);
        });
}

TEST(Cpic, ATimedOutReceiveIsRepeatedWithoutARequest) {
    std::promise<void> timedOut;
    converse(
        [&](FakeGateway& self) {
            self.expect(203);
            self.answer({.rqtype = 206});  // a ping: no answer
            timedOut.get_future().wait();
            EXPECT_TRUE(self.silent());
            self.answer({.rqtype = 203, .data = "late"});
        },
        [&](Client& client) {
            EXPECT_EQ(client.send("x"), CM_OK);
            EXPECT_EQ(client.limit(20), CM_OK);
            EXPECT_EQ(client.receive(), CM_KEL_TIMEOUT_RETRY);
            EXPECT_EQ(client.send("y"), CM_PRODUCT_SPECIFIC_ERROR);
            timedOut.set_value();
            EXPECT_EQ(client.limit(-1), CM_OK);
            EXPECT_EQ(client.receive(), CM_OK);
            EXPECT_EQ(client.text, "late");
        });
}

TEST(Cpic, MoreThanWasAskedForComesInPieces) {
    converse(
        [](FakeGateway& self) {
            self.expect(9);
            self.answer({.rqtype = 9, .data = "abcdefgh"});
        },
        [](Client& client) {
            const char* pieces[] = {"abc", "def", "gh"};
            for (const char* piece : pieces) {
                EXPECT_EQ(client.receive(3), CM_OK);
                EXPECT_EQ(client.text, piece);
                EXPECT_EQ(client.data,
                          piece == pieces[2] ? CM_COMPLETE_DATA_RECEIVED : CM_INCOMPLETE_DATA_RECEIVED);
                EXPECT_EQ(client.status, piece == pieces[2] ? CM_SEND_RECEIVED : CM_NO_STATUS_RECEIVED);
            }
        });
}

TEST(Cpic, RawDataAreTracedAsTheirCoverLeavesThem) {
    const std::string name = testing::TempDir() + "cpic_raw_" + std::to_string(getpid());
    ASSERT_EQ(KEL_CMTRACE(2, name.c_str(), nullptr), CM_OK);
    std::vector<std::string> pieces;
    const CPIC_DATA_COVER cover = [](void* context, bool incoming, unsigned piece,
                                     std::span<KEL_RAW> copy) noexcept {
        static_cast<std::vector<std::string>*>(context)->push_back((incoming ? "in " : "out ") +
                                                                   std::to_string(piece) + " " +
                                                                   std::string(copy.begin(), copy.end()));
        std::ranges::fill(copy, KEL_RAW{0x2A});
    };
    converse(
        [](FakeGateway& self) {
            for (int i = 0; i < 3; ++i)
                self.expect(8);
            self.expect(9);
            self.answer({.rqtype = 9, .data = "abcdefgh"});
            self.expect(203);
            self.answer({.rqtype = 203, .data = "ij"});
        },
        [&](Client& client) {
            STISearchConv(client.id)->trace_raw = 1;
            EXPECT_EQ(client.send("logon"), CM_OK);
            EXPECT_EQ(client.send("1"), CM_OK);
            EXPECT_EQ(KEL_CMDATAOPEN(client.id, cover, &pieces, nullptr), CM_OK);
            EXPECT_EQ(client.send("2"), CM_OK);
            EXPECT_EQ(client.receive(5), CM_OK);
            EXPECT_EQ(client.receive(5), CM_OK);
            EXPECT_EQ(client.send("3"), CM_OK);
            EXPECT_EQ(client.receive(), CM_OK);
        });
    EXPECT_THAT(pieces, testing::ElementsAre("out 2 2", "in 0 abcde", "in 1 fgh", "out 0 3", "in 0 ij"));
    ASSERT_EQ(KEL_CMTRACE(0, name.c_str(), nullptr), CM_OK);
    std::ifstream file(name);
    const std::string trace{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(trace, HasSubstr("000000  2a 2a 2a 2a 2a\n"));
    EXPECT_EQ(trace.find(" 61 62"), trace.npos);
    EXPECT_EQ(trace.find(" 6c 6f"), trace.npos) << "the logon";
    unlink(name.c_str());
}

TEST(Cpic, EndsOfTheConversation) {
    struct Case {
        const char* name;
        FakeGateway::Answer answer;
        CM_RETCODE rc;
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"normal with data", {.rqtype = 9, .appcRc = 18, .data = "sorry"}, 18, "sorry", ""},
        {"abend",
         {.rqtype = 9, .appcRc = 17, .kelRc = 227},
         17,
         "",
         "Return codes ( function=RECEIVE / CPIC-RC=CM_DEALLOCATED_ABEND / KEL-RC=GW_WP_DIED )"},
        {"with an error block",
         {.rqtype = 9, .appcRc = 27, .info = 16, .error = errorBlock("gone")},
         27,
         "",
         "gone"},
        {"with both",
         {.rqtype = 9, .appcRc = 18, .info = 16, .error = errorBlock("gone"), .data = "data"},
         18,
         "data",
         "gone"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        converse(
            [&](FakeGateway& self) {
                self.expect(9);
                self.answer(test.answer);
                EXPECT_EQ(self.take(), "");
            },
            [&](Client& client) {
                EXPECT_EQ(client.receive(), test.rc);
                EXPECT_EQ(client.text, test.text);
                EXPECT_STREQ(ErrGetFld(ERR_ERROR), test.error);
                EXPECT_EQ(client.receive(), CM_PARAMETER_ERROR);
            });
    }
}

TEST(Cpic, BrokenAndWrongAnswersEndTheConversation) {
    struct Case {
        const char* name;
        std::function<void(FakeGateway&)> answer;
        const char* error;
    };
    const Case cases[] = {
        {"closed", [](FakeGateway& self) { self.hangUp(); }, "broken"},
        {"cut", [](FakeGateway& self) { self.raw(number(80, 4) + "\6\11"), self.hangUp(); }, "broken"},
        {"short", [](FakeGateway& self) { self.give("\6"); }, "read from KEL gateway failed"},
        {"wrong version", [](FakeGateway& self) { self.give(std::string(80, '\5')); },
         "client with wrong appc header version rejected"},
        {"too long", [](FakeGateway& self) { self.raw(number(34049, 4)); }, "internal error"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        converse(
            [&](FakeGateway& self) {
                self.expect(9);
                test.answer(self);
            },
            [&](Client& client) {
                EXPECT_EQ(client.receive(), CM_PRODUCT_SPECIFIC_ERROR);
                EXPECT_THAT(ErrGetFld(ERR_ERROR), HasSubstr(test.error));
                EXPECT_EQ(client.send("x"), CM_PARAMETER_ERROR);
            });
    }
}

TEST(Cpic, FailuresWhileOpening) {
    struct Case {
        const char* name;
        std::function<void(FakeGateway&)> script;
        const char* error;
    };
    const auto refuse = [](FakeGateway& self, const std::string& block) {
        std::string record = self.take();
        record.replace(58, 4, number(236, 4));
        self.give(record + block);
    };
    const Case cases[] = {
        {"closed at once", [](FakeGateway&) {}, "broken"},
        {"closed after the record", [](FakeGateway& self) { self.take(); }, "broken"},
        {"short answer", [](FakeGateway& self) { self.take(), self.give("\2\3"); }, "Incomplete answer"},
        {"refused", [&](FakeGateway& self) { refuse(self, ""); }, "KEL-RC=GW_CONNECT_FAILED"},
        {"refused with reason", [&](FakeGateway& self) { refuse(self, errorBlock("not you")); }, "not you"},
        {"closed after the request", [](FakeGateway& self) { self.connect(), self.take(); }, "broken"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FakeGateway gateway(test.script);
        Client client;
        EXPECT_EQ(client.init(gateway), CM_PRODUCT_SPECIFIC_ERROR);
        EXPECT_THAT(KEL_CMPERR(), HasSubstr(test.error));
    }
}

TEST(Cpic, ADuplicateIdIsReplacedForTheCallerOnly) {
    const auto script = [](FakeGateway& self) {
        self.open();
        EXPECT_EQ(self.expect(11).substr(40, 8), "12345678");
    };
    FakeGateway first(script), second(script);
    Client one, two;
    ASSERT_EQ(one.open(first), CM_OK);
    ASSERT_EQ(two.open(second), CM_OK);
    EXPECT_EQ(std::string(one.id, one.id + 8), "12345678");
    EXPECT_EQ(std::string(two.id, two.id + 8), "02345678");
    EXPECT_EQ(one.deal(), CM_OK);
    EXPECT_EQ(two.deal(), CM_OK);
}

TEST(Cpic, CancelDropsTheLateAnswer) {
    converse(
        [](FakeGateway& self) {
            self.expect(9);
            const std::string request = self.expect(213);
            EXPECT_EQ(request.size(), 80u);
            EXPECT_EQ(request[16], 8);
            EXPECT_EQ(request[30], 1);
            self.answer({.rqtype = 9, .data = "late"});
            self.answer({.rqtype = 213});
            self.expect(11);
        },
        [](Client& client) {
            EXPECT_EQ(client.limit(1), CM_OK);
            EXPECT_EQ(client.receive(), CM_KEL_TIMEOUT_RETRY);
            const CPIC_INT soft = 1;
            EXPECT_EQ(KEL_CMCANCEL(client.id, &soft, nullptr), CM_OK);
            EXPECT_EQ(client.deal(), CM_OK);
        });
}

TEST(Cpic, ASilentGatewayEndsEachStepOfTheOpening) {
    ASSERT_TRUE(limited);
    struct Case {
        const char* name;
        std::function<void(FakeGateway&)> script;
        const char* error;
        CM_RETCODE rc;
    };
    const Case cases[] = {
        {"connect", [](FakeGateway& self) { self.take(); }, "connection to client broken (read)",
         CM_PRODUCT_SPECIFIC_ERROR},
        {"pings",
         [](FakeGateway& self) {
             self.take();
             do
                 self.give(std::string("NI_PING\0", 8));
             while (!self.take().empty());
         },
         "connection to client broken (read)", CM_PRODUCT_SPECIFIC_ERROR},
        {"initialize", [](FakeGateway& self) { self.connect(), self.expect(1); },
         "timeout during blocking read", CM_PRODUCT_SPECIFIC_ERROR},
        {"allocate",
         [](FakeGateway& self) {
             self.connect(), self.expect(1);
             self.answer({.rqtype = 1});
             self.expect(15), self.expect(5);
         },
         "timeout during allocate to LU partner, TP keldp00 after 2 sec", CM_KEL_TIMEOUT_RETRY},
    };
    std::vector<std::thread> threads;
    for (const Case& test : cases)
        threads.emplace_back([&test] {
            SCOPED_TRACE(test.name);
            std::string last;
            {
                FakeGateway gateway([&](FakeGateway& self) {
                    test.script(self);
                    for (std::string more; !(more = self.take()).empty();)
                        last = more;
                });
                Client client;
                EXPECT_EQ(client.open(gateway), test.rc);
                EXPECT_STREQ(ErrGetFld(ERR_ERROR), test.error);
                EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "timeout 2000 msecs");
                client.deal();
            }
            // The gateway has seen the end of the line; an entry that was left open would have kept it.
            EXPECT_EQ(last.empty() ? 0 : last[1], test.rc == CM_KEL_TIMEOUT_RETRY ? 11 : 0);
        });
    for (std::thread& thread : threads)
        thread.join();
}

/** Sends blocks until the gateway takes no more; returns how many went out, the last of them in part. */
unsigned fill(Client& client, unsigned limit) {
    keepSmall(client.id);
    EXPECT_EQ(client.limit(20), CM_OK);
    for (unsigned count = 0; count < limit; ++count)
        if (client.send(std::string(28000, static_cast<char>('a' + count % 26))) == CM_KEL_TIMEOUT_RETRY)
            return count;
    return limit;
}

TEST(Cpic, ASendThatIsHeldUpGoesOnWhereItStopped) {
    std::promise<void> full;
    std::string taken;
    unsigned held = 0;
    constexpr unsigned most = 20;
    const auto block = [](unsigned i) { return std::string(28000, static_cast<char>('a' + i % 26)); };
    {
        FakeGateway gateway([&](FakeGateway& self) {
            self.connect();
            self.expect(1);
            self.answer({.rqtype = 1, .info4 = 2});  // streaming: twenty sends go unanswered
            self.expect(15);
            self.expect(5);
            self.answer({.rqtype = 5});
            full.get_future().wait();
            for (std::string message; !(message = self.take()).empty();) {
                if (message[1] == 11) break;
                taken += message.substr(80, 1) + message.substr(message.size() - 1);
                if (message[1] == 7) self.answer({.rqtype = 7});
            }
        });
        Client client;
        ASSERT_EQ(client.open(gateway), CM_OK);
        held = fill(client, most);
        ASSERT_LT(held, most);
        EXPECT_STREQ(ErrGetFld(ERR_ERROR), "write to KEL gateway failed");
        EXPECT_EQ(client.send(block(held)), CM_KEL_TIMEOUT_RETRY);
        full.set_value();
        EXPECT_EQ(client.limit(-1), CM_OK);
        EXPECT_EQ(client.send(block(held)), CM_OK);
        EXPECT_EQ(client.send(block(held + 1)), CM_OK);
        EXPECT_EQ(client.deal(), CM_OK);
    }
    std::string wanted;
    for (unsigned i = 0; i <= held + 1; ++i)
        wanted += std::string(2, static_cast<char>('a' + i % 26));
    EXPECT_EQ(taken, wanted);
}

TEST(Cpic, NothingFollowsAMessageThatWasCut) {
    struct Case {
        const char* name;
        CM_RETCODE (*end)(Client&);
        CM_RETCODE rc;
    };
    const Case cases[] = {
        {"cancel",
         [](Client& client) {
             const CPIC_INT soft = 1;
             return KEL_CMCANCEL(client.id, &soft, nullptr);
         },
         CM_DEALLOCATED_NORMAL},
        {"end", [](Client& client) { return client.deal(); }, CM_PRODUCT_SPECIFIC_ERROR},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FakeGateway gateway([](FakeGateway& self) {
            self.connect();
            self.expect(1);
            self.answer({.rqtype = 1, .info4 = 2});
            self.expect(15), self.expect(5);
            self.answer({.rqtype = 5});
            self.standStill();
        });
        Client client;
        ASSERT_EQ(client.open(gateway), CM_OK);
        ASSERT_LT(fill(client, 20), 20u);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(test.end(client), test.rc);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
        EXPECT_EQ(client.deal(), CM_PARAMETER_ERROR);
    }
}

TEST(Cpic, AnEndWhoseLastBlockCannotGo) {
    for (const bool breaks : {true, false}) {  // else the gateway takes nothing
        SCOPED_TRACE(breaks);
        std::promise<void> broken;
        FakeGateway gateway([&](FakeGateway& self) {
            self.open();
            if (!breaks) self.standStill();
            self.reset();
            broken.set_value();
        });
        Client client;
        ASSERT_EQ(client.open(gateway), CM_OK);
        keepSmall(client.id, 1);
        EXPECT_EQ(client.limit(20), CM_OK);
        ASSERT_EQ(client.send(std::string(32000, 'x')), CM_OK);
        if (breaks)
            broken.get_future().wait();
        else
            EXPECT_EQ(STFLUS(client.id, nullptr), CM_KEL_TIMEOUT_RETRY);
        EXPECT_EQ(client.deal(), CM_PRODUCT_SPECIFIC_ERROR);
        EXPECT_EQ(client.deal(), CM_PARAMETER_ERROR);
        EXPECT_EQ(STIConvCount().current, 0);
    }
}

TEST(Cpic, PingsDoNotProlongAWait) {
    std::atomic<bool> done = false;
    converse(
        [&](FakeGateway& self) {
            self.expect(9);
            while (!done)
                self.answer({.rqtype = 206});
        },
        [&](Client& client) {
            EXPECT_EQ(client.limit(50), CM_OK);
            EXPECT_EQ(client.receive(), CM_KEL_TIMEOUT_RETRY);
            done = true;
        });
}

TEST(Cpic, ACancelWithoutAnAnswerHangsUp) {
    converse(
        [](FakeGateway& self) {
            self.expect(9);
            self.expect(213);
            EXPECT_EQ(self.take(), "");
        },
        [](Client& client) {
            EXPECT_EQ(client.limit(1), CM_OK);
            EXPECT_EQ(client.receive(), CM_KEL_TIMEOUT_RETRY);
            const CPIC_INT soft = 1;
            EXPECT_EQ(KEL_CMCANCEL(client.id, &soft, nullptr), CM_DEALLOCATED_NORMAL);
            EXPECT_EQ(client.deal(), CM_PARAMETER_ERROR);
        });
}

TEST(Cpic, BadArguments) {
    converse(
        [](FakeGateway& self) { EXPECT_EQ(self.expect(8).size(), 32080u); },
        [](Client& client) {
            EXPECT_EQ(client.send(std::string(32001, 'x')), CM_PARAMETER_ERROR);
            EXPECT_STREQ(ErrGetFld(ERR_ERROR),
                         "illegal parameter value ( function=STSEND / parameter=send_length / value=32001 )");
            EXPECT_EQ(client.receive(32001), CM_PARAMETER_ERROR);
            const CPIC_INT length = 129;
            EXPECT_EQ(STSPLN(client.id, std::string(129, 'h').c_str(), &length, nullptr), CM_PARAMETER_ERROR);
            EXPECT_EQ(client.send(std::string(32000, 'x')), CM_OK);
            EXPECT_EQ(client.deal(), CM_OK);
        });
}

}  // namespace
