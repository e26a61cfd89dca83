#include "data/charfield.h"

#include <gtest/gtest.h>

#include <cstring>

#include "datafixture.h"

namespace {

using namespace datatest;

TEST(CharField, SeesTheTextWithoutWhatFillsItUp) {
    OwnStructure row({{"NAME", ZORTYPE_CHAR, 8}, {"KIND", ZORTYPE_CHAR, 2}, {"TEXT", ZORTYPE_CHAR, 3}});
    setText(row, 0, "AB C");
    setText(row, 2, "xyz");
    std::memset(row.getBuffer(1), 0, 2);  // a partner's row may be filled up with NULs
    CharField field(row);
    EXPECT_EQ(field.computeTrimmedStringLen(), 4u);
    EXPECT_TRUE(field.compare("AB C"));
    EXPECT_FALSE(field.compare("AB"));
    EXPECT_FALSE(field.compare("AB C    "));
    EXPECT_TRUE(field.startsWith("AB"));
    EXPECT_FALSE(field.startsWith("AB CD"));
    field.moveToField(1);
    EXPECT_EQ(field.computeTrimmedStringLen(), 0u);
    EXPECT_TRUE(field.compare(""));
    EXPECT_FALSE(field.startsWith("A"));
    field.moveToField(2);
    EXPECT_TRUE(field.compare("xyz"));
}

}  // namespace
