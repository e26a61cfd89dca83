#include <gtest/gtest.h>
#include <kelzor/config.h>
#include <kelzor/library.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "api/kellogonentries.h"
#include "krn/zor/nzor/config/process_fixture.h"

namespace {

class ConfigApi : public ProcessFixture {
  protected:
    void SetUp() override {
        ProcessFixture::SetUp();
        std::strcpy(info.key, "kept");
    }

    void expectRecord(ZOR_RC code, const char* key, const char* message) const {
        EXPECT_EQ(info.code, code);
        EXPECT_EQ(info.group, EXTERNAL_RUNTIME_FAILURE);
        EXPECT_STREQ(info.key, key);
        EXPECT_STREQ(info.message, message);
    }

    ZOR_ERROR_INFO info{};
    KEL_UC text[8] = "text";
    KEL_UC* texts[1] = {text};
    KEL_UC** list = texts;
    unsigned count = 7;
};

long blocksLeft;

/** Gives `blocksLeft` blocks, then none. */
void* rationed(size_t size) {
    return blocksLeft-- > 0 ? std::malloc(size) : nullptr;
}

TEST_F(ConfigApi, NoLogonPadMeansNoEntries) {
    configure("DEFAULT\nZOR_TRACE=1\n");
    const char* const message = "File kellogon.ini could not be found on this system or is empty.";
    EXPECT_EQ(ZorGetKellogonEntries(&list, &count, &info), ZOR_NOT_FOUND);
    expectRecord(ZOR_NOT_FOUND, "kept", message);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(ZorFreeKellogonEntries(&list, &count, &info), ZOR_OK);
    EXPECT_EQ(info.code, ZOR_OK);
    const std::string trace = readFile(directory / ZorTrace::getFileName());
    EXPECT_NE(
        trace.find(std::string(">> ZorGetKellogonEntries\n<< ZorGetKellogonEntries returned ZOR_NOT_FOUND\n"
                               "\tZOR_ERROR_INFO.key: kept\n\tZOR_ERROR_INFO.message: ") +
                   message + "\n\n>> ZorFreeKellogonEntries\n<< ZorFreeKellogonEntries returned ZOR_OK\n\n"),
        trace.npos)
        << trace;
    ZorConfig::setGlobalTraceLevel(0);
}

TEST_F(ConfigApi, SocketBuffersTooLargeForTheNetworkLayerAreLogged) {
    ASSERT_EQ(ZorInit(), ZOR_OK);
    configure("DEFAULT\nNI_SOCKET_BUFFER_SIZE=10000001\n");
    EXPECT_NE(readFile("dev_zor.trc")
                  .find("\nNiSetParamEx failedto write SocketBufferSize (NIP_SOCK_BUFFER_SIZE).\n"),
              std::string::npos);
    configure("DEFAULT\nNI_SOCKET_BUFFER_SIZE=0\n");
}

TEST_F(ConfigApi, MissingArgumentsAreNamedInTheirOrder) {
    for (const auto function : {ZorGetKellogonEntries, ZorFreeKellogonEntries}) {
        EXPECT_EQ(function(nullptr, nullptr, &info), ZOR_INVALID_PARAMETER);
        EXPECT_STREQ(info.message, "Invalid parameter 'kellogonIDList' was passed to the API call");
        EXPECT_EQ(function(&list, nullptr, &info), ZOR_INVALID_PARAMETER);
        expectRecord(ZOR_INVALID_PARAMETER, "ZOR_INVALID_PARAMETER",
                     "Invalid parameter 'numKellogonIDs' was passed to the API call");
        EXPECT_EQ(list, texts) << "left alone";
    }
}

TEST_F(ConfigApi, EntriesAreTheCallersCopies) {
    std::vector<KEL_string> names = {"PRD", "", std::string(300, 'n')};
    ASSERT_EQ(zorapi::makeKellogonEntries(names, list, count, &info), ZOR_OK);
    ASSERT_EQ(count, 3u);
    names[0] = "changed";
    EXPECT_STREQ(list[0], "PRD");
    EXPECT_STREQ(list[1], "");
    EXPECT_EQ(list[2], names[2]);
    EXPECT_EQ(ZorFreeKellogonEntries(&list, &count, nullptr), ZOR_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
    count = 7;
    EXPECT_EQ(ZorFreeKellogonEntries(&list, &count, nullptr), ZOR_OK) << "nothing to free";
    EXPECT_EQ(count, 0u);
}

TEST_F(ConfigApi, LackOfMemoryLeavesNothingBehind) {
    // The array and two texts: three blocks are needed.
    const KEL_string names[] = {"PRD", "TST"};
    for (const long blocks : {0, 1, 2}) {
        blocksLeft = blocks;
        count = 7;
        EXPECT_EQ(zorapi::makeKellogonEntries(names, list, count, &info, rationed), ZOR_MEMORY_INSUFFICIENT);
        expectRecord(ZOR_MEMORY_INSUFFICIENT, "kept",
                     "Out of memory while allocating space for KELLogon ID list.");
        EXPECT_EQ(list, nullptr);
        EXPECT_EQ(count, 0u);
    }
    blocksLeft = 3;
    EXPECT_EQ(zorapi::makeKellogonEntries(names, list, count, &info, rationed), ZOR_OK);
    zorapi::freeKellogonEntries(list, count);
}

}  // namespace
