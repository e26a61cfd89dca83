#include "base/dptrc/dptrc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "base/dptrc/err.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

namespace fs = std::filesystem;

std::string threadId() {
    return "[Thr " + std::to_string(::syscall(SYS_gettid)) + "] ";
}

class DpTrcTest : public testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "kelzorXXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        CTrcSetTimeResolution(0);
        CTrcSetPrintThreadId(false);
        tf = CTrcInit(path("main").c_str(), 1, 2);
        CTrcNewComp('a', &a, nullptr);
        CTrcNewComp('M', &m, nullptr);
        start = read("main").size();
    }

    void TearDown() override {
        DpTrcRmAllPattern();
        DpTrcRmFileSizeHook();
        CTrcSetOutputMethod(nullptr, nullptr);
        CTrcSetContextInfoHook(nullptr, nullptr);
        CTrcClearTag();
        CTrcResetMaxLinesBetweenTimestamps();
        CTrcThrResetTrace();
        CTrcFileClose(tf);
        tf = nullptr;
        ct_level = 0;
        fs::remove_all(directory);
    }

    std::string path(const std::string& name) const { return directory / name; }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /** What was written to the main file since the last look. */
    std::string written() {
        const std::string all = read("main");
        return all.substr(std::exchange(start, all.size()));
    }

    fs::path directory;
    CTRC_HDL a = nullptr, m = nullptr;
    std::size_t start = 0;
};

constexpr const char* RULE = "---------------------------------------------------\n";

TEST_F(DpTrcTest, FilesBeginWithAHeadAndHaveTheirModeWhateverTheUmask) {
    const mode_t old = ::umask(0077);
    const CTRC_HDL file = CTrcInit(path("second").c_str(), 2, 3);
    ::umask(old);
    struct stat properties {};
    ASSERT_EQ(::stat(path("second").c_str(), &properties), 0);
    EXPECT_EQ(properties.st_mode & 07777, 0644u);
    const std::string head =
        std::string("\n") + RULE + "trc file: \"second\", trc level: 3, release: \"753\"\n" + RULE;
    EXPECT_EQ(read("second"), head);
    EXPECT_EQ(ct_level, 2) << "the main file's level stays";
    DpTrcNoTi(file, "text\n");
    CTrcFileClose(file);
    CTrcFileClose(CTrcInit(path("second").c_str(), 2, 3));
    EXPECT_EQ(read("second"), head + "text\n" + head);
    CTrcFileClose(CTrcInit(path("second").c_str(), 1, 3));
    EXPECT_EQ(read("second"), head);
}

TEST_F(DpTrcTest, StatementsOfStreamsAndComponents) {
    CTrcSetPrintThreadId(true);
    const std::string thread = threadId();
    errno = ENOENT;
    DpTrc(tf, "stream %d\n", 1);
    DpTrcNoTiNoThr(tf, "%s\n", "100%");
    DpTrc(m, "one\ntwo\nthree\n");
    DpTrcNoThr(m, "open");
    DpTrcNoThr(m, ", going on");
    {
        const DpHold hold(1);
        DpTrcNoTiNoThr(a, "of another\n");
    }
    CTrcSetTag("tag ");
    DpTrcNoThr(m, "with crlf\n\r");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(written(), thread + "stream 1\n100%\n" + "M  " + thread + "one\nM  " + thread + "two\nM  " +
                             thread + "three\nM  open, going on\nA  of another\nM  tag with crlf\n\r");
}

TEST_F(DpTrcTest, AComponentIsHeardFromItsLevelOn) {
    DpTrcNoTi(a, "level 2\n");
    EXPECT_EQ(written(), "") << "a stands at 1";
    {
        const DpHold hold(1);
        DpTrcNoTi(a, "level 1\n");
    }
    DpTrcNoTi(m, "level 2\n");
    EXPECT_EQ(written(), "A  level 1\nM  level 2\n");
    const int off = 0;
    EXPECT_EQ(CTrcSetParam(a, CTP_LEVEL, &off), 0);
    EXPECT_EQ(written(), "*\n* SWITCH TRC-LEVEL to 0\n*\n");
    DpTrcErr(a, "silent");
    EXPECT_EQ(written(), "");
    int level = -1;
    EXPECT_EQ(CTrcGetParam(m, CTP_LEVEL, &level), 0);
    EXPECT_EQ(level, 2) << "the lower one of 3 and the process's 2";
    EXPECT_EQ(CTrcSetParam(m, CTP_FILE, nullptr), -1);
    EXPECT_EQ(written(), "M  CTrcSetParam: cannot set the filepointer.\n");
}

TEST_F(DpTrcTest, ErrorLinesNameThePlaceAndErrno) {
    const auto context = [](void* ctx, KEL_CHAR* buffer, std::size_t size) {
        std::snprintf(buffer, size, "%s", static_cast<const char*>(ctx));
        DpTrcErr(tf, "from inside");  // asks for no context of its own
        return 0;
    };
    const DpHold hold(1);
    CTrcSaveLocation("/src/krn/averylongname.cpp", 123456);
    DpTrcErr(m, "failed: %d", 7);
    CTrcSaveLocation("ni.cpp", 42);
    DpTrcWarn(tf, "careful");
    errno = ECONNREFUSED;
    DpSysErr(tf, "connect");
    errno = 4242;
    DpSysErr(tf, "odd");
    EXPECT_EQ(errno, 4242);
    CTrcSetContextInfoHook(context, const_cast<char*>("ctx: "));
    DpTrcErrNoThr(tf, "last");
    CTrcSetContextInfoHook([](void*, KEL_CHAR*, std::size_t) { return 5; }, nullptr);
    DpTrcErrNoThr(tf, "no context");
    DpTrcErrNoThr(tf, std::string(8192, 'f').c_str());
    EXPECT_EQ(written(),
              "M  *** ERROR => failed: 7 [averylongnam 12345]\n"
              "*** WARNING => careful [ni.cpp       42]\n"
              "*** ERROR => connect (111: Connection refused) [ni.cpp       42]\n"
              "*** ERROR => odd (4242: illegal errno) [ni.cpp       42]\n"
              "*** ERROR => from inside [ni.cpp       42]\nctx: *** ERROR => last [ni.cpp       42]\n"
              "\n*** ERROR => contextinfo_hook_func failed 5\n*** ERROR => no context [ni.cpp       42]\n"
              "\n*** ERROR => contextinfo_hook_func failed 5\n*** ERROR => Dptrc fmt string truncated\n");
}

/** Statements in the form that takes a va_list. */
[[gnu::format(printf, 2, 3)]] void passOn(void (*statement)(CTRC_HDL, const KEL_CHAR*, va_list) noexcept,
                                          const KEL_CHAR* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    statement(tf, format, arguments);
    va_end(arguments);
}

TEST_F(DpTrcTest, StatementsHaveFormsForSevenBitsAndForArgumentLists) {
    const DpHold hold(1);
    CTrcSaveLocation("x.cpp", 1);
    passOn(DpTrcVar, "%d\n", 1);
    passOn(DpTrcNoThrVar, "%d\n", 2);
    passOn(DpTrcNoTiVar, "%d\n", 3);
    passOn(DpTrcNoTiNoThrVar, "%d\n", 4);
    passOn(DpTrcErrVar, "%d", 5);
    passOn(DpTrcErrNoThrVar, "%d", 6);
    passOn(DpTrcWarnVar, "%d", 7);
    errno = ENOENT;
    passOn(DpSysErrVar, "%d", 8);
    EXPECT_EQ(written(),
              "1\n2\n3\n4\n*** ERROR => 5 [x.cpp        1]\n*** ERROR => 6 [x.cpp        1]\n"
              "*** WARNING => 7 [x.cpp        1]\n*** ERROR => 8 (2: No such file or directory) [x.cpp       "
              " 1]\n");
    DpTrcA7(tf, "a\xE4%s\n", "\x80z");
    DpTrcErrA7(tf, "e\xFC");
    EXPECT_EQ(written(), "a??z\n*** ERROR => e? [x.cpp        1]\n");
}

TEST_F(DpTrcTest, AHeadOfAProgramIsIndentedAsItsComponent) {
    CTrcSetIndent(m, 2);
    CTrcPrintPgmHeaderExt2(m, {.sysno = "00",
                               .sid = nullptr,
                               .relno = 7530,
                               .patchlevel = 1,
                               .patchno = 23,
                               .intno = 20,
                               .make = {"single", "8 bit", "", "optimised", ""},
                               .profile = "none"});
    const std::string start = "M      ";
    EXPECT_THAT(written(), MatchesRegex(start + "sysno      00\n" + start + "sid        \n" + start +
                                        "systemid   387 \\(.*Linux\\)\n" + start + "relno      7530\n" +
                                        start + "patchlevel 1\n" + start + "patchno    23\n" + start +
                                        "intno      20\n" + start + "make       single, 8 bit, optimised\n" +
                                        start + "profile    none\n" + start + "pid        [0-9]+\n"));
    CTrcSetIndent(m, 40);
    DpTrcNoTiNoThr(m, "far\n");
    EXPECT_EQ(written(), "M  " + std::string(31, ' ') + "far\n");
}

TEST_F(DpTrcTest, ALongTextIsCut) {
    DpTrc(tf, "%s", std::string(9000, 'x').c_str());
    EXPECT_EQ(written(), std::string(8191, 'x') + "\n*** WARNING => data was truncated\n");
}

TEST_F(DpTrcTest, StampsComeWithEachSecondAndAfterFortyStatements) {
    const std::string day = "[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9]+:[0-9]+:[0-9]+";
    const std::string inLine = "[0-9]+-[0-9]+-[0-9]+-[0-9]+:[0-9]+:[0-9]+";
    const struct {
        int resolution;
        unsigned lines;
        std::string stamp;
    } cases[] = {{1, 40, day + " [0-9][0-9][0-9][0-9]\n"},
                 {1000, 40, day + ":[0-9][0-9][0-9] [0-9][0-9][0-9][0-9]\n"},
                 {1, 1, "\\[" + inLine + "\\] "},
                 {1000, 1, "\\[" + inLine + ",[0-9][0-9][0-9]\\] "}};
    for (const auto& test : cases) {
        CTrcSetTimeResolution(test.resolution);
        CTrcSetMaxLinesBetweenTimestamps(test.lines);
        const CTRC_HDL file = CTrcInit(path("stamps").c_str(), 1, 2);  // forgets the last stamp
        const std::size_t head = read("stamps").size();
        DpTrcNoThr(file, "text\n");
        EXPECT_THAT(read("stamps").substr(head), MatchesRegex(test.stamp + "text\n"));
        CTrcFileClose(file);
    }
    CTrcSetTimeResolution(1);
    CTrcSetMaxLinesBetweenTimestamps(40);
    const CTRC_HDL file = CTrcInit(path("many").c_str(), 1, 2);
    for (int i = 0; i < 41; ++i)
        DpTrcNoThr(file, "%d\n", i);
    EXPECT_THAT(read("many"), MatchesRegex("(.|\n)*\n38\n(39\n)?" + cases[0].stamp + "(39\n)?(" +
                                           cases[0].stamp + ")?40\n"));
    CTrcFileClose(file);
}

TEST_F(DpTrcTest, PatternsAreLookedForInEachStatement) {
    static std::vector<std::string> found;
    found.clear();
    EXPECT_EQ(DpTrcAddPattern("need", [](CTRC_HDL, const KEL_CHAR* text) { found.emplace_back(text); }), 0);
    EXPECT_EQ(DpTrcAddPattern("le\nx", nullptr), 0);
    DpTrc(tf, "need");
    DpTrc(tf, "le\n");
    DpTrc(tf, "x\n");
    EXPECT_EQ(written(), "need\nDpTrc: found match for pattern >need< in output\nle\nx\n");
    EXPECT_EQ(found, std::vector<std::string>{"need"});
    EXPECT_EQ(DpTrcRmPattern("need"), 0);
    EXPECT_EQ(DpTrcRmPattern("need"), -1);
    for (int i = 1; i < 32; ++i)
        EXPECT_EQ(DpTrcAddPattern(std::to_string(i).c_str(), nullptr), 0);
    EXPECT_EQ(DpTrcAddPattern("33", nullptr), -1);
    const KEL_CHAR* patterns[2];
    EXPECT_EQ(DpTrcGetPatterns(patterns, 2), 32u);
    EXPECT_STREQ(patterns[1], "1");
}

TEST_F(DpTrcTest, TheSizeLimitCallsItsHookOnce) {
    static int calls;
    calls = 0;
    const auto hook = [](CTRC_HDL handle, long) {
        ++calls;
        DpTrc(handle, "from the hook\n");
    };
    DpTrcSetFileSizeHook(-5, hook);
    EXPECT_EQ(DpTrcGetFileSize(), 0);
    DpTrc(tf, "a\n");
    const long limit = static_cast<long>(read("main").size()) + 2;
    DpTrcSetFileSizeHook(limit, hook);
    DpTrc(tf, "b\n");
    EXPECT_EQ(calls, 0);
    CTrcSetFileSwitchAllowed(false);
    DpTrc(tf, "c\n");
    CTrcSetFileSwitchAllowed(true);
    DpTrc(tf, "d\n");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(written(), "a\nb\nc\nd\n\nDpTrc: maximum file size reached: " + std::to_string(limit + 4) +
                             "\nfrom the hook\n");
}

TEST_F(DpTrcTest, SwitchingByLetters) {
    CTRC_HDL n = nullptr;
    CTrcLastComp('n', &n, nullptr);
    ASSERT_NE(n, nullptr);
    CTRC_HDL late = n;
    CTrcNewComp('z', &late, nullptr);
    EXPECT_EQ(late, nullptr);
    EXPECT_EQ(written(), "CTrcNewComp called after CTrcLastComp\n");
    const struct {
        const char* letters;
        unsigned mode;
        int level;
        int rc;
        const char* active;
        int result;
    } cases[] = {
        {"", 1, 3, 0, "all, M", 3},
        {"A", 1, -1, 0, "All, n", 3},
        {"N", 1, 2, 0, "All", 2},
        {"am", 1, 2, 0, "all, N", 2},
        {"an", 2, 2, 0, "m", 2},
        {"AN", 2, 2, 0, "all", 2},
        {"aM", 3, 2, 0, "aM", 2},
        {"All", 3, 1, 0, "All", 1},
        {"alln", 3, 1, 0, "all", 1},
        {"allN", 3, 1, 0, "all, N", 1},
        {"Allall", 3, 1, -1, "", 0},
        {"All", 1, 1, -1, "", 0},
        {"a", 4, 1, -1, "", 0},
        {"AM", 3 | CTRC_SWITCH_LEVEL, 2, 0, "AM", 2},
        {"a", 3 | CTRC_SWITCH_LEVEL, 2, 0, "a", 1},
    };
    for (const auto& test : cases) {
        KEL_CHAR active[CTRC_ACTIVE_MAX] = "";
        int result = 0;
        EXPECT_EQ(CTrcSwitch(test.letters, test.mode, test.level, &active, &result), test.rc);
        EXPECT_STREQ(active, test.active) << test.letters << " " << test.mode;
        EXPECT_EQ(result, test.result) << test.letters << " " << test.mode;
    }
    EXPECT_THAT(written(),
                HasSubstr("*\n*  ACTIVE TRACE LEVEL           1\n*  ACTIVE TRACE COMPONENTS      a\n*\n"));
}

TEST_F(DpTrcTest, AThreadsFileTakesItsComponentLines) {
    CTRC_HDL own = nullptr;
    std::thread([&] {
        own = CTrcThrOpen(path("thread").c_str(), 1, 2);
        ASSERT_NE(own, nullptr);
        EXPECT_EQ(CTrcThrGetTraceLevel(own), 0x7FFFFFFF);
        DpTrcNoTi(m, "private\n");
        DpTrcNoTi(tf, "shared\n");
        EXPECT_EQ(CTrcThrSetTraceLevel(own, 1), 0);
        DpTrcNoTi(own, "too detailed for this thread\n");
        CTrcThrResetTrace();
        DpTrcNoTi(own, "again\n");
    }).join();
    EXPECT_THAT(read("thread"), testing::EndsWith(std::string(RULE) + "M  private\nagain\n"));
    EXPECT_EQ(written(), "shared\n");
    EXPECT_EQ(CTrcThrClose(own), -1) << "the thread has ended";
    EXPECT_EQ(CTrcThrGetTraceLevel(tf), -1);
    EXPECT_EQ(written(), "CTrcThrClose: invalid handle\nCTrcThrGetTraceLevel: invalid handle\n");
}

TEST_F(DpTrcTest, GenerationsShift) {
    const auto put = [&](const char* name, const char* text) { std::ofstream(path(name)) << text; };
    put("f", "1");
    CTrcBackupFiles(path("f").c_str(), 3);
    put("f", "2");
    CTrcBackupFiles(path("f").c_str(), 3);
    put("f", "3");
    CTrcBackupFiles(path("f").c_str(), 3);
    EXPECT_EQ(read("f.old") + read("f.old.1") + read("f.old.2"), "321");
    put("f", "4");
    CTrcBackupFiles(path("f").c_str(), 1);
    EXPECT_EQ(read("f.old") + read("f.old.1"), "42");
    put("f", "5");
    CTrcBackupFiles(path("f").c_str(), 0);
    EXPECT_FALSE(fs::exists(path("f")));
}

TEST_F(DpTrcTest, WhatCannotBeWrittenIsLost) {
    const CTRC_HDL full = CTrcInit("/dev/full", 2, 2);
    for (int i = 0; i < 100; ++i)
        DpTrcErr(full, "%s", std::string(4000, 'x').c_str());
    CTrcFileClose(full);
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    fs::create_symlink(path("victim"), path("link"));
    testing::internal::CaptureStderr();
    for (const char* name : {"pipe", "link", "no/where"})
        EXPECT_EQ(CTrcInit(path(name).c_str(), 2, 2), stderr);
    DpTrcNoTi(nullptr, "NULL\n");
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_THAT(told, HasSubstr("*** ERROR => CTrcOpen: fopen " + path("no/where") + "\n"));
    EXPECT_THAT(told, testing::EndsWith(std::string(RULE) + "NULL\n"));
    EXPECT_FALSE(fs::exists(path("victim")));
}

TEST_F(DpTrcTest, AnOutputFunctionTakesAll) {
    std::string taken;
    CTrcSetOutputMethod([](void* info, std::string_view text) { *static_cast<std::string*>(info) += text; },
                        &taken);
    DpTrcNoTi(m, "text\n");
    CTrcInit(path("none").c_str(), 2, 1);
    EXPECT_EQ(taken, "M  text\n");
    EXPECT_FALSE(fs::exists(path("none")));
    EXPECT_EQ(written(), "");
}

TEST_F(DpTrcTest, ErrorBlocksLeaveTheirTrace) {
    ErrClear();
    ErrSetMyLocation("%s", "router");
    static std::string logged;
    DpSetSysLog([](const KEL_CHAR* key, const KEL_CHAR* text) { logged = std::string(key) + ": " + text; });
    ErrSetSys("NI", 40, "a/nixx.cpp", 17, ERR_LOG_ENTRY, "not reached", -10, "NiConnect: %s", "connect",
              ECONNREFUSED, "h");
    EXPECT_EQ(written(), "***LOG Q0I=> NiConnect: h: connect (111: Connection refused) [nixx.cpp 17]\n");
    EXPECT_EQ(logged, "Q0I: NiConnect: h: connect (111: Connection refused) [nixx.cpp 17]");
    DpSetSysLog(nullptr);
    ErrTrace(tf);
    const std::string stars(77, '*');
    EXPECT_THAT(written(),
                MatchesRegex("\n[*]+\n[*]\n[*]  LOCATION    router\n[*]  ERROR       not reached\n[*]\n"
                             "[*]  TIME        [^\n]+\n(.|\n)*[*]  DETAIL      NiConnect: h\n(.|\n)*"
                             "[*]  COUNTER     [0-9]+\n[*]\n[*]+\n\n"));
    EXPECT_EQ(ErrSet("NI", 40, "nixx.cpp", 18, "%s", -1, "", std::string(500, 'l').c_str()), ERR_TOO_LONG);
    EXPECT_THAT(written(), testing::StartsWith("*** ERROR => error information is longer than 500 bytes "
                                               "[nixx.cpp     18]\nLOCATION    router\nERROR       lll"));
    const KEL_RAW bad[] = "*ERR*\0 21 fields are needed\0*ERR*";
    EXPECT_EQ(ErrCpNetToInt(bad), ERR_BAD_BLOCK);
    EXPECT_THAT(written(), HasSubstr("*** ERROR => ErrCpNetToInt: error info incomplete (3 fields only) ["));
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "");
    EXPECT_EQ(written(), "ErrIGet: no KEL error info available\n");
    ErrSetSys("NI", 40, "nixx.cpp", 17, ERR_NO_LOG, "x", -10, "y", "connect", ECONNREFUSED);
    EXPECT_EQ(written(), "");
    ASSERT_EQ(ErrSetLength(20), 0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "");
    ASSERT_EQ(ErrSetLength(7), 0);
    EXPECT_STREQ(ErrGetFld(ERR_ERROR), "");
    EXPECT_THAT(written(), MatchesRegex("[*]+ ERROR => ErrIGet: eyecatcher destroyed \\[.*\\]\n"
                                        "ErrIGet: bad length \\(7\\)\n"));
    ct_level = 0;
    ErrSetSys("NI", 40, "nixx.cpp", 17, ERR_LOG_ENTRY, "x", -10, "y", "connect", ECONNREFUSED);
    EXPECT_EQ(written(), "");
}

TEST_F(DpTrcTest, LinesOfThreadsNeverMixWhileTheTraceIsSwitched) {
    constexpr int threadCount = 4, lineCount = 200;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&, i] {
            const CTRC_HDL own = i == 0 ? CTrcThrOpen(path("own").c_str(), 1, 2) : nullptr;
            for (int line = 0; line < lineCount; ++line)
                if (ct_level >= 1) {
                    const DpHold hold(1);
                    DpTrcNoTiNoThr(tf, "%d-%0*d", i, 100, 0);
                    DpTrcNoTiNoThr(tf, "-%d\n", i);
                }
            EXPECT_EQ(i == 0 ? CTrcThrClose(own) : 0, 0);
        });
    for (int i = 0; i < 50; ++i) {
        const int level = 1 + i % 3;
        CTrcSetParam(tf, CTP_LEVEL, &level);
        CTrcSwitch("AM", 1, level, nullptr, nullptr);
    }
    for (auto& thread : threads)
        thread.join();
    const std::string text = written();
    int lines = 0;
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != text.npos; at = end + 1) {
        if (text[at] == '*') continue;
        const std::string line = text.substr(at, end - at);
        EXPECT_EQ(line, line.substr(0, 2) + std::string(100, '0') + "-" + line[0]);
        ++lines;
    }
    EXPECT_EQ(lines, threadCount * lineCount);
}

}  // namespace
