#include "data/zornamelength.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

namespace {

TEST(ZorNameLength, ReadsNoPageBehindTheText) {
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    auto* const memory = static_cast<char*>(
        ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(static_cast<void*>(memory), MAP_FAILED);
    ASSERT_EQ(::mprotect(memory + page, page, PROT_NONE), 0);
    for (size_t length = 0; length <= 50; ++length)
        for (size_t behind = 0; behind < 32; ++behind) {
            // What lies before the text and behind its end is no terminator, or is one too many.
            std::memset(memory, behind % 2 == 0 ? 'x' : '\0', page);
            char* const text = memory + page - behind - length - 1;
            std::memset(text, 'n', length);
            text[length] = '\0';
            EXPECT_EQ(zorNameLength(text), length) << behind;
        }
    ::munmap(memory, 2 * page);
}

}  // namespace
