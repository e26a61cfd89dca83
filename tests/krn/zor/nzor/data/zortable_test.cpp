#include "data/zortable.h"

#include <gtest/gtest.h>

#include "datafixture.h"

namespace {

using namespace datatest;

/** Rows of a number and a string, so that rows have children. */
ZorMetaDataRef<ZorRecordMetaData> deepRow() {
    return makeType({{"NO", ZORTYPE_INT, 4}, {"TEXT", ZORTYPE_STRING, sizeof(void*)}});
}

ZorMetaDataRef<ZorRecordMetaData> flatRow(const char* name = "TYPE") {
    return makeType({{"NO", ZORTYPE_INT, 4}, {"NAME", ZORTYPE_CHAR, 5}}, name);
}

void addRow(ZorTable& table, ZOR_INT number) {
    table.appendNewRow().setValue(0, number);
}

std::vector<ZOR_INT> numbers(ZorTable& table) {
    std::vector<ZOR_INT> all;
    for (unsigned index = 0; index < table.getCount(); ++index)
        all.push_back(getInt(table.row(index), 0));
    return all;
}

using Numbers = std::vector<ZOR_INT>;

TEST(ZorTable, EmptyTableHasNoRowToMoveTo) {
    ZorTable table(flatRow().get());
    EXPECT_EQ(table.moveToFirstRow(), ZOR_TABLE_MOVE_BOF);
    EXPECT_EQ(table.moveToLastRow(), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.moveToNextRow(), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.moveToPreviousRow(), ZOR_TABLE_MOVE_BOF);
    EXPECT_EQ(table.moveTo(0), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.getCurrentIndex(), 0u);
    EXPECT_EQ(table.getRow(), nullptr);
    table.removeRow();
    EXPECT_EQ(messageOf<ZorIllegalStateException>([&] { getInt(table, 0); }),
              "Trying to access row values in a table which does not have any rows yet");
    const auto copy = table.clone();
    EXPECT_EQ(copy->getCount(), 0u);
    EXPECT_EQ(copy->getCurrentIndex(), 0u);
}

TEST(ZorTable, CursorGoesPastTheEndAndBackToTheLastRow) {
    ZorTable table(flatRow().get());
    for (ZOR_INT number : {1, 2, 3})
        addRow(table, number);
    EXPECT_EQ(table.getCurrentIndex(), 2u);
    EXPECT_EQ(table.moveToNextRow(), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.getCurrentIndex(), 3u);
    EXPECT_EQ(table.moveToNextRow(), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.getCurrentIndex(), 3u);
    EXPECT_EQ(messageOf<ZorIllegalStateException>([&] { getInt(table, 0); }),
              "Trying to access row values beyond end of table");
    EXPECT_EQ(table.moveToPreviousRow(), ZOR_OK);
    EXPECT_EQ(getInt(table, 0), 3);
    EXPECT_EQ(table.moveToPreviousRow(), ZOR_OK);
    EXPECT_EQ(table.moveTo(3), ZOR_TABLE_MOVE_EOF);
    EXPECT_EQ(table.getCurrentIndex(), 1u);
    EXPECT_EQ(table.moveToFirstRow(), ZOR_OK);
    EXPECT_EQ(table.moveToPreviousRow(), ZOR_TABLE_MOVE_BOF);
    EXPECT_EQ(table.moveToNextRow(), ZOR_OK);
    EXPECT_EQ(getInt(table, 0), 2);
    EXPECT_EQ(table.moveToLastRow(), ZOR_OK);
    EXPECT_EQ(getInt(table, 0), 3);
}

TEST(ZorTable, AddingAndRemovingMovesTheCursorAsTold) {
    ZorTable table(flatRow().get());
    table.createNewRows(0);
    EXPECT_EQ(table.getCount(), 0u);
    table.createNewRows(2);
    EXPECT_EQ(table.getCurrentIndex(), 0u);
    table.setValue(0, ZOR_INT{1});
    table.row(1).setValue(0, ZOR_INT{2});
    table.createNewRows(2);
    EXPECT_EQ(table.getCurrentIndex(), 2u);

    ZorStructure own(table.getRowType());
    own.setValue(0, ZOR_INT{9});
    table.moveTo(1);
    table.appendRow(own);
    EXPECT_EQ(table.getCurrentIndex(), 1u);
    table.insertRow(own);
    EXPECT_EQ(table.getCurrentIndex(), 1u);
    EXPECT_EQ(numbers(table), (Numbers{1, 9, 2, 0, 0, 9}));
    table.insertNewRow().setValue(0, ZOR_INT{7});
    EXPECT_EQ(numbers(table), (Numbers{1, 7, 9, 2, 0, 0, 9}));
    table.removeRow();
    EXPECT_EQ(getInt(table, 0), 9);

    table.moveToLastRow();
    table.removeRow();
    EXPECT_EQ(table.getCurrentIndex(), table.getCount());
    EXPECT_EQ(table.getRow(), nullptr);
    table.insertRow(own);  // past the end: at the end
    EXPECT_EQ(numbers(table), (Numbers{1, 9, 2, 0, 0, 9}));
    EXPECT_EQ(getInt(table, 0), 9);
    table.moveToNextRow();
    table.appendRow(own);  // a cursor past the end then stands on the new row
    EXPECT_EQ(getInt(table, 0), 9);
    table.removeAll();
    EXPECT_EQ(table.getCount(), 0u);
    table.insertRow(own);
    EXPECT_EQ(table.getCurrentIndex(), 0u);
    EXPECT_EQ(numbers(table), (Numbers{9}));
}

TEST(ZorTable, GrowthKeepsValuesChildrenAndCursor) {
    ZorTable table(deepRow().get());
    Numbers expected;
    for (ZOR_INT number = 0; number < 1000; ++number) {
        addRow(table, number);
        setText(table, 1, "text " + std::to_string(number));
        expected.push_back(number);
    }
    EXPECT_EQ(table.getCurrentIndex(), 999u);
    EXPECT_EQ(numbers(table), expected);
    EXPECT_EQ(getText(table.row(0), 1), "text 0");
    EXPECT_EQ(getText(table.row(999), 1), "text 999");
    EXPECT_EQ(table.rowBytes(1).data(), table.rowBytes(0).data() + table.getRowLength());
}

TEST(ZorTable, TakesRowsOfItselfWhileItGrows) {
    ZorTable table(deepRow().get());
    addRow(table, 5);
    setText(table, 1, "five");
    // Beyond every growth up to some hundred rows.
    for (unsigned count = 1; count < 500; ++count) {
        table.moveToFirstRow();
        if (count % 2 == 0)
            table.insertRow(*table.getRow());
        else
            table.appendRow(*table.getRow());
    }
    EXPECT_EQ(table.getCount(), 500u);
    for (unsigned index = 0; index < 500; ++index)
        ASSERT_EQ(getText(table.row(index), 1), "five");
}

TEST(ZorTable, RefusesRowsOfAnotherType) {
    ZorTable table(flatRow().get());
    ZorStructure other(deepRow().get());
    const KEL_string text = "Row type does not match the type of the table";
    EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { table.appendRow(other); }), text);
    EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { table.insertRow(other); }), text);
    EXPECT_EQ(messageOf<ZorInvalidParameterException>([&] { table.appendRow(ZorStructure(nullptr)); }), text);
    // An equal description is the same type, even if its record is shorter.
    auto equalType = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("TYPE", "custom", 2, false);
    equalType->add("NO", ZORTYPE_INT, 4, 0, 8, 0, 0);
    equalType->add("NAME", ZORTYPE_CHAR, 5, 16, 10, 32, 0);
    equalType->setRecordLength(21, 42);
    ZorStructure shorter(equalType.get());
    shorter.setValue(0, ZOR_INT{3});
    setText(shorter, 1, "short");
    table.appendRow(shorter);
    EXPECT_EQ(getText(table, 1), "short");
}

TEST(ZorTable, RowObjectsAreLentAgain) {
    ZorTable table(flatRow().get());
    table.createNewRows(50);
    std::vector<ZorStructure*> rows;
    for (unsigned index = 0; index < 50; ++index) {
        rows.push_back(&table.row(index));
        rows.back()->setValue(0, static_cast<ZOR_INT>(index));
    }
    for (unsigned index = 0; index < 50; ++index) {
        EXPECT_EQ(&table.row(index), rows[index]);
        EXPECT_EQ(getInt(*rows[index], 0), static_cast<ZOR_INT>(index));
    }
    table.removeAll();
    // A row object that outlived its row is recognised, and used again for the next row.
    EXPECT_EQ(messageOf<ZorIllegalStateException>([&] { getInt(*rows[7], 0); }),
              "Trying to access row values beyond end of table");
    EXPECT_EQ(&table.appendNewRow(), rows[0]);
    EXPECT_EQ(getInt(*rows[0], 0), 0);
}

TEST(ZorTable, CopiesAreDeepAndStandOnTheFirstRow) {
    auto type = deepRow();
    ZorTable table(type.get());
    addRow(table, 1);
    setText(table, 1, "one");
    addRow(table, 2);
    table.deltaState = DELTA_SREQUEST;
    ZorTable copy(table);
    EXPECT_EQ(copy.getCurrentIndex(), 0u);
    EXPECT_EQ(copy.deltaState, DELTA_SREQUEST);
    setText(copy, 1, "changed");
    EXPECT_EQ(getText(table.row(0), 1), "one");

    ZorTable assigned(flatRow().get());
    addRow(assigned, 8);
    ZorStructure& lent = assigned.row(0);
    assigned = table;
    EXPECT_EQ(assigned.getRowType(), type.get());
    EXPECT_EQ(numbers(assigned), (Numbers{1, 2}));
    EXPECT_EQ(getText(lent, 1), "one");  // the row object shows the new rows by their type
    assigned = assigned;
    EXPECT_EQ(assigned.getCount(), 2u);
}

TEST(ZorTable, ElementaryRowsKeepTheirPrivateDescriptionAlive) {
    std::unique_ptr<ZorTable> copy;
    {
        ZorTable table(ZORTYPE_CHAR, 20, 2);
        EXPECT_EQ(table.getRowLength(), 10u);
        EXPECT_EQ(table.getRowType()->getUnicodeRecordLength(), 20u);
        table.appendNewRow();
        setText(table, 0, "abc");
        copy = table.clone();
    }
    EXPECT_EQ(copy->getRowType()->getName(), "TABLE_ROW");
    EXPECT_EQ(copy->getIndex("ROW_FIELD"), 0u);
    EXPECT_EQ(getText(*copy, 0), "abc");
    EXPECT_EQ(ZorTable(ZORTYPE_BYTE, 20, 2).getRowLength(), 20u);
    const auto refused = [](ZORTYPE type, unsigned width) {
        return messageOf<ZorIllegalStateException>([&] { ZorTable(type, width, 2); });
    };
    EXPECT_EQ(refused(ZORTYPE_INT, 4), "Invalid structure descriptor");
    EXPECT_EQ(refused(ZORTYPE_CHAR, 1), "Invalid structure descriptor");
    EXPECT_EQ(refused(ZORTYPE_BYTE, 0), "Invalid structure descriptor");
}

TEST(ZorTable, RowsWithoutBytesAreRefused) {
    auto empty = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("EMPTY", "custom", 0, false);
    EXPECT_EQ(messageOf<ZorIllegalStateException>([&] { ZorTable table(empty.get()); }),
              "Invalid structure descriptor");
}

TEST(ZorTable, TooManyRowsLeaveItAsItWas) {
    ZorTable table(flatRow().get());
    addRow(table, 4);
    EXPECT_THROW(table.createNewRows(0xFFFFFFFF), std::bad_alloc);
    EXPECT_EQ(numbers(table), (Numbers{4}));
}

TEST(ZorTable, RefillingStartsEmptyAndEndsOnTheFirstRow) {
    ZorStructure owner(makeType({{"ROWS", ZORTYPE_TABLE, sizeof(void*), 0, deepRow().get()}}).get());
    ZorTable* table = nullptr;
    owner.getValue(0, &table, true);
    addRow(*table, 1);
    setText(*table, 1, "old");
    table->prepareForRead();
    EXPECT_EQ(table->getCount(), 0u);
    for (KEL_RAW number = 1; number <= 250; ++number) {
        KEL_RAW* bytes = table->appendRowForRead();
        bytes[0] = number;
    }
    table->moveToLastRow();
    owner.getValue(0, &table, true);
    EXPECT_EQ(table->getCurrentIndex(), 0u);
    table->moveToLastRow();
    owner.getValue(0, &table, true);
    EXPECT_EQ(table->getCurrentIndex(), 249u);
    EXPECT_EQ(getText(*table, 1), "");
    EXPECT_EQ(getInt(table->row(41), 0), 42);
}

}  // namespace
