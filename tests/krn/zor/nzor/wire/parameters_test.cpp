// Parameters, records and tables as items, in both directions.

#include <gtest/gtest.h>

#include "data/zorfunction.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "memorystream.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"

namespace {

/** Descriptions and a container of one function for a test. */
class Call {
  public:
    Call() : meta(ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("TEST", "test", 5, false)) {}

    Call& add(const char* name, ZORTYPE type, ZOR_DIRECTION direction, unsigned length,
              ZorAbstractMetaData* typeDesc = nullptr) {
        meta->add(name, type, direction, length, 0, 0, typeDesc);
        return *this;
    }
    ZorFunction& function() {
        if (!container) container = std::make_unique<ZorFunction>(*meta);
        return *container;
    }
    Bytes written() {
        function().zorSerializeParams(stream);
        return stream.takeOut();
    }
    void read(const Bytes& items) {
        stream.layIn(joined({items, item(65535)}));
        EXPECT_EQ(stream.readUpTo(ZORGET_DATA, &function(), ZORID_NotUsed), ZORID_End);
        EXPECT_TRUE(stream.readToEnd());
    }
    std::string bytes(unsigned index = 0) {
        const ZorFieldSlot slot = function().locate(index);
        return {reinterpret_cast<const char*>(slot.addr), slot.field.length1};
    }

    MemoryItemStream stream;

  private:
    ZorMetaDataRef<ZorFunctionMetaData> meta;
    std::unique_ptr<ZorFunction> container;
};

/** A record description from rows of name, type and length, packed one behind the other. */
ZorMetaDataRef<ZorRecordMetaData> record(
    const char* name,
    std::initializer_list<std::tuple<const char*, ZORTYPE, unsigned, ZorRecordMetaData*>> fields) {
    auto made = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "test", 5, false);
    unsigned offset = 0;
    for (const auto& [field, type, length, desc] : fields) {
        made->add(field, type, length, offset, 0, 0, 0, desc);
        offset += length;
    }
    made->setRecordLength(offset, 0);
    return made;
}

const Bytes nameX = item(513, "X");

TEST(Scalars, travelAsNameAndValueInBothDirections) {
    const struct {
        ZORTYPE type;
        unsigned length;
        Bytes value;
    } cases[] = {
        {ZORTYPE_CHAR, 3, {'a', 'b', ' '}},
        {ZORTYPE_NUM, 4, {'0', '0', '4', '2'}},
        {ZORTYPE_DATE, 8, bytesOf("20240229")},
        {ZORTYPE_TIME, 6, bytesOf("235959")},
        {ZORTYPE_BCD, 2, {0x12, 0x3D}},
        {ZORTYPE_BYTE, 3, {0x00, 0xFF, 0x80}},
        {ZORTYPE_INT, 4, {0x78, 0x56, 0x34, 0x12}},
        {ZORTYPE_INT1, 1, {0xFE}},
        {ZORTYPE_INT2, 2, {0x34, 0x12}},
        {ZORTYPE_INT8, 8, {1, 2, 3, 4, 5, 6, 7, 8}},
        {ZORTYPE_FLOAT, 8, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
        {ZORTYPE_DECF16, 8, {1, 2, 3, 4, 5, 6, 7, 8}},
        {ZORTYPE_DECF34, 16, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {ZORTYPE_UTCLONG, 8, {8, 7, 6, 5, 4, 3, 2, 1}},
        {ZORTYPE_DTDAY, 4, {4, 3, 2, 1}},
        {ZORTYPE_CDAY, 2, {2, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        Call call;
        call.add("X", c.type, ZOR_CHANGING, c.length);
        const Bytes items = joined({nameX, item(515, c.value)});
        call.read(items);
        EXPECT_EQ(call.bytes(), std::string(c.value.begin(), c.value.end()));
        EXPECT_EQ(call.written(), joined({item(517, "X"), items}));
    }
}

TEST(Scalars, ofAForeignByteOrderAreSwapped) {
    Call call;
    call.add("X", ZORTYPE_INT, ZOR_EXPORT, 4);
    call.stream.control.conv_int = call.stream.control.conversion = true;
    call.read(joined({nameX, item(515, Bytes{0x12, 0x34, 0x56, 0x78})}));
    ZOR_INT value = 0;
    call.function().getValue(0, &value);
    EXPECT_EQ(value, 0x12345678);
}

TEST(Scalars, longerAndShorterValuesStayWithinTheField) {
    const struct {
        ZORTYPE type;
        unsigned length;
        std::string payload;
        std::string content;
    } cases[] = {
        {ZORTYPE_CHAR, 4, "abcdefgh", "abcd"},
        {ZORTYPE_CHAR, 4, "ab", "ab  "},
        {ZORTYPE_BYTE, 2, std::string(100000, 'z'), "zz"},
        {ZORTYPE_INT, 4, std::string(70000, '\1'), "\1\1\1\1"},
        {ZORTYPE_INT1, 1, "\x07\x08", "\x07"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.payload.size());
        Call call;
        call.add("X", c.type, ZOR_EXPORT, c.length);
        MemoryItemStream writer;
        writer.writeZorChars(ZORID_FieldValue, c.payload);
        call.read(joined({nameX, writer.takeOut()}));
        EXPECT_EQ(call.bytes(), c.content);
    }
}

TEST(Directions, decideWhatIsSentAndWhatIsAskedFor) {
    Call call;
    call.add("I", ZORTYPE_INT1, ZOR_IMPORT, 1)
        .add("E", ZORTYPE_INT1, ZOR_EXPORT, 1)
        .add("C", ZORTYPE_INT1, ZOR_CHANGING, 1)
        .add("OFF", ZORTYPE_INT1, ZOR_CHANGING, 1);
    call.function().setParameterActive("OFF", false);
    const Bytes one = item(515, Bytes{1});
    for (unsigned i = 0; i < 3; ++i)
        call.function().setValue(i, ZOR_INT1{1});
    EXPECT_EQ(call.written(),
              joined({item(517, "E"), item(517, "C"), item(513, "I"), one, item(513, "C"), one}));
    // Asking for a result emptied it. As an answer, the import parameter stays behind.
    call.stream.callbackCount = 1;
    EXPECT_EQ(call.written(), joined({item(513, "E"), item(515, Bytes{0}), item(513, "C"), one}));
}

TEST(Directions, anInactiveParameterIsReadPast) {
    Call call;
    call.add("X", ZORTYPE_INT1, ZOR_EXPORT, 1).add("Y", ZORTYPE_INT1, ZOR_EXPORT, 1);
    call.function().setParameterActive("X", false);
    call.read(joined({nameX, item(515, Bytes{5}), item(513, "UNKNOWN"), item(515, Bytes{6}), item(513, "Y"),
                      item(515, Bytes{7})}));
    EXPECT_EQ(call.bytes(0), std::string(1, '\0'));
    EXPECT_EQ(call.bytes(1), "\7");
}

TEST(Strings, takeAnyLength) {
    Call call;
    call.add("S", ZORTYPE_STRING, ZOR_CHANGING, 8).add("B", ZORTYPE_XSTRING, ZOR_CHANGING, 8);
    EXPECT_EQ(call.written(),
              joined({item(517, "S"), item(517, "B"), item(513, "S"), item(515), item(513, "B"), item(515)}));
    call.read(joined(
        {item(513, "S"), item(515, Bytes{'a', 0xC3, 0xA4, 0}), item(513, "B"), item(515, Bytes{0, 1})}));
    KEL_string text;
    call.function().getValue(0, text);
    EXPECT_EQ(text, "a\xE4");
    call.function().getValue(1, text);
    EXPECT_EQ(text, "0001");
}

TEST(Structures, aFlatOneIsItsOwnImage) {
    const auto desc = record("R", {{"C", ZORTYPE_CHAR, 3, nullptr}, {"N", ZORTYPE_INT, 4, nullptr}});
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 7, desc.get());
    EXPECT_EQ(call.written(), item(517, "X")) << "a structure that was never made sends nothing";
    const Bytes image{'a', 'b', 'c', 1, 2, 3, 4};
    call.read(joined({nameX, item(515, image)}));
    EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515, image)}));
    // A partner with a shorter record leaves the fields behind its end alone.
    call.read(joined({nameX, item(515, Bytes{'x', 'y', 'z'})}));
    EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515, Bytes{'x', 'y', 'z', 1, 2, 3, 4})}));
}

TEST(Structures, ofAForeignByteOrderAreConvertedFieldByField) {
    const auto desc = record(
        "R",
        {{"C", ZORTYPE_CHAR, 2, nullptr}, {"N", ZORTYPE_INT2, 2, nullptr}, {"M", ZORTYPE_INT, 4, nullptr}});
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_EXPORT, 8, desc.get());
    call.stream.control.conv_int = call.stream.control.conversion = true;
    call.read(joined({nameX, item(515, Bytes{'a', 'b', 0x12, 0x34, 1, 2})}));
    ZorStructure* structure = nullptr;
    call.function().getValue(0, &structure, false);
    ASSERT_NE(structure, nullptr);
    ZOR_INT2 number = 0;
    structure->getValue(1, &number);
    EXPECT_EQ(number, 0x1234);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(structure->getBuffer()), 2), "ab");
}

TEST(Structures, aNestedOneTravelsLeafByLeafWithoutPointers) {
    const auto inner = record("INNER", {{"A", ZORTYPE_CHAR, 1, nullptr}, {"B", ZORTYPE_CHAR, 2, nullptr}});
    // The inner record is smaller than a pointer; the image keeps its declared places all the same.
    const auto outer = record("OUTER", {{"X", ZORTYPE_CHAR, 1, nullptr},
                                        {"IN", ZORTYPE_STRUCTURE, 3, inner.get()},
                                        {"Y", ZORTYPE_CHAR, 2, nullptr}});
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 6, outer.get());
    call.read(joined({nameX, item(515, "1234567890")}));
    ZorStructure* structure = nullptr;
    call.function().getValue(0, &structure, false);
    ZorStructure* child = nullptr;
    structure->getValue(1, &child, false);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(child->getBuffer()), 3), "234");
    EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515, "123456")}));
}

TEST(Tables, sendTheirWidthCountAndRows) {
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 2, nullptr}});
    Call call;
    call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get());
    ZorTable* table = nullptr;
    call.function().getValue(0, &table, true);
    EXPECT_EQ(call.written(),
              joined({item(517, "T"), item(769, "T"), item(770, Bytes{0, 0, 0, 2, 0, 0, 0, 0})}));
    for (const char* text : {"ab", "cd"})
        table->appendNewRow().setValue(0, text, 2, ZORTYPE_CHAR);
    const Bytes rows = joined({item(770, Bytes{0, 0, 0, 2, 0, 0, 0, 2}), item(771, "ab"), item(771, "cd")});
    EXPECT_EQ(call.written(), joined({item(517, "T"), item(769, "T"), item(816, Bytes{0, 0, 0, 1}), rows}));
    EXPECT_EQ(table->deltaState, DELTA_SREQUEST);
    call.stream.control.delta = false;
    EXPECT_EQ(call.written(), joined({item(517, "T"), item(769, "T"), rows}));
}

TEST(Tables, areFilledFromTheirRows) {
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 4, nullptr}});
    Call call;
    call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get());
    ZorTable* table = nullptr;
    call.function().getValue(0, &table, true);
    table->createNewRows(5);
    call.read(joined({item(769, "T"), item(770, Bytes{0, 0, 0, 4, 0, 0, 0, 3}), item(771, "abcd"),
                      item(771, "ef"), item(772, "gh"), item(771, "beyond the announced count")}));
    ASSERT_EQ(table->getCount(), 3u);
    const auto text = [table](unsigned i) {
        const auto bytes = table->rowBytes(i);
        return std::string(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(text(0), "abcd");
    EXPECT_EQ(text(1), "ef  ") << "a short row leaves the rest initial";
    EXPECT_EQ(text(2), "ghhh") << "the short form repeats its last byte";
    call.function().getValue(0, &table, true);
    EXPECT_EQ(table->getCurrentIndex(), 0u);
}

TEST(Tables, anAnnouncedCountReservesNothing) {
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 100, nullptr}});
    Call call;
    call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get());
    call.read(
        joined({item(769, "T"), item(770, Bytes{0, 0, 0, 100, 0xFF, 0xFF, 0xFF, 0xFF}), item(771, "one")}));
    ZorTable* table = nullptr;
    call.function().getValue(0, &table, false);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->getCount(), 1u);
}

TEST(Tables, withoutARowDescriptionTakeTheWidthThatCame) {
    Call call;
    call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8);
    call.read(joined({item(769, "T"), item(770, Bytes{0, 0x10, 0, 0, 0, 0, 0, 1}), item(771, "abcd")}));
    ZorTable* table = nullptr;
    call.function().getValue(0, &table, false);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->getRowLength(), 0x100000u);
    EXPECT_EQ(table->getCount(), 1u);
}

TEST(Tables, withoutAParameterAreSkipped) {
    Call call;
    call.add("X", ZORTYPE_INT1, ZOR_EXPORT, 1);
    call.read(joined({item(769, "T"), item(770, Bytes{0, 0, 0, 4, 0, 0, 0, 1}), item(771, "abcd"), nameX,
                      item(515, Bytes{9})}));
    EXPECT_EQ(call.bytes(), "\t");
    // A scalar that comes as a table is no table.
    call.read(joined({item(769, "X"), item(770, Bytes{0, 0, 0, 4, 0, 0, 0, 1}), item(771, "abcd")}));
    EXPECT_EQ(call.bytes(), "\t");
}

TEST(Documents, holdTablesOutsideTheTablesAndDeepRecords) {
    auto text = record("TEXT", {{"S", ZORTYPE_STRING, sizeof(void*), nullptr}});
    auto number = record("NUMBER", {{"N", ZORTYPE_INT1, 1, nullptr}});
    const auto describe = [&](Call& call) {
        call.add("I", ZORTYPE_TABLE, ZOR_IMPORT, 1, number.get())
            .add("E", ZORTYPE_TABLE, ZOR_EXPORT, 1, number.get())
            .add("C", ZORTYPE_STRUCTURE, ZOR_CHANGING, sizeof(void*), text.get())
            .add("T", ZORTYPE_TABLE, ZOR_TABLES, sizeof(void*), text.get())
            .add("NOT_MADE", ZORTYPE_TABLE, ZOR_CHANGING, 1, number.get());
    };
    const auto document = [](std::string_view xml) { return joined({item(15365, xml), item(15362)}); };
    const Bytes in = document("<I><item><N>7</N></item></I>");
    const Bytes both = joined({document("<C><S>a&#38;b</S></C>"), document("<T><item><S></S></item></T>")});
    Call server;
    describe(server);
    server.stream.callbackCount = 1;
    server.read(joined({in, both}));
    EXPECT_TRUE(server.function().parameter(0).isRequested());
    ZorTable* made = nullptr;
    server.function().getValue(1, &made, true);
    made->createNewRows(1);
    EXPECT_EQ(server.written(), joined({document("<E><item><N>0</N></item></E>"), both}));
    Call client;
    describe(client);
    client.read(joined({in, both}));
    EXPECT_EQ(client.written(),
              joined({item(517, "E"), item(517, "C"), item(517, "T"), item(517, "NOT_MADE"), in, both}));
}

TEST(Documents, mayBeCutIntoItemsAnywhereAndAreReadPastIfNobodyWantsThem) {
    auto text = record("TEXT", {{"S", ZORTYPE_STRING, sizeof(void*), nullptr}});
    const std::string xml = "<C><S>\xC3\xA4&#60;</S></C>";
    for (size_t cut = 1; cut < xml.size(); ++cut) {
        Call call;
        call.add("C", ZORTYPE_STRUCTURE, ZOR_EXPORT, sizeof(void*), text.get())
            .add("X", ZORTYPE_INT1, ZOR_EXPORT, 1);
        call.read(
            joined({item(15365, "<OTHER><A"), item(15365, "x>"), item(15362), item(15365, xml.substr(0, cut)),
                    item(15365, xml.substr(cut)), item(15362), nameX, item(515, Bytes{9})}));
        ZorStructure* structure = nullptr;
        call.function().getValue(0, &structure, false);
        ASSERT_NE(structure, nullptr);
        ZorString* value = nullptr;
        structure->getValue(0, &value, false);
        EXPECT_EQ(*value, "\xE4<");
        EXPECT_EQ(call.bytes(1), "\x09");
    }
    Call call;
    call.stream.layIn(joined({item(15365, "<C>"), item(65535)}));
    EXPECT_EQ(call.stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZORID_End)
        << "nobody wants anything";
}

TEST(DeltaManager, remembersWhatThePartnerSaysOfATable) {
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 2, nullptr}});
    Call call;
    call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get());
    ZorTable* table = nullptr;
    call.function().getValue(0, &table, true);
    table->createNewRows(1);
    call.written();
    call.read(item(817, Bytes{0, 0, 0, 1}));
    EXPECT_EQ(table->deltaState, DELTA_SCONFIRM);
    call.read(item(817, Bytes{0, 0, 0, 9}));  // an unknown table
    call.read(item(822, Bytes{0, 0, 0, 1}));
    EXPECT_EQ(table->deltaState, DELTA_SWITHDRAW);
}

// Each change starts on a table AA, BB, CC that was sent under the id 1.
TEST(DeltaManager, mergesTheChangesOfThePartner) {
    const auto log = [](KEL_RAW opcode, KEL_RAW id, KEL_RAW line) {
        return Bytes{0, 0, 0, opcode, 0, 0, 0, id, 0, 0, 0, line};
    };
    const auto change = [&](KEL_RAW opcode, KEL_RAW line, const char* row) {
        return joined({item(819, log(opcode, 1, line)), item(820, row)});
    };
    const struct {
        const char* name;
        Bytes items;
        std::string rows;
        unsigned cursor;
    } cases[] = {
        {"append", change(4, 0, "DD"), "AABBCCDD", 3},
        {"append without data", change(4, 0, ""), "AABBCC", 0},
        {"append in one item", item(818, log(4, 1, 0)), "AABBCC", 0},
        {"delete", item(818, log(5, 1, 2)), "AACC", 1},
        {"delete with data to be skipped", change(5, 1, "XX"), "BBCC", 0},
        {"delete behind the end", item(818, log(5, 1, 4)), "AABBCC", 0},
        {"insert", change(6, 1, "DD"), "DDAABBCC", 0},
        {"insert before the last", change(6, 3, "DD"), "AABBDDCC", 2},
        {"insert behind the end", change(6, 4, "DD"), "AABBCCDD", 3},
        {"update", change(7, 2, "DD"), "AADDCC", 1},
        {"update with a short row", change(7, 2, "D"), "AADBCC", 1},
        {"update with a long row", change(7, 2, "DDDD"), "AADDCC", 1},
        {"update behind the end", change(7, 4, "DD"), "AABBCC", 0},
        {"correction", change(11, 3, "DD"), "AABBDD", 2},
        {"free", item(818, log(8, 1, 0)), "", 0},
        {"rebuild", item(818, log(10, 1, 0)), "", 0},
        {"one after the other", joined({change(4, 0, "DD"), item(818, log(5, 1, 1))}), "BBCCDD", 0},
        {"a table that wasn't sent", joined({item(819, log(7, 2, 1)), item(820, "DD")}), "AABBCC", 0},
        {"in full",
         joined({item(821, log(3, 1, 0)), item(770, Bytes{0, 0, 0, 2, 0, 0, 0, 1}), item(771, "EE")}), "EE",
         0},
        {"in full, of a table that wasn't sent",
         joined({item(821, log(3, 9, 0)), item(770, Bytes{0, 0, 0, 2, 0, 0, 0, 1}), item(771, "EE")}),
         "AABBCC", 0},
        {"after it was withdrawn", joined({item(822, Bytes{0, 0, 0, 1}), change(4, 0, "DD")}), "AABBCC", 0},
    };
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 2, nullptr}});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Call call;
        call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get()).add("X", ZORTYPE_CHAR, ZOR_EXPORT, 1);
        ZorTable* table = nullptr;
        call.function().getValue(0, &table, true);
        for (const char* text : {"AA", "BB", "CC"})
            table->appendNewRow().setValue(0, text, 2, ZORTYPE_CHAR);
        table->moveToFirstRow();
        call.written();
        call.read(joined({c.items, nameX, item(515, "z")}));  // what follows is understood
        std::string rows;
        for (unsigned i = 0; i < table->getCount(); ++i)
            rows.append(reinterpret_cast<const char*>(table->rowBytes(i).data()), 2);
        EXPECT_EQ(rows, c.rows);
        EXPECT_EQ(table->getCurrentIndex(), c.cursor);
        KEL_RAW last = 0;
        call.function().getValue(1, &last, 1, ZORTYPE_BYTE, nullptr);
        EXPECT_EQ(last, 'z');
    }
}

TEST(DeltaManager, refusesWhatCannotBe) {
    const auto row = record("ROW", {{"C", ZORTYPE_CHAR, 2, nullptr}});
    const struct {
        Bytes log;
        ZOR_RC code;
        const char* message;
    } cases[] = {
        {{0, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0, 0}, ZOR_INVALID_PROTOCOL, "Unexpected data received."},
        {{0, 0, 0, 5, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}, ZOR_INVALID_PROTOCOL, "Unexpected data received."},
        {{0, 0, 0, 12, 0, 0, 0, 1, 0, 0, 0, 1},
         ZOR_ILLEGAL_STATE,
         "Unexpected detla manager operation 12 with table Id 1."},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1, 0, 0, 0, 1},
         ZOR_ILLEGAL_STATE,
         "Unexpected detla manager operation -1 with table Id 1."},
    };
    for (const auto& c : cases) {
        Call call;
        call.add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, row.get());
        ZorTable* table = nullptr;
        call.function().getValue(0, &table, true);
        table->createNewRows(1);
        call.written();
        call.stream.layIn(joined({item(818, c.log), item(65535)}));
        try {
            call.stream.readUpTo(ZORGET_DATA, &call.function(), ZORID_NotUsed);
            ADD_FAILURE() << "accepted";
        } catch (const ZorBaseException& exception) {
            EXPECT_EQ(exception.getCode(), c.code);
            EXPECT_EQ(exception.getMessage(), c.message);
        }
        EXPECT_TRUE(call.stream.broken);
        EXPECT_EQ(table->getCount(), 1u);
    }
}

TEST(States, anItemOutOfPlaceClosesTheConnection) {
    const struct {
        const char* name;
        Bytes items;
        ZOR_RC code;
    } cases[] = {
        {"value without name", item(515, "x"), ZOR_INVALID_PROTOCOL},
        {"two values", joined({nameX, item(515, "x"), item(515, "x")}), ZOR_INVALID_PROTOCOL},
        {"info without table", item(770, Bytes(8)), ZOR_INVALID_PROTOCOL},
        {"row without info", joined({item(769, "T"), item(771, "x")}), ZOR_INVALID_PROTOCOL},
        {"row without anything", item(772, "x"), ZOR_INVALID_PROTOCOL},
        {"short info", joined({item(769, "T"), item(770, Bytes(7))}), ZOR_INVALID_PROTOCOL},
        {"row too wide to be made ahead of its data",
         joined({item(769, "T"), item(770, Bytes{0, 0x10, 0, 1, 0, 0, 0, 1})}), ZOR_INVALID_PROTOCOL},
        {"short delta id", item(817, Bytes(3)), ZOR_INVALID_PROTOCOL},
        {"binary XML", item(16384, Bytes{1, 0}), ZOR_SERIALIZATION_FAILURE},
        {"short delta log", item(818, Bytes(11)), ZOR_INVALID_PROTOCOL},
        {"delta data without log", item(820, "x"), ZOR_SERIALIZATION_FAILURE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Call call;
        call.add("X", ZORTYPE_CHAR, ZOR_EXPORT, 1).add("T", ZORTYPE_TABLE, ZOR_TABLES, 8);
        call.stream.layIn(joined({c.items, item(65535)}));
        try {
            call.stream.readUpTo(ZORGET_DATA, &call.function(), ZORID_NotUsed);
            ADD_FAILURE() << "accepted";
        } catch (const ZorBaseException& exception) {
            EXPECT_EQ(exception.getCode(), c.code);
            if (c.code == ZOR_INVALID_PROTOCOL) {
                EXPECT_EQ(exception.getMessage(), "Unexpected data received.");
                EXPECT_EQ(exception.getGroup(), COMMUNICATION_FAILURE);
            }
        }
        EXPECT_TRUE(call.stream.broken);
    }
}

TEST(Loop, endsAtACallbackOnlyBetweenData) {
    Call call;
    call.add("X", ZORTYPE_CHAR, ZOR_EXPORT, 1);
    call.stream.layIn(
        joined({nameX, item(1282), item(515, "y"), item(1282), item(258, "BACK"), item(65535)}));
    EXPECT_EQ(call.stream.readUpTo(ZORGET_DATA, &call.function(), ZORID_NotUsed), ZORID_CallBack);
    EXPECT_EQ(call.bytes(), "y");
    EXPECT_EQ(call.stream.readUpTo(ZORGET_FUNCTIONNAME, nullptr, ZORID_FunctionName), ZORID_FunctionName);
    EXPECT_EQ(call.stream.control.serverFunctionName.view(), "BACK");
    EXPECT_EQ(call.stream.readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed), ZORID_End);
}

TEST(Loop, aMillionTinyItemsPass) {
    Call call;
    call.add("X", ZORTYPE_CHAR, ZOR_EXPORT, 1);
    const Bytes tiny = item(4711);
    Bytes items;
    items.reserve(tiny.size() * 1000000);
    for (int i = 0; i < 1000000; ++i)
        items.insert(items.end(), tiny.begin(), tiny.end());
    call.read(joined({items, nameX, item(515, "z")}));
    EXPECT_EQ(call.bytes(), "z");
}

TEST(Records, withObjectsNeverTakeBytesOfThePartnerForPointers) {
    auto row = record("ROW", {{"O", ZORTYPE_UBIXOBJECT, sizeof(void*), nullptr}});
    auto outer = record("OUTER", {{"S", ZORTYPE_STRUCTURE, sizeof(void*), row.get()}});
    const Bytes value = item(515, Bytes(sizeof(void*), 0x41));
    for (ZorRecordMetaData* desc : {row.get(), outer.get()}) {
        Call call;
        call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, sizeof(void*), desc);
        EXPECT_THROW(call.read(joined({nameX, value})), ZorBaseException);
    }
    Call call;
    call.add("X", ZORTYPE_UBIXOBJECT, ZOR_CHANGING, sizeof(void*));
    call.read(joined({nameX, value}));  // skipped
    EXPECT_EQ(call.bytes(), std::string(sizeof(void*), 0));
    EXPECT_EQ(call.written(), item(517, "X"));
}

TEST(Records, withoutDescriptionAreEmpty) {
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 4);
    call.read(joined({nameX, item(515, "abcd")}));
    EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515)}));
    // Inside a record they are a gap, and what stands behind them keeps its place.
    auto outer = record("OUTER", {{"S", ZORTYPE_STRUCTURE, 4, nullptr}, {"C", ZORTYPE_CHAR, 2, nullptr}});
    Call nested;
    nested.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 6, outer.get());
    nested.read(joined({nameX, item(515, "....xy")}));
    EXPECT_EQ(nested.written(), joined({item(517, "X"), nameX, item(515, Bytes{0, 0, 0, 0, 'x', 'y'})}));
}

TEST(Records, aNestedOneHasAnImageInBothLayouts) {
    // A number and an inner record of three characters and a number: with characters of two bytes the inner
    // record's second number moves.
    auto inner = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("INNER", "test", 2, false);
    inner->add("C", ZORTYPE_CHAR, 3, 0, 6, 0, 0);
    inner->add("N", ZORTYPE_INT1, 1, 3, 1, 6, 0);
    inner->setRecordLength(4, 8);
    auto outer = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("OUTER", "test", 2, false);
    outer->add("I", ZORTYPE_INT1, 1, 0, 1, 0, 0);
    outer->add("S", ZORTYPE_STRUCTURE, 4, 4, 8, 4, 0, inner.get());
    outer->setRecordLength(8, 12);
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 8, outer.get());
    const Bytes narrow{7, 0, 0, 0, 'a', 'b', 'c', 9};
    call.read(joined({nameX, item(515, narrow)}));
    call.stream.control.pcs = 2;
    const Bytes wide{7, 0, 0, 0, 'a', 'b', 'c', 0, 0, 0, 9};
    const Bytes written = call.written();
    const Bytes head = joined({item(517, "X"), nameX});
    ASSERT_GT(written.size(), head.size() + 4 + wide.size());
    const auto image = written.begin() + static_cast<std::ptrdiff_t>(head.size() + 4);
    EXPECT_EQ(Bytes(image, image + static_cast<std::ptrdiff_t>(wide.size())), wide);
    Bytes changed = wide;
    changed[0] = 8;
    changed[10] = 10;
    call.read(joined({nameX, item(515, changed)}));
    call.stream.control.pcs = 1;
    EXPECT_EQ(call.written(), joined({head, item(515, Bytes{8, 0, 0, 0, 'a', 'b', 'c', 10})}));
}

TEST(Records, nestedValuesOfAnotherTypeTakePartAsFarAsTheyFit) {
    auto inner = record("INNER", {{"C", ZORTYPE_CHAR, 8, nullptr}});
    auto outer = record("OUTER", {{"S", ZORTYPE_STRUCTURE, 8, inner.get()}, {"B", ZORTYPE_BYTE, 8, nullptr}});
    auto text = record("TEXT", {{"C", ZORTYPE_CHAR, 8, nullptr}, {"T", ZORTYPE_STRING, 8, nullptr}});
    auto wide = record("WIDE", {{"T", ZORTYPE_STRING, 8, nullptr},
                                {"B", ZORTYPE_BYTE, 2, nullptr},
                                {"X", ZORTYPE_CHAR, 2, nullptr}});
    const Bytes partner(16, 'A');
    const struct {
        ZorRecordMetaData* type;
        Bytes sent;
    } rows[] = {
        {text.get(), Bytes(16, 'A')},  // its string is nobody's leaf, and the field behind keeps its place
        {wide.get(), joined({Bytes(8, 0), Bytes(8, 'A')})},
    };
    for (const auto& row : rows) {
        Call call;
        call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 16, outer.get());
        ZorStructure* value = nullptr;
        call.function().getValue(0, &value, true);
        value->setValue(0, ZorStructure(row.type));
        call.read(joined({nameX, item(515, partner)}));
        EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515, row.sent)}));
    }
}

TEST(Records, numbersWithTooFewBytesAreNotSwapped) {
    auto type = record("TYPE", {{"I", ZORTYPE_INT, 4, nullptr}, {"SHORT", ZORTYPE_INT, 2, nullptr}});
    Call call;
    call.add("X", ZORTYPE_STRUCTURE, ZOR_CHANGING, 6, type.get());
    call.stream.control.conv_int = call.stream.control.conversion = true;
    call.read(joined({nameX, item(515, Bytes{1, 2, 3, 4, 5, 6})}));
    EXPECT_EQ(call.written(), joined({item(517, "X"), nameX, item(515, Bytes{4, 3, 2, 1, 5, 6})}));
}

}  // namespace
