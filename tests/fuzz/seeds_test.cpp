// Runs the seeds of all fuzz targets, and every prefix of them, through their targets.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "testpaths.h"

#define LLVMFuzzerTestOneInput codepagesInput
#include "fuzz/codepages_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput cscomprInput
#include "fuzz/cscompr_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput gwrecordsInput
#include "fuzz/gwrecords_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput inifileInput
#include "fuzz/inifile_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput itemsInput
#include "fuzz/items_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput metadataInput
#include "fuzz/metadata_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput niframesInput
#include "fuzz/niframes_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput niroutesInput
#include "fuzz/niroutes_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput repliesInput
#include "fuzz/replies_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput xzorInput
#include "fuzz/xzor_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    int (*oneInput)(const unsigned char*, std::size_t);
    int seeds;             ///< At least so many.
    std::size_t step = 1;  ///< Bytes by which a prefix is longer than the one before.
};
constexpr Target targets[] = {
    {"codepages", codepagesInput, 12},
    {"cscompr", cscomprInput, 5},
    {"gwrecords", gwrecordsInput, 13},
    {"inifile", inifileInput, 5},
    {"items", itemsInput, 10},
    {"metadata", metadataInput, 4},
    {"niframes", niframesInput, 7},
    {"niroutes", niroutesInput, 9},
    {"xzor", xzorInput, 7},
    // Each of these is a conversation over a socket.
    {"replies", repliesInput, 9, 7},
};

class FuzzSeeds : public testing::TestWithParam<Target> {};

// An abort is the failure that is looked for.
TEST_P(FuzzSeeds, AndEveryPrefixOfThem) {
    int files = 0;
    for (const auto& file :
         fs::directory_iterator(fs::path(KELZOR_SOURCE_DIR "/fuzz/seeds") / GetParam().name)) {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_FALSE(text.empty()) << file.path();
        for (std::size_t length = 0; length < text.size() + GetParam().step; length += GetParam().step) {
            // Memory of its own, so that a sanitizer sees a read beyond the end.
            const std::vector<unsigned char> prefix(
                text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(length, text.size())));
            GetParam().oneInput(prefix.data(), prefix.size());
        }
        ++files;
    }
    EXPECT_GE(files, GetParam().seeds);
}

INSTANTIATE_TEST_SUITE_P(All, FuzzSeeds, testing::ValuesIn(targets),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FuzzTargets, AreAllHere) {
    std::size_t sources = 0;
    for (const auto& file : fs::directory_iterator(KELZOR_SOURCE_DIR "/fuzz"))
        sources += file.path().extension() == ".cpp";
    EXPECT_EQ(sources, std::size(targets));
}

}  // namespace
