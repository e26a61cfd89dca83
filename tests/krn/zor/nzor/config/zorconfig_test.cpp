#include "config/zorconfig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "krn/zor/nzor/config/process_fixture.h"
#include "trace/zortracefunctions.h"

namespace {

class ZorConfigTest : public ProcessFixture {};

TEST_F(ZorConfigTest, DefaultsWithoutFileAndEnvironment) {
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

TEST_F(ZorConfigTest, LinesSectionsAndValues) {
    configure(
        "USER=NOBODY\n"
        "# comment\n// DEST=A\n/* DEST=A */ \n"
        "DEST=A\n"
        " \t USER = one \r\n"
        "PROGRAM_ID=a=b\n"
        "ASHOST\n"
        "=x\nGWHOST=\n"
        "user=lower\n"
        "USER=two\n"
        "DEFAULT\n"
        "CLIENT=300\n"
        "ZOR_ACCEPT_EXPORTED_TRACE=0\n"
        "DEST=B\nUSER=first\nASHOST=h\n"
        "DEST=B\nUSER=second\nTRACE=2\n");
    ZorOptions a;
    ZorConfig::getDestinationOptions("A", a);
    EXPECT_EQ(a.user, "two");
    EXPECT_EQ(a.tpname, "a=b");
    EXPECT_EQ(a.client, "000");
    EXPECT_EQ(a.ashost + a.gwhost, "");
    EXPECT_EQ(a.trace, 0u) << "an open level becomes the global one";
    ZorOptions b;
    ZorConfig::getDestinationOptions("B", b);
    EXPECT_EQ(b.user, "second");
    EXPECT_EQ(b.ashost, "") << "the later section of a name wins whole";
    EXPECT_EQ(b.trace, 2u);
    EXPECT_FALSE(ZorConfig::getAcceptExportedTrace());
}

TEST_F(ZorConfigTest, LongLineReadsAsSeveral) {
    // 1023 characters make up one line; what is behind them stands on the next.
    const std::string key = "DEST=A\nUSER=";
    configure(key + std::string(1023 - 5, 'u') + "PASSWD=p\n");
    ZorOptions options;
    ZorConfig::getDestinationOptions("A", options);
    EXPECT_EQ(options.user, std::string(1018, 'u'));
    EXPECT_EQ(options.passwd, "p");
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
        "DEST=WORSE\nLANG=XX\n"
        "DEST=GOOD\nUSER=u\n"
        "DEFAULT\nZOR_TRACE_DIR=logs\n");
    ZorOptions options;
    ZorConfig::getDestinationOptions("BAD", options);
    EXPECT_EQ(options.passwd, "");
    ZorConfig::getDestinationOptions("GOOD", options);
    EXPECT_EQ(options.user, "u");
    const std::string log = readFile(directory / "logs" / "dev_zor.trc");
    EXPECT_NE(
        log.find("kelzor.ini: destination BAD is skipped, key CODEPAGE: 123 can't be a valid codepage as "
                 "its length is not 4 characters\n"),
        log.npos);
    EXPECT_NE(log.find("kelzor.ini: destination WORSE is skipped, key LANG: Invalid logon language XX.\n"),
              log.npos);
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

TEST_F(ZorConfigTest, FirstUseByManyThreadsReadsOnceAndCompletely) {
    writeFile("kelzor.ini", "DEFAULT\nZOR_TRACE=2\nDEST=A\nUSER=u\n");
    constexpr int threadCount = 8;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&] {
            if (ZorConfig::getGlobalTraceLevel() != 2) ++wrong;
            for (int round = 0; round < 50; ++round) {
                ZorOptions options;
                ZorConfig::getDestinationOptions("A", options);
                if (options.user != "u") ++wrong;
                ZorTraceWrite("line %d", round);
                if (round % 16 == 0) ZorConfig::reload();
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
