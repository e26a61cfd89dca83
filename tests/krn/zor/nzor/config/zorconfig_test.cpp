#include "config/zorconfig.h"

#include <gtest/gtest.h>
#include <kelzor/config.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "krn/zor/nzor/config/process_fixture.h"
#include "trace/zortracefunctions.h"

namespace {

class ZorConfigTest : public ProcessFixture {};

TEST_F(ZorConfigTest, DefaultsWithoutFileAndEnvironment) {
    if (ranAlone()) return;
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 0u);
    EXPECT_TRUE(ZorConfig::traceByThread());
    EXPECT_EQ(ZorConfig::getTraceDir(), "./");
    EXPECT_EQ(ZorConfig::getTraceEncoding(), TRACE_NATIVE);
    EXPECT_EQ(ZorConfig::getLogonGroupCheckInterval(), 300);
    EXPECT_EQ(ZorConfig::getMinimumTraceLevel(), 0u);
    EXPECT_TRUE(ZorConfig::getAcceptExportedTrace());
    EXPECT_EQ(ZorConfig::getMaxTracefileSize(), 0x20000000u);
}

TEST_F(ZorConfigTest, EnvironmentIsTakenUnlessTheFileSaysOtherwise) {
    const struct {
        const char* environment;
        const char* file;
        unsigned level;
    } cases[] = {
        {"2", "", 2},
        {"4", "", 0},
        {"22", "", 0},
        {"x", "", 0},
        {"", "", 0},
        {"2", "DEFAULT\nZOR_TRACE=1\n", 1},
        {"1", "DEFAULT\nZOR_TRACE=9\n", 3},
        {"1", "ZOR_TRACE=3\n", 1},
    };
    for (const auto& test : cases) {
        ::setenv("ZOR_TRACE", test.environment, 1);
        configure(test.file);
        EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), test.level) << test.environment << test.file;
    }
}

TEST_F(ZorConfigTest, SectionsBecomeOptions) {
    configure(
        "DEST=A\nUSER=one\nuser=lower\nSOMETHING=else\nSYSNR=\nREG_COUNT=many\n"
        "DEFAULT\nCLIENT=300\nZOR_ACCEPT_EXPORTED_TRACE=0\n"
        "DEST=B\nUSER=first\nASHOST=h\n"
        "DEST=B\nUSER=second\nTRACE=2\n");
    ZorOptions a;
    ZorConfig::getDestinationOptions("A", a);
    EXPECT_EQ(a.user, "one");
    EXPECT_EQ(a.client, "000") << "defaults aren't a destination's";
    EXPECT_EQ(a.reg_count, 0u);
    EXPECT_EQ(a.trace, 0u) << "an open level becomes the global one";
    ZorOptions b;
    ZorConfig::getDestinationOptions("B", b);
    EXPECT_EQ(b.user + b.ashost, "second") << "the later section of a name wins whole";
    EXPECT_EQ(b.trace, 2u);
    EXPECT_FALSE(ZorConfig::getAcceptExportedTrace());
}

TEST_F(ZorConfigTest, WhatCantBeReadIsNoError) {
    const std::filesystem::path file = directory / "kelzor.ini";
    const std::function<void()> makers[] = {
        [] {},
        [&] { std::filesystem::create_directory(file); },
        [&] { std::filesystem::create_symlink(file, file); },
        [&] { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); },  // nobody writes into it
        [&] {
            writeFile(file, ::geteuid() == 0 ? "" : "DEFAULT\nZOR_TRACE=1\n");
            std::filesystem::permissions(file, std::filesystem::perms::none);
        },
    };
    ::setenv("ZOR_TRACE", "2", 1);
    for (const auto& make : makers) {
        ZorConfig::setGlobalTraceLevel(0);
        make();
        ZorConfig::setIniPath(nullptr);
        ZorConfig::reload();
        EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 2u) << (&make - makers);
        std::filesystem::remove(file);
    }
}

TEST_F(ZorConfigTest, FileOfMegabytes) {
    std::string text;
    for (int i = 0; i < 2000; ++i)
        text += "DEST=D" + std::to_string(i) + "\nUSER=u" + std::to_string(i) + "\n# " +
                std::string(2000, '#') + "\n";
    configure(text);
    for (const int i : {0, 1000, 1999}) {
        ZorOptions options;
        ZorConfig::getDestinationOptions(("D" + std::to_string(i)).c_str(), options);
        EXPECT_EQ(options.user, "u" + std::to_string(i));
    }
}

TEST_F(ZorConfigTest, DestinationLevelsAndUnknownNames) {
    configure("DEFAULT\nZOR_TRACE=1\nDEST=A\nUSER=u\n");
    ZorOptions options;
    options.user = "kept";
    ZorConfig::getDestinationOptions("UNKNOWN", options);
    ZorConfig::getDestinationOptions(nullptr, options);
    EXPECT_EQ(options.user, "kept");
    EXPECT_EQ(ZorConfig::getDestinationTraceLevel("A"), 1u);
    EXPECT_EQ(ZorConfig::getDestinationTraceLevel("UNKNOWN"), 1u);
    ZorConfig::setDestinationTraceLevel("A", 3);
    EXPECT_EQ(ZorConfig::getDestinationTraceLevel("A"), 3u);
    try {
        ZorConfig::setDestinationTraceLevel("UNKNOWN", 1);
        ADD_FAILURE() << "accepted";
    } catch (const ZorInvalidParameterException& failure) {
        EXPECT_EQ(failure.getMessage(), "Destination does not exist");
    }
}

TEST_F(ZorConfigTest, TraceFileSizes) {
    // A value without effect leaves the size of the row before it.
    const struct {
        const char* value;
        unsigned size;
    } cases[] = {
        {"100M", 104857600}, {"100", 104857600}, {"0M", 104857600},     {"M", 104857600},
        {"12K", 104857600},  {"2g", 0x80000000}, {"9999G", 0xFFFFFFFF}, {"1m", 1048576},
    };
    for (const auto& test : cases) {
        configure(std::string("DEFAULT\nZOR_TRACE_MAX_FILE_SIZE=") + test.value + "\n");
        EXPECT_EQ(ZorConfig::getMaxTracefileSize(), test.size) << test.value;
    }
}

TEST_F(ZorConfigTest, RefusedValueSkipsItsSectionAndIsLogged) {
    std::filesystem::create_directory(directory / "logs");
    configure(
        "DEST=BAD\nPASSWD=TopSecret\nCODEPAGE=123\n"
        "DEST=GOOD\nUSER=u\n"
        "DEST=GOOD\nUSER=v\nLANG=XX\n"
        "DEST=" +
        std::string(1000, 'N') +
        "\nLANG=YYY\n"
        "DEFAULT\nZOR_TRACE_DIR=logs\n");
    ZorOptions options;
    ZorConfig::getDestinationOptions("BAD", options);
    EXPECT_EQ(options.passwd, "");
    ZorConfig::getDestinationOptions("GOOD", options);
    EXPECT_EQ(options.user, "u");
    const std::string log = readFile(directory / "logs" / "dev_zor.trc");
    const std::string lines[] = {
        "BAD is skipped, key CODEPAGE: 123 can't be a valid codepage as its length is not 4 characters",
        "GOOD is skipped, key LANG: Invalid logon language XX.",
        std::string(128, 'N') + "... is skipped, key LANG: Invalid logon language YYY.",
    };
    for (const auto& line : lines)
        EXPECT_NE(log.find("kelzor.ini: destination " + line + "\n"), log.npos) << log;
    EXPECT_EQ(log.find("TopSecret"), log.npos);
}

TEST_F(ZorConfigTest, ReloadAddsAndPathDecides) {
    configure("DEST=A\nUSER=u\n");
    std::filesystem::create_directory(directory / "sub");
    writeFile(directory / "sub" / "kelzor.ini", "DEFAULT\nZOR_TRACE=2\nDEST=B\nUSER=v\n");
    ZorConfig::setIniPath("sub");
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 2u);
    writeFile(directory / "sub" / "kelzor.ini", "DEFAULT\nZOR_TRACE=0\n");
    ZorConfig::setIniPath("sub");
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 2u) << "an unchanged path reads nothing";
    ZorConfig::reload();
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 0u);
    ZorOptions options;
    ZorConfig::getDestinationOptions("A", options);
    EXPECT_EQ(options.user, "u") << "a section that is gone stays known";
}

TEST_F(ZorConfigTest, TraceTypeIsTakenAtTheFirstReadingOnly) {
    if (ranAlone()) return;
    writeFile("kelzor.ini",
              "DEFAULT\nZOR_TRACE_TYPE=PROCESS\nZOR_TRACE_DIR=/nowhere\nZOR_TRACE_ENCODING=UTF-8\n");
    EXPECT_FALSE(ZorConfig::traceByThread());
    EXPECT_EQ(ZorConfig::getTraceDir(), "./");
    EXPECT_EQ(ZorConfig::getTraceEncoding(), TRACE_UTF8);
    ZorConfig::setTraceType(true);
    ZorConfig::reload();
    EXPECT_TRUE(ZorConfig::traceByThread());
}

unsigned hookedLevel;
std::string hookedFile;
unsigned hookedSize;

TEST_F(ZorConfigTest, LowerLayersAreTold) {
    ZorLowerLayerHooks hooks;
    hooks.setCpicTraceLevel = [](unsigned level, const KEL_UC* file) noexcept {
        hookedLevel = level;
        hookedFile = file;
    };
    hooks.setNISocketBufferSize = [](unsigned size) noexcept { hookedSize = size; };
    ZorConfig::setLowerLayerHooks(hooks);
    ::setenv("CPIC_TRACE", "2", 1);
    configure("DEFAULT\nNI_SOCKET_BUFFER_SIZE=65536\n");
    EXPECT_EQ(hookedLevel, 2u);
    EXPECT_EQ(hookedFile, "./cpic_" + std::to_string(::getpid()) + ".trc");
    EXPECT_EQ(hookedSize, 65536u);
    ZorConfig::setGlobalCpicTraceLevel(7);
    EXPECT_EQ(hookedLevel, 3u);
    EXPECT_EQ(ZorConfig::getGlobalCpicTraceLevel(), 3u);
}

// All threads come to a configuration that nobody has read yet; then some read, some reload, and one moves
// between two directories whose files have one destination with values that belong together.
TEST_F(ZorConfigTest, ManyThreadsReadWhileOthersReload) {
    if (ranAlone()) return;
    for (const std::string value : {"a", "b"}) {
        std::filesystem::create_directory(directory / value);
        writeFile(directory / value / "kelzor.ini", "DEFAULT\nZOR_TRACE=" + std::to_string(value == "a") +
                                                        "\nDEST=A\nUSER=" + value + "\nPASSWD=" + value +
                                                        "\nDEST=BAD\nLANG=XX\n");
    }
    writeFile(directory / "kelzor.ini", "DEFAULT\nZOR_TRACE=2\nDEST=A\nUSER=c\nPASSWD=c\n");
    constexpr int threadCount = 8;
    constexpr int rounds = 60;
    std::atomic<int> waiting{threadCount};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number)
        threads.emplace_back([&, number] {
            for (--waiting; waiting > 0;)
                std::this_thread::yield();
            if (ZorConfig::getGlobalTraceLevel() > 2) ++wrong;
            for (int round = 0; round < rounds; ++round) {
                if (number == 0 && ZorSetIniPath(round % 2 == 0 ? "a" : "b", nullptr) != ZOR_OK) ++wrong;
                if (number == 1 && ZorReloadIniFile(nullptr) != ZOR_OK) ++wrong;
                ZorOptions options;
                ZorConfig::getDestinationOptions("A", options);
                if (options.user.size() != 1 || options.user != options.passwd) ++wrong;
                if (ZorConfig::getDestinationTraceLevel("A") > 2) ++wrong;
                ZorTraceWrite("line %d", round);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 0u);
    ZorOptions options;
    ZorConfig::getDestinationOptions("A", options);
    EXPECT_EQ(options.user, "b");
}

}  // namespace
