// Parameters that travel as XML: structures with strings and tables, tables outside the tables section.

#include <cstring>

#include "session.h"

namespace {

namespace xml {
constexpr std::uint16_t parameter = 15362;
constexpr std::uint16_t data = 15365;
}  // namespace xml

const std::string allBytes = [] {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}();

class DeepTest : public SessionTest {
  protected:
    ZOR_TABLE_HANDLE table(DATA_CONTAINER_HANDLE record, const char* name) {
        ZOR_TABLE_HANDLE handle = nullptr;
        EXPECT_EQ(ZorGetTable(record, name, &handle, &error), ZOR_OK) << error.message;
        return handle;
    }
    ZOR_STRUCTURE_HANDLE structure(DATA_CONTAINER_HANDLE record, const char* name) {
        ZOR_STRUCTURE_HANDLE handle = nullptr;
        EXPECT_EQ(ZorGetStructure(record, name, &handle, &error), ZOR_OK) << error.message;
        return handle;
    }
    unsigned rows(ZOR_TABLE_HANDLE rowsOf) {
        unsigned count = 0;
        EXPECT_EQ(ZorGetRowCount(rowsOf, &count, &error), ZOR_OK);
        return count;
    }
    void set(DATA_CONTAINER_HANDLE record, const char* name, std::string_view text) {
        EXPECT_EQ(ZorSetString(record, name, text.data(), static_cast<unsigned>(text.size()), &error), ZOR_OK)
            << name << ": " << error.message;
    }
    void setBytes(DATA_CONTAINER_HANDLE record, const char* name, std::string_view bytes) {
        EXPECT_EQ(ZorSetXString(record, name, reinterpret_cast<const KEL_RAW*>(bytes.data()),
                                static_cast<unsigned>(bytes.size()), &error),
                  ZOR_OK)
            << name << ": " << error.message;
    }
    std::string bytes(DATA_CONTAINER_HANDLE record, const char* name) {
        std::string buffer(1000, '\0');
        unsigned length = 0;
        EXPECT_EQ(
            ZorGetXString(record, name, reinterpret_cast<KEL_RAW*>(buffer.data()), 1000, &length, &error),
            ZOR_OK)
            << name << ": " << error.message;
        return buffer.substr(0, length);
    }

    void fillItems(ZOR_TABLE_HANDLE items, int count) {
        for (int i = 0; i < count; ++i) {
            const ZOR_STRUCTURE_HANDLE item = ZorAppendNewRow(items, &error);
            set(item, "MATERIAL", "M-" + std::to_string(i));
            set(item, "QUANTITY", std::to_string(i) + ".125");
            set(item, "DUE", "20261123");
            const ZOR_TABLE_HANDLE notes = table(item, "NOTES");
            for (int n = 0; n < i % 3; ++n) {
                const ZOR_STRUCTURE_HANDLE note = ZorAppendNewRow(notes, &error);
                EXPECT_EQ(ZorSetInt(note, "POS", 10 * i + n, &error), ZOR_OK);
                set(note, "TEXT", "note " + std::to_string(n) + " <of> " + std::to_string(i));
            }
        }
    }
    void expectItems(ZOR_TABLE_HANDLE items, int count) {
        ASSERT_EQ(rows(items), static_cast<unsigned>(count));
        for (int i = 0; i < count; ++i) {
            SCOPED_TRACE(i);
            ASSERT_EQ(ZorMoveTo(items, static_cast<unsigned>(i), &error), ZOR_OK);
            EXPECT_EQ(textOf(items, "MATERIAL"), "M-" + std::to_string(i));
            EXPECT_EQ(textOf(items, "QUANTITY"), std::to_string(i) + ".125");
            EXPECT_EQ(textOf(items, "DUE"), "20261123");
            const ZOR_TABLE_HANDLE notes = table(items, "NOTES");
            ASSERT_EQ(rows(notes), static_cast<unsigned>(i % 3));
            for (int n = 0; n < i % 3; ++n) {
                ASSERT_EQ(ZorMoveTo(notes, static_cast<unsigned>(n), &error), ZOR_OK);
                EXPECT_EQ(textOf(notes, "POS"), std::to_string(10 * i + n));
                EXPECT_EQ(textOf(notes, "TEXT"), "note " + std::to_string(n) + " <of> " + std::to_string(i));
            }
        }
    }

    // Fields, the text that is written and the text that is read.
    static constexpr struct {
        const char* name;
        const char* written;
        const char* read;
    } texts[] = {
        {"ID", "42", "0000000042"},
        {"KIND", "a<b ", "a<b"},
        {"DAY", "20240229", "20240229"},
        {"AT", "235959", "235959"},
        {"PRICE", "-1234.5", "-1234.50"},
        {"NUMBER", "-2147483648", "-2147483648"},
        {"SMALL", "-32768", "-32768"},
        {"TINY", "255", "255"},
        {"LARGE", "-9223372036854775808", "-9223372036854775808"},
        {"RATIO", "-0.000030517578125", "-0.000030517578125"},
        {"DECIMAL", "1.50", "1.50"},
        {"LONG_DECIMAL", "-1E+40", "-1E+40"},
        {"TEXT", "\xC4pfel & <Birnen>\t\r\n\x01\x1F &#65; &lt; ]]> ",
         "\xC4pfel & <Birnen>\t\r\n\x01\x1F &#65; &lt; ]]> "},
        {"/ORG/UNIT", "here", "here"},
        {"2ND-CODE", "\xE9t\xE9", "\xE9t\xE9"},
    };

    void fillOrder(ZOR_STRUCTURE_HANDLE order) {
        for (const auto& t : texts)
            set(order, t.name, t.written);
        setBytes(order, "KEY", std::string_view("\0\x01\xFE\xFF", 4));
        setBytes(order, "DATA", allBytes);
        set(structure(order, "PLACE"), "CITY", "K\xF6ln");
        set(structure(order, "PLACE"), "ZIP", "50667");
        set(structure(order, "NOTE"), "TEXT", "one note");
        fillItems(table(order, "ITEMS"), 4);
        for (const char* word : {"", "two words", "\xFC"})
            set(ZorAppendNewRow(table(order, "WORDS"), &error), "", word);
        for (int count : {0, -7})
            EXPECT_EQ(ZorSetInt(ZorAppendNewRow(table(order, "COUNTS"), &error), "", count, &error), ZOR_OK);
    }
    void expectOrder(ZOR_STRUCTURE_HANDLE order) {
        for (const auto& t : texts)
            EXPECT_EQ(textOf(order, t.name), t.read) << t.name;
        EXPECT_EQ(bytes(order, "KEY"), std::string("\0\x01\xFE\xFF", 4));
        EXPECT_EQ(bytes(order, "DATA"), allBytes);
        EXPECT_EQ(textOf(structure(order, "PLACE"), "CITY"), "K\xF6ln");
        EXPECT_EQ(textOf(structure(order, "PLACE"), "ZIP"), "50667");
        EXPECT_EQ(textOf(structure(order, "NOTE"), "POS"), "0");
        EXPECT_EQ(textOf(structure(order, "NOTE"), "TEXT"), "one note");
        expectItems(table(order, "ITEMS"), 4);
        const ZOR_TABLE_HANDLE words = table(order, "WORDS");
        ASSERT_EQ(rows(words), 3u);
        EXPECT_EQ(textOf(words, ""), "") << "the cursor stands on the first row";
        ASSERT_EQ(ZorMoveTo(words, 2, &error), ZOR_OK);
        EXPECT_EQ(textOf(words, ""), "\xFC");
        const ZOR_TABLE_HANDLE counts = table(order, "COUNTS");
        ASSERT_EQ(rows(counts), 2u);
        ASSERT_EQ(ZorMoveToLastRow(counts, &error), ZOR_OK);
        EXPECT_EQ(textOf(counts, ""), "-7");
    }
};

TEST_F(DeepTest, aStructureOfEveryTypeGoesOutAndComesBack) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_DEEP");
    fillOrder(function.structure("I_ORDER"));
    // The answer comes in items that are cut at every byte, at odd places, and as usual.
    for (const int piece : {1, 7, 0}) {
        SCOPED_TRACE(piece);
        ASSERT_EQ(ZorSetStructure(function, "C_ORDER", function.structure("I_ORDER"), &error), ZOR_OK);
        function.setInt("PIECE", piece);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message << system.violationText();
        expectOrder(function.structure("E_ORDER"));
        expectOrder(function.structure("C_ORDER"));
    }
}

TEST_F(DeepTest, whatHasNoValueStaysInitial) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_DEEP");
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(system.requests().back().text(xml::data), "") << "a structure that was never made isn't sent";
    function.structure("I_ORDER");
    fillOrder(function.structure("E_ORDER"));
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message << system.violationText();
    const ZOR_STRUCTURE_HANDLE order = function.structure("E_ORDER");
    const struct {
        const char* name;
        const char* text;
    } initial[] = {{"ID", "0000000000"}, {"KIND", ""},     {"DAY", "00000000"}, {"AT", "000000"},
                   {"PRICE", "0.00"},    {"TEXT", ""},     {"NUMBER", "0"},     {"KEY", "00000000"},
                   {"DATA", ""},         {"RATIO", "0.0"}, {"/ORG/UNIT", ""}};
    for (const auto& i : initial)
        EXPECT_EQ(textOf(order, i.name), i.text) << i.name;
    EXPECT_EQ(rows(table(order, "ITEMS")), 0u);
    EXPECT_EQ(textOf(structure(order, "PLACE"), "ZIP"), "00000");
}

TEST_F(DeepTest, theDocumentIsWhatWeExpectByHand) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_DEEP_TABLE");
    fillItems(function.table("I_ITEMS"), 2);
    set(ZorAppendNewRow(function.table("I_WORDS"), &error), "", "a&\xE4");
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    std::string document;
    unsigned ends = 0;
    for (const zordev::RecordedItem& item : system.requests().back().items()) {
        if (item.id == xml::data) document.append(item.payload.begin(), item.payload.end());
        ends += item.id == xml::parameter && item.payload.empty();
    }
    EXPECT_EQ(
        document,
        "<I_ITEMS><item><MATERIAL>M-0</MATERIAL><QUANTITY>0.125</QUANTITY><DUE>2026-11-23</DUE><NOTES></"
        "NOTES>"
        "</item><item><MATERIAL>M-1</MATERIAL><QUANTITY>1.125</QUANTITY><DUE>2026-11-23</DUE><NOTES><item>"
        "<POS>10</POS><TEXT>note 0 &#60;of&#62; 1</TEXT></item></NOTES></item></I_ITEMS>"
        "<I_WORDS><item>a&#38;\xC3\xA4</item></I_WORDS>");
    EXPECT_EQ(ends, 2u);
}

TEST_F(DeepTest, tablesInEveryDirection) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_DEEP_TABLE");
    for (const int count : {0, 1, 40}) {
        SCOPED_TRACE(count);
        for (const char* name : {"I_ITEMS", "C_ITEMS", "T_ITEMS"}) {
            ASSERT_EQ(ZorDeleteAllRows(function.table(name), &error), ZOR_OK);
            fillItems(function.table(name), count);
        }
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message << system.violationText();
        for (const char* name : {"E_ITEMS", "C_ITEMS", "T_ITEMS"})
            expectItems(function.table(name), count);
        EXPECT_EQ(rows(function.table("I_ITEMS")), static_cast<unsigned>(count));
        if (count > 1) {
            ASSERT_EQ(ZorMoveTo(function.table("I_ITEMS"), 1, &error), ZOR_OK);
            ASSERT_EQ(invoke(connection, function), ZOR_OK);
            EXPECT_EQ(textOf(function.table("I_ITEMS"), "MATERIAL"), "M-1") << "the cursor stays";
        }
    }
}

TEST_F(DeepTest, tenThousandRows) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_DEEP_TABLE");
    const ZOR_TABLE_HANDLE sent = function.table("I_ROWS");
    ASSERT_EQ(ZorAppendNewRows(sent, 10000, &error), ZOR_OK);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(ZorSetInt(sent, "ID", i, &error), ZOR_OK);
        set(sent, "NAME", "row " + std::to_string(i));
        ZorMoveToNextRow(sent, &error);
    }
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    const ZOR_TABLE_HANDLE back = function.table("E_ROWS");
    ASSERT_EQ(rows(back), 10000u);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(textOf(back, "NAME"), "row " + std::to_string(i));
        ZorMoveToNextRow(back, &error);
    }
}

TEST_F(DeepTest, brokenAndForeignDocumentsFailTheCallAndNothingElse) {
    const struct {
        const char* what;
        const char* document;
        ZOR_RC rc;
        const char* message;
    } cases[] = {
        {"a parameter that nobody knows", "<OTHER><A><B>1</B></A>", ZOR_OK, ""},
        {"fields that nobody knows", "<ORDER><X>1</X><Y><Z/><item><A>b</A></item></Y><ID>7</ID></ORDER>",
         ZOR_OK, ""},
        {"a value that doesn't fit", "<ORDER><NUMBER>x</NUMBER></ORDER>", ZOR_CONVERSION_FAILURE,
         "Cannot convert string value x at position 0 for the field NUMBER to type ZORTYPE_INT"},
        {"text among fields", "<ORDER>x</ORDER>", ZOR_SERIALIZATION_FAILURE,
         "Parameter ORDER Expecting a tag to begin with '<' instead of 'x'"},
        {"no Base64", "<ORDER><DATA>!</DATA></ORDER>", ZOR_SERIALIZATION_FAILURE,
         "Error during Base64 decoding"},
        {"the end is missing", "<ORDER><ID>7</ID>", ZOR_SERIALIZATION_FAILURE,
         "XZOR document incomplete for parameter ORDER (DEEP_ORDER). Check TSL ZOR protocol traces."},
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const auto& c : cases)
        for (const int piece : {1, 0})
            for (const int withoutEnd : {0, 1}) {
                SCOPED_TRACE(c.what);
                Function function("ANSWER_DOCUMENT");
                setBytes(function, "DOCUMENT", c.document);
                function.setInt("PIECE", piece);
                function.setInt("WITHOUT_END", withoutEnd);
                EXPECT_EQ(invoke(connection, function), c.rc) << error.message;
                EXPECT_STREQ(error.message, c.message);
                if (c.rc == ZOR_OK) {
                    EXPECT_EQ(function.integer("DONE"), 1) << "what comes behind is read";
                }
                if (std::strstr(c.document, "<ID>7</ID></ORDER>") != nullptr) {
                    EXPECT_EQ(textOf(function.structure("ORDER"), "ID"), "0000000007");
                }
                EXPECT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
            }
}

class DeltaTest : public SessionTest {};

TEST_F(DeltaTest, changesOfThePartnerAreMadeHere) {
    const struct {
        const char* script;
        std::vector<std::string> rows;
    } cases[] = {
        {"", {"one", "two", "three"}},
        {"A:four;A:five", {"one", "two", "three", "four", "five"}},
        {"D2;D1", {"three"}},
        {"D4", {"one", "two", "three"}},
        {"I1:zero;I3:half", {"zero", "one", "half", "two", "three"}},
        {"I9:end", {"one", "two", "three", "end"}},
        {"U2:TWO;C3:THREE;U7:none", {"one", "TWO", "THREE"}},
        {"F;A:new", {"new"}},
        {"A:x;R", {}},
        {"=:anew;A:more", {"anew", "more"}},
        {"A:four;W;A:five", {"one", "two", "three", "four"}},
    };
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.script);
        Function function("CHANGE_ROWS");
        for (const char* text : {"one", "two", "three"})
            ZorSetString(ZorAppendNewRow(function.table("ROWS"), &error), "TEXT", text,
                         static_cast<unsigned>(std::strlen(text)), &error);
        function.setText("SCRIPT", c.script);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.integer("TABLE_ID"), 1) << "ids begin anew with each call";
        std::vector<std::string> rows;
        const ZOR_TABLE_HANDLE table = function.table("ROWS");
        for (ZorMoveToFirstRow(table, &error); ZorGetCurrentRow(table, &error) != nullptr;
             ZorMoveToNextRow(table, &error))
            rows.push_back(textOf(table, "TEXT"));
        EXPECT_EQ(rows, c.rows);
    }
}

TEST_F(DeltaTest, withoutRowsOrWithTheManagerOffNothingIsAskedFor) {
    for (const bool on : {true, false}) {
        const ZOR_CONNECTION_HANDLE connection = connect({{"DELTA", on ? "1" : "0"}});
        Function function("CHANGE_ROWS");
        function.setText("SCRIPT", "A:x");
        if (!on) ZorAppendNewRow(function.table("ROWS"), &error);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.integer("TABLE_ID"), 0);
    }
}

TEST_F(DeltaTest, anOperationThatDoesNotExistClosesTheConnection) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("CHANGE_ROWS");
    ZorAppendNewRow(function.table("ROWS"), &error);
    function.setText("SCRIPT", "P1");
    EXPECT_EQ(invoke(connection, function), ZOR_ILLEGAL_STATE);
    EXPECT_STREQ(error.message, "Unexpected detla manager operation 12 with table Id 1.");
    EXPECT_FALSE(isValid(connection));
}

}  // namespace
