/**
 * @file
 * Functions with parameters that travel as XML: structures with strings and tables, tables within tables,
 * tables that aren't among a function's tables.
 */
#include <algorithm>

#include "devsys/call.h"
#include "devsys/functions.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

const StructureDescription NOTE = {
    "DEEP_NOTE", 12, {{"POS", ZORTYPE_INT, 4, 0}, {"TEXT", ZORTYPE_STRING, 8, 4}}};

const StructureDescription ITEM = {"DEEP_ITEM",
                                   44,
                                   {
                                       {"MATERIAL", ZORTYPE_CHAR, 18, 0},
                                       {"QUANTITY", ZORTYPE_BCD, 7, 18, 3},
                                       {"DUE", ZORTYPE_DATE, 8, 25},
                                       {"NOTES", ZORTYPE_TABLE, 8, 36, 0, &NOTE},
                                   }};

const StructureDescription PLACE = {
    "DEEP_PLACE", 20, {{"CITY", ZORTYPE_CHAR, 15, 0}, {"ZIP", ZORTYPE_NUM, 5, 15}}};

// Rows that are one value: its field has no name.
const StructureDescription WORD = {"DEEP_WORD", 8, {{"", ZORTYPE_STRING, 8, 0}}};
const StructureDescription COUNT = {"DEEP_COUNT", 4, {{"", ZORTYPE_INT, 4, 0}}};

// A field of every type, names that need escapes, structures and tables.
const StructureDescription ORDER = {"DEEP_ORDER",
                                    212,
                                    {
                                        {"ID", ZORTYPE_NUM, 10, 0},
                                        {"KIND", ZORTYPE_CHAR, 4, 10},
                                        {"DAY", ZORTYPE_DATE, 8, 14},
                                        {"AT", ZORTYPE_TIME, 6, 22},
                                        {"PRICE", ZORTYPE_BCD, 8, 28, 2},
                                        {"KEY", ZORTYPE_BYTE, 4, 36},
                                        {"RATIO", ZORTYPE_FLOAT, 8, 40},
                                        {"NUMBER", ZORTYPE_INT, 4, 48},
                                        {"SMALL", ZORTYPE_INT2, 2, 52},
                                        {"TINY", ZORTYPE_INT1, 1, 54},
                                        {"LARGE", ZORTYPE_INT8, 8, 56},
                                        {"DECIMAL", ZORTYPE_DECF16, 8, 64},
                                        {"LONG_DECIMAL", ZORTYPE_DECF34, 16, 80},
                                        {"TEXT", ZORTYPE_STRING, 8, 96},
                                        {"DATA", ZORTYPE_XSTRING, 8, 104},
                                        {"PLACE", ZORTYPE_STRUCTURE, 20, 112, 0, &PLACE},
                                        {"NOTE", ZORTYPE_STRUCTURE, 16, 132, 0, &NOTE},
                                        {"ITEMS", ZORTYPE_TABLE, 8, 148, 0, &ITEM},
                                        {"WORDS", ZORTYPE_TABLE, 8, 156, 0, &WORD},
                                        {"COUNTS", ZORTYPE_TABLE, 8, 164, 0, &COUNT},
                                        {"/ORG/UNIT", ZORTYPE_CHAR, 20, 172},
                                        {"2ND-CODE", ZORTYPE_CHAR, 20, 192},
                                    }};

const StructureDescription FLAT_ROW = {
    "DEEP_FLAT_ROW", 24, {{"ID", ZORTYPE_INT, 4, 0}, {"NAME", ZORTYPE_CHAR, 20, 4}}};

// The first parameter of these functions: the bytes of an item of the answer, 0 for as many as usual.
std::size_t pieceOf(const Call& call) {
    const std::int32_t piece = call.integer(0);
    return piece > 0 ? static_cast<std::size_t>(piece) : XML_ITEM;
}

Outcome echo(Call& call) {
    for (std::size_t i = 0; i < call.values.size(); ++i) {
        const ParameterDescription& parameter = call.function->parameters[i];
        if (parameter.source < 0 || !call.values[i].requested) continue;
        const ParameterValue& source = call.values[static_cast<std::size_t>(parameter.source)];
        XmlElement document = source.supplied ? source.document : initialXml(parameter);
        document.name = elementName(parameter.name);
        call.replyXml(i, writeXml(document), pieceOf(call));
    }
    return Outcome::reply;
}

// Any text in the place of a document, for the XML parameter or for none.
Outcome answerDocument(Call& call) {
    std::size_t piece = pieceOf(call);
    std::string_view document = asText(call.values[1].value);
    for (; !document.empty(); document.remove_prefix(std::min(piece, document.size())))
        call.out.text(ZORID_XMLData, document.substr(0, piece));
    if (call.integer(2) == 0) call.out.flag(ZORID_XMLParameter);
    call.replyInteger(5, 1);
    return Outcome::reply;
}

ParameterDescription piece() {
    return {"PIECE", ZORTYPE_INT, 4, ZOR_IMPORT};
}

ParameterDescription structure(std::string_view name, ZOR_DIRECTION direction, int source = -1) {
    return {name, ZORTYPE_STRUCTURE, ORDER.length, direction, 0, &ORDER, source};
}

ParameterDescription table(std::string_view name, ZOR_DIRECTION direction, const StructureDescription& row,
                           int source = -1) {
    return {name, ZORTYPE_TABLE, row.length, direction, 0, &row, source};
}

}  // namespace

std::vector<FunctionDescription> deepFunctions() {
    return {
        {"ECHO_DEEP",
         {piece(), structure("I_ORDER", ZOR_IMPORT), structure("E_ORDER", ZOR_EXPORT, 1),
          structure("C_ORDER", ZOR_CHANGING, 3)},
         echo},
        {"ECHO_DEEP_TABLE",
         {piece(), table("I_ITEMS", ZOR_IMPORT, ITEM), table("E_ITEMS", ZOR_EXPORT, ITEM, 1),
          table("C_ITEMS", ZOR_CHANGING, ITEM, 3), table("T_ITEMS", ZOR_TABLES, ITEM, 4),
          table("I_WORDS", ZOR_IMPORT, WORD), table("E_WORDS", ZOR_EXPORT, WORD, 5),
          table("I_ROWS", ZOR_IMPORT, FLAT_ROW), table("E_ROWS", ZOR_EXPORT, FLAT_ROW, 7),
          table("C_ROWS", ZOR_CHANGING, FLAT_ROW, 9)},
         echo},
        {"ANSWER_DOCUMENT",
         {piece(),
          {"DOCUMENT", ZORTYPE_XSTRING, 0, ZOR_IMPORT},
          {"WITHOUT_END", ZORTYPE_INT, 4, ZOR_IMPORT},
          structure("ORDER", ZOR_EXPORT),
          table("ITEMS", ZOR_EXPORT, ITEM),
          {"DONE", ZORTYPE_INT, 4, ZOR_EXPORT}},
         answerDocument},
    };
}

}  // namespace zordev
