#include <gtest/gtest.h>
#include <kelzor/config.h>
#include <kelzor/language.h>
#include <kelzor/library.h>
#include <kelzor/trace.h>

#include <cstring>
#include <string>

#include "krn/zor/nzor/config/process_fixture.h"

namespace {

class LibraryApi : public ProcessFixture {};

TEST_F(LibraryApi, StartAndVersion) {
    EXPECT_EQ(ZorInit(), ZOR_OK);
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 99;
    const std::string text = ZorGetVersion(&major, &minor, &patch);
    EXPECT_EQ(major, 7u);
    EXPECT_EQ(minor, 752u);
    EXPECT_EQ(patch, unsigned{KELZOR_PATCH_LEVEL});
    EXPECT_EQ(text, "753 Patch Level " + std::to_string(patch));
    EXPECT_EQ(ZorGetVersion(nullptr, nullptr, nullptr), text);
}

TEST_F(LibraryApi, VersionReportEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
            (void)ZorGetVersionInternal();
        },
        testing::ExitedWithCode(0), "executable information[^d]*kernel release                753\n");
}

TEST_F(LibraryApi, Literals) {
    EXPECT_STREQ(ZorGetRcAsString(ZOR_AUTHORIZATION_FAILURE), "ZOR_AUTHORIZATION_FAILURE");
    EXPECT_STREQ(ZorGetRcAsString(static_cast<ZOR_RC>(30)), "");
    EXPECT_STREQ(ZorGetTypeAsString(ZORTYPE_GENERIC_BOX), "ZORTYPE_GENERIC_BOX");
    for (const int gap : {11, 15, 18, 22, 25, 27, 43})
        EXPECT_STREQ(ZorGetTypeAsString(static_cast<ZORTYPE>(gap)), "ZORTYPE_NULL") << gap;
    EXPECT_STREQ(ZorGetDirectionAsString(ZOR_TABLES), "ZOR_TABLES");
    EXPECT_STREQ(ZorGetDirectionAsString(static_cast<ZOR_DIRECTION>(4)), "ZOR_UKNOWN_DIRECTION");
    EXPECT_STREQ(ZorGetServerStateAsString(ZOR_SERVER_BROKEN), "ZOR_SERVER_BROKEN");
    EXPECT_STREQ(ZorGetServerStateAsString(static_cast<ZOR_SERVER_STATE>(6)), "ZOR_UKNOWN_STATE");
}

TEST_F(LibraryApi, LanguagesBothWays) {
    // Every row of the table: key and code.
    const std::string rows =
        "&Z9(Z2)Z3,Z4.Z5/Z6:Z7;Z80SR1ZH2TH3KO4RO5SL6HR7MS8UK9ETAARBHECCSDDEEENFFRGELHHUIITJJAKDALPLMZFNNL"
        "ONOPPTQSKRRUSESTTRUFIVSVWBGXLTYLVZZ1aAFbIScCAdSHiID";
    ASSERT_EQ(rows.size(), 49u * 3);
    for (std::size_t row = 0; row < rows.size(); row += 3) {
        KEL_UC iso[] = "--!";
        EXPECT_EQ(ZorLanguageKelToIso(&rows[row], iso, nullptr), ZOR_OK);
        EXPECT_EQ(std::string(iso), rows.substr(row + 1, 2) + "!");
        KEL_UC key[] = "-!";
        EXPECT_EQ(ZorLanguageIsoToKel(&rows[row + 1], key, nullptr), ZOR_OK);
        EXPECT_EQ(std::string(key), rows.substr(row, 1) + "!");
    }
    KEL_UC key[] = "-!";
    EXPECT_EQ(ZorLanguageIsoToKel("sk", key, nullptr), ZOR_OK);
    EXPECT_STREQ(key, "Q!");
}

TEST_F(LibraryApi, UnknownLanguageLeavesTheRecordCleared) {
    ZOR_ERROR_INFO info;
    std::memset(&info, 0x55, sizeof info);
    KEL_UC key[] = "-!";
    EXPECT_EQ(ZorLanguageIsoToKel("XX", key, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(info.code, ZOR_OK);
    EXPECT_EQ(ZorLanguageIsoToKel("", key, &info), ZOR_INVALID_PARAMETER);
    EXPECT_EQ(ZorLanguageKelToIso("\xE4", key, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(key, "-!");
    EXPECT_EQ(info.key[0], 0x55);
    EXPECT_EQ(ZorLanguageKelToIso(nullptr, key, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "Invalid parameter 'KEL_UC*' was passed to the API call");
    EXPECT_EQ(info.code, ZOR_INVALID_PARAMETER);
}

TEST_F(LibraryApi, Utf8ToLocal) {
    const auto* const source = reinterpret_cast<const ZOR_BYTE*>("a\xC3\xA4\xE2\x82\xAC");
    KEL_UC target[8];
    unsigned size = 3;
    unsigned length = 9;
    ZOR_ERROR_INFO info{};
    // Three characters and a terminator: one byte short, then as much as it asks for.
    EXPECT_EQ(ZorUTF8ToKELUC(source, 6, target, &size, &length, &info), ZOR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(ZorUTF8ToKELUC(source, 6, target, &size, &length, &info), ZOR_OK);
    EXPECT_STREQ(target, "a\xE4#");
    EXPECT_EQ(length, 3u);
    size = 0;
    EXPECT_EQ(ZorUTF8ToKELUC(source, 6, nullptr, &size, nullptr, &info), ZOR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(ZorUTF8ToKELUC(source, 5, target, &size, &length, &info), ZOR_CONVERSION_FAILURE);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(ZorUTF8ToKELUC(source, 0, target, &size, &length, &info), ZOR_OK);
    EXPECT_EQ(ZorUTF8ToKELUC(source, 6, nullptr, &size, &length, &info), ZOR_INVALID_PARAMETER);
    EXPECT_STREQ(info.message, "Invalid parameter 'NAME' was passed to the API call");
    EXPECT_EQ(ZorUTF8ToKELUC(source, 6, target, nullptr, &length, &info), ZOR_INVALID_PARAMETER);
}

TEST_F(LibraryApi, LocalToUtf8) {
    ZOR_BYTE target[8];
    unsigned size = 2;
    unsigned length = 9;
    EXPECT_EQ(ZorKELUCToUTF8("a\xE4", 2, target, &size, &length, nullptr), ZOR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 5u) << "the room, the byte that is left in two, and the terminator";
    EXPECT_EQ(ZorKELUCToUTF8("a\xE4", 2, target, &size, &length, nullptr), ZOR_OK);
    EXPECT_STREQ(reinterpret_cast<char*>(target), "a\xC3\xA4");
    EXPECT_EQ(length, 3u);
}

TEST_F(LibraryApi, IniPathAndReload) {
    std::filesystem::create_directory(directory / "conf");
    writeFile(directory / "conf" / "kelzor.ini", "DEFAULT\nZOR_TRACE=1\n");
    EXPECT_EQ(ZorSetIniPath("conf", nullptr), ZOR_OK);
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 1u);
    const std::string trace = readFile(directory / ZorTrace::getFileName());
    EXPECT_EQ(trace.find("ZorSetIniPath"), trace.npos) << "the level was 0 when the call began";
    writeFile(directory / "conf" / "kelzor.ini", "DEFAULT\nZOR_TRACE=0\n");
    EXPECT_EQ(ZorReloadIniFile(nullptr), ZOR_OK);
    EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), 0u);
    EXPECT_NE(readFile(directory / ZorTrace::getFileName())
                  .find(">> ZorReloadIniFile\n<< ZorReloadIniFile returned ZOR_OK\n\n"),
              trace.npos);
    EXPECT_EQ(ZorSetIniPath("nowhere", nullptr), ZOR_OK) << "a missing file is no error";
}

TEST_F(LibraryApi, TraceSettings) {
    using Setter = ZOR_RC (*)(KEL_UC*, ZOR_ERROR_INFO*);
    const struct {
        Setter set;
        const char* value;
        ZOR_RC rc;
        const char* message;
    } cases[] = {
        {ZorSetTraceEncoding, "UTF-8 and more", ZOR_OK, ""},
        {ZorSetTraceEncoding, "utf-8", ZOR_INVALID_PARAMETER, "Invalid Trace Encoding"},
        {ZorSetTraceType, "PROCESS", ZOR_OK, ""},
        {ZorSetTraceType, "THREADS", ZOR_INVALID_PARAMETER, "Invalid trace type"},
        {ZorSetTraceType, "process", ZOR_INVALID_PARAMETER, "Invalid trace type"},
        {ZorSetTraceDir, "/nowhere", ZOR_INVALID_PARAMETER, "Directory does not exist"},
    };
    for (const auto& test : cases) {
        ZOR_ERROR_INFO info{};
        std::string value = test.value;
        EXPECT_EQ(test.set(value.data(), &info), test.rc) << value;
        EXPECT_STREQ(info.message, test.message);
    }
    EXPECT_EQ(ZorConfig::getTraceEncoding(), TRACE_UTF8);
    EXPECT_FALSE(ZorConfig::traceByThread());
    EXPECT_EQ(ZorConfig::getTraceDir(), "./");
    ZorConfig::setTraceType(true);
}

TEST_F(LibraryApi, TraceLevelOfDestinationAndProcess) {
    configure("DEFAULT\nZOR_MINIMUM_TRACE_LEVEL=1\n\nDEST=QB1\nASHOST=h\nTRACE=2\n");
    int foreign = 0;
    const auto closed = reinterpret_cast<ZOR_CONNECTION_HANDLE>(&foreign);
    const struct {
        ZOR_CONNECTION_HANDLE connection;
        const char* destination;
        unsigned level;
        ZOR_RC rc;
        const char* message;
        unsigned global, ofDestination;  ///< What holds afterwards.
    } cases[] = {
        {nullptr, nullptr, 0, ZOR_OK, "", 0, 2},
        {closed, "nowhere", 0, ZOR_OK, "", 0, 2},
        {nullptr, "QB1", 3, ZOR_OK, "", 0, 3},
        {nullptr, nullptr, 2, ZOR_OK, "", 2, 3},
        {nullptr, nullptr, 70000, ZOR_OK, "", 3, 3},
        {nullptr, "QB1", 1, ZOR_OK, "", 3, 1},
        {nullptr, "qb1", 2, ZOR_INVALID_PARAMETER, "Destination does not exist", 3, 1},
        {closed, "QB1", 2, ZOR_INVALID_HANDLE, "An invalid handle was passed to the API call", 3, 1},
    };
    for (const auto& test : cases) {
        ZOR_ERROR_INFO info{};
        std::string name = test.destination != nullptr ? test.destination : "";
        EXPECT_EQ(ZorSetTraceLevel(test.connection, test.destination != nullptr ? name.data() : nullptr,
                                   test.level, &info),
                  test.rc);
        EXPECT_STREQ(info.message, test.message);
        EXPECT_EQ(ZorConfig::getGlobalTraceLevel(), test.global) << name << test.level;
        EXPECT_EQ(ZorConfig::getDestinationTraceLevel("QB1"), test.ofDestination) << name << test.level;
    }
    const std::string log = readFile(directory / "dev_zor.trc");
    for (const char* line :
         {"Changing trace level denied, since requested trace level is smaller than minimum "
          "trace level: handle 0 / destination NULL / level 0 / minimum level 1\n\n",
          "Changing trace level: handle 0 / destination QB1 / level 3\n\n",
          "Changing trace level: handle 0 / destination NULL / level 3\n\n"})
        EXPECT_NE(log.find(line), log.npos) << line << "in\n" << log;
    const std::string trace = readFile(directory / ZorTrace::getFileName());
    EXPECT_NE(trace.find(">> ZorSetTraceLevel\nChanging trace level for destination QB1 from 3 to 1\n\n"
                         "<< ZorSetTraceLevel returned ZOR_OK\n\n"),
              trace.npos);
    EXPECT_EQ(trace.find("Changing global trace level from 0"), trace.npos) << "the old level was silent";
    EXPECT_NE(trace.find("Changing global trace level from 2 to 3\n\n"), trace.npos);
    configure("DEFAULT\nZOR_MINIMUM_TRACE_LEVEL=0\n");
}

TEST_F(LibraryApi, TraceDirectoryTakesTheFilesAlong) {
    std::filesystem::create_directory(directory / "logs");
    std::string name = "logs";
    EXPECT_EQ(ZorSetTraceDir(name.data(), nullptr), ZOR_OK);
    EXPECT_EQ(ZorSetCpicTraceLevel(2, nullptr), ZOR_OK);
    EXPECT_EQ(ZorConfig::getGlobalCpicTraceLevel(), 2u);
    EXPECT_NE(readFile(directory / "dev_zor.trc").find("Changing global trace directory to logs\n"),
              std::string::npos);
    EXPECT_NE(readFile(directory / "logs" / ZorTrace::getFileName())
                  .find(">> ZorSetCpicTraceLevel\n<< ZorSetCpicTraceLevel returned ZOR_OK\n\n"),
              std::string::npos)
        << "written at every level";
    const std::string cpic = "cpic_" + std::to_string(::getpid()) + ".trc";
    EXPECT_NE(readFile(directory / "logs" / cpic)
                  .find("\ntrc file: \"" + cpic + "\", trc level: 2, release: \"753\"\n"),
              std::string::npos);
    name = ".";
    EXPECT_EQ(ZorSetTraceDir(name.data(), nullptr), ZOR_OK);
    EXPECT_EQ(ZorSetCpicTraceLevel(0, nullptr), ZOR_OK);
    EXPECT_FALSE(std::filesystem::exists(directory / cpic)) << "nothing is opened at level 0";
    ::setenv("CPIC_TRACE", "1", 1);
    configure("");
    EXPECT_NE(readFile(directory / cpic).find("trc level: 1,"), std::string::npos) << "from the environment";
    configure("DEFAULT\nCPIC_TRACE=3\n");
    EXPECT_NE(readFile(directory / cpic).find("*\n* SWITCH TRC-LEVEL to 3\n*\n"), std::string::npos)
        << "the file goes before it";
    configure("DEFAULT\nCPIC_TRACE=0\n");
    ::unsetenv("CPIC_TRACE");
}

}  // namespace
