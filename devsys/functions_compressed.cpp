/**
 * @file
 * A function that answers with compressed rows.
 */
#include <algorithm>
#include <string>

#include "devsys/call.h"
#include "devsys/functions.h"
#include "devsys/tablestream.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr unsigned ROW_LENGTH = 40;
constexpr std::size_t USUAL_ITEM = 1024;
const StructureDescription ROW = {"COMPRESSED_ROW", ROW_LENGTH, {{"TEXT", ZORTYPE_CHAR, ROW_LENGTH, 0}}};

enum Parameter : std::size_t { COUNT, ITEM, FILLER, STORED, CUT, ROWS };

std::vector<Byte> makeRows(std::size_t count) {
    std::vector<Byte> rows(count * ROW_LENGTH);
    for (std::size_t i = 0; i < count; ++i)
        storeText(rows, i * ROW_LENGTH, ROW_LENGTH,
                  "row " + std::to_string(i) + " of " + std::to_string(count));
    return rows;
}

Outcome answerRows(Call& call) {
    const auto count = static_cast<std::uint32_t>(std::clamp(call.integer(COUNT), 0, 1000000));
    if (!call.replyTable(ROWS, count, ROW_LENGTH)) return Outcome::reply;
    const TableStreamForm form = {static_cast<unsigned>(call.integer(FILLER)) & 3, call.integer(STORED) != 0};
    std::vector<Byte> stream = compressRows(makeRows(count), form);
    const std::size_t item =
        call.integer(ITEM) > 0 ? static_cast<std::size_t>(call.integer(ITEM)) : USUAL_ITEM;
    // Items have one size; what the stream leaves of the last one is zero.
    const auto cut = static_cast<std::size_t>(std::max(call.integer(CUT), 0));
    if (cut == 0)
        stream.resize((stream.size() + item - 1) / item * item);
    else
        stream.resize(stream.size() - std::min(cut, stream.size()));
    for (ByteSpan rest = stream; !rest.empty(); rest = rest.subspan(std::min(item, rest.size())))
        call.out.item(ZORID_TableContLZ, rest.first(std::min(item, rest.size())));
    call.out.flag(ZORID_TableEndLZ);
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> compressedFunctions() {
    return {
        {"COMPRESSED_ROWS",
         {{"COUNT", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"ITEM", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"FILLER", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"STORED", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"CUT", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"ROWS", ZORTYPE_TABLE, ROW_LENGTH, ZOR_TABLES, 0, &ROW}},
         answerRows},
    };
}

}  // namespace zordev
