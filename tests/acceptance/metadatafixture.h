/** @file What the tests of fetched descriptions share. */
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "session.h"

/** A kind of partner, and what its way of telling makes different. */
struct Band {
    const char* release;
    const char* partnerType = "3";
    bool nested = true;  ///< Tells structures within structures; else lists their leaves.
    bool optional = true;
};

inline zordev::DevOptions optionsOf(const Band& band) {
    zordev::DevOptions options;
    options.names.release = band.release;
    options.names.partnerType = band.partnerType;
    options.names.systemId = "MTD";
    return options;
}

class MetadataTest : public SessionTest {
  protected:
    explicit MetadataTest(const Band& band = Band{"753"}) : SessionTest(optionsOf(band)) {
        ZorClearRepository("MTD", nullptr);
        system.recordRequests(true);
    }

    /** Names of the functions that were called since the last look. */
    std::vector<std::string> called() {
        std::vector<std::string> names;
        for (const auto& request : system.requests())
            names.push_back(request.function);
        system.clearRequests();
        return names;
    }

    ZOR_FUNCTION_DESC_HANDLE function(ZOR_CONNECTION_HANDLE connection, const char* name) {
        const ZOR_FUNCTION_DESC_HANDLE found = ZorGetFunctionDesc(connection, name, &error);
        EXPECT_NE(found, nullptr) << name << ": " << error.code << ' ' << error.key << ": " << error.message;
        return found;
    }

    ZOR_TYPE_DESC_HANDLE type(ZOR_CONNECTION_HANDLE connection, const char* name) {
        const ZOR_TYPE_DESC_HANDLE found = ZorGetTypeDesc(connection, name, &error);
        EXPECT_NE(found, nullptr) << name << ": " << error.code << ' ' << error.key << ": " << error.message;
        return found;
    }

    /** Code, key and message of the last failure. */
    std::string failure() const {
        return std::to_string(error.code) + " " + error.key + ": " + error.message;
    }
};

/** Names and types of fields; what is behind a table or structure stands in brackets, once. */
inline std::string shapeOf(ZOR_TYPE_DESC_HANDLE type, std::vector<ZOR_TYPE_DESC_HANDLE> above = {}) {
    ZOR_UBIX_NAME name;
    if (type == nullptr) return "-";
    EXPECT_EQ(ZorGetTypeName(type, name, nullptr), ZOR_OK);
    if (std::ranges::count(above, type) != 0) return name;
    above.push_back(type);
    std::string text = std::string(name) + "(";
    unsigned count = 0;
    ZorGetFieldCount(type, &count, nullptr);
    for (unsigned i = 0; i < count; ++i) {
        ZOR_FIELD_DESC field;
        ZorGetFieldDescByIndex(type, i, &field, nullptr);
        text += (i > 0 ? " " : "") + std::string(field.name) + ":" + (ZorGetTypeAsString(field.type) + 8);
        if (field.type == ZORTYPE_TABLE || field.type == ZORTYPE_STRUCTURE)
            text += "=" + shapeOf(field.typeDescHandle, above);
    }
    return text + ")";
}

inline const struct Shape {
    const char* name;
    const char* shape;
} shapes[] = {
    {"ECHO_LINE_T", "ECHO_LINE_T(TEXT:CHAR)"},
    {"ZDEV_NAME", "ZDEV_NAME(:CHAR)"},
    {"ZDEV_NAMES", "ZDEV_NAMES(:CHAR)"},
    {"ZDEV_TEXTS", "ZDEV_TEXTS(:STRING)"},
    {"ZDEV_MATRIX", "ZDEV_MATRIX(:TABLE=ZDEV_TEXTS(:STRING))"},
    {"ZDEV_NODE", "ZDEV_NODE(TEXT:STRING BELOW:TABLE=ZDEV_NODE_T(TEXT:STRING BELOW:TABLE=ZDEV_NODE_T))"},
    {"ZDEV_NODE_T", "ZDEV_NODE_T(TEXT:STRING BELOW:TABLE=ZDEV_NODE_T)"},
    {"ZDEV_ORDER",
     "ZDEV_ORDER(ID:NUM BUYER:STRUCTURE=ZDEV_PERSON(NAME:CHAR HOME:STRUCTURE=ZDEV_ADDRESS(STREET:CHAR "
     "CITY:STRUCTURE=ZDEV_CITY(ZIP:NUM NAME:CHAR)) BORN:DATE CHILDREN:INT1) "
     "ITEMS:TABLE=ZDEV_ITEM_T(ARTICLE:CHAR "
     "PRICE:BCD REMARK:STRING TAGS:TABLE=ZDEV_NAMES(:CHAR)) NOTES:TABLE=ZDEV_TEXTS(:STRING) SEAL:XSTRING)"},
    {"ZDEV_ITEM_T", "ZDEV_ITEM_T(ARTICLE:CHAR PRICE:BCD REMARK:STRING TAGS:TABLE=ZDEV_NAMES(:CHAR))"},
};

/** A description as text, a field a word: name, type, offset and length in both layouts. */
inline std::string fieldsOf(ZOR_TYPE_DESC_HANDLE type) {
    unsigned count = 0;
    ZorGetFieldCount(type, &count, nullptr);
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        ZOR_FIELD_DESC field;
        ZorGetFieldDescByIndex(type, i, &field, nullptr);
        text += std::string(field.name) + ":" + (ZorGetTypeAsString(field.type) + 8) + "@" +
                std::to_string(field.nucOffset) + "+" + std::to_string(field.nucLength) + "/" +
                std::to_string(field.ucOffset) + "+" + std::to_string(field.ucLength) + " ";
    }
    unsigned nuc = 0, uc = 0;
    ZorGetTypeLength(type, &nuc, &uc, nullptr);
    return text + std::to_string(nuc) + "/" + std::to_string(uc);
}

/** A function's parameters as text: name, type, direction, lengths, decimals, whether optional, type behind.
 */
inline std::string parametersOf(ZOR_FUNCTION_DESC_HANDLE function) {
    unsigned count = 0;
    ZorGetParameterCount(function, &count, nullptr);
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        ZOR_PARAMETER_DESC one;
        ZorGetParameterDescByIndex(function, i, &one, nullptr);
        text += std::string(one.name) + ":" + (ZorGetTypeAsString(one.type) + 8) + " " +
                ZorGetDirectionAsString(one.direction) + " " + std::to_string(one.nucLength) + "/" +
                std::to_string(one.ucLength) + "." + std::to_string(one.decimals) +
                (one.optional ? "?" : "") +
                (one.typeDescHandle != nullptr ? "=" + shapeOf(one.typeDescHandle) : "") + "\n";
    }
    ZorGetExceptionCount(function, &count, nullptr);
    return text + std::to_string(count) + " exceptions";
}
