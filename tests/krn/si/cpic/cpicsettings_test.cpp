// What the layer takes from its surroundings: environment, side information, argument vectors.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "base/dptrc/err.h"
#include "krn/si/cpic/cpicconv.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicside.h"

namespace {

/** The process's own side information; its path is read once. */
const std::string ownFile = testing::TempDir() + "ownsideinfo" + std::to_string(::getpid());
[[maybe_unused]] const int told = setenv("SIDE_INFO", ownFile.c_str(), 1);

CPIC_GLOBALS settingsOf(const std::map<std::string, std::string>& environment) {
    return STIReadSettings([&](const KEL_CHAR* name) -> std::optional<std::string> {
        const auto found = environment.find(name);
        if (found == environment.end()) return std::nullopt;
        return found->second;
    });
}

TEST(CpicSettings, NumbersOutOfTheirRangeCountAsNotGiven) {
    struct Case {
        const char* name;
        const char* value;
        CPIC_INT CPIC_GLOBALS::*setting;
        CPIC_INT wanted;
    };
    const Case cases[] = {
        {"CPIC_MAX_CONV", "1", &CPIC_GLOBALS::cpic_max_conv, 1},
        {"CPIC_MAX_CONV", "1023999", &CPIC_GLOBALS::cpic_max_conv, 1023999},
        {"CPIC_MAX_CONV", "1024000", &CPIC_GLOBALS::cpic_max_conv, 200},
        {"CPIC_MAX_CONV", "0", &CPIC_GLOBALS::cpic_max_conv, 200},
        {"CPIC_MAX_CONV", "10x", &CPIC_GLOBALS::cpic_max_conv, 200},
        {"CPIC_TRACE_LEN", "100", &CPIC_GLOBALS::cpic_trace_len, 100},
        {"CPIC_TRACE_LEN", "-1", &CPIC_GLOBALS::cpic_trace_len, 32000},
        {"CPIC_CONNECT_TIMEOUT", "86399999", &CPIC_GLOBALS::cpic_connect_timeout, 86399999},
        {"CPIC_CONNECT_TIMEOUT", "86400000", &CPIC_GLOBALS::cpic_connect_timeout, 60000},
        {"CPIC_CONNECT_TIMEOUT", "-1", &CPIC_GLOBALS::cpic_connect_timeout, -1},
        {"CPIC_CONNECT_TIMEOUT", "0", &CPIC_GLOBALS::cpic_connect_timeout, 60000},
        {"CPIC_SELECT_CHECK_PERIOD", "9", &CPIC_GLOBALS::cpic_select_check_period, 30},
        {"CPIC_SELECT_CHECK_PERIOD", "10", &CPIC_GLOBALS::cpic_select_check_period, 10},
        {"CPIC_SELECT_CHECK_TIMEOUT", "86401", &CPIC_GLOBALS::cpic_select_check_timeout, 2},
        {"CPIC_NO_NICHECK", "7", &CPIC_GLOBALS::cpic_no_nicheck, 7},
        {"CPIC_PING_PERIOD", "3", &CPIC_GLOBALS::cpic_ping_period, 3},
        {"CPIC_PING_TIMEOUT", "", &CPIC_GLOBALS::cpic_ping_timeout, 50},
        {"CPIC_TRACE", "2", &CPIC_GLOBALS::trace_level, 2},
        {"CPIC_TRACE", "4", &CPIC_GLOBALS::trace_level, 0},
        {"CPIC_TRACE_LOGGING", "5", &CPIC_GLOBALS::trace_file_size, 5},
    };
    for (const Case& test : cases)
        EXPECT_EQ(settingsOf({{test.name, test.value}}).*test.setting, test.wanted)
            << test.name << '=' << test.value;
}

TEST(CpicSettings, SwitchesAndTexts) {
    const CPIC_GLOBALS none = settingsOf({});
    EXPECT_TRUE(none.cpic_use_uds && none.cpic_buffering);
    EXPECT_FALSE(none.cpic_with_lu_addr || none.cpic_ping);
    EXPECT_EQ(none.side_info, "sideinfo");
    const CPIC_GLOBALS all = settingsOf({{"CPIC_USE_UDS", "0"},
                                         {"CPIC_BUFFERING", "0ff"},
                                         {"CPIC_WITH_LU_ADDR", "1"},
                                         {"CPIC_PING", "1"},
                                         {"SIDE_INFO", "/etc/side"},
                                         {"CPIC_TRACE_DIR", "/var/log"},
                                         {"USER", "somebody"}});
    EXPECT_FALSE(all.cpic_use_uds || all.cpic_buffering);
    EXPECT_TRUE(all.cpic_with_lu_addr && all.cpic_ping);
    EXPECT_EQ(all.side_info, "/etc/side");
    EXPECT_EQ(all.trace_dir, "/var/log");
    EXPECT_EQ(all.user, "somebody");
}

class SideInfo : public testing::Test {
  protected:
    SideInfo() : path(testing::TempDir() + "sideinfo" + std::to_string(::getpid())) {}
    ~SideInfo() override { std::filesystem::remove(path); }
    void write(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

    std::string path;
};

TEST_F(SideInfo, AnEntryWithItsDefaults) {
    write(
        "* a comment\n# another = one\n"
        "GWHOST=before any entry\n"
        "DEST=COMMON_PART\n  gwserv = kelgw00 ; the usual\nPROTOCOL=C\n"
        "DEST=OTHER\nGWHOST=other\n"
        "DEST = MINE\n\tGWHOST =  host.example  # where it "
        "stands\r\nPROTOCOL=I\nLU=\"quoted\"\nTP=\nGWHOST=second\n"
        "UNKNOWN=x\nno equal sign\n"
        "DEST=MINE\nLU=a second entry\n");
    CPIC_SIDE_INFO entry;
    ASSERT_EQ(STIReadSideInfo(path, "MINE", &entry), KEL_O_K);
    const CPIC_SIDE_INFO wanted{
        {"GWHOST", "host.example"}, {"GWSERV", "kelgw00"}, {"LU", ""}, {"PROTOCOL", "I"}, {"TP", ""}};
    EXPECT_EQ(entry, wanted);
    ASSERT_EQ(STIReadSideInfo(path, "OTHER", &entry), KEL_O_K);
    EXPECT_EQ(entry.at("GWHOST"), "other");
    EXPECT_EQ(entry.at("PROTOCOL"), "C");
    EXPECT_EQ(STIReadSideInfo(path, "NOBODY", &entry), C_NO_SIDE_INFO_ENTRY);
    EXPECT_EQ(entry.size(), 2u) << "the defaults";
    EXPECT_EQ(STIReadSideInfo(path + ".none", "MINE", &entry), C_NO_SIDE_INFO);
    EXPECT_TRUE(entry.empty());
}

TEST_F(SideInfo, NoBytesUpsetTheReader) {
    std::string bytes = "DEST=MINE\n";
    for (int i = 0; i < 20000; ++i)
        bytes += static_cast<char>(i * 7919 >> 3);
    write(bytes + "\nGWHOST=" + std::string(100000, 'x') + "\nGWSERV=fine\n");
    CPIC_SIDE_INFO entry;
    EXPECT_EQ(STIReadSideInfo(path, "MINE", &entry), KEL_O_K);
    EXPECT_EQ(entry.count("GWHOST"), 0u) << "a line of that length is none";
    EXPECT_EQ(entry["GWSERV"], "fine");
}

TEST(CpicOpening, WhatIsMissingIsNamed) {
    struct Case {
        const char *dest, *host, *service;
        KEL_CHAR prot;
        bool sideInfo;
        const char* error;
    };
    const Case cases[] = {
        {"DEST", "", "1", 'I', true, "missing GWHOST in side info entry DEST"},
        {"DEST", "h", "", 'I', true, "missing GWSERV in side info entry DEST"},
        {"DEST", "h", "1", '\0', true, "missing PROTOCOL in side info entry DEST"},
        {"", "", "1", 'I', true, "no symbolic destination specified"},
        {"DEST", "", "1", 'I', false, "usage of sideinfo file disabled with KEL_CMUSESIDEINFO"},
        {"DEST", "h", "1", 'x', true,
         "illegal parameter value ( function=STIConvProtocol / parameter=protocol / value=x )"},
    };
    KEL_RAW id[8];
    for (const Case& test : cases) {
        KEL_CMUSESIDEINFO(test.sideInfo, nullptr);
        EXPECT_EQ(KEL_STINIT4(id, test.dest, "lu", "tp", test.host, test.service, test.prot, -1, nullptr,
                              nullptr, nullptr),
                  CM_PRODUCT_SPECIFIC_ERROR);
        EXPECT_STREQ(ErrGetFld(ERR_ERROR), test.error);
    }
    KEL_CMUSESIDEINFO(true, nullptr);
    const std::string route(2049, 'r');
    EXPECT_EQ(KEL_STINIT4(id, "D", "lu", "tp", route.c_str(), "1", 'I', -1, nullptr, nullptr, nullptr),
              CM_PRODUCT_SPECIFIC_ERROR);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR),
                 "illegal parameter value ( function=STIInit / parameter=gw_host / value=2049 (max: 2048) )");
    CPIC_VSL_DATA vsl{};
    vsl.mode = 1;
    EXPECT_EQ(KEL_STINIT4(id, "D", "lu", "tp", "h", "1", 'I', -1, &vsl, nullptr, nullptr),
              CM_PRODUCT_SPECIFIC_ERROR);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "VSL not available (no secure network layer)");
    EXPECT_EQ(STIConvCount().current, 0);
}

TEST(CpicOpening, ProtectionThatTheFileAsksForIsNeverLeftOut) {
    constexpr const char* unavailable = "VSL not available (no secure network layer)";
    constexpr const char* unreached = "partner '127.0.0.1:1' not reached";
    const struct {
        const char *mode, *error;
    } cases[] = {
        {"1", unavailable}, {"ON", unavailable}, {"3", unavailable}, {"0", unreached}, {"2", unreached}};
    for (const auto& [mode, error] : cases) {
        std::ofstream(ownFile) << "DEST=DEST\nVSL_MODE=" << mode << '\n';
        KEL_RAW id[8];
        EXPECT_EQ(KEL_STINIT4(id, "DEST", "lu", "tp", "127.0.0.1", "1", 'I', -1, nullptr, nullptr, nullptr),
                  CM_PRODUCT_SPECIFIC_ERROR);
        EXPECT_STREQ(ErrGetFld(ERR_ERROR), error) << mode;
    }
    std::filesystem::remove(ownFile);
}

TEST(CpicStarted, WhatIsMissingIsNamed) {
    struct Case {
        std::vector<const char*> argv;
        CM_RETCODE rc;
        const char* error;
    };
    const Case cases[] = {
        {{"prog"}, 20, "no host name in argument list"},
        {{"prog", "GWSERV=1"}, 20, "no host name in argument list"},
        {{"prog", "127.0.0.1"}, 20, "no service name in argument list"},
        {{"prog", "CONVID=12345678", "GWHOST=127.0.0.1", "GWSERV="}, 20, "no service name in argument list"},
        {{"prog", "127.0.0.1", "1"}, 20, "no conversation ID in argument list"},
        {{"prog", "127.0.0.1", "1", "12345678", "DT_ROOT_ID=12"},
         19,
         "illegal parameter value ( function=STACCP / parameter=DT_ROOT_ID / value=12 )"},
        {{"prog", "127.0.0.1", "1", "12345678", "DT_CONNECTION_ID=0123456789abcdef0123456789ABCDEG"},
         19,
         "illegal parameter value ( function=STACCP / parameter=DT_CONNECTION_ID / "
         "value=0123456789abcdef0123456789ABCDEG )"},
        {{"prog", "TP=a*b", "GWHOST=127.0.0.1", "GWSERV=1"},
         19,
         "illegal parameter value ( function=STACCP / parameter=tpname / value=a*b )"},
    };
    KEL_RAW id[8];
    for (Case test : cases) {
        test.argv.push_back(nullptr);
        ASSERT_EQ(KEL_CMACCP(const_cast<KEL_CHAR**>(test.argv.data()), nullptr), CM_OK);
        EXPECT_EQ(STACCP(id, nullptr), test.rc);
        EXPECT_STREQ(ErrGetFld(ERR_ERROR), test.error);
    }
    EXPECT_EQ(KEL_CMACCP(nullptr, nullptr), CM_PRODUCT_SPECIFIC_ERROR);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "no program name in argument list");
    EXPECT_EQ(STIConvCount().current, 0);
}

}  // namespace
