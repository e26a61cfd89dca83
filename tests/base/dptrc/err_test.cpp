#include "base/dptrc/err.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::vector<KEL_RAW> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/** A block on the wire, with the given texts for ERROR and DETAIL. */
std::string wireBlock(const std::string& error, const std::string& detail) {
    const std::vector<std::string> fields = {"*ERR*",
                                             "1",
                                             error,
                                             "-10",
                                             "NI (network interface)",
                                             "753",
                                             "40",
                                             "x.cpp",
                                             "17",
                                             detail,
                                             "Mon Jan  1 00:00:00 2024",
                                             "connect",
                                             "111",
                                             "Connection refused",
                                             "3",
                                             "router on host r",
                                             "",
                                             "",
                                             "",
                                             "",
                                             "*ERR*"};
    std::string block;
    for (const std::string& field : fields)
        block += field + '\0';
    return block;
}

class ErrTest : public testing::Test {
  protected:
    void SetUp() override {
        ErrClear();
        ErrSetMyLocation("%s", "");
    }
};

TEST_F(ErrTest, PrintsTheFieldsInOrderWithLabelsOfTwelveCharacters) {
    ASSERT_EQ(ErrCpNetToInt(bytesOf(wireBlock("partner 'a:1' not reached", "NiIConnect"))), 0);
    EXPECT_STREQ(ErrPr(),
                 "\nLOCATION    router on host r\n"
                 "\nERROR       partner 'a:1' not reached\n"
                 "\nTIME        Mon Jan  1 00:00:00 2024\n"
                 "\nRELEASE     753\n"
                 "\nCOMPONENT   NI (network interface)\n"
                 "\nVERSION     40\n"
                 "\nRC          -10\n"
                 "\nMODULE      x.cpp\n"
                 "\nLINE        17\n"
                 "\nDETAIL      NiIConnect\n"
                 "\nSYSTEM CALL connect\n"
                 "\nERRNO       111\n"
                 "\nERRNO TEXT  Connection refused\n"
                 "\nCOUNTER     3\n");
}

TEST_F(ErrTest, BreaksLongValues) {
    struct Case {
        const char* name;
        std::string value;
        std::string lines;
    };
    const std::string x62(62, 'x'), indent(12, ' ');
    const Case cases[] = {
        {"62 fit", x62, x62 + "\n"},
        {"63 without a blank", x62 + "y", x62 + "\n" + indent + "y\n"},
        {"at the last blank before the 63rd", std::string(40, 'a') + " " + std::string(30, 'b'),
         std::string(40, 'a') + "\n" + indent + std::string(30, 'b') + "\n"},
        {"a blank as 63rd is too late", std::string(50, 'a') + " " + std::string(11, 'b') + " c",
         std::string(50, 'a') + "\n" + indent + std::string(11, 'b') + " c\n"},
        {"a newline", "one\ntwo", "one\n" + indent + "two\n"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        ASSERT_EQ(ErrCpNetToInt(bytesOf(wireBlock("e", "d"))), 0);
        ASSERT_EQ(ErrReplace(ERR_ERROR, test.value), 0);
        EXPECT_THAT(ErrPr(), HasSubstr("\nERROR       " + test.lines + "\nTIME"));
    }
}

TEST_F(ErrTest, FormatsBothTextsFromOneArgumentList) {
    ASSERT_EQ(
        ErrSet("CPIC", 3, "some/where/mod.cpp", 7, "(Q0I01)host %s, 100%% of %d", 20, "port %d", "h", 5, 80),
        0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "host h, 100% of 5");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "port 80");
    EXPECT_STREQ(ErrGetFld(ERR_DESCR_MSG_NO), "Q0I01");
    EXPECT_STREQ(ErrGetFld(ERR_DESCR_VARGS), "h;;;;5");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL_MSG_NO), "");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL_VARGS), "80");
    EXPECT_STREQ(ErrGetFld(ERR_MODULE), "mod.cpp");
    EXPECT_STREQ(ErrGetFld(ERR_LINE), "7");
    EXPECT_STREQ(ErrGetFld(ERR_RETURN_CODE), "20");
    EXPECT_STREQ(ErrGetFld(ERR_ERRNO), "");
    EXPECT_STREQ(ErrGetFld(ERR_ERRNO_TEXT), "");
}

TEST_F(ErrTest, TakesTheSystemCallsError) {
    ASSERT_EQ(
        ErrSetSys("NI", 40, "m.cpp", 1, ERR_NO_LOG, "50% off", -6, "at %s", "recvmsg", ECONNRESET, "peer"),
        0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "50% off");
    EXPECT_STREQ(ErrGetFld(ERR_DETAIL), "at peer");
    EXPECT_STREQ(ErrGetFld(ERR_SYSTEM_CALL), "recvmsg");
    EXPECT_STREQ(ErrGetFld(ERR_ERRNO), "104");
    EXPECT_STREQ(ErrGetFld(ERR_ERRNO_TEXT), "Connection reset by peer");
}

TEST_F(ErrTest, ReadsTheFieldsAtOnce) {
    ERR_TEXTS texts;
    ERR_ATTR attributes;
    ASSERT_EQ(ErrCpNetToInt(bytesOf(wireBlock("e", "d"))), 0);
    ASSERT_EQ(ErrReplace(ERR_DESCR_MSG_NO, "Q0I01"), 0);
    ASSERT_EQ(ErrGetAll(texts), 0);
    EXPECT_STREQ(texts[ERR_EYECATCHER_END], "*ERR*");
    EXPECT_STREQ(texts[ERR_DESCR_MSG_NO], "Q0I01");
    for (const bool inALanguage : {false, true}) {
        ASSERT_EQ(inALanguage ? ErrGetL('D', texts) : ErrGet(texts), 0);
        EXPECT_STREQ(texts[ERR_ERRNO_TEXT], "Connection refused");
        EXPECT_STREQ(texts[ERR_DESCR_MSG_NO], "");
    }
    EXPECT_EQ(std::string(ErrPrL('D')), ErrPr());
    ASSERT_EQ(ErrGetAttr(attributes), 0);
    EXPECT_EQ(attributes.rc, -10);
    EXPECT_EQ(attributes.version, 40);
    EXPECT_EQ(attributes.line, 17);
    EXPECT_EQ(attributes.errorNumber, 111);
    EXPECT_EQ(attributes.counter, 3);
    EXPECT_EQ(ErrSetLength(600), ERR_TOO_LONG);
    EXPECT_EQ(ErrSetLength(100), 0);
    EXPECT_EQ(ErrGetAttr(attributes), ERR_BAD_BLOCK);
    EXPECT_EQ(attributes.rc, 0);
    EXPECT_EQ(ErrSetLength(0), 0);
    EXPECT_EQ(ErrGet(texts), ERR_NONE);
    EXPECT_STREQ(texts[ERR_ERROR], "");
}

TEST_F(ErrTest, FillsBuffersOrSaysThatTheyAreTooSmall) {
    KEL_CHAR room[26];
    EXPECT_EQ(ErrPrErrno2(ENOENT, room), 0);
    EXPECT_STREQ(room, "No such file or directory");
    EXPECT_EQ(ErrPrErrno2(ENOENT, std::span(room).first(25)), ERR_TOO_LONG);
    EXPECT_STREQ(room, "");
    EXPECT_EQ(ErrKelDllRelease(std::span(room).first(3)), ERR_TOO_LONG);
    EXPECT_EQ(ErrKelDllRelease(std::span(room).first(4)), 0);
    EXPECT_STREQ(room, "753");
    ErrSafeAsFmtString("5% of 50%", room);
    EXPECT_STREQ(room, "5%% of 50%%");
    ErrSafeAsFmtString("5% of 50%", std::span(room).first(11));
    EXPECT_STREQ(room, "5%% of 50");
    EXPECT_EQ(ErrVersion(), 2);
}

TEST_F(ErrTest, CountsPerThread) {
    std::thread([] {
        for (const char* expected : {"1", "2"}) {
            ErrSet("C", 1, "m", 1, "e", 1, "");
            EXPECT_STREQ(ErrGetFld(ERR_COUNTER), expected);
        }
    }).join();
    EXPECT_FALSE(ErrIsAInfo());
}

TEST_F(ErrTest, LeavesTheBlockWhenTheNewOneIsTooLong) {
    ASSERT_EQ(ErrSet("C", 1, "m", 1, "first", 1, ""), 0);
    EXPECT_EQ(ErrSet("C", 1, "m", 1, "%s", 1, "", std::string(480, 'x').c_str()), ERR_TOO_LONG);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "first");
    EXPECT_EQ(ErrReplace(ERR_DETAIL, std::string(480, 'x')), ERR_TOO_LONG);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "first");
}

TEST_F(ErrTest, NamesErrnoValues) {
    EXPECT_STREQ(ErrPrErrno(ENOENT), "No such file or directory");
    EXPECT_STREQ(ErrPrErrno(9999), "(9999) - illegal errno");
    EXPECT_STREQ(ErrPrErrno(10000), "");
}

TEST_F(ErrTest, TakesABlockOfFiveHundredBytesAndNoMore) {
    const std::size_t rest = wireBlock("", "d").size();
    ASSERT_EQ(ErrCpNetToInt(bytesOf(wireBlock(std::string(500 - rest, 'e'), "d"))), 0);
    EXPECT_EQ(std::string(ErrGetFld(ERR_ERROR)).size(), 500 - rest);
    EXPECT_EQ(ErrCpNetToInt(bytesOf(wireBlock(std::string(501 - rest, 'f'), "d"))), ERR_TOO_LONG);
    EXPECT_THAT(ErrGetFld(ERR_ERROR), StartsWith("eee"));
}

TEST_F(ErrTest, ClearsTheBlockOnBadWireForms) {
    std::string badEnd = wireBlock("e", "d");
    badEnd[badEnd.size() - 2] = 'x';
    const std::pair<std::string, int> cases[] = {
        {"", ERR_BAD_BLOCK},
        {"*ERR*", ERR_BAD_BLOCK},
        {badEnd, ERR_BAD_BLOCK},
        {wireBlock("e", "d").substr(0, 40) + std::string("*ERR*\0", 6), ERR_BAD_BLOCK},
        {wireBlock("e\xC3", "d"), ERR_CONVERSION},
        {wireBlock("\xE2\x82\xAC", "d"), ERR_CONVERSION},
    };
    for (const auto& [wire, code] : cases) {
        ErrSet("C", 1, "m", 1, "old", 1, "");
        EXPECT_EQ(ErrCpNetToInt(bytesOf(wire)), code) << wire;
        EXPECT_FALSE(ErrIsAInfo());
    }
}

TEST_F(ErrTest, NoPrefixOfABlockIsABlock) {
    const std::string whole = wireBlock("e", "d");
    for (std::size_t length = 0; length < whole.size(); ++length)
        ASSERT_EQ(ErrCpNetToInt(bytesOf(whole.substr(0, length))), ERR_BAD_BLOCK) << length;
}

TEST_F(ErrTest, TravelsInUtf8) {
    ASSERT_EQ(ErrCpNetToInt(bytesOf(wireBlock("gr\xC3\xBC\xC3\x9F", "d"))), 0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "gr\xFC\xDF");
    KEL_RAW wire[600];
    std::size_t length = 0;
    ASSERT_EQ(ErrCpIntToNet(wire, &length), 0);
    EXPECT_EQ(std::string(wire, wire + length), wireBlock("gr\xC3\xBC\xC3\x9F", "d"));
    EXPECT_EQ(ErrCpIntToNet(std::span(wire).first(length - 1), &length), ERR_TOO_LONG);
    EXPECT_EQ(length, 0u);
}

TEST_F(ErrTest, ReadsEbcdic) {
    // "*ERR*", "1", "AB", seventeen empty fields, "*ERR*".
    std::vector<KEL_RAW> wire = {0x5C, 0xC5, 0xD9, 0xD9, 0x5C, 0, 0xF1, 0, 0xC1, 0xC2, 0};
    wire.insert(wire.end(), 17, 0);
    wire.insert(wire.end(), {0x5C, 0xC5, 0xD9, 0xD9, 0x5C, 0});
    ASSERT_EQ(ErrCpNetToInt(wire), 0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "AB");
}

TEST_F(ErrTest, KeeperPutsTheBlockBack) {
    ErrSet("C", 1, "m", 1, "cause", 1, "");
    {
        const ErrKeeper keeper;
        ErrSet("C", 1, "m", 1, "consequence", 2, "");
    }
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "cause");
}

}  // namespace
