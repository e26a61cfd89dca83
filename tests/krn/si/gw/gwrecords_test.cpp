#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "krn/si/gw/gwappchdr.h"
#include "krn/si/gw/gwcminit.h"
#include "krn/si/gw/gwcmsend.h"
#include "krn/si/gw/gwcmspln.h"
#include "krn/si/gw/gwconn.h"
#include "krn/si/gw/gwconnect.h"
#include "krn/si/gw/gwnames.h"
#include "krn/si/gw/gwnet.h"
#include "krn/si/gw/gwvsldata.h"

namespace {

using Bytes = std::vector<KEL_RAW>;

/** Bytes put together by hand: hex digits, and texts between apostrophes. */
Bytes hand(const std::string& text) {
    Bytes bytes;
    std::string hex;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') {
            while (text[++i] != '\'')
                bytes.push_back(static_cast<KEL_RAW>(text[i]));
        } else if (text[i] != ' ') {
            hex += text[i];
            if (hex.size() == 2) {
                bytes.push_back(static_cast<KEL_RAW>(std::stoi(hex, nullptr, 16)));
                hex.clear();
            }
        }
    }
    return bytes;
}

Bytes zeros(std::size_t count) {
    return Bytes(count, 0);
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes padded(const std::string& text, std::size_t width, char fill) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize(width, static_cast<KEL_RAW>(fill));
    return bytes;
}

const APPC_CONN CLIENT{.hostaddr = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 2, 3},
                       .tp = "longprogram",
                       .lu = "host",
                       .accept_info = 0xCB,
                       .accept_info2 = 6};

TEST(GwConn, VersionTwoByHand) {
    KEL_RAW bytes[APPC_CONN3_LAYOUT::length];
    const std::size_t length = GwPutConn(bytes, CLIENT);
    EXPECT_EQ(Bytes(bytes, bytes + length),
              hand("02 03 0000 0A010203 0000 'longprogr' 00 '1100' 0000000000 06 'host    ' 'longprog'"
                   "'        ' 06 CB FFFF 00000000 00 00"));
}

TEST(GwConn, VersionThreeByHand) {
    APPC_CONN client = CLIENT;
    client.hostaddr = {0x20, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    client.conversation_ID = "12345678";
    KEL_RAW bytes[APPC_CONN3_LAYOUT::length];
    const std::size_t length = GwPutConn(bytes, client);
    EXPECT_EQ(Bytes(bytes, bytes + length),
              hand("03 03 0000000000000000 'longprogr' 00 '1100' 0000000000 06 'host    ' 'longprog'"
                   "'12345678' 06 CB FFFF 20010000000000000000000000000001") +
                  zeros(56) + hand("00000000 00 00"));
}

TEST(GwConn, ReadsAnswersAndRefusesEveryPrefix) {
    const Bytes second = zeros(29) + hand("02") + zeros(24) + hand("06 48 0005 000000EC 01 00");
    const Bytes third =
        zeros(29) + hand("06") + zeros(24) + hand("06 CB 0005") + zeros(72) + hand("FFFFFFFF 00 00");
    struct Case {
        Bytes bytes;
        KEL_RAW version;
        int rc;
        bool echo;
    };
    for (Case test : {Case{second, 2, 236, true}, Case{third, 3, -1, false}}) {
        test.bytes[0] = test.version;
        const auto answer = GwGetConn(test.bytes);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->rc, test.rc);
        EXPECT_EQ(answer->echo_data, test.echo);
        EXPECT_EQ(answer->appchdr_version, 6);
        EXPECT_EQ(answer->length, test.bytes.size());
        for (std::size_t length = 0; length < test.bytes.size(); ++length)
            ASSERT_FALSE(GwGetConn(std::span(test.bytes).first(length))) << length;
        test.bytes[0] = 4;
        EXPECT_FALSE(GwGetConn(test.bytes));
    }
}

TEST(GwHdr, ByHandInBothDirections) {
    APPCHDR6 header;
    header.rqtype = 203;
    header.protocol = 2;
    header.err_len = 0x0102;
    header.info2 = 1;
    header.trace_level = 3;
    header.info3 = 0xC0;
    header.info4 = 4;
    header.sequence_no = 7;
    header.kel_params_len = 373;
    header.info = 5;
    header.rqtype2 = 12;
    header.appc_rc = 18;
    header.kel_rc = 731;
    header.conversation_ID = {'1', '2', '3', '4', '5', '6', '7', '8'};
    header.nparams = GwPutNcmrcv({0x6D60, 2, 5, 1, 1, 1, {'1', '1', '0', '0'}});
    header.comm_idx = 9;
    header.conn_idx = 300;
    const Bytes expected = hand(
        "06 CB 02 00 FFFF 0000 0102 01 03 0000 0000 C0 00000000 04 00000007 0175 00 00 05 0C"
        "00000012 000002DB '12345678' 00006D60 00000002 00000005 00000001 00000001 01 '1100' 000000"
        "0009 012C");
    KEL_RAW bytes[APPCHDR6_LAYOUT::length];
    GwPutHdr(bytes, header);
    EXPECT_EQ(Bytes(std::begin(bytes), std::end(bytes)), expected);

    const auto read = GwGetHdr(expected);
    ASSERT_TRUE(read);
    KEL_RAW again[APPCHDR6_LAYOUT::length];
    GwPutHdr(again, *read);
    EXPECT_EQ(Bytes(std::begin(again), std::end(again)), expected);
    const NCMRCV receive = GwGetNcmrcv(read->nparams);
    EXPECT_EQ(receive.received_length, 5);
    EXPECT_EQ(receive.status_received, CM_SEND_RECEIVED);
    for (std::size_t length = 0; length < expected.size(); ++length)
        ASSERT_FALSE(GwGetHdr(std::span(expected).first(length)));
}

TEST(GwHdr, ParametersByHand) {
    const auto bytesOf = [](const APPC_NPARAMS& nparams) { return Bytes(nparams.begin(), nparams.end()); };
    EXPECT_EQ(bytesOf(GwPutNcminit({.sdest = "TSLZOR", .lu = "longhostname", .tp = "keldp00"})),
              hand("'TSLZOR  ' 'longhost' 'keldp00 ' 'I' 01 0000"));
    EXPECT_EQ(bytesOf(GwPutNcmspln("longhostname")), hand("'longhost' 0000000C") + zeros(16));
    EXPECT_EQ(bytesOf(GwPutNcmsend({32000, 1})), hand("00007D00 00000001") + zeros(20));
}

TEST(GwParams, InitBlockByHand) {
    KEL_RAW bytes[KELCMINIT7_LAYOUT::length];
    KELCMINIT7 block{.zordest = "TSLZOR",
                     .activateStreaming = true,
                     .dt_net = DISTRIBUTED_TRACING{.root_id = {1}, .connection_id = {2}, .sequence_nr = 3},
                     .options = KELCMINIT_OPTIONS{-2, -2, 2, 1},
                     .long_LU_name = "host",
                     .user = "someone",
                     .long_TP_name = "keldp00"};
    GwPutCminit(bytes, block);
    const Bytes names = zeros(16) + padded("host", 128, 0) + zeros(16) + padded("someone", 12, ' ') +
                        zeros(12 + 16 + 4 + 4 + 4 + 8) + padded("keldp00", 64, 0);
    EXPECT_EQ(Bytes(std::begin(bytes), std::end(bytes)),
              padded("TSLZOR", 32, ' ') + hand("01 01 'CPIC    ' 01") + zeros(15) + hand("02") + zeros(15) +
                  hand("00000003 FFFFFFFE FFFFFFFE 02 01 00") + names);

    block.zordest = {};
    block.activateStreaming = false;
    block.dt_net.reset();
    block.options.reset();
    GwPutCminit(bytes, block);
    EXPECT_EQ(Bytes(std::begin(bytes), std::end(bytes)), zeros(89) + names);
}

TEST(GwParams, SmallBlocksByHand) {
    KEL_RAW send[KELCMSEND_LAYOUT::length];
    GwPutCmsend(send, {5, 28000});
    EXPECT_EQ(Bytes(std::begin(send), std::end(send)), hand("00000005 00006D60"));
    KEL_RAW name[GW_CMSPLN_LAYOUT::length];
    GwPutCmspln(name, std::string(128, 'x'));
    EXPECT_EQ(Bytes(std::begin(name), std::end(name)), padded(std::string(128, 'x'), 144, 0));
}

TEST(GwParams, LongNamesAreCutAndTerminated) {
    KEL_RAW bytes[KELCMINIT7_LAYOUT::length];
    GwPutCminit(bytes, {.long_LU_name = std::string_view("h"), .long_TP_name = std::string(80, 't')});
    EXPECT_EQ(bytes[372], 0);
    EXPECT_EQ(bytes[371], 't');
}

TEST(GwConn, ExtensionByHand) {
    KEL_RAW bytes[APPC_CONN_EXT1_LAYOUT::length];
    GwPutConnExt(bytes, "host.example", "PROGRAM.ID");
    EXPECT_EQ(Bytes(std::begin(bytes), std::end(bytes)), hand("'host.example' 00") + padded("", 115, ' ') +
                                                             hand("'PROGRAM.ID' 00") + padded("", 53, ' ') +
                                                             padded("", 320, ' '));
    GwPutConnExt(bytes, std::string(200, 'h'), std::string(64, 'p'));
    EXPECT_EQ(Bytes(bytes + 126, bytes + 130), hand("'h' 00 'pp'"));
    EXPECT_EQ(Bytes(bytes + 190, bytes + 193), hand("'p' 00 ' '"));
    for (const int opcode : {3, 11, 12, 14, 16, 17})
        EXPECT_EQ(GwHasConnExt(static_cast<std::uint8_t>(opcode)),
                  opcode == 11 || opcode == 14 || opcode == 16);
}

/** The whole block, each byte its own offset within it, but for the texts. */
Bytes wholeInitBlock() {
    return padded("DESTINATION", 32, ' ') + hand("01 01 'CPIC    '") + padded("R", 16, 0) +
           padded("C", 16, 0) + hand("0000002A 0000000A FFFFFFFE 01 03 00") + zeros(16) +
           padded("long.lu", 128, 0) + zeros(16) + padded("someone", 12, ' ') + zeros(48) +
           padded("program", 64, 0);
}

TEST(GwParams, InitBlocksOfAllLengthsAreRead) {
    const Bytes whole = wholeInitBlock();
    ASSERT_EQ(whole.size(), 373u);
    APPCHDR6 header;
    header.info3 = GW_DIST_TRACE | GW_EXTENDED_INIT_OPTIONS;
    header.info4 = GW_WITH_ZORDEST;
    for (const std::size_t length : {373u, 340u, 295u, 268u, 124u}) {
        SCOPED_TRACE(length);
        const auto block = GwGetCminit(header, std::span(whole).last(length));
        ASSERT_TRUE(block);
        EXPECT_EQ(block->zordest, length == 373 ? "DESTINATION" : "");
        EXPECT_EQ(block->activateStreaming, length == 373);
        ASSERT_EQ(block->dt_net.has_value(), length >= 340);
        if (block->dt_net) {
            EXPECT_EQ(block->dt_net->root_id[0], 'R');
            EXPECT_EQ(block->dt_net->sequence_nr, 42);
        }
        ASSERT_EQ(block->options.has_value(), length >= 295);
        if (block->options) {
            EXPECT_EQ(block->options->cpic_timeout, 10);
            EXPECT_EQ(block->options->keepalive_timeout, -2);
            EXPECT_EQ(block->options->start_type, 3);
        }
        EXPECT_EQ(block->long_LU_name, length >= 268 ? "long.lu" : "");
        EXPECT_EQ(block->user, "someone");
        EXPECT_EQ(block->long_TP_name, "program");
    }
    unsigned read = 0;
    for (std::size_t length = 0; length < 373; ++length)
        read += GwGetCminit(header, std::span(whole).last(length)).has_value() ? 1 : 0;
    EXPECT_EQ(read, 4u) << "no other length is read";
    // What no flag announces doesn't count.
    const auto bare = GwGetCminit({}, whole);
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->zordest, "");
    EXPECT_FALSE(bare->dt_net || bare->options);
}

TEST(GwParams, ALengthThatIsLeftOpenFollowsFromTheRequest) {
    struct Case {
        int rqtype, info, info2, info3, told;
        std::size_t length;
    };
    const Case cases[] = {
        {1, 0, 0, 0, 373, 0},    {1, 4, 0, 0, 373, 373}, {203, 4, 0, 0, 12, 12}, {203, 4, 0, 0, 0, 8},
        {15, 4, 1, 0, 0, 144},   {13, 4, 0, 0, 0, 64},   {9, 4, 0, 0, 0, 373},   {1, 4, 1, 128, 0, 340},
        {202, 4, 1, 64, 0, 295}, {1, 4, 1, 192, 0, 340}, {1, 4, 1, 0, 0, 268},   {1, 4, 2, 0, 0, 124},
        {1, 4, 3, 0, 0, 268},
    };
    for (const Case& test : cases) {
        APPCHDR6 header;
        header.rqtype = static_cast<std::uint8_t>(test.rqtype);
        header.info = static_cast<std::uint8_t>(test.info);
        header.info2 = static_cast<std::uint8_t>(test.info2);
        header.info3 = static_cast<std::uint8_t>(test.info3);
        header.kel_params_len = static_cast<std::uint16_t>(test.told);
        EXPECT_EQ(GwKelParamsLen(header), test.length) << test.rqtype << ' ' << test.info3;
    }
}

TEST(GwParams, SmallRecordsAreReadAndCutOnesRefused) {
    const Bytes trace = hand("01 'CPIC    '") + padded("R", 16, 0) + padded("C", 16, 0) + hand("00000007");
    const auto record = GwGetDistTrace(trace);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->connection_id[0], 'C');
    EXPECT_EQ(record->sequence_nr, 7);
    Bytes other = trace;
    other[0] = 2;
    EXPECT_FALSE(GwGetDistTrace(other));
    const Bytes secure = hand("01 00") + padded("partner", 257, 0) + padded("mine", 257, 0) +
                         padded(std::string(257, 'l'), 257, 0) + hand("08 01 02");
    const auto vsl = GwGetVslData(secure);
    ASSERT_TRUE(vsl);
    EXPECT_EQ(vsl->partnername, "partner");
    EXPECT_EQ(vsl->myname, "mine");
    EXPECT_EQ(vsl->lib.size(), 257u);
    EXPECT_EQ(vsl->qop, 8);
    EXPECT_EQ(vsl->mode, 1);
    EXPECT_EQ(vsl->role, GW_VSL_ACCEPTOR);
    for (std::size_t length = 0; length < trace.size(); ++length)
        ASSERT_FALSE(GwGetDistTrace(std::span(trace).first(length)));
    for (std::size_t length = 0; length < secure.size(); ++length)
        ASSERT_FALSE(GwGetVslData(std::span(secure).first(length)));
}

TEST(GwNames, BitsAndSmallNumbers) {
    EXPECT_STREQ(GwGetAcceptInfo(203).text, "EINFO+PING+CONN_EINFO+EXTINITOPT+GW_ACCEPT_DIST_TRACE");
    EXPECT_STREQ(GwGetAcceptInfo2(6).text, "STREAMING+ZORDEST");
    EXPECT_STREQ(GwGetInfo(5).text, "SYNC_CPIC_FUNCTION+WITH_GW_KEL_PARAMS_HDR");
    EXPECT_STREQ(GwGetInfo2(48).text, "16+VSL_INIT_PHASE");
    EXPECT_STREQ(GwGetInfo3(0).text, "-");
    EXPECT_STREQ(GwGetInfo4(2).text, "GW_WITH_STREAMING");
    EXPECT_STREQ(GwGetVector(12).text, "F_V_SEND_DATA+F_V_RECEIVE");
    EXPECT_EQ(std::string(GwGetInfo(255).text).size(), 150u);
    EXPECT_EQ(GwProtocolNo('R'), 7);
    EXPECT_EQ(GwProtocolNo('x'), 0);
    EXPECT_STREQ(GwConnProt(2), "INT");
    EXPECT_STREQ(GwConnProt(5), "UNKNOWN");
    EXPECT_STREQ(GwRegStateName(2), "REG_WAITING");
    EXPECT_STREQ(GwRegStateName(7), "UNKNOWN");
    EXPECT_STREQ(GwGetClientInfo(1), "EXTERNAL_CLIENT");
    EXPECT_EQ(GwHdrLen2(5), 78u);
    EXPECT_EQ(GwHdrLen2(7), 0u);
}

TEST(GwNames, OfHostsAndProgramsAreUtf8) {
    EXPECT_EQ(GwNetName("host").view(), "host");
    EXPECT_EQ(GwNetName("h\xF6st").view(), "h\xC3\xB6st");
    EXPECT_EQ(GwNetName(std::string(255, '\xF6')).view().size(), 510u);
    ErrClear();
    EXPECT_EQ(GwNetName(std::string(256, 'x')).check("tp"), C_NET_CONV_ERROR);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "converting to/from net format failed");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "field = tp, rc=240");
}

TEST(GwConnect, WithoutATarget) {
    GwConnection connection;
    EXPECT_EQ(GwIConnect({}, &connection), GW_HOST_UNKNOWN);
    const NI_NODEADDR nowhere{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1};
    EXPECT_EQ(GwIConnect({.addr = &nowhere, .service = "no such service", .timeout = 1000}, &connection),
              GW_SERVICE_UNKNOWN);
    EXPECT_EQ(connection.handle, NI_INVALID_HDL);
}

TEST(GwNames, ComeFromOneTable) {
    EXPECT_STREQ(GwFuncName(203), "KEL_SEND");
    EXPECT_STREQ(GwFuncName(2), "UNKNOWN");
    EXPECT_STREQ(GwGetAppcRc(10001), "CM_KEL_TIMEOUT_RETRY");
    EXPECT_STREQ(GwGetKelRc(246), "WRONG_APPCHDR_VERSION");
    EXPECT_STREQ(GwGetKelText(466), "max no of %d conversations exceeded");
    EXPECT_STREQ(GwGetKelText(678), "LU %s, TP = %s on gateway %s registered");
    EXPECT_STREQ(GwGetKelText(640), "INTERNAL_ERROR");
}

}  // namespace
