/** @file What tests of process-wide settings share: a directory of their own and a look into files. */
#pragma once

#include <gtest/gtest.h>
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
        for (const char* variable : {"ZOR_TRACE", "CPIC_TRACE", "KEL_CODEPAGE"})
            ::unsetenv(variable);
        std::string pattern = (std::filesystem::temp_directory_path() / "kelzorXXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        std::filesystem::current_path(directory);
    }

    void TearDown() override {
        ZorTrace::close();
        std::filesystem::current_path("/");
        std::filesystem::remove_all(directory);
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
};
