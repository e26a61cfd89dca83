// The items that open a conversation, and what a partner's items leave in the protocol state.

#include <gtest/gtest.h>

#include "driver/cpicconnection.h"
#include "memorystream.h"
#include "wire/scramble.h"

namespace {

const Bytes communicationHeader{0xE9, 0xD6, 0xD9, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0};

Bytes headerItems(const Bytes& unicodeHeader) {
    return joined({item(257, Bytes{3, 1, 1, 1, 1, 1, 0, 0}), item(259, Bytes{0, 0, 0x0E, 0x0B}),
                   item(262, unicodeHeader), item(352, Bytes{0, 0})});
}

TEST(SessionHeader, isWrittenOncePerConversation) {
    MemoryItemStream stream;
    stream.writeZorSessionHeader();
    EXPECT_EQ(stream.takeOut(),
              joined({communicationHeader, headerItems({1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0x23})}));
    stream.writeZorSessionHeader();
    EXPECT_TRUE(stream.takeOut().empty());
    // Asked for again, it comes without what only the first bytes of a conversation hold.
    stream.control.headerWritten = false;
    stream.writeZorSessionHeader();
    EXPECT_EQ(stream.takeOut(), headerItems({1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0x23}));
}

TEST(SessionHeader, tellsTheOptionsOfTheConnection) {
    MemoryItemStream stream;
    stream.driver().traceLevel = 1;
    stream.control.delta = false;
    stream.control.ignoreConvErr = 1;
    stream.control.substituteSymbol = 0x3F;
    stream.writeZorSessionHeader();
    Bytes traced = communicationHeader;
    traced.at(traced.size() - 1) = 0xE3;
    EXPECT_EQ(stream.takeOut(),
              joined({traced, headerItems({1, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0x3F}), item(823)}));
}

TEST(SessionLogon, sendsThePasswordOnce) {
    MemoryItemStream stream;
    stream.control.userid.assign("DEMO");
    stream.control.mandt.assign("100");
    stream.control.lang.assign("E");
    stream.control.scrambledPW = scrambleChars("welcome");
    const Bytes scrambled = stream.control.scrambledPW;
    const Bytes rest = joined({item(276, "100"), item(277, "E"), item(1281, Bytes{1})});
    stream.writeZorSessionLogon();
    EXPECT_EQ(stream.takeOut(), joined({item(273, "DEMO"), item(279, scrambled), rest}));
    EXPECT_TRUE(stream.control.scrambledPW.empty());
    stream.writeZorSessionLogon();
    EXPECT_EQ(stream.takeOut(), joined({item(273, "DEMO"), rest}));
}

TEST(SessionLogon, hasDefaultsForWhatIsMissing) {
    MemoryItemStream stream;
    stream.control.getsso2 = true;
    stream.control.alias_user.assign("alias");
    stream.control.vslWithoutSSO = true;
    stream.writeZorSessionLogon();
    EXPECT_EQ(stream.takeOut(), joined({item(1649), item(276, "000"), item(297, "alias"), item(277),
                                        item(1653), item(1281, Bytes{1})}));
}

TEST(SessionLogon, hasExactlyOneFormOfIdentity) {
    const struct {
        const char* name;
        ZorLogonData data;
        const char* user;
        Bytes items;
    } cases[] = {
        {"ticket", {"ticket", "external", "certificate"}, "DEMO", item(1648, "ticket")},
        {"external identity",
         {"", "external", "certificate"},
         "",
         joined({item(1651, "external"), item(1652, "NT")})},
        {"external identity of a user",
         {"", "external", ""},
         "DEMO",
         joined({item(1651, "external"), item(1652, "NT"), item(273, "DEMO")})},
        {"certificate", {"", "", "certificate"}, "", item(1650, "certificate")},
        {"certificate of a user",
         {"", "", "certificate"},
         "DEMO",
         joined({item(1650, "certificate"), item(273, "DEMO")})},
        {"nobody", {}, "", {}},
    };
    const Bytes rest = joined({item(276, "000"), item(277), item(1281, Bytes{1})});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MemoryItemStream stream;
        stream.logonData = c.data;
        stream.control.userid.assign(c.user);
        stream.control.extidtype.assign("NT");
        stream.control.scrambledPW = scrambleChars("welcome");
        if (c.data.sso2.empty() && c.data.extiddata.empty() && c.data.x509cert.empty())
            stream.control.userid.clear();
        stream.writeZorSessionLogon();
        EXPECT_EQ(stream.takeOut(), joined({c.items, rest}));
        EXPECT_TRUE(stream.logonData.sso2.empty());
        EXPECT_TRUE(stream.control.scrambledPW.empty());
    }
}

TEST(SessionHeader, tellsCharacterSizeAndCodePage) {
    const struct {
        unsigned short pcs;
        KEL_CHAR role;
        Bytes header;
    } cases[] = {
        {1, 'C', {3, 1, 1, 1, 1, 1, 0, 0}}, {2, 'C', {3, 1, 1, 5, 1, 1, 0, 0}},
        {4, 'C', {3, 1, 1, 6, 1, 1, 0, 0}}, {0, 'C', {3, 1, 1, 1, 0, 1, 2, 0}},
        {2, 'S', {3, 1, 1, 5, 4, 1, 0, 3}}, {0, 'S', {3, 1, 1, 1, 0, 1, 2, 0}},
    };
    for (const auto& c : cases) {
        MemoryItemStream stream;
        stream.control.comHeaderWritten = true;
        stream.control.communication_cp.assign("0120");
        stream.control.charset.assign("4103");
        stream.control.pcs = c.pcs;
        stream.control.zor_role = c.role;
        stream.writeZorSessionHeader();
        const Bytes header = item(257, c.header);
        const Bytes out = stream.takeOut();
        ASSERT_GE(out.size(), header.size());
        EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(header.size())), header)
            << c.pcs << c.role;
    }
}

TEST(Text, isConvertedForAPartnerWithoutACharacterSize) {
    MemoryItemStream stream;
    stream.control.communication_cp.assign("0120");
    stream.writeZorChars(ZORID_Destination, "AB1");
    stream.control.pcs = 0;
    stream.writeZorChars(ZORID_Destination, "AB1");
    stream.writeZorChars(ZORID_Destination, "");
    EXPECT_EQ(stream.takeOut(), joined({item(6, "AB1"), item(6, Bytes{0xC1, 0xC2, 0xF1}), item(6)}));
}

TEST(CallBegin, namesTheFunctionBehindTheSessionInfo) {
    MemoryItemStream stream;
    stream.control.own_rel.assign("753");
    stream.control.kernel_rel.assign("753");
    stream.control.headerWritten = true;
    stream.writeZorCallBegin("ZORPING", ZORID_NotUsed, false);
    EXPECT_EQ(stream.takeOut(),
              joined({item(7, CpicConnection::getOwnIPAddr()), item(17, "E"), item(18, "753"),
                      item(19, "753"), item(8, CpicConnection::getOwnHostName()), item(6, "<unknown>"),
                      item(304, CpicConnection::getOwnProgramName()), item(1282), item(11, "753"),
                      item(258, "ZORPING")}));
    stream.control.connected = true;
    stream.writeZorCallBegin("F", ZORID_NotUsed, true);
    EXPECT_EQ(stream.takeOut(),
              joined({item(1282), item(11, "753"), item(1057), item(258, "F"), item(1298)}));
    // An answer has no name.
    stream.callbackCount = 1;
    stream.writeZorCallBegin("F", ZORID_NotUsed, false);
    EXPECT_TRUE(stream.takeOut().empty());
}

TEST(SessionItems, fillTheProtocolState) {
    MemoryItemStream stream;
    stream.layIn(
        joined({item(257, Bytes{3, 1, 1, 1, 4, 1, 0, 3}), item(259, Bytes{0, 0, 0x0F, 0x09}),
                item(262, Bytes{4, 1, 0, 2, 0, 0, 1, 0, 0, 0, 0x23}), item(7, "10.0.0.1"), item(6, "DEST"),
                item(17, "3"), item(18, "754"), item(19, "793"), item(8, "HO_ST_ABC_07"), item(336, "DEMO"),
                item(337, "100"), item(338, "D"), item(294, Bytes{2, 0, 0, 0}), item(304, "KELLMSYST"),
                item(9, "CALLER"), item(4711, "unknown"), item(65535)}));
    EXPECT_EQ(stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZORID_End);
    const ZorControl& control = stream.control;
    EXPECT_EQ(control.charset.view(), "4103");
    EXPECT_EQ(control.system_cp.view(), "4102");
    EXPECT_EQ(control.protocol, 0x00000F09u);
    EXPECT_EQ(control.partner_ip.view(), "10.0.0.1");
    EXPECT_EQ(control.destination.view(), "DEST");
    EXPECT_EQ(control.partner_rel.view(), "754");
    EXPECT_EQ(control.kernel_rel.view(), "793");
    EXPECT_EQ(control.target.view(), "HO_ST");
    EXPECT_EQ(control.sysid.view(), "ABC");
    EXPECT_EQ(control.systnr.view(), "07");
    EXPECT_EQ(control.userid.view(), "DEMO");
    EXPECT_EQ(control.mandt.view(), "100");
    EXPECT_EQ(control.lang.view(), "D");
    EXPECT_EQ(control.pwState, 2u);
    EXPECT_EQ(control.progname.view(), "KELLMSYST");
    EXPECT_FALSE(control.conversion);
    EXPECT_TRUE(stream.readToEnd());
}

TEST(SessionItems, thePartnerCanOnlyTakeCompressionAway) {
    MemoryItemStream stream;
    const auto exchange = [&stream](KEL_RAW lastByte) {
        stream.layIn(joined({item(259, Bytes{0, 0, 0x0E, lastByte}), item(65535)}));
        stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
        return stream.control.protocol;
    };
    EXPECT_EQ(exchange(0x0B), 0x0E0Bu);
    EXPECT_EQ(exchange(0x09), 0x0E09u);
    EXPECT_EQ(exchange(0x0B), 0x0E09u);
}

TEST(SessionItems, aByteOrderOfItsOwnIsNoticed) {
    MemoryItemStream stream;
    stream.layIn(
        joined({item(257, Bytes{3, 0, 1, 1, 1, 1, 0, 0}), item(294, Bytes{0, 0, 0, 3}), item(65535)}));
    stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
    EXPECT_TRUE(stream.control.conv_int);
    EXPECT_TRUE(stream.control.conv_float);
    EXPECT_EQ(stream.control.pwState, 3u);
}

TEST(SessionItems, aNewerProtocolClosesTheConnection) {
    MemoryItemStream stream;
    stream.layIn(item(257, Bytes{6, 1, 1, 1, 1, 1, 0, 0}));
    try {
        stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
        FAIL() << "version 6 was accepted";
    } catch (const ZorBaseException& exception) {
        EXPECT_EQ(exception.getCode(), ZOR_VERSION_MISMATCH);
        EXPECT_EQ(exception.getGroup(), COMMUNICATION_FAILURE);
        EXPECT_EQ(exception.getMessage(), "Unsupported ZOR protocol version.");
    }
    EXPECT_TRUE(stream.broken);
}

TEST(SessionItems, aPartnerDecidesTheCodePageWhereNoneWasAgreed) {
    MemoryItemStream stream;
    stream.control.pcs = 0;
    stream.control.headerWritten = true;
    const auto header = [&stream](KEL_RAW characterClass, Bytes digits) {
        stream.layIn(joined({item(257, joined({Bytes{3, 1, 1, characterClass}, digits})), item(65535)}));
        stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
    };
    header(2, {1, 1, 0, 0});
    EXPECT_TRUE(stream.control.headerWritten) << "the code page is as it was";
    header(2, {1, 4, 0, 1});
    EXPECT_EQ(stream.control.communication_cp.view(), "1401");
    EXPECT_FALSE(stream.control.headerWritten) << "the next call tells the new one";
    header(5, {4, 1, 0, 3});
    EXPECT_EQ(stream.control.pcs, 2);
    EXPECT_EQ(stream.control.communication_cp.view(), "1401");
}

TEST(SessionItems, ticketsAndRemoteTextsAreKept) {
    MemoryItemStream stream;
    const auto read = [&stream](const Bytes& items) {
        stream.layIn(joined({items, item(65535)}));
        stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
        EXPECT_TRUE(stream.readToEnd());
    };
    read(joined({item(1649, "ticket"), item(1048, "A->B"), item(1058, "TIME_STAMP=1"), item(1284)}));
    EXPECT_EQ(stream.logonData.sso2, "ticket");
    EXPECT_EQ(stream.ubixCallStack, "A->B");
    EXPECT_EQ(stream.classExceptionInfo, "TIME_STAMP=1");
    EXPECT_TRUE(stream.inAZorMode);
    stream.control.pcs = 2;
    read(joined({item(1649), item(1048, "AABBC"), item(1299), item(1057), item(305, "passport")}));
    EXPECT_EQ(stream.logonData.sso2, "ticket");
    EXPECT_EQ(stream.ubixCallStack, "AA");
    EXPECT_FALSE(stream.inAZorMode);
    EXPECT_TRUE(stream.control.useClassException);
    read(item(1648, std::string(4096, 't')));
    EXPECT_EQ(stream.logonData.sso2.size(), 4096u);
    stream.layIn(item(1648, std::string(4097, 't')));
    EXPECT_THROW(stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZorCommunicationException);
}

TEST(SessionItems, aServerServesBackEndsOnly) {
    const struct {
        KEL_CHAR role;
        ZOR_PROTOCOL_TYPE type;
        const char* partner;
        bool refused;
    } cases[] = {
        {'S', ZOR_REGISTERED_SERVER, "E", true},
        {'S', ZOR_REGISTERED_SERVER, "3", false},
        {'S', ZOR_TCP_SOCKET_SERVER, "E", false},
        {'C', ZOR_CLIENT, "E", false},
    };
    for (const auto& c : cases) {
        MemoryItemStream stream;
        stream.control.zor_role = c.role;
        stream.driver().zorProgType = c.type;
        stream.layIn(joined({item(17, c.partner), item(65535)}));
        if (c.refused)
            EXPECT_THROW(stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZorSystemException);
        else
            EXPECT_EQ(stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZORID_End);
        EXPECT_EQ(stream.broken, c.refused);
        EXPECT_EQ(stream.control.partner_type, *c.partner);
    }
}

TEST(ErrorItems, decideTheKindOfFailure) {
    const struct {
        const char* name;
        Bytes items;
        ZOR_RC code;
        const char* errId;
        const char* errMessage;
    } cases[] = {
        {"exception", item(1025, "NOT_FOUND"), ZOR_UBIX_EXCEPTION, "NOT_FOUND", ""},
        {"message", item(1026, "text"), ZOR_UBIX_MESSAGE, "", "text"},
        {"dump", item(1027, "DUMP"), ZOR_UBIX_RUNTIME_FAILURE, "DUMP", ""},
        {"exception, then message", joined({item(1025, "E"), item(1026, "text")}), ZOR_UBIX_EXCEPTION, "E",
         "text"},
        {"dump, then message", joined({item(1027, "D"), item(1026, "text")}), ZOR_UBIX_RUNTIME_FAILURE, "D",
         "text"},
        {"key alone", item(1028, "KEY"), ZOR_OK, "KEY", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MemoryItemStream stream;
        stream.layIn(joined({c.items, item(65535)}));
        stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
        EXPECT_EQ(stream.zor_rc, c.code);
        EXPECT_EQ(stream.control.received.errId.view(), c.errId);
        EXPECT_EQ(stream.control.received.errMessage.view(), c.errMessage);
    }
}

}  // namespace
