#include "krn/si/cpic/cpicside.h"

#include <algorithm>
#include <cctype>
#include <fstream>

#include "base/thr/thr.h"
#include "krn/si/gw/gwenum.h"

namespace {

THR_CS_TYPE sideinfo_cs;

constexpr std::string_view COMMON = "COMMON_PART";
constexpr std::string_view VALUE_END = ";#*\"\t\r\n";
/** Lines beyond this length, and files with more of them, are nobody's side information. */
constexpr std::size_t LONGEST_LINE = 4096;
constexpr unsigned MOST_LINES = 100000;

constexpr std::string_view KEYS[] = {
    "GWHOST",          "GWSERV",          "LU",        "TP",           "PROTOCOL", "CPIC_TRACE",
    "VSL_PARTNERNAME", "VSL_MYNAME",      "VSL_LIB",   "VSL_MODE",     "VSL_QOP",  "VSL_ROLE",
    "BUFFERING",       "CONNECT_TIMEOUT", "TRACE_RAW", "TRACE_APPCHDR"};

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string upper(std::string_view text) {
    std::string all(text);
    std::ranges::transform(all, all.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return all;
}

struct Line {
    std::string key;
    std::string_view value;
};

/** Takes a line apart; without a key it says nothing. */
Line parse(std::string_view line) {
    if (line.empty() || line[0] == '*' || line[0] == '#' || line.size() > LONGEST_LINE) return {};
    const std::size_t equal = line.find('=');
    if (equal == std::string_view::npos) return {};
    std::string_view value = line.substr(equal + 1);
    value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
    return {upper(trimmed(line.substr(0, equal))), trimmed(value.substr(0, value.find_first_of(VALUE_END)))};
}

bool known(std::string_view key) {
    return std::ranges::find(KEYS, key) != std::end(KEYS);
}

}  // namespace

int STIReadSideInfo(const std::string& path, std::string_view dest, CPIC_SIDE_INFO* entry) {
    const ThrCSGuard guard(sideinfo_cs);
    entry->clear();
    std::ifstream file(path);
    if (!file) return C_NO_SIDE_INFO;
    CPIC_SIDE_INFO common;
    CPIC_SIDE_INFO* block = nullptr;
    bool found = false;
    std::string text;
    for (unsigned count = 0; count < MOST_LINES && std::getline(file, text); ++count) {
        const Line line = parse(text);
        if (line.key == "DEST") {
            const bool mine = line.value == dest && !found;
            found = found || mine;
            block = mine ? entry : line.value == COMMON ? &common : nullptr;
        } else if (block && known(line.key)) {
            block->try_emplace(line.key, line.value);
        }
    }
    entry->merge(common);
    return found ? static_cast<int>(KEL_O_K) : C_NO_SIDE_INFO_ENTRY;
}
