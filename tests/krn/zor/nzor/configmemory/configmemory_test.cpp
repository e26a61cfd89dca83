// Every allocation of a reading of the configuration fails once: the call reports a lack of memory, and path
// and destinations are as they were.

#include <gtest/gtest.h>
#include <kelzor/config.h>
#include <kelzor/library.h>

#include <cstdlib>
#include <new>

#include "krn/zor/nzor/config/process_fixture.h"

namespace {

/** Allocations until the one that fails; negative: none fails. */
thread_local long failAfter = -1;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const block = failAfter == 0 ? nullptr : std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    if (failAfter > 0) --failAfter;
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

class ConfigMemory : public ProcessFixture {
  protected:
    static KEL_string userOf(const KEL_UC* destination) {
        ZorOptions options;
        ZorConfig::getDestinationOptions(destination, options);
        return options.user;
    }
};

TEST_F(ConfigMemory, FailedReadingLeavesTheConfigurationAsItWas) {
    ASSERT_EQ(ZorInit(), ZOR_OK);
    const KEL_string longText(100, 'x');
    std::filesystem::create_directory(directory / longText);
    const KEL_string path = (directory / longText).string();
    configure("DEST=A\nUSER=old" + longText + "\n");
    writeFile(path + "/kelzor.ini", "DEFAULT\nCPIC_TRACE=0\nZOR_TRACE_DIR=" + path + "\nDEST=A\nUSER=new" +
                                        longText + "\nDEST=B\nUSER=" + longText + "\nDEST=BAD\nLANG=XX\n");
    ZOR_ERROR_INFO info{};
    ZOR_RC rc = ZOR_MEMORY_INSUFFICIENT;
    long failures = -1;
    while (rc == ZOR_MEMORY_INSUFFICIENT) {
        ++failures;
        EXPECT_EQ(userOf("A"), "old" + longText) << failures;
        EXPECT_EQ(userOf("B"), "");
        failAfter = failures;
        rc = ZorSetIniPath(path.c_str(), &info);
        failAfter = -1;
    }
    EXPECT_EQ(rc, ZOR_OK);
    EXPECT_GT(failures, 10);
    EXPECT_EQ(userOf("A"), "new" + longText);
    EXPECT_EQ(userOf("B"), longText);
}

}  // namespace
