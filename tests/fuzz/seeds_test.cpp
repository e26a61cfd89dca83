// Runs the seeds of the fuzz targets through their target.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/gwrecords_fuzz.cpp"

TEST(FuzzSeeds, GatewayRecordsAndEveryPrefixOfThem) {
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(KELZOR_SOURCE_DIR "/fuzz/seeds/gwrecords")) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> text{std::istreambuf_iterator<char>(stream), {}};
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        EXPECT_FALSE(bytes.empty());
        // An abort is the failure that is looked for.
        for (std::size_t length = 0; length <= bytes.size(); ++length) {
            const std::vector<unsigned char> prefix(bytes.begin(),
                                                    bytes.begin() + static_cast<std::ptrdiff_t>(length));
            LLVMFuzzerTestOneInput(prefix.data(), prefix.size());
        }
        ++files;
    }
    EXPECT_GE(files, 5);
}
