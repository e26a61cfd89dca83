#include "meta/zorclassmetadata.h"

#include <gtest/gtest.h>

#include "metafixture.h"

namespace {

constexpr unsigned pointer = sizeof(void*);
const std::string lockedText = "19 The operation is forbidden because the instance is already locked";

void addAttribute(ZorClassMetaData& desc, const char* name, ZORTYPE type, unsigned length = 0) {
    desc.add("DECLARING", name, type, length, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
}

TEST(ClassMetaData, PlacesFollowFromTheTypes) {
    const struct {
        const char* name;
        ZORTYPE type;
        unsigned length;
        unsigned offset, width;  // offset where a pointer has 4 bytes
        unsigned wideOffset;
    } rows[] = {
        {"CHAR", ZORTYPE_CHAR, 3, 0, 3, 0},         {"INT", ZORTYPE_INT, 99, 4, 4, 4},
        {"NUM", ZORTYPE_NUM, 5, 8, 5, 8},           {"INT2", ZORTYPE_INT2, 0, 14, 2, 14},
        {"INT1", ZORTYPE_INT1, 7, 16, 1, 16},       {"BCD", ZORTYPE_BCD, 2, 17, 2, 17},
        {"FLOAT", ZORTYPE_FLOAT, 4, 24, 8, 24},     {"DATE", ZORTYPE_DATE, 8, 32, 8, 32},
        {"DECF34", ZORTYPE_DECF34, 1, 48, 16, 48},  {"TIME", ZORTYPE_TIME, 6, 64, 6, 64},
        {"INT8", ZORTYPE_INT8, 8, 72, 8, 72},       {"BYTE", ZORTYPE_BYTE, 1, 80, 1, 80},
        {"TABLE", ZORTYPE_TABLE, 1, 84, 0, 88},     {"STRING", ZORTYPE_STRING, 0, 88, 0, 96},
        {"UTC", ZORTYPE_UTCLONG, 8, 92, 4, 104},    {"OBJECT", ZORTYPE_UBIXOBJECT, 8, 96, 0, 112},
        {"DECF16", ZORTYPE_DECF16, 8, 104, 8, 120}, {"LAST", ZORTYPE_INT1, 1, 112, 1, 128},
    };
    const ClassRef desc = makeClass();
    for (const auto& row : rows)
        addAttribute(*desc, row.name, row.type, row.length);
    for (const bool locked : {false, true}) {
        if (locked) desc->lock();
        for (unsigned i = 0; i < desc->getFieldCount(); ++i) {
            const std::string at = std::to_string(pointer == 8 ? rows[i].wideOffset : rows[i].offset);
            const std::string one = at + "+" + std::to_string(rows[i].width != 0 ? rows[i].width : pointer);
            EXPECT_EQ(place(*desc, i), one + " " + one) << rows[i].name;
        }
    }
    EXPECT_EQ(desc->getRecordLength(), pointer == 8 ? 132u : 116u);
    EXPECT_EQ(desc->getUnicodeRecordLength(), desc->getRecordLength());
    EXPECT_TRUE(desc->isNestedType2Structure());
    EXPECT_TRUE(desc->containsObject());
}

TEST(ClassMetaData, AttributesKeepWhatBelongsToThem) {
    int mark = 0;
    const RecordRef rows = makeRecord("ROWS");
    const ClassRef other = makeClass("OTHER");
    const ClassRef desc = makeClass();
    desc->add("IF_BASE", "A", ZORTYPE_TABLE, 0, 3, "text", rows.get(), &mark, ZOR_CLASS_ATTRIBUTE_CONSTANT,
              true, "'X'");
    desc->add("CL", "B", *other, ZOR_CLASS_ATTRIBUTE_CLASS, false);
    EXPECT_EQ(desc->getDeclaringClass(0) + desc->getDescription("A") + desc->getDefault(0), "IF_BASEtext'X'");
    EXPECT_EQ(desc->getAttributeKind("A"), ZOR_CLASS_ATTRIBUTE_CONSTANT);
    EXPECT_TRUE(desc->isReadOnly(0));
    EXPECT_EQ(desc->getDecimals(0), 3u);
    EXPECT_EQ(desc->getExtendedMetaData(0), &mark);
    EXPECT_EQ(desc->getRecordMetaData(0), rows.get());
    EXPECT_EQ(desc->getClassMetaData(0), nullptr);
    EXPECT_EQ(desc->getDeclaringClass("B") + desc->getDescription(1) + desc->getDefault("B"), "CL");
    EXPECT_EQ(desc->getAttributeKind(1), ZOR_CLASS_ATTRIBUTE_CLASS);
    EXPECT_FALSE(desc->isReadOnly("B"));
    EXPECT_EQ(desc->getType(1), ZORTYPE_UBIXOBJECT);
    EXPECT_EQ(desc->getRecordMetaData(1), nullptr);
    EXPECT_EQ(desc->getClassMetaData(1), other.get());
    EXPECT_EQ(failure([&] { desc->isReadOnly("C"); }), "20 field 'C' not found");
    EXPECT_EQ(failure([&] { makeClass()->isReadOnly(""); }), "20 index does not exist");
}

TEST(ClassMetaData, AFailedAttributeLeavesTheClassAsItWas) {
    const ClassRef desc = makeClass();
    addAttribute(*desc, "A", ZORTYPE_CHAR, 1);
    EXPECT_EQ(failure([&] { addAttribute(*desc, "A", ZORTYPE_INT); }),
              "20 Field with name A already exists. All field names have to be unique");
    desc->add("D2", "B", ZORTYPE_CHAR, 2, ZOR_CLASS_ATTRIBUTE_CLASS, true);
    EXPECT_EQ(desc->getDeclaringClass(1), "D2");
    addAttribute(*desc, "LONG", ZORTYPE_CHAR, 0xFFFFFFF0u);
    EXPECT_EQ(failure([&] { desc->lock(); }), "none");
    const ClassRef endless = makeClass();
    addAttribute(*endless, "LONG", ZORTYPE_CHAR, 0xFFFFFFFDu);
    EXPECT_EQ(failure([&] { addAttribute(*endless, "A", ZORTYPE_INT); }), "20 field offset is out of range");
    EXPECT_EQ(failure([&] { endless->lock(); }), "20 record length is out of range");
    EXPECT_FALSE(endless->isLocked());
}

TEST(ClassMetaData, LockingSettlesTheLengthAndLeavesOtherClassesOpen) {
    const ClassRef empty = makeClass();
    empty->lock();
    EXPECT_EQ(empty->getRecordLength(), 0u);
    EXPECT_EQ(empty->getUnicodeRecordLength(), 0u);

    const RecordRef nested = makeRecord("NESTED");
    nested->add("TEXT", ZORTYPE_CHAR, 20, 0, 40, 0, 0);
    nested->setRecordLength(20, 40);
    const ClassRef other = makeClass("OTHER");
    const ClassRef desc = makeClass();
    desc->add("C", "S", ZORTYPE_STRUCTURE, 20, 0, "", nested.get(), nullptr, ZOR_CLASS_ATTRIBUTE_INSTANCE,
              false, "");
    desc->add("C", "O", *other, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
    desc->add("C", "SELF", *desc, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
    addAttribute(*desc, "N", ZORTYPE_INT1);
    EXPECT_EQ(desc->getRecordLength(), 0u);
    desc->lock();
    desc->lock();
    EXPECT_EQ(desc->getRecordLength(), 3 * pointer + 4);
    EXPECT_TRUE(nested->isLocked());
    EXPECT_FALSE(other->isLocked());
    EXPECT_TRUE(desc->isNestedType1Structure());
    EXPECT_EQ(failure([&] { addAttribute(*desc, "X", ZORTYPE_INT); }), lockedText);
    EXPECT_EQ(failure([&] { desc->copy(*other); }), lockedText);
    desc->addParentClass("P");
    desc->setInRecursiveQuery(true);
    EXPECT_TRUE(desc->isInRecursiveQuery());
}

TEST(ClassMetaData, NamesMakeClassesEqual) {
    const ClassRef one = makeClass("SAME");
    addAttribute(*one, "A", ZORTYPE_INT);
    EXPECT_TRUE(*one == *makeClass("SAME"));
    EXPECT_FALSE(*one == *makeClass("same"));
    EXPECT_FALSE(*one == *makeRecord("SAME"));
    EXPECT_FALSE(*makeRecord("SAME") == *one);
}

TEST(ClassMetaData, CopiesAreOpenAndComplete) {
    for (const bool lockFirst : {false, true}) {
        const RecordRef nested = makeRecord("NESTED");
        const ClassRef source = makeClass("SOURCE");
        addAttribute(*source, "A", ZORTYPE_CHAR, 3);
        source->add("D", "S", ZORTYPE_STRUCTURE, 0, 0, "text", nested.get(), nullptr,
                    ZOR_CLASS_ATTRIBUTE_CLASS, true, "def");
        source->add("D", "B", ZORTYPE_TABLE, 0, 0, "", ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE, nullptr,
                    ZOR_CLASS_ATTRIBUTE_INSTANCE, false, "");
        source->addParentClass("P");
        source->addParentClass("P");
        source->addImplementedInterface("I");
        if (lockFirst) source->lock();
        const ClassRef target = makeClass("TARGET");
        addAttribute(*target, "OLD", ZORTYPE_INT);
        target->copy(*source);
        EXPECT_FALSE(target->isLocked());
        EXPECT_EQ(target->getName(), "SOURCE");
        EXPECT_FALSE(target->hasField("OLD"));
        ASSERT_EQ(target->getFieldCount(), 3u);
        EXPECT_EQ(place(*target, 1), place(*source, 1));
        EXPECT_EQ(target->getRecordMetaData(1), nested.get());
        EXPECT_EQ((*target)[2].typeDesc.raw(), ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE);
        EXPECT_EQ(target->getDeclaringClass("S") + target->getDescription(1) + target->getDefault(1),
                  "Dtextdef");
        EXPECT_EQ(target->getAttributeKind(1), ZOR_CLASS_ATTRIBUTE_CLASS);
        EXPECT_EQ(target->getParentClasses(), std::vector<KEL_string>({"P", "P"}));
        EXPECT_EQ(target->getImplementedInterfaces(), std::vector<KEL_string>({"I"}));
        source->lock();
        target->lock();
        EXPECT_EQ(target->getRecordLength(), source->getRecordLength());
    }
}

TEST(ClassMetaData, HandlesTellClassesFromOtherDescriptions) {
    ClassRef desc = makeClass("C");
    const ZOR_CLASS_DESC_HANDLE handle = ZorMetaDataStatics::toHandle(desc.get());
    EXPECT_EQ(ZorMetaDataStatics::classMetaDataFromHandle(handle).get(), desc.get());
    EXPECT_EQ(ZorMetaDataStatics::getClassMetaData(nullptr).get(), nullptr);
    // An attribute refers to a class by the handle of a type.
    EXPECT_EQ(ZorMetaDataStatics::typeDescFromHandle(reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(handle)).get(),
              desc.get());
    const std::string refused = "13 An invalid handle was passed to the API call";
    EXPECT_EQ(failure([] { ZorMetaDataStatics::classMetaDataFromHandle(nullptr); }), refused);
    const RecordRef record = makeRecord();
    const auto asClass = reinterpret_cast<ZOR_CLASS_DESC_HANDLE>(ZorMetaDataStatics::toHandle(record.get()));
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::getClassMetaData(asClass); }), refused);
    desc = {};
    char text[100];
    std::snprintf(text, sizeof text, "20 ZOR_CLASS_DESC_HANDLE handle  %p was already removed",
                  static_cast<void*>(handle));
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::getClassMetaData(handle); }), text);
}

TEST(ClassMetaData, ACircleOfClassesStaysAlive) {
    ZorClassMetaData* first = nullptr;
    ZorClassMetaData* second = nullptr;
    {
        const ClassRef one = makeClass("ONE");
        const ClassRef two = makeClass("TWO");
        one->add("ONE", "TWO", *two, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
        two->add("TWO", "ONE", *one, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
        one->lock();
        first = one.get();
        second = two.get();
    }
    EXPECT_EQ(ZorMetaDataStatics::getClassMetaData(ZorMetaDataStatics::toHandle(first)).get(), first);
    EXPECT_EQ(first->getClassMetaData(0), second);
    EXPECT_EQ(second->getClassMetaData(0), first);
}

}  // namespace
