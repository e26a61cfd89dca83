// Runs the seeds of the fuzz targets through their target.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "testpaths.h"

#define LLVMFuzzerTestOneInput gwrecordsOneInput
#include "fuzz/gwrecords_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput repliesOneInput
#include "fuzz/replies_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput xzorOneInput
#include "fuzz/xzor_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

/**
 * Runs a target with its seeds and their prefixes, each so many bytes longer than the one before; gives the
 * number of seeds. An abort is the failure that is looked for.
 */
int runSeeds(const char* target, int (*oneInput)(const unsigned char*, std::size_t), std::size_t step = 1) {
    int files = 0;
    const std::string folder = std::string(KELZOR_SOURCE_DIR "/fuzz/seeds/") + target;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> text{std::istreambuf_iterator<char>(stream), {}};
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        EXPECT_FALSE(bytes.empty());
        for (std::size_t length = 0; length < bytes.size(); length += step) {
            const std::vector<unsigned char> prefix(bytes.begin(),
                                                    bytes.begin() + static_cast<std::ptrdiff_t>(length));
            oneInput(prefix.data(), prefix.size());
        }
        oneInput(bytes.data(), bytes.size());
        ++files;
    }
    return files;
}

TEST(FuzzSeeds, OfEveryTargetAndEveryPrefixOfThem) {
    EXPECT_GE(runSeeds("gwrecords", gwrecordsOneInput), 5);
    EXPECT_GE(runSeeds("xzor", xzorOneInput), 7);
    // Each of these is a conversation over a socket.
    EXPECT_GE(runSeeds("replies", repliesOneInput, 7), 9);
}

}  // namespace
