#include "meta/zorrecordmetadata.h"

#include <gtest/gtest.h>

#include "metafixture.h"

namespace {

const std::string lockedText = "19 The operation is forbidden because the instance is already locked";
const std::string lengthText =
    "20 inconsistence in unicode length detected: unicode length is passed, but some elements have unicode "
    "length 0";
const std::string offsetText =
    "20 inconsistence in unicode offset detected: unicode offest is passed, but some elements have unicode "
    "length 0";

/** A second field after a CHAR of 3 (6) at offsets 1 and 2, so that the ends are 4 and 8. */
struct SecondField {
    const char* what;
    const char* name;
    unsigned nucLength, nucOffset, ucLength, ucOffset;
    std::string result;
    const char* place;
};

TEST(RecordMetaData, RulesOfTwoLayouts) {
    const SecondField rows[] = {
        {"right behind", "B", 2, 4, 4, 8, "none", "4+2 8+4"},
        {"with gaps", "B", 2, 9, 4, 11, "none", "9+2 11+4"},
        {"name in another case", "a", 2, 4, 4, 8, "none", "4+2 8+4"},
        {"without a name", "", 2, 4, 4, 8, "none", "4+2 8+4"},
        {"overlap in the first", "B", 2, 3, 4, 8, "20 non-unicode offset overlaps with the existing elements",
         ""},
        {"overlap in the second", "B", 2, 4, 4, 7, "20 unicode offset overlaps with the existing elements",
         ""},
        {"second shorter", "B", 2, 4, 1, 8, "20 non-unicode length is greater than unicode length", ""},
        {"same name", "A", 2, 4, 4, 8,
         "20 Field with name A already exists. All field names have to be unique", ""},
        {"second length missing, offset given", "B", 2, 4, 0, 8, offsetText, ""},
        {"both missing: derived from here", "B", 2, 4, 0, 0, "none", "4+2 8+4"},
        {"nothing at all", "B", 0, 4, 0, 8, "none", "4+0 8+0"},
    };
    for (const SecondField& row : rows) {
        SCOPED_TRACE(row.what);
        const RecordRef record = makeRecord();
        record->add("A", ZORTYPE_CHAR, 3, 1, 6, 2, 0);
        EXPECT_EQ(failure([&] {
                      record->add(row.name, ZORTYPE_CHAR, row.nucLength, row.nucOffset, row.ucLength,
                                  row.ucOffset, 0);
                  }),
                  row.result);
        if (row.result == "none") {
            EXPECT_EQ(place(*record, 1), row.place);
        } else {
            // The failed field left nothing behind, its name and the state of the layouts included.
            EXPECT_EQ(record->getFieldCount(), 1u);
            EXPECT_EQ(record->hasField("B"), false);
            EXPECT_EQ(failure([&] { record->add("B", ZORTYPE_CHAR, 1, 4, 2, 8, 0); }), "none");
        }
    }
}

TEST(RecordMetaData, DerivedSecondLayout) {
    const RecordRef record = makeRecord();
    record->add("A", ZORTYPE_CHAR, 3, 0, 0, 0, 0);
    EXPECT_EQ(failure([&] { record->add("B", ZORTYPE_INT, 4, 4, 4, 0, 0); }), lengthText);
    EXPECT_EQ(failure([&] { record->add("B", ZORTYPE_INT, 4, 4, 0, 8, 0); }), offsetText);
    record->add("B", ZORTYPE_INT, 4, 4, 0, 0, 0);       // 6 rounded up to 8
    record->add("C", ZORTYPE_NUM, 5, 8, 0, 0, 0);       // 12, doubled
    record->add("D", ZORTYPE_INT2, 2, 13, 0, 0, 0);     // 22
    record->add("E", ZORTYPE_BCD, 5, 15, 0, 0, 2);      // 24, not doubled
    record->add("G", ZORTYPE_DECF34, 16, 20, 0, 0, 0);  // 29 rounded up to 32
    record->add("H", ZORTYPE_UTCLONG, 8, 36, 0, 0, 0);
    const char* const places[] = {"0+3 0+6",   "4+4 8+4",     "8+5 12+10", "13+2 22+2",
                                  "15+5 24+5", "20+16 32+16", "36+8 48+8"};
    for (unsigned i = 0; i < record->getFieldCount(); ++i)
        EXPECT_EQ(place(*record, i), places[i]);
    EXPECT_EQ(failure([&] { record->add("X", ZORTYPE_CHAR, 0x80000000u, 50, 0, 0, 0); }),
              "20 field length is out of range");
    // Without complex fields locking checks and settles the lengths, and moves nothing.
    record->setRecordLength(44, 0);
    record->lock();
    EXPECT_EQ(record->getRecordLength(), 44u);
    EXPECT_EQ(record->getUnicodeRecordLength(), 56u);
    EXPECT_EQ(place(*record, 5), "20+16 32+16");
}

TEST(RecordMetaData, AFirstFieldOfNoLengthLeavesBothLayouts) {
    const RecordRef record = makeRecord();
    record->add("A", ZORTYPE_STRING, 0, 0, 0, 0, 0);
    EXPECT_EQ(failure([&] { record->add("B", ZORTYPE_CHAR, 1, 8, 2, 8, 0); }), "none");
    EXPECT_EQ(failure([&] { record->add("C", ZORTYPE_CHAR, 1, 9, 2, 9, 0); }),
              "20 unicode offset overlaps with the existing elements");
}

TEST(RecordMetaData, LockChecksLengthsAndCanBeRepeated) {
    const RecordRef both = makeRecord();
    both->add("A", ZORTYPE_CHAR, 4, 0, 8, 0, 0);
    both->setRecordLength(3, 8);
    EXPECT_EQ(failure([&] { both->lock(); }),
              "20 inconsistence in description detected: non-unicode length is too small");
    both->setRecordLength(4, 7);
    EXPECT_EQ(failure([&] { both->lock(); }),
              "20 inconsistence in description detected: unicode length is too small");
    both->setRecordLength(4, 8);
    both->lock();
    both->lock();
    EXPECT_EQ(failure([&] { both->add("B", ZORTYPE_CHAR, 1, 4, 2, 8, 0); }), lockedText);
    EXPECT_EQ(failure([&] { both->setRecordLength(9, 18); }), lockedText);
    EXPECT_EQ(failure([&] { both->setName("N"); }), lockedText);
    EXPECT_EQ(both->getRecordLength(), 4u);

    const RecordRef derived = makeRecord();
    derived->add("A", ZORTYPE_CHAR, 4, 0, 0, 0, 0);
    derived->setRecordLength(10, 8);
    EXPECT_EQ(failure([&] { derived->lock(); }),
              "20 inconsistence in unicode description detected: unicode length is passed, but some elements "
              "have unicode length 0");
    derived->setRecordLength(10, 0);
    derived->lock();
    EXPECT_EQ(derived->getUnicodeRecordLength(), 10u);  // the greater of 8 and the first length

    const RecordRef empty = makeRecord();
    empty->lock();
    EXPECT_EQ(empty->getStructureType(), STRUCTURE_TYPE_1);
    EXPECT_FALSE(empty->isNestedType1Structure());
}

TEST(RecordMetaData, LockMakesRoomForPointers) {
    const RecordRef record = makeRecord();
    record->add("A", ZORTYPE_CHAR, 3, 1, 6, 2, 0);
    record->add("S", ZORTYPE_STRING, 4, 4, 4, 8, 0);
    record->add("B", ZORTYPE_CHAR, 1, 8, 2, 12, 0);
    record->add("I", ZORTYPE_INT, 4, 12, 4, 16, 0);
    record->add("X", ZORTYPE_XSTRING, 4, 16, 4, 20, 0);
    record->setRecordLength(20, 24);
    record->lock();
    const bool wide = sizeof(void*) == 8;
    const char* const places32[] = {"1+3 2+6", "4+4 8+4", "8+1 12+2", "12+4 16+4", "16+4 20+4"};
    const char* const places64[] = {"1+3 2+6", "8+8 8+8", "16+1 16+2", "20+4 20+4", "24+8 24+8"};
    for (unsigned i = 0; i < record->getFieldCount(); ++i)
        EXPECT_EQ(place(*record, i), wide ? places64[i] : places32[i]);
    EXPECT_EQ(record->getRecordLength(), wide ? 32u : 20u);
    EXPECT_EQ(record->getUnicodeRecordLength(), wide ? 32u : 24u);
    EXPECT_TRUE(record->isNestedType2Structure());
    EXPECT_FALSE(record->isNestedType1Structure());
}

TEST(RecordMetaData, ObjectsGetRoomOnlyWhereTheirSlotIsTooShort) {
    for (const unsigned length : {unsigned(sizeof(void*)), 1u}) {
        const RecordRef record = makeRecord();
        record->add("C", ZORTYPE_CHAR, 1, 0, 2, 0, 0);
        record->add("O", ZORTYPE_UBIXOBJECT, length, 2, length, 2, 0);
        record->setRecordLength(2 + length, 2 + length);
        record->lock();
        const bool moved = length == 1;
        const std::string slot =
            (moved ? std::to_string(sizeof(void*)) : "2") + "+" + std::to_string(sizeof(void*));
        EXPECT_EQ(place(*record, 1), slot + " " + slot);
        EXPECT_EQ(record->getRecordLength(), moved ? 2 * sizeof(void*) : 2 + length);
        EXPECT_EQ(record->getStructureType(), STRUCTURE_TYPE_1);
        EXPECT_FALSE(record->hasComplexFields());
        EXPECT_TRUE(record->holdsChildren());
        EXPECT_TRUE(record->containsObject());
        const RecordRef outer = makeRecord("OUTER");
        outer->add("S", ZORTYPE_STRUCTURE, 16, 0, 16, 0, 0, record.get());
        outer->setRecordLength(16, 16);
        outer->lock();
        EXPECT_TRUE(outer->containsObject());
    }
}

TEST(RecordMetaData, GrownRecordLengthIsRoundedUpAGreaterOneStays) {
    for (const unsigned given : {13u, 41u}) {
        const RecordRef record = makeRecord();
        record->add("S", ZORTYPE_STRING, 4, 0, 4, 0, 0);
        record->add("T", ZORTYPE_STRING, 4, 4, 4, 4, 0);
        record->add("C", ZORTYPE_CHAR, 5, 8, 10, 8, 0);
        record->setRecordLength(given, 18);
        record->lock();
        const unsigned end = 2 * sizeof(void*) + 5;  // 21 or 13
        EXPECT_EQ(record->getRecordLength(), given >= end ? given : (end + 3) / 4 * 4);
    }
}

/** ADDRESS: CITY CHAR 5 at 0, ZIP INT at 8; 12 (16) bytes. Open. */
RecordRef makeAddress() {
    RecordRef address = makeRecord("ADDRESS");
    address->add("CITY", ZORTYPE_CHAR, 5, 0, 10, 0, 0);
    address->add("ZIP", ZORTYPE_INT, 4, 8, 4, 12, 0);
    address->setRecordLength(12, 16);
    return address;
}

std::string leaves(const ZorRecordMetaData& record) {
    std::string text;
    for (unsigned i = 0; i < record.getFieldCount(); ++i)
        text += record.getName(i) + " " + place(record, i) + ";";
    return text + std::to_string(record.getRecordLength()) + "," +
           std::to_string(record.getUnicodeRecordLength());
}

TEST(RecordMetaData, FlattenedCopyHasTheOffsetsFromBeforePointers) {
    const RecordRef address = makeAddress();
    const RecordRef person = makeRecord("PERSON");
    person->add("ID", ZORTYPE_INT, 4, 0, 4, 0, 0);
    person->add("HOME", ZORTYPE_STRUCTURE, 12, 4, 16, 4, 0, address.get());
    person->add("AGE", ZORTYPE_INT1, 1, 16, 1, 20, 0);
    person->setRecordLength(17, 21);
    const RecordRef club = makeRecord("CLUB");
    club->add("BOSS", ZORTYPE_STRUCTURE, 20, 2, 24, 2, 0, person.get());
    club->add("OBJ", ZORTYPE_UBIXOBJECT, 8, 24, 8, 28, 0);
    club->setRecordLength(32, 36);
    club->lock();

    EXPECT_TRUE(address->isLocked());
    ASSERT_TRUE(person->isNestedType1Structure());
    ASSERT_TRUE(club->isNestedType1Structure());
    EXPECT_TRUE(club->isNestedType1Structure(0));
    EXPECT_FALSE(club->isNestedType1Structure(1));
    EXPECT_EQ(leaves(*person->getType1MetaData()),
              "ID 0+4 0+4;HOME-CITY 4+5 4+10;HOME-ZIP 12+4 16+4;AGE 16+1 20+1;17,21");
    EXPECT_EQ(leaves(*club->getType1MetaData()),
              "BOSS-ID 2+4 2+4;BOSS-HOME-CITY 6+5 6+10;BOSS-HOME-ZIP 14+4 18+4;BOSS-AGE 18+1 22+1;"
              "OBJ 24+8 28+8;32,36");
    EXPECT_EQ(club->deepFieldsCount(), 5u);
    EXPECT_EQ(club->getType1MetaData()->getIndex("BOSS-HOME-ZIP"), 2u);
    EXPECT_FALSE(club->containsTable());
    EXPECT_EQ(club->getStructureType(), STRUCTURE_TYPE_1);
}

TEST(RecordMetaData, FlattenedCopyNeverFailsTheLock) {
    // Derived second layout: the copy's is derived too, and the nested one's own doesn't matter.
    const RecordRef address = makeAddress();
    const RecordRef derived = makeRecord("D");
    derived->add("C", ZORTYPE_CHAR, 1, 0, 0, 0, 0);
    derived->add("A", ZORTYPE_STRUCTURE, 12, 4, 0, 0, 0, address.get());
    derived->add("E", ZORTYPE_CHAR, 1, 16, 0, 0, 0);
    derived->setRecordLength(17, 0);
    derived->lock();
    EXPECT_EQ(leaves(*derived->getType1MetaData()),
              "C 0+1 0+2;A-CITY 4+5 2+10;A-ZIP 12+4 12+4;E 16+1 16+2;17,18");

    // A structure's field is shorter than the structure, and a leaf's path is the name of a field.
    const RecordRef tight = makeRecord("S");
    tight->add("A", ZORTYPE_STRUCTURE, 4, 0, 4, 0, 0, address.get());
    tight->add("A-ZIP", ZORTYPE_INT2, 2, 4, 2, 4, 0);
    tight->setRecordLength(6, 6);
    tight->lock();
    EXPECT_EQ(leaves(*tight->getType1MetaData()), "A-CITY 0+5 0+10;A-ZIP 8+4 12+4;A-ZIP 12+2 16+2;14,18");
}

TEST(RecordMetaData, AStructureWithoutDescriptionHasNoLeaves) {
    const RecordRef record = makeRecord("R");
    record->add("S", ZORTYPE_STRUCTURE, 8, 0, 8, 0, 0);
    record->add("C", ZORTYPE_CHAR, 2, 8, 4, 8, 0);
    record->setRecordLength(10, 12);
    record->lock();
    EXPECT_EQ(leaves(*record->getType1MetaData()), "C 8+2 8+4;10,12");
    EXPECT_EQ(record->deepFieldsCount(), 1u);
}

TEST(RecordMetaData, LayoutLooksThroughStructures) {
    const RecordRef deep = makeRecord("DEEP");
    deep->add("T", ZORTYPE_TABLE, 8, 0, 8, 0, 0);
    deep->setRecordLength(8, 8);
    const RecordRef outer = makeRecord("OUTER");
    outer->add("N", ZORTYPE_STRUCTURE, 8, 0, 8, 0, 0, deep.get());
    outer->add("C", ZORTYPE_CHAR, 1, 8, 2, 8, 0);
    outer->setRecordLength(9, 10);
    outer->lock();
    EXPECT_TRUE(outer->isNestedType2Structure());
    EXPECT_EQ(outer->getType1MetaData(), nullptr);
    EXPECT_TRUE(outer->containsTable());
    EXPECT_EQ(outer->deepFieldsCount(), 2u);
}

TEST(RecordMetaData, ALockIsAllOrNothing) {
    const RecordRef good = makeRecord("GOOD");
    good->add("S", ZORTYPE_STRING, 1, 1, 1, 1, 0);
    good->setRecordLength(2, 2);
    const RecordRef bad = makeRecord("BAD");
    bad->add("C", ZORTYPE_CHAR, 9, 0, 18, 0, 0);
    const RecordRef top = makeRecord("TOP");
    top->add("X", ZORTYPE_CHAR, 1, 0, 2, 0, 0);
    top->add("G", ZORTYPE_STRUCTURE, 2, 1, 2, 2, 0, good.get());
    top->add("B", ZORTYPE_STRUCTURE, 9, 3, 18, 4, 0, bad.get());
    top->setRecordLength(12, 22);
    EXPECT_EQ(failure([&] { top->lock(); }),
              "20 inconsistence in description detected: non-unicode length is too small");
    for (const RecordRef& record : {top, good, bad}) {
        EXPECT_FALSE(record->isLocked());
        EXPECT_EQ(record->getStructureType(), STRUCTURE_TYPE_0);
    }
    EXPECT_EQ(place(*good, 0), "1+1 1+1");
    EXPECT_EQ(place(*top, 1), "1+2 2+2");
    EXPECT_EQ(top->getRecordLength(), 12u);
    bad->setRecordLength(9, 18);
    top->lock();
    EXPECT_TRUE(good->isLocked());
    EXPECT_TRUE(bad->isLocked());
    EXPECT_TRUE(top->isLocked());
}

TEST(RecordMetaData, ATypeMayContainTablesOfItself) {
    RecordRef tree[2];
    for (RecordRef& node : tree) {
        node = makeRecord("NODE");
        node->add("CHILDREN", ZORTYPE_TABLE, 8, 0, 8, 0, 0, node.get());
        node->setRecordLength(8, 8);
        node->lock();
    }
    EXPECT_TRUE(tree[0]->containsTable());
    EXPECT_TRUE(*tree[0] == *tree[1]);
}

TEST(RecordMetaData, NestingHasBounds) {
    // A chain of structures, locked piece by piece or at once; it is gone without a deep chain of calls too.
    for (const bool lockEach : {true, false}) {
        RecordRef outer = makeRecord("LEAF");
        outer->add("C", ZORTYPE_CHAR, 1, 0, 2, 0, 0);
        outer->setRecordLength(1, 2);
        const unsigned links = lockEach ? 101 : 100000;
        for (unsigned i = 0; i < links; ++i) {
            if (lockEach) outer->lock();
            const RecordRef next = makeRecord("LINK");
            next->add("S", ZORTYPE_STRUCTURE, 8, 0, 8, 0, 0, outer.get());
            next->setRecordLength(8, 8);
            outer = next;
        }
        EXPECT_EQ(failure([&] { outer->lock(); }), "20 structures are nested too deeply");
        EXPECT_FALSE(outer->isLocked());
    }
    // Leaves multiply with each level.
    const RecordRef inner = makeRecord("INNER");
    for (unsigned i = 0; i < 1024; ++i)
        inner->add("F" + std::to_string(i), ZORTYPE_CHAR, 1, i, 2, 2 * i, 0);
    inner->setRecordLength(1024, 2048);
    const RecordRef outer = makeRecord("OUTER");
    for (unsigned i = 0; i < 1025; ++i)
        outer->add("S" + std::to_string(i), ZORTYPE_STRUCTURE, 1024, 1024 * i, 2048, 2048 * i, 0,
                   inner.get());
    outer->setRecordLength(1024 * 1025, 2048 * 1025);
    EXPECT_EQ(failure([&] { outer->lock(); }), "20 structures are nested too often");
}

TEST(RecordMetaData, EqualityOfNamesFieldsAndWhatStandsBehindThem) {
    const auto make = [](const char* name, unsigned decimals, unsigned offset, ZorRecordMetaData* rows) {
        RecordRef record = makeRecord(name);
        record->add("A", ZORTYPE_BCD, 4, offset, 4, offset, decimals);
        record->add("T", ZORTYPE_TABLE, 8, 16, 8, 16, 0, rows);
        return record;
    };
    const RecordRef row = makeAddress();
    const RecordRef sameRow = makeAddress();
    const RecordRef otherRow = makeRecord("OTHER");
    const RecordRef base = make("N", 2, 0, row.get());
    base->setRecordLength(24, 24);
    EXPECT_TRUE(*base == *make("N", 2, 0, sameRow.get()));
    EXPECT_TRUE(*base == *make("N", 2, 0, nullptr));
    EXPECT_FALSE(*base == *make("N", 2, 0, otherRow.get()));
    EXPECT_FALSE(*base == *make("M", 2, 0, row.get()));
    EXPECT_FALSE(*base == *make("N", 3, 0, row.get()));
    EXPECT_FALSE(*base == *make("N", 2, 4, row.get()));
    EXPECT_FALSE(*base == *row);
    EXPECT_FALSE(*base == *makeFunction("N"));
}

TEST(RecordMetaData, CopiesAreOpenAndLockAlike) {
    for (const bool lockFirst : {false, true}) {
        const RecordRef address = makeAddress();
        const RecordRef source = makeRecord("S");
        source->add("C", ZORTYPE_CHAR, 2, 0, 0, 0, 0);
        source->add("A", ZORTYPE_STRUCTURE, 12, 4, 0, 0, 0, address.get());
        source->add("B", ZORTYPE_TABLE, 4, 16, 0, 0, 0, ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE);
        source->setRecordLength(20, 0);
        if (lockFirst) source->lock();
        const RecordRef target = makeRecord("OTHER");
        target->copy(*source);
        EXPECT_FALSE(target->isLocked());
        EXPECT_EQ(target->getName(), "S");
        EXPECT_TRUE(*target == *source);
        EXPECT_EQ(target->getRecordMetaData(1), address.get());
        EXPECT_EQ((*source)[2].typeDesc.raw(), ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE);
        EXPECT_EQ((*target)[2].typeDesc.raw(), nullptr);
        source->lock();
        target->lock();
        EXPECT_TRUE(*target == *source);
        EXPECT_EQ(target->getUnicodeRecordLength(), source->getUnicodeRecordLength());
        EXPECT_EQ(failure([&] { target->copy(*source); }), lockedText);
    }
}

TEST(RecordMetaData, NamesAreFoundAmongMany) {
    const RecordRef record = makeRecord();
    for (unsigned i = 0; i < 300; ++i)
        record->add("A_NAME_OF_CHARS_" + std::to_string(1000 + i), ZORTYPE_INT1, 1, i, 1, i, 0);
    for (unsigned i = 0; i < 300; ++i)
        EXPECT_EQ(record->getIndex("A_NAME_OF_CHARS_" + std::to_string(1000 + i)), i);
    unsigned index = 7;
    EXPECT_FALSE(record->hasField("A_NAME_OF_CHARS_1300", &index));
    EXPECT_EQ(index, 7u);
    EXPECT_EQ(failure([&] { record->getIndex("x"); }), "20 field 'x' not found");
    EXPECT_EQ(record->getIndex(""), 0u);
    EXPECT_EQ(failure([&] { record->checkIndex(300); }), "20 index does not exist");
    EXPECT_EQ(failure([&] { (void)makeRecord()->getType(""); }), "20 index does not exist");
    EXPECT_EQ(makeRecord()->getIndex(""), 0u);
}

}  // namespace
