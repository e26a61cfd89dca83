/** @file What tests of process-wide settings share: a directory of their own and a look into files. */
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "config/zorconfig.h"
#include "trace/zortrace.h"

/** Works in a new directory, which is the current one, holds the trace files, and goes with the test. */
class ProcessFixture : public testing::Test {
  protected:
    void SetUp() override {
        ++started;
        for (const char* variable : {"ZOR_TRACE", "CPIC_TRACE", "KEL_CODEPAGE"})
            ::unsetenv(variable);
        std::string pattern = (std::filesystem::temp_directory_path() / "kelzorXXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        std::filesystem::current_path(directory);
    }

    void TearDown() override {
        ZorTrace::close();
        ZorConfig::setTraceDirectory(".");
        std::filesystem::current_path("/");
        std::filesystem::remove_all(directory);
    }

    /**
     * For a test of what happens once in a process. Unless this test is the first one here, it runs in a new
     * process, and true comes back: there is nothing left to do.
     */
    static bool ranAlone() {
        if (started == 1) return false;
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        const std::string filter =
            std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name();
        std::string program = "/proc/self/exe";
        char* const arguments[] = {program.data(), const_cast<char*>(filter.c_str()), nullptr};
        pid_t child = 0;
        int status = -1;
        if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) == 0)
            ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << filter;
        return true;
    }

    static void writeFile(const std::filesystem::path& name, const std::string& text) {
        std::ofstream(name, std::ios::binary) << text;
    }

    static std::string readFile(const std::filesystem::path& name) {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /** Makes this text the ini file and has it read. */
    void configure(const std::string& text) {
        writeFile(directory / "kelzor.ini", text);
        ZorConfig::setIniPath(nullptr);
        ZorConfig::reload();
    }

    std::filesystem::path directory;

  private:
    static inline int started = 0;
};
