/**
 * @file
 * A function that changes the table it got and tells the changes alone, as a back-end with a delta manager
 * does.
 */
#include <algorithm>
#include <charconv>

#include "devsys/call.h"
#include "devsys/functions.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr unsigned ROW_LENGTH = 20;
const StructureDescription ROW = {"DELTA_ROW", ROW_LENGTH, {{"TEXT", ZORTYPE_CHAR, ROW_LENGTH, 0}}};

/** What a back-end can do to a row, as a letter of the script and as a number on the wire. */
struct Change {
    char letter;
    std::uint32_t opcode;
    bool hasRow;
};
constexpr Change CHANGES[] = {
    {'A', 4, true},    // append
    {'D', 5, false},   // delete
    {'I', 6, true},    // insert
    {'U', 7, true},    // update
    {'F', 8, false},   // free
    {'R', 10, false},  // rebuild
    {'C', 11, true},   // correction
    {'P', 12, false},  // pop, which clients don't know
};

// A step of the script: a letter, the row from 1 on, a text behind a colon; "W" withdraws the table, "="
// sends it anew with one row.
struct Step {
    char letter = 0;
    std::uint32_t line = 0;
    std::string_view text;
};

Step parse(std::string_view text) {
    Step step;
    if (text.empty()) return step;
    step.letter = text[0];
    const char* const end = text.data() + text.size();
    const char* const behind = std::from_chars(text.data() + 1, end, step.line).ptr;
    if (behind != end) step.text = {behind + 1, end};
    return step;
}

void writeLog(Call& call, std::uint16_t item, std::uint32_t opcode, std::uint32_t id, std::uint32_t line) {
    const std::span<Byte> log = call.out.reserve(item, 12);
    storeBe32(log, 0, opcode);
    storeBe32(log, 4, id);
    storeBe32(log, 8, line);
}

void writeRow(Call& call, std::uint16_t item, std::string_view text) {
    storeText(call.out.reserve(item, ROW_LENGTH), 0, ROW_LENGTH, text);
}

void writeStep(Call& call, std::uint32_t id, const Step& step) {
    if (step.letter == 'W') return call.out.number4(ZORID_DeltaWithdraw, id);
    if (step.letter == '=') {
        writeLog(call, ZORID_DeltaFull, 0, id, 0);
        const std::span<Byte> info = call.out.reserve(ZORID_TableInfo, 8);
        storeBe32(info, 0, ROW_LENGTH);
        storeBe32(info, 4, 1);
        return writeRow(call, ZORID_TableContent, step.text);
    }
    const auto* const change = std::ranges::find(CHANGES, step.letter, &Change::letter);
    if (change == std::end(CHANGES)) return;
    writeLog(call, change->hasRow ? ZORID_DeltaLogMore : ZORID_DeltaLog, change->opcode, id, step.line);
    if (change->hasRow) writeRow(call, ZORID_DeltaData, step.text);
}

// Without an id nothing is told: the client has the delta manager off or sent no rows.
Outcome changeRows(Call& call) {
    const std::uint32_t id = call.values[2].tableId;
    call.replyInteger(1, static_cast<std::int32_t>(id));
    if (id == 0) return Outcome::reply;
    call.out.number4(ZORID_DeltaConfirm, id);
    std::string_view script = call.text(0);
    while (!script.empty()) {
        const std::size_t end = std::min(script.find(';'), script.size());
        writeStep(call, id, parse(script.substr(0, end)));
        script.remove_prefix(std::min(end + 1, script.size()));
    }
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> deltaFunctions() {
    return {
        {"CHANGE_ROWS",
         {{"SCRIPT", ZORTYPE_CHAR, 200, ZOR_IMPORT},
          {"TABLE_ID", ZORTYPE_INT, 4, ZOR_EXPORT},
          {"ROWS", ZORTYPE_TABLE, ROW_LENGTH, ZOR_TABLES, 0, &ROW}},
         changeRows},
    };
}

}  // namespace zordev
