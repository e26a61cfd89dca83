/**
 * @file
 * Functions that give back what they got, for every type that travels as a field and for tables of
 * flat rows. Values are copied as bytes; their lengths were checked when the request was read.
 */
#include "devsys/call.h"
#include "devsys/functions.h"
#include "devsys/partnerprofile.h"

namespace zordev {
namespace {

// A fixed type with its length in bytes.
struct ScalarRow {
    std::string_view import;
    std::string_view result;
    ZORTYPE type;
    unsigned length;
    unsigned decimals = 0;
};

constexpr ScalarRow SCALARS[] = {
    {"I_CHAR", "E_CHAR", ZORTYPE_CHAR, 20},
    {"I_NUM", "E_NUM", ZORTYPE_NUM, 10},
    {"I_DATE", "E_DATE", ZORTYPE_DATE, 8},
    {"I_TIME", "E_TIME", ZORTYPE_TIME, 6},
    {"I_BCD", "E_BCD", ZORTYPE_BCD, 8, 2},
    {"I_BYTE", "E_BYTE", ZORTYPE_BYTE, 10},
    {"I_FLOAT", "E_FLOAT", ZORTYPE_FLOAT, 8},
    {"I_INT", "E_INT", ZORTYPE_INT, 4},
    {"I_INT1", "E_INT1", ZORTYPE_INT1, 1},
    {"I_INT2", "E_INT2", ZORTYPE_INT2, 2},
    {"I_INT8", "E_INT8", ZORTYPE_INT8, 8},
    {"I_DECF16", "E_DECF16", ZORTYPE_DECF16, 8},
    {"I_DECF34", "E_DECF34", ZORTYPE_DECF34, 16},
    {"I_UTCLONG", "E_UTCLONG", ZORTYPE_UTCLONG, 8},
    {"I_UTCSECOND", "E_UTCSECOND", ZORTYPE_UTCSECOND, 8},
    {"I_UTCMINUTE", "E_UTCMINUTE", ZORTYPE_UTCMINUTE, 8},
    {"I_DTDAY", "E_DTDAY", ZORTYPE_DTDAY, 4},
    {"I_DTWEEK", "E_DTWEEK", ZORTYPE_DTWEEK, 4},
    {"I_DTMONTH", "E_DTMONTH", ZORTYPE_DTMONTH, 4},
    {"I_TSECOND", "E_TSECOND", ZORTYPE_TSECOND, 4},
    {"I_TMINUTE", "E_TMINUTE", ZORTYPE_TMINUTE, 2},
    {"I_CDAY", "E_CDAY", ZORTYPE_CDAY, 2},
};

constexpr ScalarRow TEN_SCALARS[] = {
    {"I_CHAR1", "E_CHAR1", ZORTYPE_CHAR, 10}, {"I_CHAR2", "E_CHAR2", ZORTYPE_CHAR, 40},
    {"I_NUM", "E_NUM", ZORTYPE_NUM, 8},       {"I_DATE", "E_DATE", ZORTYPE_DATE, 8},
    {"I_TIME", "E_TIME", ZORTYPE_TIME, 6},    {"I_INT", "E_INT", ZORTYPE_INT, 4},
    {"I_INT2", "E_INT2", ZORTYPE_INT2, 2},    {"I_FLOAT", "E_FLOAT", ZORTYPE_FLOAT, 8},
    {"I_BCD", "E_BCD", ZORTYPE_BCD, 8, 2},    {"I_BYTE", "E_BYTE", ZORTYPE_BYTE, 16},
};

constexpr ScalarRow STRINGS[] = {
    {"I_STRING", "E_STRING", ZORTYPE_STRING, 0},
    {"I_XSTRING", "E_XSTRING", ZORTYPE_XSTRING, 0},
};

// A row with a field of each kind; the offsets leave the gaps that alignment asks for.
const StructureDescription MIXED = {"ECHO_MIXED",
                                    48,
                                    {
                                        {"ID", ZORTYPE_INT, 4, 0},
                                        {"CODE", ZORTYPE_CHAR, 3, 4},
                                        {"FLAG", ZORTYPE_INT1, 1, 7},
                                        {"QUANTITY", ZORTYPE_INT2, 2, 8},
                                        {"DAY", ZORTYPE_DATE, 8, 10},
                                        {"AT", ZORTYPE_TIME, 6, 18},
                                        {"RATIO", ZORTYPE_FLOAT, 8, 24},
                                        {"PRICE", ZORTYPE_BCD, 8, 32, 2},
                                        {"NUMBER", ZORTYPE_NUM, 4, 40},
                                        {"RAW", ZORTYPE_BYTE, 4, 44},
                                    }};

const StructureDescription ADDRESS = {
    "ECHO_ADDRESS", 20, {{"CITY", ZORTYPE_CHAR, 15, 0}, {"ZIP", ZORTYPE_NUM, 5, 15}}};

const StructureDescription NESTED = {"ECHO_NESTED",
                                     28,
                                     {
                                         {"ID", ZORTYPE_INT, 4, 0},
                                         {"ADDRESS", ZORTYPE_STRUCTURE, 20, 4, 0, &ADDRESS},
                                         {"COUNT", ZORTYPE_INT, 4, 24},
                                     }};

const StructureDescription LINE = {"ECHO_LINE", 100, {{"TEXT", ZORTYPE_CHAR, 100, 0}}};

// The items of the rows as they came, unless the numbers in them have to change.
void echoRows(Call& call, const ParameterDescription& table, ByteSpan rows) {
    if (!call.host.profile().convertsNumbers()) return call.out.raw(rows);
    ItemReader reader(rows);
    for (Item item; reader.next(item) == ItemResult::item;)
        call.replyRow(table.structure, item.payload);
}

Outcome echo(Call& call) {
    for (std::size_t i = 0; i < call.values.size(); ++i) {
        const ParameterDescription& parameter = call.function->parameters[i];
        if (parameter.source < 0 || !call.values[i].requested) continue;
        const ParameterValue& source = call.values[static_cast<std::size_t>(parameter.source)];
        if (parameter.type == ZORTYPE_TABLE) {
            const std::uint32_t width = source.supplied ? source.width : parameter.length;
            if (call.replyTable(i, source.rows, width)) echoRows(call, parameter, source.value);
        } else if (source.supplied) {
            call.reply(i, source.value);
        } else {
            call.replyInitial(i);
        }
    }
    return Outcome::reply;
}

Outcome countRows(Call& call) {
    call.replyInteger(0, static_cast<std::int32_t>(call.values[2].rows));
    call.replyInteger(1, static_cast<std::int32_t>(call.values[2].width));
    return Outcome::reply;
}

// Imports, then the exports that return them, in the same order.
std::vector<ParameterDescription> pairsOf(std::span<const ScalarRow> rows) {
    std::vector<ParameterDescription> parameters;
    for (const ScalarRow& row : rows) {
        parameters.push_back({row.import, row.type, row.length, ZOR_IMPORT, row.decimals});
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const ScalarRow& row = rows[i];
        parameters.push_back(
            {row.result, row.type, row.length, ZOR_EXPORT, row.decimals, nullptr, static_cast<int>(i)});
    }
    return parameters;
}

std::vector<ParameterDescription> structures() {
    return {
        {"I_FLAT", ZORTYPE_STRUCTURE, 48, ZOR_IMPORT, 0, &MIXED},
        {"I_NESTED", ZORTYPE_STRUCTURE, 28, ZOR_IMPORT, 0, &NESTED},
        {"E_FLAT", ZORTYPE_STRUCTURE, 48, ZOR_EXPORT, 0, &MIXED, 0},
        {"E_NESTED", ZORTYPE_STRUCTURE, 28, ZOR_EXPORT, 0, &NESTED, 1},
        {"C_FLAT", ZORTYPE_STRUCTURE, 48, ZOR_CHANGING, 0, &MIXED, 4},
        {"C_NESTED", ZORTYPE_STRUCTURE, 28, ZOR_CHANGING, 0, &NESTED, 5},
    };
}

std::vector<ParameterDescription> changings() {
    return {
        {"C_CHAR", ZORTYPE_CHAR, 20, ZOR_CHANGING, 0, nullptr, 0},
        {"C_INT", ZORTYPE_INT, 4, ZOR_CHANGING, 0, nullptr, 1},
        {"C_BCD", ZORTYPE_BCD, 8, ZOR_CHANGING, 2, nullptr, 2},
        {"C_STRING", ZORTYPE_STRING, 0, ZOR_CHANGING, 0, nullptr, 3},
        {"C_XSTRING", ZORTYPE_XSTRING, 0, ZOR_CHANGING, 0, nullptr, 4},
    };
}

std::vector<ParameterDescription> tables() {
    return {
        {"LINES", ZORTYPE_TABLE, 100, ZOR_TABLES, 0, &LINE, 0},
        {"MIXED", ZORTYPE_TABLE, 48, ZOR_TABLES, 0, &MIXED, 1},
        {"ANY", ZORTYPE_TABLE, 0, ZOR_TABLES, 0, nullptr, 2},
    };
}

}  // namespace

std::vector<FunctionDescription> echoFunctions() {
    return {
        {"ECHO_SCALARS", pairsOf(SCALARS), echo},
        {"ECHO_TEN_SCALARS", pairsOf(TEN_SCALARS), echo},
        {"ECHO_STRINGS", pairsOf(STRINGS), echo},
        {"ECHO_STRUCTURE", structures(), echo},
        {"ECHO_CHANGING", changings(), echo},
        {"ECHO_TABLE", tables(), echo},
        {"ROW_COUNT",
         {{"COUNT", ZORTYPE_INT, 4, ZOR_EXPORT},
          {"WIDTH", ZORTYPE_INT, 4, ZOR_EXPORT},
          {"ROWS", ZORTYPE_TABLE, 0, ZOR_TABLES}},
         countRows},
    };
}

}  // namespace zordev
