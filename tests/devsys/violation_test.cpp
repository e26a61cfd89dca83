/** Each kind of violation is noticed, named with its place, and answered by the end of the conversation. */
#include <gtest/gtest.h>

#include <functional>

#include "devclient.h"
#include "devsys/zordev.h"

namespace {

using namespace devclient;
using zordev::DevSystem;
using zordev::Violation;

const std::string PASSWORD = hex("01 00 00 00 83 E7 E0 3A 95 D7 6A");

// The violations are reported by the gateway's threads; each conversation here ends with a close.
std::vector<Violation> violationsOf(const std::function<void(Client&)>& talk) {
    DevSystem system;
    Client client(system.gatewayPort());
    talk(client);
    while (client.receive() != "closed") {
    }
    return system.violations();
}

// A message with one byte changed.
struct Change {
    std::size_t offset;
    unsigned char value;
    std::string field;
};

std::string changed(std::string message, const Change& change) {
    message[change.offset] = static_cast<char>(change.value);
    return message;
}

// The first violation names the field. An offset of 0 stands for a message that was wrong from the start.
void expectFirst(const std::vector<Violation>& violations, const Change& change) {
    ASSERT_FALSE(violations.empty()) << change.field;
    EXPECT_NE(violations[0].record.find(change.field), std::string::npos) << violations[0].toString();
    if (change.offset != 0) {
        EXPECT_LE(violations[0].offset, change.offset) << violations[0].toString();
    }
}

TEST(Violations, ConnectRecord) {
    const Change changes[] = {
        {0, 1, "connect record"},
        {2, 126, "hostaddr"},
        {9, 1, "hostaddr"},
        {19, 'x', "service"},
        {20, 'A', "code_page"},
        {24, 1, "fill"},
        {29, 7, "accept_info2"},
        {30, ' ', "lu"},
        {38, 0, "tp"},
        {46, '1', "conversation_ID"},
        {54, 5, "appchdr_version"},
        {55, 0, "accept_info"},
        {56, 0, "conn_idx"},
        {61, 1, "rc"},
        {62, 1, "echo_data"},
        {63, 1, "filler"},
    };
    for (const Change& change : changes) {
        expectFirst(violationsOf([&](Client& client) { client.send(changed(connectRecord(), change)); }),
                    change);
    }
}

TEST(Violations, InitializeConversation) {
    const Change changes[] = {
        {0, 5, "version"},
        {2, 9, "protocol"},
        {3, 1, "mode"},
        {4, 0, "uid"},
        {9, 1, "err_len"},
        {10, 0, "info2"},
        {11, 4, "trace_level"},
        {17, 1, "timeout"},
        {21, 0, "info4"},
        {27, 0, "kel_params_len"},
        {30, 1, "info"},
        {31, 2, "rqtype2"},
        {35, 1, "appc_rc"},
        {40, '0', "conversation_ID"},
        {48, ' ', "sdest"},
        {72, 'E', "ctype"},
        {73, 2, "client_info"},
        {74, 1, "end of NCMINIT"},
        {78, 0, "conn_idx"},
        {80, 0, "zordest"},
        {112, 2, "activateStreaming"},
        {113, 1, "dt_net"},
        {168, 1, "net_protocol"},
        {312, 1, "long_LU_name"},
        {340, 0, "user"},
        {372, 1, "cmscst"},
        {389, 0, "long_TP_name"},
    };
    for (const Change& change : changes) {
        expectFirst(violationsOf([&](Client& client) {
                        client.send(connectRecord());
                        client.receive();
                        client.send(changed(initializeRequest(), change));
                    }),
                    change);
    }
}

TEST(Violations, DataRequests) {
    const struct {
        std::function<std::string(const Client&)> message;
        Change change;
    } cases[] = {
        {[](const Client& c) { return c.sendReceiveRequest(logonStream()); }, {83, 0, "send_length"}},
        {[](const Client& c) { return c.sendReceiveRequest(logonStream(), 40000); },
         {0, 6, "requested_length"}},
        {[](const Client& c) { return c.sendReceiveRequest(logonStream()); }, {79, 9, "conn_idx"}},
        {[](const Client& c) { return c.sendReceiveRequest(logonStream()); }, {47, '9', "conversation_ID"}},
        {[](const Client& c) { return c.sendReceiveRequest(logonStream()); }, {31, 4, "rqtype2"}},
        {[](const Client& c) { return c.sendReceiveRequest(logonStream()); }, {30, 4, "info"}},
        {[](const Client& c) { return c.sendRequest(8, "x"); }, {30, 1, "info"}},
        {[](const Client& c) { return c.sendRequest(7, "x"); }, {51, 2, "send_length"}},
        {[](const Client& c) { return c.sendRequest(7, ""); }, {0, 6, "send_length"}},
        {[](const Client& c) { return c.receiveRequest(0); }, {0, 6, "requested_length"}},
        {[](const Client& c) { return c.receiveRequest(1); }, {63, 1, "RECEIVE"}},
        {[](const Client& c) { return c.bareRequest(213, 1); }, {0, 6, "info3"}},
        {[](const Client& c) { return c.bareRequest(5, 1); }, {1, 5, "rqtype"}},
        {[](const Client& c) { return c.bareRequest(13, 1); }, {1, 13, "rqtype"}},
        {[](const Client& c) { return c.bareRequest(11, 1); }, {0, 6, "info"}},
    };
    for (const auto& row : cases) {
        expectFirst(violationsOf([&](Client& client) {
                        client.open();
                        client.send(changed(row.message(client), row.change));
                    }),
                    row.change);
    }
}

TEST(Violations, TooManySendsWithoutAnswerAndBadFrames) {
    const auto sends = violationsOf([](Client& client) {
        client.open();
        for (int i = 0; i < 21; ++i)
            client.send(client.sendRequest(8, "x"));
    });
    ASSERT_EQ(sends.size(), 1U);
    EXPECT_EQ(sends[0].expected, "SEND_DATA after 20 ASEND_DATA");
    const auto tooLong = violationsOf([](Client& client) { client.sendRaw(be32(34049)); });
    ASSERT_EQ(tooLong.size(), 1U);
    EXPECT_EQ(tooLong[0].got, "34049");
}

// A stream with one piece replaced must be refused, with the offset of the item that is wrong or missing.
TEST(Violations, LogonStream) {
    const struct {
        std::string what, with;
        std::size_t offset;
    } cases[] = {
        {hex("E9 D6 D9 F0"), hex("E9 D6 D9 F1"), 0},
        {item(0x0101, hex("03 01 01 01 01 01 00 00")), item(0x0101, hex("03 00 01 01 01 01 00 00")), 12},
        {item(0x0101, hex("03 01 01 01 01 01 00 00")), "", 12},
        {item(0x0103, hex("00 00 0E 0B")), item(0x0103, hex("00 00 0E 09")), 26},
        {item(0x0106, hex("01 01 00 00 00 00 01 00 00 00 23")), "", 36},
        {item(0x0160, hex("00 00")), "", 53},
        {item(0x0114, "100"), "", 0x47},
        {item(0x0114, "100"), item(0x0114, "10"), 0x47},
        {item(0x0115, "E"), item(0x0115, "E") + item(0x0115, "E"), 87},
        {item(0x0501, hex("01")), item(0x0501), 87},
        {item(17, "E"), item(17, "3"), 109},
        {item(11, "753"), item(11, "75"), 0},
        {item(0x0502), item(0x0502, "x"), 0},
        {item(0x0102, "ZORPING"), item(0x0102, "ECHO_TABLE"), 0},
        {item(0xFFFF), item(0x0512) + item(0xFFFF), 0},
        {item(0xFFFF), item(0xFFFF) + "x", 0},
        {item(0xFFFF), "", 0},
        {item(0xFFFF), hex("FF FF 00 00 FF FE"), 0},
    };
    for (const auto& row : cases) {
        std::string stream = logonStream();
        const std::size_t at = stream.find(row.what);
        ASSERT_NE(at, std::string::npos);
        stream.replace(at, row.what.size(), row.with);
        const auto violations = violationsOf([&](Client& client) {
            client.open();
            const std::string answer = client.exchange(stream);
            EXPECT_NE(answer.find("PROTOCOL_VIOLATION"), std::string::npos);
        });
        ASSERT_EQ(violations.size(), 1U) << at;
        if (row.offset != 0) {
            EXPECT_EQ(violations[0].offset, row.offset) << violations[0].toString();
        }
    }
}

TEST(Violations, CallStream) {
    const std::string lines = item(0x0301, "LINES");
    const std::string row = item(0x0303, pad("", 100));
    const std::string cases[] = {
        callStream("ECHO_SCALARS", item(0x0203, "x")),
        callStream("ECHO_SCALARS", item(0x0201, "I_INT") + item(0x0203, "abc")),
        callStream("ECHO_SCALARS", item(0x0201, "I_INT")),
        callStream("ECHO_SCALARS", item(0x0201, "E_INT") + item(0x0203, "abcd")),
        callStream("ECHO_SCALARS", item(0x0205, "I_INT")),
        callStream("ECHO_SCALARS", item(0x0205, "E_INT") + item(0x0205, "E_INT")),
        callStream("ECHO_SCALARS", item(0x0201, "I_INT1") + item(0x0203, "a") + item(0x0205, "E_INT")),
        callStream("ECHO_STRINGS", item(0x0201, "I_STRING") + item(0x0203, "abc")),
        callStream("ECHO_STRINGS", item(0x0201, "I_STRING") + item(0x0203, hex("61 FF 00"))),
        callStream("ECHO_TABLE", lines + item(0x0302, be32(99) + be32(1)) + item(0x0303, pad("", 99))),
        callStream("ECHO_TABLE", lines + item(0x0302, be32(100) + be32(2)) + row),
        callStream("ECHO_TABLE", lines + item(0x0302, be32(100) + be32(1)) + row + row),
        callStream("ECHO_TABLE", lines + item(0x0302, be32(100) + be32(1)) + item(0x0303, "short")),
        callStream("ECHO_TABLE", lines + row),
        item(0x0502) + item(11, "753") + item(0x0102, "ZOR_PING") + item(0xFFFF),
        logonStream().substr(12),
    };
    for (const std::string& stream : cases) {
        const auto violations = violationsOf([&](Client& client) {
            client.open();
            client.exchange(logonStream("ZORPING", "100", PASSWORD));
            const std::string answer = client.exchange(stream);
            EXPECT_NE(answer.find("PROTOCOL_VIOLATION"), std::string::npos);
        });
        EXPECT_EQ(violations.size(), 1U) << stream;
    }
}

}  // namespace
