#include "meta/zorfunctionmetadata.h"

#include <gtest/gtest.h>

#include "metafixture.h"

namespace {

const std::string lockedText = "19 The operation is forbidden because the instance is already locked";

TEST(FunctionMetaData, AnImportAndAnExportMergeIntoChanging) {
    const std::string refused =
        "20 Field with name X already exists and can not be regarded as CHANGING parameter";
    const struct {
        ZOR_DIRECTION first, second;
        ZORTYPE type;
        unsigned length;
        std::string result;
    } rows[] = {
        {ZOR_IMPORT, ZOR_EXPORT, ZORTYPE_CHAR, 4, "none"},
        {ZOR_EXPORT, ZOR_IMPORT, ZORTYPE_CHAR, 4, "none"},
        {ZOR_IMPORT, ZOR_IMPORT, ZORTYPE_CHAR, 4, refused},
        {ZOR_IMPORT, ZOR_CHANGING, ZORTYPE_CHAR, 4, refused},
        {ZOR_TABLES, ZOR_EXPORT, ZORTYPE_CHAR, 4, refused},
        {ZOR_IMPORT, ZOR_EXPORT, ZORTYPE_CHAR, 5, refused},
        {ZOR_IMPORT, ZOR_EXPORT, ZORTYPE_NUM, 4, refused},
    };
    for (const auto& row : rows) {
        const FunctionRef function = makeFunction();
        function->add("X", ZORTYPE_CHAR, row.first, 4, 8, 0, nullptr, "old", "old text", 0);
        EXPECT_EQ(failure([&] {
                      function->add("X", row.type, row.second, row.length, 2 * row.length, 0, nullptr, "new",
                                    "new text", 1);
                  }),
                  row.result);
        const bool merged = row.result == "none";
        EXPECT_EQ(function->getFieldCount(), 1u);
        EXPECT_EQ(function->getDirection("X"), merged ? ZOR_CHANGING : row.first);
        EXPECT_EQ(function->getDefault(0), merged ? "new" : "old");
        EXPECT_EQ(function->getParameterDesc("X"), merged ? "new text" : "old text");
        EXPECT_EQ(function->isOptional(0), merged);
    }
}

TEST(FunctionMetaData, ExceptionsHaveUniqueKeys) {
    const FunctionRef function = makeFunction();
    function->addException("NOT_FOUND", "text");
    function->addException("not_found", "other");
    EXPECT_EQ(failure([&] { function->addException("NOT_FOUND", ""); }),
              "20 Exception with key NOT_FOUND already defined. Exception key must be unique");
    EXPECT_EQ(function->getException("not_found").description, "other");
    EXPECT_EQ(function->getException(0).key, "NOT_FOUND");
    EXPECT_EQ(failure([&] { function->getException("NO"); }), "20 No exception for the key NO");
    EXPECT_EQ(failure([&] { function->getException(2); }),
              "20 No exception with the index 2 available. Exception count is 2");
}

TEST(FunctionMetaData, LockingLocksRecordsAndForbidsChanges) {
    const RecordRef row = makeRecord("ROW");
    row->add("A", ZORTYPE_CHAR, 2, 0, 4, 0, 0);
    const FunctionRef function = makeFunction();
    function->add("T", ZORTYPE_TABLE, ZOR_TABLES, 2, 4, 0, row.get());
    EXPECT_NE(failure([&] { function->lock(); }), "none");
    EXPECT_FALSE(function->isLocked());
    EXPECT_EQ(failure([&] { function->enableASXML(); }), "none");
    row->setRecordLength(2, 4);
    function->lock();
    EXPECT_TRUE(row->isLocked());
    EXPECT_TRUE(function->supportsASXML());
    EXPECT_EQ(failure([&] { function->enableASXML(); }), lockedText);
    EXPECT_EQ(failure([&] { function->addException("E", ""); }), lockedText);
    EXPECT_EQ(failure([&] { function->add("T", ZORTYPE_INT, ZOR_IMPORT, 4, 4, 0); }), lockedText);
}

TEST(FunctionMetaData, EqualityAndCopies) {
    const auto make = [](ZOR_DIRECTION direction, const char* defaultValue, const char* text) {
        FunctionRef function = makeFunction("FN");
        function->add("P", ZORTYPE_CHAR, direction, 4, 8, 0, nullptr, defaultValue, text);
        return function;
    };
    const FunctionRef base = make(ZOR_IMPORT, "d", "t");
    EXPECT_TRUE(*base == *make(ZOR_IMPORT, "d", "another text"));
    EXPECT_FALSE(*base == *make(ZOR_EXPORT, "d", "t"));
    EXPECT_FALSE(*base == *make(ZOR_IMPORT, "e", "t"));
    EXPECT_FALSE(*base == *makeFunction("FN"));

    base->addException("E", "x");
    base->enableASXML();
    base->lock();
    const FunctionRef target = makeFunction("OTHER");
    target->copy(*base);
    EXPECT_TRUE(*target == *base);
    EXPECT_FALSE(target->isLocked());
    EXPECT_TRUE(target->supportsASXML());
    EXPECT_EQ(target->getException("E").description, "x");
    target->add("Q", ZORTYPE_INT, ZOR_IMPORT, 4, 4, 0);
    EXPECT_EQ(target->getIndex("Q"), 1u);
    EXPECT_FALSE(base->hasField("Q"));
}

}  // namespace
