#include "meta/zornameindex.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/** Names that differ in one character only, at each place of each length up to three pieces. */
std::vector<std::string> similarNames() {
    std::vector<std::string> names;
    for (size_t length = 1; length <= 24; ++length) {
        names.emplace_back(length, 'A');
        for (size_t at = 0; at < length; ++at) {
            names.emplace_back(length, 'A');
            names.back()[at] = 'B';
        }
    }
    return names;
}

TEST(ZorNameIndex, tellsSimilarNamesApart) {
    const std::vector<std::string> names = similarNames();
    ZorNameIndex index;
    index.reserve(names.size());
    for (uint32_t at = 0; at < names.size(); ++at)
        index.insert(names[at], at);
    for (uint32_t at = 0; at < names.size(); ++at) {
        EXPECT_EQ(index.find(names[at]), at) << names[at];
        std::string other = names[at];
        other.back() = 'C';
        EXPECT_EQ(index.find(other), ZorNameIndex::notFound) << other;
    }
    EXPECT_EQ(index.find(""), ZorNameIndex::notFound);
}

TEST(ZorNameIndex, findsTheFirstOfEqualNamesAndGrows) {
    std::vector<std::string> names;
    ZorNameIndex index;
    EXPECT_EQ(index.find("N"), ZorNameIndex::notFound);
    for (uint32_t at = 0; at < 3000; ++at) {
        names.push_back("FIELD_" + std::to_string(at % 1500));
        index.reserve(names.size(), names.back().size());
        index.insert(names.back(), at);
    }
    for (uint32_t at = 0; at < 1500; ++at)
        EXPECT_EQ(index.find(names[at]), at);
}

}  // namespace
