// Runs the seeds of the fuzz targets of the network layer, and every prefix of them, through their targets.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "testpaths.h"

#define LLVMFuzzerTestOneInput niframesInput
#include "fuzz/niframes_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput niroutesInput
#include "fuzz/niroutes_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

/** Runs a folder of seeds; an abort is the failure that is looked for. Number of seeds. */
int runSeeds(const std::string& folder, int (*target)(const std::uint8_t*, std::size_t)) {
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(KELZOR_SOURCE_DIR "/fuzz/seeds/" + folder)) {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_FALSE(text.empty()) << file.path();
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::vector<std::uint8_t> prefix(text.begin(),
                                                   text.begin() + static_cast<std::ptrdiff_t>(length));
            target(prefix.data(), prefix.size());
        }
        ++files;
    }
    return files;
}

TEST(FuzzSeeds, NetworkFrames) {
    EXPECT_GE(runSeeds("niframes", niframesInput), 7);
}

TEST(FuzzSeeds, Routes) {
    EXPECT_GE(runSeeds("niroutes", niroutesInput), 8);
}

}  // namespace
