#include "gates/sourcetree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "testpaths.h"

namespace gates {

namespace fs = std::filesystem;

fs::path root() {
    return KELZOR_SOURCE_DIR;
}

std::string readFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in.is_open()) << file;
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::vector<fs::path> sourcesBelow(const std::string& folder) {
    static const std::set<std::string> endings = {".h", ".hpp", ".c", ".cpp"};
    std::vector<fs::path> found;
    if (!fs::exists(root() / folder)) return found;
    for (const auto& entry : fs::recursive_directory_iterator(root() / folder))
        if (endings.count(entry.path().extension().string()) != 0) found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string shortName(const fs::path& file) {
    return file.lexically_relative(root()).string();
}

namespace {

// Position behind the literal or comment that starts at `at`; `at` itself if none does.
std::size_t endOfQuiet(const std::string& text, std::size_t at) {
    const auto behind = [&](const std::string& end, std::size_t from) {
        const std::size_t found = text.find(end, from);
        return found == std::string::npos ? text.size() : found + end.size();
    };
    if (text.compare(at, 2, "//") == 0) return std::min(text.find('\n', at), text.size());
    if (text.compare(at, 2, "/*") == 0) return behind("*/", at + 2);
    if (text.compare(at, 2, "R\"") == 0) {
        const std::size_t open = text.find('(', at);
        return behind(")" + text.substr(at + 2, open - at - 2) + "\"", open);
    }
    // An apostrophe behind a digit or letter separates the digits of a number.
    const bool separator = at > 0 && std::isalnum(static_cast<unsigned char>(text[at - 1])) != 0;
    if (text[at] != '"' && (text[at] != '\'' || separator)) return at;
    for (std::size_t i = at + 1; i < text.size(); i++) {
        if (text[i] == '\\')
            i++;
        else if (text[i] == text[at])
            return i + 1;
    }
    return text.size();
}

}  // namespace

std::string codeOnly(const std::string& text) {
    std::string code = text;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = endOfQuiet(text, at);
        for (std::size_t i = at; i < end; i++)
            if (code[i] != '\n') code[i] = ' ';
        at = std::max(end, at + 1);
    }
    return code;
}

std::size_t lineOf(const std::string& text, std::size_t position) {
    return 1 + static_cast<std::size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(position), '\n'));
}

}  // namespace gates
