#include "everydatafunction.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "testpaths.h"

namespace {

std::string contentOf(const std::string& file) {
    std::ifstream stream(KELZOR_SOURCE_DIR "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(EveryDataFunction, worksFromC) {
    EXPECT_STREQ(useEveryDataFunction(), nullptr);
}

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool hasWord(const std::string& text, const std::string& word) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        if (!isWordCharacter(text[at - 1]) && !isWordCharacter(text[at + word.size()])) return true;
    return false;
}

/** The names in front of the first parenthesis of each declaration. */
std::vector<std::string> declaredIn(const std::string& header) {
    static const std::string mark = "KELZOR_API ";
    std::vector<std::string> names;
    for (size_t at = header.find(mark); at != std::string::npos; at = header.find(mark, at + 1)) {
        const size_t end = header.find('(', at);
        size_t begin = end;
        while (isWordCharacter(header[begin - 1]))
            --begin;
        names.push_back(header.substr(begin, end - begin));
    }
    return names;
}

// What the headers of the data half declare is used, so that a new function can't be forgotten.
TEST(EveryDataFunction, noneIsLeftOut) {
    std::string program = contentOf("tests/acceptance/everydatafunction.c");
    for (const char* kind : {"Int", "Int1", "Int2", "Int8", "Float"})  // one macro calls these
        for (const char* way : {"", "ByIndex"})
            program += std::string(" ZorGet") + kind + way + " ZorSet" + kind + way + " ";
    for (const char* header : {"library", "config", "language", "metadata", "classes", "data", "function",
                               "objects", "table", "repository"}) {
        const std::vector<std::string> names =
            declaredIn(contentOf(std::string("include/kelzor/") + header + ".h"));
        EXPECT_GT(names.size(), 3U) << header;
        for (const std::string& name : names)
            EXPECT_TRUE(hasWord(program, name)) << name;
    }
}

}  // namespace
