/** A conversation byte by byte, from the connect record to the end, and what must not stand in it. */
#include <gtest/gtest.h>

#include <functional>

#include "devclient.h"
#include "devsys/zordev.h"

namespace {

using namespace devclient;
using zordev::DevSystem;
using zordev::Faults;

// "welcome" under the key 1, least byte first; the codec tests work the first bytes out.
const std::string PASSWORD = hex("01 00 00 00 83 E7 E0 3A 95 D7 6A");

std::string logonOn(Client& client, std::string_view function = "ZORPING") {
    client.open();
    return client.exchange(logonStream(function, "100", PASSWORD));
}

TEST(Conversation, LogonAndEchoWithoutViolation) {
    DevSystem system;
    Client client(system.gatewayPort());
    ASSERT_TRUE(client.connected());
    ASSERT_EQ(client.open(), "00000001");

    const std::string logon = client.exchange(logonStream("ZORPING", "100", PASSWORD));
    const std::string session = headerItems().substr(0, 14) + item(0x0103, hex("00 00 0E 09")) +
                                item(0x0106, hex("01 01 00 00 00 00 01 00 00 00 23")) + item(7, "127.0.0.1") +
                                item(17, "3") + item(18, "753") + item(19, "753") + item(8, "zordev_ZDV_00") +
                                item(6, "zordev_ZDV_00") + item(304, "zordev") + item(336, "DEMO") +
                                item(337, "100") + item(338, "E") + hex("FF FF 00 00 FF FF");
    EXPECT_EQ(dataOf(logon), session);
    EXPECT_EQ(fieldsOf(logon), (AnswerFields{0, 2, static_cast<unsigned>(session.size()), 1}));

    const std::string wanted = item(0x0205, "E_INT") + item(0x0205, "E_CHAR") + item(0x0205, "E_DATE");
    const std::string text = pad("Gruss", 20);
    const std::string given = item(0x0201, "I_CHAR") + item(0x0203, text) + item(0x0201, "I_INT") +
                              item(0x0203, hex("2A 00 00 00"));
    const std::string echo = client.exchange(callStream("ECHO_SCALARS", wanted + given));
    EXPECT_EQ(dataOf(echo), item(0x0201, "E_CHAR") + item(0x0203, text) + item(0x0201, "E_DATE") +
                                item(0x0203, "00000000") + item(0x0201, "E_INT") +
                                item(0x0203, hex("2A 00 00 00")) + hex("FF FF 00 00 FF FF"));
    client.send(client.bareRequest(11, 0));
    EXPECT_EQ(client.receive(), "closed");
    EXPECT_EQ(system.violationText(), "");
    ASSERT_EQ(system.requests().size(), 2U);
    EXPECT_EQ(system.requests()[0].text(0x0111), "DEMO");
    EXPECT_EQ(system.requests()[1].function, "ECHO_SCALARS");
}

TEST(Conversation, InitialAndAllocateAnswersNameTheConversation) {
    DevSystem system;
    Client client(system.gatewayPort());
    client.send(connectRecord());
    std::string expected = connectRecord();
    expected[55] = 0x4B;
    expected[29] = 0x06;
    EXPECT_EQ(client.receive(), expected);
    client.send(initializeRequest());
    EXPECT_EQ(client.receive(), hex("06 01 02 00 FF FF") + pad("", 15, '\0') + hex("02") + pad("", 18, '\0') +
                                    "00000001" + pad("", 28, '\0') + hex("FF FF 00 01"));
}

// The stream that the gateway gives back whole: 300 rows of 100 bytes.
const std::string LONG_TABLE = [] {
    std::string rows;
    for (int i = 0; i < 300; ++i)
        rows += item(0x0303, pad("row " + std::to_string(i), 100));
    return item(0x0301, "LINES") + item(0x0302, be32(100) + be32(300)) + rows;
}();

// A request above one block: the first one goes out alone, the second has the right to send.
void sendLongTable(Client& client, unsigned requested) {
    const std::string stream = callStream("ECHO_TABLE", item(0x0205, "LINES") + LONG_TABLE);
    client.send(client.sendRequest(8, stream.substr(0, 28000)));
    client.send(client.sendReceiveRequest(stream.substr(28000), requested));
}

TEST(Conversation, LongAnswersComeInPiecesOfWhatWasAskedFor) {
    zordev::DevOptions options;
    options.capabilities.acceptInfo2 = 0x04;  // without streaming
    DevSystem system(options);
    Client client(system.gatewayPort());
    logonOn(client);
    sendLongTable(client, 28000);
    const std::string first = client.receive();
    EXPECT_EQ(fieldsOf(first), (AnswerFields{0, 3, 28000, 0}));
    client.send(client.receiveRequest(1000));
    const std::string second = client.receive();
    EXPECT_EQ(fieldsOf(second), (AnswerFields{0, 3, 1000, 0}));
    client.send(client.receiveRequest(28000));
    const std::string third = client.receive();
    const std::string whole = LONG_TABLE + hex("FF FF 00 00 FF FF");
    EXPECT_EQ(fieldsOf(third), (AnswerFields{0, 2, static_cast<unsigned>(whole.size() - 29000), 1}));
    EXPECT_EQ(dataOf(first) + dataOf(second) + dataOf(third), whole);
    EXPECT_EQ(system.violationText(), "");
}

TEST(Conversation, AStreamingClientAsksOnce) {
    DevSystem system;
    Client client(system.gatewayPort());
    logonOn(client);
    sendLongTable(client, 9000);
    const std::string whole = LONG_TABLE + hex("FF FF 00 00 FF FF");
    std::string data;
    while (data.size() < whole.size()) {
        const std::string block = client.receive();
        const AnswerFields fields = fieldsOf(block);
        ASSERT_EQ(fields.appcRc, 0U);
        ASSERT_GE(9000U, fields.length);
        data += dataOf(block);
        const bool last = data.size() == whole.size();
        ASSERT_EQ(fields.dataReceived, last ? 2U : 3U) << data.size();
        ASSERT_EQ(fields.status, last ? 1U : 0U) << data.size();
    }
    EXPECT_EQ(data, whole);
    EXPECT_EQ(system.violationText(), "");
    // What is pushed must not be asked for. Both requests in one write, so that the gateway sees the second
    // before its partner has answered the first.
    const std::string row =
        item(0x0301, "LINES") + item(0x0302, be32(100) + be32(1)) + item(0x0303, pad("", 100));
    const std::string call =
        client.sendReceiveRequest(callStream("ECHO_TABLE", item(0x0205, "LINES") + row), 10);
    const std::string more = client.receiveRequest(10);
    client.sendRaw(be32(static_cast<unsigned>(call.size())) + call +
                   be32(static_cast<unsigned>(more.size())) + more);
    while (client.receive() != "closed") {
    }
    ASSERT_EQ(system.violations().size(), 1U);
    EXPECT_EQ(system.violations()[0].got, "9");
}

TEST(Conversation, RefusedLogonsEndWithTheirMessage) {
    DevSystem system;
    const std::string wrong = hex("01 00 00 00 83 E7 E0 3A 95 D7 6B");
    const struct {
        std::string client, password, text;
    } cases[] = {
        {"100", wrong, "Name or password is incorrect (repeat logon)"},
        {"100", "", "Name or password is incorrect (repeat logon)"},
        {"999", PASSWORD, "Client is not available in this system"},
    };
    for (const auto& row : cases) {
        Client client(system.gatewayPort());
        client.open();
        const std::string answer = client.exchange(logonStream("ZORPING", row.client, row.password));
        const std::string stream = item(1045, "00") + item(1046, "E") + item(1047, "152") +
                                   item(1026, row.text) + hex("FF FF 00 00 FF FF");
        EXPECT_EQ(fieldsOf(answer), (AnswerFields{18, 2, static_cast<unsigned>(stream.size()), 0}));
        EXPECT_EQ(dataOf(answer), stream);
    }
    // Without the full check the ping succeeds, and the first function doesn't.
    Client client(system.gatewayPort());
    client.open();
    EXPECT_EQ(fieldsOf(client.exchange(logonStream("ZOR_PING", "100", wrong))).appcRc, 0U);
    EXPECT_EQ(fieldsOf(client.exchange(callStream("SYSTEM_RESET_ZOR_SERVER", ""))).appcRc, 18U);
    EXPECT_EQ(system.violationText(), "");
}

TEST(Conversation, FailingFunctionsEndAsDescribed) {
    DevSystem system;
    const std::string end = hex("FF FF 00 00 FF FF");
    const std::string name = item(0x0201, "NAME") + item(0x0203, pad("NOT_FOUND", 30));
    const std::string message =
        item(0x0201, "MSGID") + item(0x0203, pad("AB", 20)) + item(0x0201, "MSGNO") + item(0x0203, "007");
    const struct {
        std::string function, parameters;
        unsigned appcRc;
        std::string data;
    } cases[] = {
        {"RAISE_EXCEPTION", name, 0, item(1025, "NOT_FOUND") + end},
        {"RAISE_EXCEPTION", name + message, 0,
         item(1045, "AB") + item(1047, "007") + item(1025, "NOT_FOUND") + end},
        {"RAISE_MESSAGE", "", 18, item(1026, "Message of the function") + end},
        {"SHORT_DUMP", "", 18, item(1027, "COMPUTE_INT_ZERODIVIDE") + item(1026, "Division by 0") + end},
        {"SHORT_DUMP_MESSAGE_X", "", 18,
         item(1027, "MESSAGE_TYPE_X") + item(1026, "The program was ended by a message of type X") + end},
        {"END_WITHOUT_DATA", "", 18, ""},
        {"FREE_TEXT", "", 18, hex("C6D9C5C5 F0F0F0F0F0F0F0F0 C6998585 40 A385A7A3")},
        {"ERROR_WITHOUT_END", "", 0, item(1026, "An error without an end of the conversation") + end},
        {"WRONG_STATE", "", 0, item(0x0203, "a value without a name") + end},
        {"HEADER_VERSION_6", "", 0, item(0x0101, hex("06 01 01 01 01 01 00 00")) + end},
        {"NO_SUCH_THING", "", 18,
         item(1027, "CALL_FUNCTION_NOT_FOUND") + item(1026, "Function module \"NO_SUCH_THING\" not found") +
             end},
    };
    for (const auto& row : cases) {
        Client client(system.gatewayPort());
        logonOn(client);
        const std::string answer = client.exchange(callStream(row.function, row.parameters));
        EXPECT_EQ(fieldsOf(answer).appcRc, row.appcRc) << row.function;
        EXPECT_EQ(dataOf(answer), row.data) << row.function;
        if (row.appcRc == 18) {
            EXPECT_EQ(client.receive(), "closed") << row.function;
        }
    }
    EXPECT_EQ(system.violationText(), "");
}

TEST(Conversation, CancelIsAnsweredWhileThePartnerWorks) {
    DevSystem system;
    Client client(system.gatewayPort());
    logonOn(client);
    const std::string minute = item(0x0201, "MILLISECONDS") + item(0x0203, hex("60 EA 00 00"));
    client.send(client.sendReceiveRequest(callStream("SLEEP", minute)));
    client.send(client.bareRequest(213, 1, 8));
    const std::string answer = client.receive();
    EXPECT_EQ(number(answer.substr(1, 1)), 213U);
    EXPECT_EQ(fieldsOf(answer).appcRc, 18U);
    EXPECT_EQ(client.receive(), "closed");
    EXPECT_EQ(system.violationText(), "");
}

TEST(Conversation, CallBackAsksTheClientAndGoesOn) {
    DevSystem system;
    Client client(system.gatewayPort());
    logonOn(client);
    const std::string given = item(0x0205, "RESULT") + item(0x0201, "TEXT") + item(0x0203, pad("hello", 100));
    const std::string question = client.exchange(callStream("CALL_BACK", given));
    EXPECT_EQ(dataOf(question), item(0x0502) + item(11, "753") + item(0x0102, "ZORDEV_CALLBACK") +
                                    item(0x0205, "RESULT") + item(0x0201, "TEXT") +
                                    item(0x0203, pad("hello", 100)) + hex("FF FF 00 00 FF FF"));
    const std::string answer =
        client.exchange(item(0x0201, "RESULT") + item(0x0203, pad("HELLO", 100)) + item(0xFFFF));
    EXPECT_EQ(dataOf(answer),
              item(0x0201, "RESULT") + item(0x0203, pad("HELLO", 100)) + hex("FF FF 00 00 FF FF"));
    EXPECT_EQ(system.violationText(), "");
}

}  // namespace
