// Tables that the partner sends compressed.

#include "session.h"

namespace {

class CompressedTest : public SessionTest {};

TEST_F(CompressedTest, rowsArriveHoweverTheStreamIsWrittenAndCut) {
    const struct {
        int count, item, filler, stored;
    } cases[] = {
        {1, 0, 0, 0},   {300, 0, 0, 0}, {300, 0, 1, 0},    {300, 0, 2, 0},   {300, 0, 3, 0},
        {300, 1, 3, 0}, {300, 7, 0, 1}, {300, 1000, 2, 1}, {20000, 0, 1, 0}, {20000, 70000, 3, 1},
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.count << " rows in items of " << c.item << ", filler " << c.filler);
        Function function("COMPRESSED_ROWS");
        function.setInt("COUNT", c.count);
        function.setInt("ITEM", c.item);
        function.setInt("FILLER", c.filler);
        function.setInt("STORED", c.stored);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        const ZOR_TABLE_HANDLE rows = function.table("ROWS");
        unsigned count = 0;
        ZorGetRowCount(rows, &count, &error);
        ASSERT_EQ(count, static_cast<unsigned>(c.count));
        for (int i = 0; i < c.count; ++i) {
            ASSERT_EQ(textOf(rows, "TEXT"), "row " + std::to_string(i) + " of " + std::to_string(c.count));
            ZorMoveToNextRow(rows, &error);
        }
    }
}

TEST_F(CompressedTest, aStreamThatEndsEarlyFailsTheCallAndNothingElse) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const int cut : {5, 60, 100000}) {
        Function function("COMPRESSED_ROWS");
        function.setInt("COUNT", 100);
        function.setInt("CUT", cut);
        const ZOR_RC rc = invoke(connection, function);
        if (cut == 100000) {
            EXPECT_EQ(rc, ZOR_OK) << "no item, no stream: " << error.message;
            continue;
        }
        EXPECT_EQ(rc, ZOR_SERIALIZATION_FAILURE);
        EXPECT_STREQ(error.message, "The compressed rows of a table end before their stream does");
        EXPECT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
    }
}

}  // namespace
