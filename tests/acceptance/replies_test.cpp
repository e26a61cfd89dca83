// Answers that a back-end should never give, and some that it may: every length, order and size that the test
// can think of, byte by byte.

#include "session.h"

namespace {

std::string big(std::uint64_t value, unsigned width) {
    std::string bytes;
    for (unsigned i = width; i-- > 0;)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

/** An item in its short form. */
std::string make(unsigned id, std::string_view payload = {}) {
    return big(id, 2) + big(payload.size(), 2) + std::string(payload) + big(id, 2);
}

/** The beginning of an item in its long form. */
std::string beginLong(unsigned id, std::uint64_t length) {
    return big(id, 2) + "\xFF\xFF" + big(length, 4);
}

std::string field(std::string_view name, std::string_view value) {
    return make(513, name) + make(515, value);
}

std::string table(unsigned width, unsigned rows) {
    return make(769, "LINES") + make(770, big(width, 4) + big(rows, 4));
}

const std::string end = make(65535);

/** Rows: eight characters and a number with its least byte first. */
std::string row(const std::string& text, char number) {
    return text + std::string({number, 0, 0, 0});
}

class ReplyTest : public SessionTest {
  protected:
    /** Has the back-end answer with exactly these bytes; `ends` makes them the end of the conversation. */
    ZOR_RC reply(ZOR_CONNECTION_HANDLE connection, const std::string& bytes, bool ends = false) {
        EXPECT_EQ(ZorSetXString(function, "ITEMS", reinterpret_cast<const KEL_RAW*>(bytes.data()),
                                static_cast<unsigned>(bytes.size()), &error),
                  ZOR_OK);
        function.setInt("END", ends ? 1 : 0);
        return invoke(connection, function);
    }
    ZOR_RC reply(const std::string& bytes) {
        if (!isValid(standing)) standing = connect();
        return reply(standing, bytes);
    }
    std::string rows() {
        std::string all;
        unsigned count = 0;
        const ZOR_TABLE_HANDLE lines = function.table("LINES");
        ZorGetRowCount(lines, &count, &error);
        for (unsigned i = 0; i < count; ++i) {
            ZorMoveTo(lines, i, &error);
            all += textOf(lines, "TEXT") + "=" + textOf(lines, "NUMBER") + " ";
        }
        return all;
    }

    Function function{"REPLY_ITEMS"};
    ZOR_CONNECTION_HANDLE standing = nullptr;
};

const std::string complete = field("RESULT", "text") + field("NUMBER", std::string("\x07\x00\x00\x00", 4)) +
                             table(12, 2) + make(771, row("first   ", 1)) + make(771, row("second  ", 2)) +
                             end;

TEST_F(ReplyTest, aCompleteAnswerIsRead) {
    ASSERT_EQ(reply(complete), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("RESULT"), "text");
    EXPECT_EQ(function.integer("NUMBER"), 7);
    EXPECT_EQ(rows(), "first=1 second=2 ");
}

TEST_F(ReplyTest, aConversationThatEndsAfterAnyByteIsAFailure) {
    for (size_t length = 0; length <= complete.size(); ++length) {
        const ZOR_CONNECTION_HANDLE connection = connect();
        EXPECT_NE(reply(connection, complete.substr(0, length), true), ZOR_OK) << length;
        ZorCloseConnection(connection, nullptr);
    }
}

TEST_F(ReplyTest, rowsOfOtherLengthsFillWhatTheyHave) {
    const struct {
        const char* name;
        std::string items;
        const char* rows;
    } cases[] = {
        {"longer", table(20, 1) + make(771, row("longer  ", 3) + "more and more"), "longer=3 "},
        {"shorter", table(12, 1) + make(771, "short   "), "short=0 "},
        {"cut within a field", table(12, 1) + make(771, "cut"), "cut=0 "},
        {"empty", table(12, 1) + make(771), "=0 "},
        {"repeated last byte", table(12, 1) + make(772, row("packed  ", 0).substr(0, 9)), "packed=0 "},
        {"one byte", table(12, 1) + make(772, std::string("\x01", 1)),
         "\x01\x01\x01\x01\x01\x01\x01\x01=16843009 "},
        {"more than announced", table(12, 1) + make(771, row("one     ", 1)) + make(771, row("two     ", 2)),
         "one=1 "},
        {"fewer than announced", table(12, 1000000) + make(771, row("one     ", 1)), "one=1 "},
        {"of no width", table(0, 3) + make(771, row("one     ", 1)), ""},
        {"again", table(12, 1) + make(771, row("one     ", 1)) + table(12, 1) + make(771, row("two     ", 2)),
         "two=2 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZorDeleteAllRows(function.table("LINES"), &error);
        ASSERT_EQ(reply(c.items + end), ZOR_OK) << error.message;
        EXPECT_EQ(rows(), c.rows);
    }
}

TEST_F(ReplyTest, valuesOfOtherLengthsAreTakenAsFarAsTheyFit) {
    ASSERT_EQ(reply(field("RESULT", std::string(300, 'x')) + field("NUMBER", "12345") + end), ZOR_OK);
    EXPECT_EQ(function.text("RESULT"), std::string(100, 'x'));
    EXPECT_EQ(function.integer("NUMBER"), 0x34333231);
    ASSERT_EQ(reply(field("RESULT", "y") + field("NUMBER", "") + end), ZOR_OK);
    EXPECT_EQ(function.text("RESULT"), "y");
    EXPECT_EQ(function.integer("NUMBER"), 0);
}

TEST_F(ReplyTest, whatNobodyAskedForIsSkipped) {
    ASSERT_EQ(ZorSetParameterActive(function, "NUMBER", 0, &error), ZOR_OK);
    ASSERT_EQ(reply(field("STRANGER", "value") + field("NUMBER", "abcd") + make(769, "NO_TABLE") +
                    make(770, big(12, 4) + big(1, 4)) + make(771, row("nobody  ", 9)) + make(774) +
                    field("RESULT", "mine") + end),
              ZOR_OK)
        << error.message;
    EXPECT_EQ(function.text("RESULT"), "mine");
    ASSERT_EQ(ZorSetParameterActive(function, "NUMBER", 1, &error), ZOR_OK);
    EXPECT_EQ(function.integer("NUMBER"), 0);
}

TEST_F(ReplyTest, itemsThatBreakTheOrderCloseTheConnection) {
    const struct {
        const char* name;
        std::string items;
        ZOR_RC code;
    } cases[] = {
        {"value without a name", make(515, "value"), ZOR_INVALID_PROTOCOL},
        {"rows without information", make(769, "LINES") + make(771, "row"), ZOR_INVALID_PROTOCOL},
        {"rows of nothing", make(771, "row"), ZOR_INVALID_PROTOCOL},
        {"information without a table", make(770, big(12, 4) + big(1, 4)), ZOR_INVALID_PROTOCOL},
        {"short information", make(769, "LINES") + make(770, big(12, 4)), ZOR_INVALID_PROTOCOL},
        {"short table id", make(817, "abc"), ZOR_INVALID_PROTOCOL},
        {"short change", make(818, "abc"), ZOR_INVALID_PROTOCOL},
        {"data of no change", make(820, "abc"), ZOR_SERIALIZATION_FAILURE},
        {"encoding of three bytes", make(352, "abc"), ZOR_INVALID_PROTOCOL},
        {"a version to come", make(257, std::string("\x06\x01\x01\x01\x01\x01\x00\x00", 8)),
         ZOR_VERSION_MISMATCH},
        {"a ticket without end", make(1649, std::string(4097, 't')), ZOR_COMMUNICATION_FAILURE},
    };
    clientMayBreakRules = true;  // it goes away in the middle of an answer
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(reply(c.items + end), c.code) << error.message;
        EXPECT_FALSE(isValid(standing));
    }
}

TEST_F(ReplyTest, sessionItemsOfAnyLengthAreTaken) {
    for (const size_t length : {0u, 1u, 3u, 9u, 4096u, 60000u})
        for (const unsigned id :
             {6,   7,   8,   9,   17,  18,  19,  257,  258,  259,  262,  276,  277,  294,
              297, 304, 305, 308, 336, 337, 338, 1048, 1057, 1058, 1284, 1299, 1648, 1649}) {
            if (length > 4096 && id >= 1648) continue;
            const std::string items = make(id, std::string(length, id == 257 ? '\x01' : '1'));
            EXPECT_EQ(reply(items + field("RESULT", "still in step") + end), ZOR_OK)
                << id << ' ' << length << ' ' << error.message;
            EXPECT_EQ(function.text("RESULT"), "still in step");
        }
}

TEST_F(ReplyTest, lengthsThatNoMachineHasReserveNothing) {
    clientMayBreakRules = true;
    for (const std::string& start :
         {beginLong(12345, 0xFFFFFFFF), make(513, "RESULT") + beginLong(515, 0xFFFFFFFF),
          beginLong(1026, 0xFFFFFFFE), beginLong(1048, 0xFFFFFFFF), table(0x7FFFFFFF, 0xFFFFFFFF),
          table(12, 0xFFFFFFFF) + beginLong(771, 0xFFFFFFFF)}) {
        const ZOR_CONNECTION_HANDLE connection = connect();
        EXPECT_NE(reply(connection, start + std::string(50000, 'x'), true), ZOR_OK);
        ZorCloseConnection(connection, nullptr);
    }
}

TEST_F(ReplyTest, aMillionTinyItemsAreReadInTheirOrder) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function repeat("REPEAT_ITEMS");
    repeat.setInt("TIMES", 250000);
    const std::string items = make(1301) + make(513, "A") + make(515) + make(517, "B");
    ASSERT_EQ(ZorSetXString(repeat, "ITEMS", reinterpret_cast<const KEL_RAW*>(items.data()),
                            static_cast<unsigned>(items.size()), &error),
              ZOR_OK);
    ASSERT_EQ(invoke(connection, repeat), ZOR_OK) << error.message;
    EXPECT_EQ(reply(connection, complete), ZOR_OK) << error.message;
}

TEST_F(ReplyTest, closingIdentifiersAreNotLookedAt) {
    std::string items = complete;
    items[items.find("RESULT") + 6] = 'x';
    ASSERT_EQ(reply(items), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("RESULT"), "text");
}

}  // namespace
