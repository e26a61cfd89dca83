/**
 * @file
 * Functions that are there for being described: their interfaces refer to types in all the ways there are.
 * A call of one does nothing.
 */
#include <map>

#include "devsys/call.h"
#include "devsys/metadatafunctions.h"

namespace zordev {
namespace {

Outcome nothingToDo(Call&) {
    return Outcome::reply;
}

const StructureDescription& structureOf(std::string_view name) {
    static const std::vector<DictionaryType> types = specimenTypes();
    for (const DictionaryType& type : types)
        if (type.name == name && type.structure != nullptr) return *type.structure;
    std::abort();
}

// By the name of a built-in type, by a type of the dictionary, and by the field of one.
constexpr ParameterReference GENERIC[] = {
    {"TEXT", "STRING"},
    {"NUMBER", "I"},
    {"PERSON", "ZDEV_PERSON"},
    {"NAME", "ZDEV_PERSON", "NAME"},
    {"CITY", "ZDEV_PERSON", "HOME-CITY"},
};

}  // namespace

std::span<const ParameterReference> referencesOf(std::string_view function) {
    if (function == "ZDEV_GENERIC") return GENERIC;
    return {};
}

std::vector<FunctionDescription> specimenFunctions() {
    const StructureDescription& person = structureOf("ZDEV_PERSON");
    const StructureDescription& city = *person.fields[1].structure->fields[1].structure;
    return {
        {"ZDEV_GENERIC",
         {
             {"TEXT", ZORTYPE_STRING, 0, ZOR_IMPORT},
             {"NUMBER", ZORTYPE_INT, 4, ZOR_IMPORT},
             {"PERSON", ZORTYPE_STRUCTURE, person.length, ZOR_IMPORT, 0, &person},
             {"NAME", ZORTYPE_CHAR, 30, ZOR_IMPORT},
             {"CITY", ZORTYPE_STRUCTURE, city.length, ZOR_EXPORT, 0, &city},
             {"PERSONS", ZORTYPE_TABLE, person.length, ZOR_TABLES, 0, &person},
         },
         nothingToDo,
         false,
         {{"NOT_IN_THE_MOOD", "Today there is no answer"}, {"TOO_LATE", "The day is over"}}},
    };
}

}  // namespace zordev
