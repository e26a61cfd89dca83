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

// Rows that contain tables of elementary rows.
const StructureDescription ITEM = {"ZDEV_ITEM",
                                   48,
                                   {
                                       {"ARTICLE", ZORTYPE_CHAR, 18, 0},
                                       {"PRICE", ZORTYPE_BCD, 8, 18, 2},
                                       {"REMARK", ZORTYPE_STRING, 0, 32},
                                       {"TAGS", ZORTYPE_TABLE, 0, 40, 0, nullptr, "ZDEV_NAMES"},
                                   }};

const StructureDescription ORDER = {"ZDEV_ORDER",
                                    144,
                                    {
                                        {"ID", ZORTYPE_NUM, 10, 0},
                                        {"BUYER", ZORTYPE_STRUCTURE, 104, 12, 0, &PERSON},
                                        {"ITEMS", ZORTYPE_TABLE, 0, 120, 0, &ITEM},
                                        {"NOTES", ZORTYPE_TABLE, 0, 128, 0, nullptr, "ZDEV_TEXTS"},
                                        {"SEAL", ZORTYPE_XSTRING, 0, 136},
                                    }};

// A structure that contains a table of itself.
extern const StructureDescription NODE;
const StructureDescription NODE = {"ZDEV_NODE",
                                   16,
                                   {
                                       {"TEXT", ZORTYPE_STRING, 0, 0},
                                       {"BELOW", ZORTYPE_TABLE, 0, 8, 0, &NODE},
                                   }};

DictionaryType structure(const StructureDescription& description) {
    return {DictionaryType::Kind::structure, std::string(description.name), &description};
}

DictionaryType tableOf(std::string_view name, FieldDescription rows, std::string_view line) {
    return {DictionaryType::Kind::tableType, std::string(name), nullptr, rows, std::string(line)};
}

}  // namespace

std::vector<DictionaryType> specimenTypes() {
    return {
        structure(PERSON),
        structure(ORDER),
        structure(NODE),
        {DictionaryType::Kind::element, "ZDEV_NAME", nullptr, {"", ZORTYPE_CHAR, 30, 0}},
        {DictionaryType::Kind::element, "ZDEV_AMOUNT", nullptr, {"", ZORTYPE_BCD, 8, 0, 2}},
        tableOf("ZDEV_NAMES", {"", ZORTYPE_CHAR, 30, 0}, "ZDEV_NAME"),
        tableOf("ZDEV_TEXTS", {"", ZORTYPE_STRING, 0, 0}, ""),
        tableOf("ZDEV_MATRIX", {"", ZORTYPE_TABLE, 0, 0, 0, nullptr, "ZDEV_TEXTS"}, "ZDEV_TEXTS"),
    };
}

}  // namespace zordev
