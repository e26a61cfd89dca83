// The page on the items of the wire has each identifier with its number.

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "gates/sourcetree.h"

namespace {

using Numbers = std::map<std::string, std::string>;

/** Names and numbers in a file; `name` and `number` say which group of the pattern is which. */
Numbers numbersIn(const char* file, const char* pattern, std::size_t name, std::size_t number) {
    const std::string text = gates::readFile(gates::root() / file);
    const std::regex row(pattern);
    Numbers numbers;
    for (std::sregex_iterator it(text.begin(), text.end(), row), end; it != end; ++it)
        numbers[(*it)[name]] = (*it)[number];
    return numbers;
}

TEST(WireItems, ThePageHasThemAll) {
    const Numbers known = numbersIn("src/krn/zor/nzor/wire/zorid.h", R"((ZORID_\w+) = (\d+),)", 1, 2);
    EXPECT_GT(known.size(), 150u);
    EXPECT_EQ(numbersIn("docs/wire-items.md", R"(\| (\d+) \| `(ZORID_\w+)` \| \S)", 2, 1), known);
}

}  // namespace
