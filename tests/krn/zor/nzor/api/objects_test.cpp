// Object instances, object fields and class exceptions as a caller of the library sees them.

#include <gtest/gtest.h>
#include <kelzor/classes.h>
#include <kelzor/data.h>
#include <kelzor/function.h>
#include <kelzor/metadata.h>
#include <kelzor/objects.h>
#include <kelzor/table.h>

#include <cstring>

#include "data/zorfunction.h"
#include "said.h"

namespace {

using std::string;

ZOR_TYPE_DESC_HANDLE asType(ZOR_CLASS_DESC_HANDLE handle) {
    return reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(handle);
}

void addAttribute(ZOR_CLASS_DESC_HANDLE desc, const char* name, ZORTYPE type, unsigned length = 0,
                  ZOR_TYPE_DESC_HANDLE typeDesc = nullptr) {
    ZOR_CLASS_ATTRIBUTE_DESC attribute{};
    std::strcpy(attribute.name, name);
    attribute.type = type;
    attribute.nucLength = length;
    attribute.typeDescHandle = typeDesc;
    EXPECT_EQ(ZorAddClassAttribute(desc, &attribute, nullptr), ZOR_OK);
}

void addParameter(ZOR_FUNCTION_DESC_HANDLE desc, const char* name, ZORTYPE type, unsigned length,
                  ZOR_TYPE_DESC_HANDLE typeDesc) {
    ZOR_PARAMETER_DESC parameter{};
    std::strcpy(parameter.name, name);
    parameter.type = type;
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = parameter.ucLength = length;
    parameter.typeDescHandle = typeDesc;
    parameter.optional = 1;
    EXPECT_EQ(ZorAddParameter(desc, &parameter, nullptr), ZOR_OK);
}

/** A class of a name, a number and another object of the class; a row and a function with such objects. */
class Objects : public testing::Test {
  protected:
    Objects() {
        addAttribute(desc, "NAME", ZORTYPE_CHAR, 8);
        addAttribute(desc, "COUNT", ZORTYPE_INT);
        addAttribute(desc, "NEXT", ZORTYPE_UBIXOBJECT, 8, asType(desc));
        addAttribute(desc, "TEXT", ZORTYPE_STRING);
        ZOR_FIELD_DESC field{};
        std::strcpy(field.name, "OBJ");
        field.type = ZORTYPE_UBIXOBJECT;
        field.nucLength = field.ucLength = sizeof(void*);
        field.typeDescHandle = asType(desc);
        ZorAddTypeField(rowDesc, &field, nullptr);
        ZorSetTypeLength(rowDesc, sizeof(void*), sizeof(void*), nullptr);
        addParameter(functionDesc, "OBJ", ZORTYPE_UBIXOBJECT, 2, asType(desc));
        addParameter(functionDesc, "FREE", ZORTYPE_UBIXOBJECT, 8, nullptr);
        addParameter(functionDesc, "INT", ZORTYPE_INT, 4, nullptr);
        object = ZorCreateUbixObject(desc, &info);
        function = ZorCreateFunction(functionDesc, &info);
        table = ZorCreateTable(rowDesc, &info);
        EXPECT_EQ(info.code, ZOR_OK) << info.message;
    }
    ~Objects() override {
        ZorDestroyTable(table, nullptr);
        ZorDestroyFunction(function, nullptr);
        ZorDestroyUbixObject(object, nullptr);
        ZorDestroyFunctionDesc(functionDesc, nullptr);
        ZorDestroyTypeDesc(rowDesc, nullptr);
        ZorDestroyClassDesc(desc, nullptr);
    }

    static ZOR_UBIX_OBJECT_HANDLE objectIn(DATA_CONTAINER_HANDLE container, const char* name) {
        ZOR_UBIX_OBJECT_HANDLE handle = nullptr;
        EXPECT_EQ(ZorGetUbixObject(container, name, &handle, nullptr), ZOR_OK);
        return handle;
    }
    static ZOR_INT countOf(ZOR_UBIX_OBJECT_HANDLE handle) {
        ZOR_INT count = -1;
        EXPECT_EQ(ZorGetInt(handle, "COUNT", &count, nullptr), ZOR_OK);
        return count;
    }
    /** An object of the caller's with a number. */
    ZOR_UBIX_OBJECT_HANDLE make(ZOR_INT count) {
        const auto made = ZorCreateUbixObject(desc, nullptr);
        EXPECT_EQ(ZorSetInt(made, "COUNT", count, nullptr), ZOR_OK);
        return made;
    }

    ZOR_ERROR_INFO info{};
    ZOR_CLASS_DESC_HANDLE desc = ZorCreateClassDesc("CX_LISTED", nullptr);
    ZOR_TYPE_DESC_HANDLE rowDesc = ZorCreateTypeDesc("ROW", nullptr);
    ZOR_FUNCTION_DESC_HANDLE functionDesc = ZorCreateFunctionDesc("FN", nullptr);
    ZOR_UBIX_OBJECT_HANDLE object = nullptr;
    ZOR_FUNCTION_HANDLE function = nullptr;
    ZOR_TABLE_HANDLE table = nullptr;
};

TEST_F(Objects, AreStructuresOverTheirClass) {
    EXPECT_EQ(ZorDescribeUbixObject(object, &info), desc);
    ZOR_CHAR name[8];
    EXPECT_EQ(ZorGetChars(object, "NAME", name, 8, &info), ZOR_OK);
    EXPECT_EQ(string(name, 8), "        ");
    EXPECT_EQ(countOf(object), 0);
    EXPECT_EQ(ZorSetStringByIndex(object, 3, "long", 4, &info), ZOR_OK);
    EXPECT_EQ(objectIn(object, "NEXT"), nullptr);
    // The class is locked by now, and lives on for its instances.
    ZOR_CLASS_ATTRIBUTE_DESC more{};
    EXPECT_EQ(said([&](auto* e) { return ZorAddClassAttribute(desc, &more, e); }), lockedText);
    EXPECT_EQ(ZorAddParentClass(desc, "CX_ROOT", &info), ZOR_OK);
    EXPECT_EQ(ZorDestroyClassDesc(desc, &info), ZOR_OK);
    EXPECT_EQ(ZorSetInt(object, "COUNT", 3, &info), ZOR_OK);
}

TEST_F(Objects, OtherHandlesAreRefused) {
    const auto notAClass = reinterpret_cast<ZOR_CLASS_DESC_HANDLE>(rowDesc);
    alignas(16) unsigned char foreign[256] = {};
    const auto unmarked = reinterpret_cast<ZOR_UBIX_OBJECT_HANDLE>(foreign);
    const auto kind = [](const auto& call) {
        return said([&](auto* e) { return call(e) != nullptr ? ZOR_OK : e->code; });
    };
    const string prefix = "13 ZOR_INVALID_HANDLE: ";
    EXPECT_EQ(kind([&](auto* e) { return ZorCreateUbixObject(notAClass, e); }), invalidHandle);
    EXPECT_EQ(kind([&](auto* e) { return ZorDescribeUbixObject(nullptr, e); }), invalidHandle);
    EXPECT_EQ(kind([&](auto* e) { return ZorDescribeUbixObject(unmarked, e); }),
              prefix + "Invalid handle passed to ZorDescribeType");
    EXPECT_EQ(kind([&](auto* e) { return ZorDescribeUbixObject(table, e); }),
              prefix + "Only structure or table handles are allowed in ZorDescribeType");
    EXPECT_EQ(kind([&](auto* e) { return ZorDescribeType(object, e); }),
              prefix + "Only structure or table handles are allowed in ZorDescribeType");
    EXPECT_EQ(kind([&](auto* e) { return ZorCloneStructure(object, e); }), invalidHandle);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyUbixObject(table, e); }), invalidHandle);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyStructure(object, e); }), invalidHandle);
}

TEST_F(Objects, FieldsHoldDeepCopies) {
    ZorSetInt(object, "COUNT", 1, nullptr);
    ASSERT_EQ(ZorSetUbixObject(object, "NEXT", object, &info), ZOR_OK);  // into a field of its own
    const auto next = objectIn(object, "NEXT");
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(objectIn(next, "NEXT"), nullptr);
    ZorSetInt(next, "COUNT", 2, nullptr);
    ASSERT_EQ(ZorSetUbixObjectByIndex(function, 0, object, &info), ZOR_OK);
    ZorSetInt(next, "COUNT", 5, nullptr);
    const auto copy = objectIn(function, "OBJ");
    EXPECT_EQ(countOf(copy), 1);
    EXPECT_EQ(countOf(objectIn(copy, "NEXT")), 2);
    EXPECT_EQ(ZorDescribeUbixObject(copy, nullptr), desc);
    // A second value takes the place of the first; a part may take the place of its whole.
    ASSERT_EQ(ZorSetUbixObject(function, "OBJ", objectIn(copy, "NEXT"), &info), ZOR_OK);
    EXPECT_EQ(objectIn(function, "OBJ"), copy);
    EXPECT_EQ(countOf(copy), 2);
    ASSERT_EQ(ZorSetUbixObject(function, "FREE", object, &info), ZOR_OK);  // a field without class
    EXPECT_EQ(ZorDescribeUbixObject(objectIn(function, "FREE"), nullptr), desc);
    int active = 9;
    EXPECT_EQ(ZorIsParameterActive(function, "FREE", &active, nullptr), ZOR_OK);
    EXPECT_EQ(active, 0);  // as with structures and tables
    // What belongs to a field isn't the caller's to destroy.
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyUbixObject(copy, e); }), invalidHandle);
}

TEST_F(Objects, RowsOwnTheirObjects) {
    ZorAppendNewRows(table, 3, nullptr);
    ZorSetInt(object, "COUNT", 7, nullptr);
    ASSERT_EQ(ZorSetUbixObject(table, "OBJ", object, &info), ZOR_OK);
    ASSERT_EQ(ZorAppendRow(table, ZorGetCurrentRow(table, nullptr), &info), ZOR_OK);
    const auto copy = ZorCloneTable(table, &info);
    ZorSetInt(objectIn(table, "OBJ"), "COUNT", 8, nullptr);
    EXPECT_EQ(ZorDeleteCurrentRow(table, &info), ZOR_OK);
    EXPECT_EQ(objectIn(table, "OBJ"), nullptr);
    ZorMoveToLastRow(table, nullptr);
    EXPECT_EQ(countOf(objectIn(table, "OBJ")), 7);
    EXPECT_EQ(countOf(objectIn(copy, "OBJ")), 7);
    EXPECT_NE(objectIn(copy, "OBJ"), objectIn(table, "OBJ"));
    ZorDestroyTable(copy, nullptr);
}

TEST_F(Objects, WhatAnObjectFieldSaysToOtherTypes) {
    ZorSetUbixObject(function, "OBJ", object, nullptr);
    const auto held = objectIn(function, "OBJ");
    ZOR_CHAR chars[4] = "???";
    ZOR_BYTE bytes[16];
    ZOR_INT number = 0;
    ZOR_FLOAT real = 0;
    ZOR_DATE date = {};
    unsigned length = 9;
    ZOR_STRUCTURE_HANDLE child = nullptr;
    const auto reading = [](const char* wanted) {
        return string(
                   "22 ZOR_CONVERSION_FAILURE: OBJ of type ZORTYPE_UBIXOBJECT cannot be converted to type ") +
               wanted;
    };
    const struct {
        std::function<ZOR_RC(ZOR_ERROR_INFO*)> call;
        string result;
    } rows[] = {
        {[&](auto* e) { return ZorGetChars(function, "OBJ", chars, 3, e); }, reading("ZORTYPE_CHAR")},
        {[&](auto* e) { return ZorGetNum(function, "OBJ", chars, 3, e); }, reading("ZORTYPE_NUM")},
        {[&](auto* e) { return ZorGetString(function, "OBJ", chars, 4, &length, e); },
         reading("ZORTYPE_STRING")},
        {[&](auto* e) { return ZorGetDate(function, "OBJ", date, e); }, reading("ZORTYPE_DATE")},
        {[&](auto* e) { return ZorGetInt(function, "OBJ", &number, e); }, reading("ZOR_INT")},
        {[&](auto* e) { return ZorGetFloat(function, "OBJ", &real, e); }, reading("ZOR_FLOAT")},
        {[&](auto* e) { return ZorGetStructure(function, "OBJ", &child, e); },
         reading("ZOR_STRUCTURE_HANDLE")},
        {[&](auto* e) { return ZorGetStringLength(function, "OBJ", &length, e); },
         parameterText("Field not of type STRING or XSTRING")},
        // The bytes of the slot, as many as the description tells.
        {[&](auto* e) { return ZorGetXString(function, "OBJ", bytes, 16, &length, e); }, "0"},
        {[&](auto* e) { return ZorSetBytes(function, "OBJ", bytes, 2, e); }, reading("ZORTYPE_BYTE")},
        {[&](auto* e) { return ZorSetInt(function, "OBJ", 1, e); },
         "22 ZOR_CONVERSION_FAILURE: value with the type ZOR_INT cannot be converted to type "
         "ZORTYPE_UBIXOBJECT on the field OBJ"},
        {[&](auto* e) { return ZorSetFloat(function, "OBJ", 1, e); }, reading("ZOR_FLOAT")},
        {[&](auto* e) { return ZorSetChars(function, "OBJ", "abc", 3, e); }, "0"},  // and nothing happens
        {[&](auto* e) { return ZorSetUbixObject(function, "OBJ", table, e); },
         parameterText("Only ZOR_UBIX_OBJECT_HANDLE is allowed as value in ZorSetUbixObject")},
        {[&](auto* e) { return ZorSetUbixObjectByIndex(function, 0, table, e); },
         parameterText("Only ZOR_UBIX_OBJECT_HANDLE is allowed as value in ZorSetUbixObjectByIndex")},
        {[&](auto* e) { return ZorSetUbixObject(function, "OBJ", nullptr, e); },
         parameterText("value is null")},
        {[&](auto* e) { return ZorGetUbixObject(function, "OBJ", nullptr, e); },
         parameterText("value is null")},
        {[&](auto* e) { return ZorSetUbixObject(function, "INT", object, e); },
         "22 ZOR_CONVERSION_FAILURE: value with the type ZOR_UBIX_OBJECT_HANDLE cannot be converted to type "
         "ZORTYPE_INT on the field INT"},
        {[&](auto* e) { return ZorGetUbixObject(function, "INT", &child, e); },
         "22 ZOR_CONVERSION_FAILURE: INT of type ZORTYPE_INT cannot be converted to type "
         "ZOR_UBIX_OBJECT_HANDLE"},
        {[&](auto* e) { return ZorGetUbixObjectByIndex(function, 3, &child, e); },
         parameterText("index does not exist")},
        {[&](auto* e) { return ZorSetStructure(function, "OBJ", object, e); },
         parameterText("only ZOR_STRUCTURE_HANDLE is allowed as value in ZorSetStructure")},
    };
    for (const auto& row : rows)
        EXPECT_EQ(said(row.call), row.result);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(objectIn(function, "OBJ"), held);
    int active = 9;
    EXPECT_EQ(ZorIsParameterActive(function, "OBJ", &active, nullptr), ZOR_OK);
    EXPECT_EQ(active, 1);  // by the one text that was accepted
}

TEST_F(Objects, ClassExceptionsBelongToTheirFunction) {
    const auto set = [&](ZOR_UBIX_OBJECT_HANDLE exception, const char* text) {
        return said([&](auto* e) { return ZorSetUbixClassException(function, exception, text, e); });
    };
    int enabled = 9;
    EXPECT_EQ(said([&](auto* e) { return ZorIsUbixClassExceptionEnabled(function, nullptr, e); }),
              invalidParameter("int*"));
    EXPECT_EQ(ZorIsUbixClassExceptionEnabled(function, &enabled, nullptr), ZOR_OK);
    EXPECT_EQ(enabled, 0);
    const auto foreign = reinterpret_cast<ZOR_CONNECTION_HANDLE>(&enabled);
    EXPECT_EQ(said([&](auto* e) { return ZorEnableUbixClassException(function, foreign, e); }),
              invalidHandle);
    EXPECT_EQ(said([&](auto* e) { return ZorEnableUbixClassException(function, nullptr, e); }),
              invalidHandle);
    EXPECT_EQ(ZorGetUbixClassException(function, &info), nullptr);
    EXPECT_EQ(info.code, ZOR_OK);

    const auto first = make(1);
    EXPECT_EQ(set(first, "text"),
              "19 ZOR_ILLEGAL_STATE: UBIX class exeception support not enabled for this function handle");
    EXPECT_EQ(countOf(first), 1);  // still the caller's
    auto& container = static_cast<ZorFunction&>(*ZorRecord::fromHandle(function));
    container.enableClassException(foreign);  // without a connection, which is the acceptance tests' part
    EXPECT_EQ(ZorIsUbixClassExceptionEnabled(function, &enabled, nullptr), ZOR_OK);
    EXPECT_EQ(enabled, 1);

    EXPECT_EQ(set(first, "text"), "0");
    EXPECT_EQ(ZorGetUbixClassException(function, &info), first);
    EXPECT_EQ(container.getClassException()->getExceptionName(), "CX_LISTED");
    EXPECT_EQ(container.getClassException()->getExceptionText(), "text");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyUbixObject(first, e); }), invalidHandle);
    EXPECT_EQ(set(first, nullptr), "0");  // the same object, another text
    EXPECT_EQ(container.getClassException()->getExceptionText(), "");
    EXPECT_EQ(countOf(first), 1);
    const auto second = make(2);
    EXPECT_EQ(set(second, "other"), "0");
    EXPECT_EQ(ZorGetUbixClassException(function, nullptr), second);

    ZorSetUbixObject(function, "OBJ", second, nullptr);
    EXPECT_EQ(set(objectIn(function, "OBJ"), ""), invalidHandle);  // a field's
    EXPECT_EQ(set(table, ""), invalidHandle);
    EXPECT_EQ(set(nullptr, ""), invalidHandle);
    EXPECT_EQ(ZorGetUbixClassException(function, nullptr), second);
    EXPECT_EQ(ZorGetUbixClassException(table, &info), nullptr);
    EXPECT_EQ(info.code, ZOR_INVALID_HANDLE);
}

}  // namespace
