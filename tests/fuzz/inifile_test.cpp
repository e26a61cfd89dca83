// Runs the seeds of the fuzz target for kelzor.ini, and every prefix of them. An abort is the failure.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "testpaths.h"

#define LLVMFuzzerTestOneInput inifileOneInput
#include "fuzz/inifile_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

TEST(FuzzSeeds, IniFilesAndEveryPrefixOfThem) {
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(KELZOR_SOURCE_DIR "/fuzz/seeds/inifile")) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::string prefix = text.substr(0, length);
            inifileOneInput(reinterpret_cast<const unsigned char*>(prefix.data()), prefix.size());
        }
        ++files;
    }
    EXPECT_GE(files, 5);
}
