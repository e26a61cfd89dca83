// Types that are there for being asked about. Each is what a client finds hard about types.

#include "devsys/dictionary.h"

namespace zordev {

namespace {

const StructureDescription CITY = {
    "ZDEV_CITY", 28, {{"ZIP", ZORTYPE_NUM, 5, 0}, {"NAME", ZORTYPE_CHAR, 20, 5}}};

const StructureDescription ADDRESS = {"ZDEV_ADDRESS",
                                      56,
                                      {
                                          {"STREET", ZORTYPE_CHAR, 25, 0},
                                          {"CITY", ZORTYPE_STRUCTURE, 28, 28, 0, &CITY},
                                      }};

// Structures within structures, and a field behind them.
const StructureDescription PERSON = {"ZDEV_PERSON",
                                     104,
                                     {
                                         {"NAME", ZORTYPE_CHAR, 30, 0, 0, nullptr, "ZDEV_NAME"},
                                         {"HOME", ZORTYPE_STRUCTURE, 56, 32, 0, &ADDRESS},
                                         {"BORN", ZORTYPE_DATE, 8, 88},
                                         {"CHILDREN", ZORTYPE_INT1, 1, 96},
                                     }};

// Rows that are one value, and rows that are tables.
const StructureDescription NAMES = {"ZDEV_NAMES", 30, {{"", ZORTYPE_CHAR, 30, 0, 0, nullptr, "ZDEV_NAME"}}};
const StructureDescription TEXTS = {"ZDEV_TEXTS", 8, {{"", ZORTYPE_STRING, 8, 0}}};
const StructureDescription MATRIX = {"ZDEV_MATRIX", 8, {{"", ZORTYPE_TABLE, 8, 0, 0, &TEXTS, "ZDEV_TEXTS"}}};

// Rows that contain tables of such rows.
const StructureDescription ITEM = {"ZDEV_ITEM",
                                   48,
                                   {
                                       {"ARTICLE", ZORTYPE_CHAR, 18, 0},
                                       {"PRICE", ZORTYPE_BCD, 8, 18, 2},
                                       {"REMARK", ZORTYPE_STRING, 8, 32},
                                       {"TAGS", ZORTYPE_TABLE, 8, 40, 0, &NAMES, "ZDEV_NAMES"},
                                   }};

const StructureDescription ORDER = {"ZDEV_ORDER",
                                    144,
                                    {
                                        {"ID", ZORTYPE_NUM, 10, 0},
                                        {"BUYER", ZORTYPE_STRUCTURE, 104, 12, 0, &PERSON},
                                        {"ITEMS", ZORTYPE_TABLE, 8, 120, 0, &ITEM},
                                        {"NOTES", ZORTYPE_TABLE, 8, 128, 0, &TEXTS, "ZDEV_TEXTS"},
                                        {"SEAL", ZORTYPE_XSTRING, 8, 136},
                                    }};

// A structure that contains a table of itself.
extern const StructureDescription NODE;
const StructureDescription NODE = {"ZDEV_NODE",
                                   16,
                                   {
                                       {"TEXT", ZORTYPE_STRING, 8, 0},
                                       {"BELOW", ZORTYPE_TABLE, 8, 8, 0, &NODE},
                                   }};

DictionaryType structure(const StructureDescription& description) {
    return {DictionaryType::Kind::structure, std::string(description.name), &description};
}

/** A table type by the name of its nameless rows. */
DictionaryType rowsOf(const StructureDescription& rows) {
    return {DictionaryType::Kind::tableType, std::string(rows.name), &rows};
}

}  // namespace

std::vector<DictionaryType> specimenTypes() {
    return {
        structure(PERSON),
        structure(ORDER),
        structure(NODE),
        {DictionaryType::Kind::element, "ZDEV_NAME", nullptr, {"", ZORTYPE_CHAR, 30, 0}},
        {DictionaryType::Kind::element, "ZDEV_AMOUNT", nullptr, {"", ZORTYPE_BCD, 8, 0, 2}},
        rowsOf(NAMES),
        rowsOf(TEXTS),
        rowsOf(MATRIX),
    };
}

}  // namespace zordev
