// The public structures are the contract with programs that were compiled long ago, in C and in C++.

#include "layout_measure.inc"

#include <gtest/gtest.h>

const LayoutRow* layoutRowsOfCpp() {
    return rows;
}

TEST(Layout, SizesAndOffsets) {
    for (const LayoutRow* row : {layoutRowsOfC(), layoutRowsOfCpp()})
        for (; row->what != nullptr; ++row)
            EXPECT_EQ(row->found, sizeof(void*) == 4 ? row->with32 : row->with64) << row->what;
}
