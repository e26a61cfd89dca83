/**
 * @file
 * The functions of the back-end: their descriptions as data, for everybody who calls them, and the
 * handlers behind them.
 */
#pragma once

#include <kelzor/types.h>

#include <string_view>
#include <vector>

namespace zordev {

class Call;

/**
 * A field of a structure, in its layout with one byte a character. Lengths and offsets in bytes; strings and
 * tables take the 8 bytes of a reference. A table of rows that are one value has a field without name.
 */
struct FieldDescription {
    std::string_view name;
    ZORTYPE type;
    unsigned length;
    unsigned offset;
    unsigned decimals = 0;
    const struct StructureDescription* structure = nullptr; /**< Of a nested structure's or table's fields. */
    std::string_view typeName = {}; /**< In the dictionary, of a table or of an elementary field. */
};

/** A structure, or the row of a table. */
struct StructureDescription {
    std::string_view name;
    unsigned length;
    std::vector<FieldDescription> fields;
};

/** True for structures and rows with strings or tables, which have no image of bytes. */
bool isDeep(const StructureDescription& structure);

/** A parameter. `length` is 0 for strings and for tables whose rows may have any width. */
struct ParameterDescription {
    std::string_view name;
    ZORTYPE type;
    unsigned length;
    ZOR_DIRECTION direction;
    unsigned decimals = 0;
    const StructureDescription* structure = nullptr; /**< Of a structure or of a table's rows. */
    int source = -1; /**< Index of the parameter whose value an export of an echo function returns. */
};

/** True for a structure or table that travels as an XML document. */
bool travelsAsXml(const ParameterDescription& parameter);

/** An exception that a function may raise. */
struct ExceptionDescription {
    std::string_view name;
    std::string_view text;
};

/** How a function ends. */
enum class Outcome {
    reply,         /**< The answer goes out; the conversation goes on. */
    end,           /**< The answer goes out as the last word of the conversation. */
    replyUnframed, /**< As `reply`, with what the handler wrote and nothing else, not even an end item. */
    endUnframed,   /**< As `end`, likewise. */
    dropped        /**< The client is gone; there is nobody to answer. */
};

/** What runs a function; `call` has its parameters and takes its results. */
using Handler = Outcome (*)(Call& call);

/** A function of the back-end. */
struct FunctionDescription {
    std::string_view name;
    std::vector<ParameterDescription> parameters;
    Handler handler;
    bool beforeLogon = false; /**< May be called by a client that isn't logged on. */
    std::vector<ExceptionDescription> exceptions = {};
};

/** All functions; the same list for the life of the process. */
const std::vector<FunctionDescription>& functions();

/** The function of that name, or null. */
const FunctionDescription* findFunction(std::string_view name);
/** The same on a back-end of a certain release, by which the metadata functions have different forms. */
const FunctionDescription* findFunction(std::string_view name, unsigned version);

/** @name The families that make up the list. */
/** @{ */
std::vector<FunctionDescription> systemFunctions();
std::vector<FunctionDescription> echoFunctions();
std::vector<FunctionDescription> deepFunctions();
std::vector<FunctionDescription> deltaFunctions();
std::vector<FunctionDescription> compressedFunctions();
std::vector<FunctionDescription> failingFunctions();
std::vector<FunctionDescription> isoFunctions();
/** @} */

}  // namespace zordev
