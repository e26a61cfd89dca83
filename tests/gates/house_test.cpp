// Rules of the house that a machine can keep.

#include <gtest/gtest.h>
#include <kelzor/error.h>
#include <kelzor/types.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "gates/sourcetree.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestFile = 900;
constexpr std::size_t longestFunction = 60;

// What may be longer, and why.
const std::map<std::string, std::string> longFiles = {};
const std::map<std::string, std::string> longFunctions = {};

// Who may end the process, and why.
const std::map<std::string, std::string> endsProcess = {
    {"src/krn/zor/nzor/api/libraryapi.cpp", "the version report is made to end the process"},
    {"src/krn/zor/nzor/connection/frontend.cpp", "a forked child ends itself, not the caller's process"},
};

std::vector<fs::path> productSources() {
    std::vector<fs::path> all;
    for (const char* folder : {"include", "src", "devsys", "tools", "platform", "examples"})
        for (const fs::path& file : gates::sourcesBelow(folder))
            all.push_back(file);
    return all;
}

std::vector<fs::path> allSources() {
    std::vector<fs::path> all = productSources();
    for (const char* folder : {"tests", "bench", "fuzz"})
        for (const fs::path& file : gates::sourcesBelow(folder))
            all.push_back(file);
    return all;
}

struct Function {
    std::string head;
    std::size_t lines;
};

// Text between the last end of a statement or block and an opening brace: what the brace belongs to.
std::string headBefore(const std::string& code, std::size_t brace) {
    std::size_t start = brace;
    while (start > 0 && std::string(";{}").find(code[start - 1]) == std::string::npos)
        start--;
    const std::string head = code.substr(start, brace - start);
    const std::size_t first = head.find_first_not_of(" \t\n");
    return first == std::string::npos ? std::string() : head.substr(first);
}

bool opensScope(const std::string& head) {
    static const std::regex scope(R"re(\b(namespace|class|struct|union|extern)\b)re");
    return head.find('(') == std::string::npos && std::regex_search(head, scope);
}

// Position of the brace that closes the one at `open`.
std::size_t closingBrace(const std::string& code, std::size_t open) {
    std::size_t depth = 0;
    for (std::size_t i = open; i < code.size(); i++) {
        if (code[i] == '{') depth++;
        if (code[i] == '}' && --depth == 0) return i;
    }
    return code.size() - 1;
}

// Lines of a body without its case labels: a switch over types is as long as there are types.
std::size_t linesOf(const std::string& body) {
    static const std::regex label(R"re(\n\s*(case\b|default:)[^\n]*(?=\n))re");
    const auto labels = std::distance(std::sregex_iterator(body.begin(), body.end(), label), {});
    return gates::lineOf(body, body.size()) - 1 - static_cast<std::size_t>(labels);
}

// The functions of a text. Namespaces and classes are gone into; a block whose head has an argument
// list is a function, lines counted from brace to brace.
std::vector<Function> functionsOf(const std::string& text) {
    static const std::regex directive(R"re((^|\n)[ \t]*#([^\n]*\\\n)*[^\n]*)re");
    const std::string code = std::regex_replace(gates::codeOnly(text), directive, "\n");
    std::vector<Function> found;
    for (std::size_t at = code.find('{'); at != std::string::npos; at = code.find('{', at + 1)) {
        const std::string head = headBefore(code, at);
        if (opensScope(head)) continue;
        const std::size_t end = closingBrace(code, at);
        const bool value = !head.empty() && head[head.find_last_not_of(" \n")] == '=';
        if (head.find('(') != std::string::npos && !value)
            found.push_back({head.substr(0, head.find('(')), linesOf(code.substr(at, end - at))});
        at = end;
    }
    return found;
}

TEST(House, FilesStayReadable) {
    for (const fs::path& file : allSources()) {
        const std::string text = gates::readFile(file);
        if (longFiles.count(gates::shortName(file)) == 0) {
            EXPECT_LE(gates::lineOf(text, text.size()) - 1, longestFile) << gates::shortName(file);
        }
    }
}

TEST(House, FunctionsStayReadable) {
    for (const fs::path& file : productSources())
        for (const Function& function : functionsOf(gates::readFile(file)))
            if (longFunctions.count(gates::shortName(file) + ":" + function.head) == 0) {
                EXPECT_LE(function.lines, longestFunction) << gates::shortName(file) << ": " << function.head;
            }
}

TEST(House, FunctionsAreFoundInAMadeUpText) {
    const std::string text =
        "#if defined(A)\n#define B(x) \\\n {\n#endif\nnamespace n {\nclass C {\n  public:\n    int f() const "
        "{ return '{'; }\n};\n"
        "int table[] = {\n1,\n2};\nvoid\ng(int a)\n{\n    if (a) {\n    }\n    // }\n"
        "    switch (a) {\n    case 1:\n    default:\n    }\n}\n}\n";
    const std::vector<Function> functions = functionsOf(text);
    ASSERT_EQ(functions.size(), 2u);
    EXPECT_EQ(functions[0].head, "public:\n    int f");
    EXPECT_EQ(functions[0].lines, 0u);
    EXPECT_EQ(functions[1].head, "void\ng");
    EXPECT_EQ(functions[1].lines, 6u);
}

// Where a pattern occurs in the code of the given files, but for the allowed files; one line each.
std::string occurrences(const std::vector<fs::path>& files, const std::string& pattern,
                        const std::map<std::string, std::string>& allowed, bool withComments) {
    const std::regex wanted(pattern);
    std::ostringstream out;
    for (const fs::path& file : files) {
        if (allowed.count(gates::shortName(file)) != 0) continue;
        const std::string text = gates::readFile(file);
        const std::string code = withComments ? text : gates::codeOnly(text);
        for (std::sregex_iterator it(code.begin(), code.end(), wanted), end; it != end; ++it)
            out << gates::shortName(file) << ":"
                << gates::lineOf(code, static_cast<std::size_t>(it->position())) << ": " << it->str() << "\n";
    }
    return out.str();
}

TEST(House, LibraryNeverEndsTheProcess) {
    EXPECT_EQ(occurrences(gates::sourcesBelow("src"),
                          R"re(\b(_?exit|quick_exit|abort|std::terminate)\s*\()re", endsProcess, false),
              "");
}

// Signals, locale, environment and the standard streams belong to the program.
TEST(House, LibraryLeavesTheProcessAsItWas) {
    EXPECT_EQ(
        occurrences(
            gates::sourcesBelow("src"),
            R"re(\b(signal|sigaction|setlocale|setenv|unsetenv|putenv|chdir|printf|puts)\s*\(|\bcout\b)re",
            {}, false),
        "");
}

TEST(House, NothingIsPutOff) {
    // The words are put together, so that this file passes its own check.
    const std::string words = std::string("\\b(TO") + "DO|FIX" + "ME|XX" + "X|HA" + "CK)\\b";
    EXPECT_EQ(occurrences(allSources(), words, {}, true), "");
}

// Public functions that have no docstring right before them, in the text of a header. The forms by name
// and by index of one access stand together under one docstring.
std::string undocumented(const std::string& text) {
    static const std::regex declaration(R"re((^|\n)KELZOR_API[^;(]*\b(Zor\w+)\s*\([^;]*;)re");
    std::string names;
    std::string previous;
    std::size_t previousEnd = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), declaration), end; it != end; ++it) {
        const std::string name = (*it)[2];
        const auto start = static_cast<std::size_t>(it->position());
        const std::string before = text.substr(0, start);
        const std::size_t open = before.rfind("/**");
        const bool own = open != std::string::npos && before.find("*/", open) + 2 == before.size();
        const bool shared = name == previous + "ByIndex" && previousEnd == start;
        if (!own && !shared) names += name + "\n";
        previous = name;
        previousEnd = start + static_cast<std::size_t>(it->length());
    }
    return names;
}

TEST(House, EveryPublicFunctionHasADocstring) {
    for (const fs::path& header : gates::sourcesBelow("include/kelzor"))
        EXPECT_EQ(undocumented(gates::readFile(header)), "") << gates::shortName(header);
    EXPECT_EQ(undocumented("/** Says so. */\nKELZOR_API int ZorA(void);\n\nKELZOR_API int ZorB(void);\n"),
              "ZorB\n");
}

// The lock order is written once; whoever adds a lock has to say where it stands in it.
TEST(House, EveryLockStandsInTheLockOrder) {
    static const std::regex lock(
        R"re(\b(std::(?:recursive_|shared_|timed_)*mutex|THR_CS_TYPE|THR_REC_MTX)\s+(\w+)\s*(;|\{|=))re");
    const std::string document = gates::readFile(gates::root() / "docs/ARCHITECTURE.md");
    std::size_t count = 0;
    for (const fs::path& file : gates::sourcesBelow("src")) {
        const std::string code = gates::codeOnly(gates::readFile(file));
        for (std::sregex_iterator it(code.begin(), code.end(), lock), end; it != end; ++it, ++count)
            EXPECT_NE(document.find("`" + (*it)[2].str() + "`"), std::string::npos)
                << gates::shortName(file) << ": " << (*it)[2];
    }
    EXPECT_GT(count, 0u);
}

// Links in the documents that lead nowhere; one line each.
TEST(House, DocumentsLinkToFilesThatExist) {
    static const std::regex link(R"re(\]\(([^)#:]+)(#[^)]*)?\))re");
    std::vector<fs::path> documents;
    for (const auto& folder : {gates::root(), gates::root() / "docs"})
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".md") documents.push_back(entry.path());
    EXPECT_FALSE(documents.empty());
    for (const fs::path& document : documents) {
        const std::string text = gates::readFile(document);
        for (std::sregex_iterator it(text.begin(), text.end(), link), end; it != end; ++it)
            EXPECT_TRUE(fs::exists(document.parent_path() / (*it)[1].str()))
                << gates::shortName(document) << ": " << (*it)[1];
    }
}

}  // namespace
