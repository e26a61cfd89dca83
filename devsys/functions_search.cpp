/**
 * @file
 * The search for functions by name.
 */
#include <algorithm>

#include "devsys/call.h"
#include "devsys/metadatafunctions.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr unsigned NAME_LENGTH = 30;
const StructureDescription FOUND = {
    "FUNCTION_NAME_ROW", NAME_LENGTH, {{"FUNCNAME", ZORTYPE_CHAR, NAME_LENGTH, 0}}};

enum Parameter : std::size_t { PATTERN, FUNCTIONS };

// A star in the pattern stands for any characters. Walks back to the last star where the rest doesn't fit.
bool matches(std::string_view pattern, std::string_view name) {
    std::size_t at = 0, star = std::string_view::npos, retry = 0;
    for (std::size_t i = 0; i < name.size();) {
        if (at < pattern.size() && pattern[at] == '*') {
            star = at++;
            retry = i;
        } else if (at < pattern.size() && pattern[at] == name[i]) {
            at++;
            i++;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            i = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

Outcome search(Call& call) {
    std::vector<std::string_view> names;
    for (const FunctionDescription& function : functions())
        if (matches(call.text(PATTERN), function.name)) names.push_back(function.name);
    std::ranges::sort(names);
    if (!call.replyTable(FUNCTIONS, static_cast<std::uint32_t>(names.size()), NAME_LENGTH))
        return Outcome::reply;
    for (const std::string_view name : names) {
        const std::span<Byte> row = call.out.reserve(ZORID_TableContent, NAME_LENGTH);
        storeText(row, 0, NAME_LENGTH, name);
    }
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> searchFunctions() {
    return {
        {"ZOR_FUNCTION_SEARCH",
         {
             {"FUNCNAME", ZORTYPE_CHAR, NAME_LENGTH, ZOR_IMPORT},
             {"FUNCTIONS", ZORTYPE_TABLE, NAME_LENGTH, ZOR_TABLES, 0, &FOUND},
         },
         search},
    };
}

}  // namespace zordev
