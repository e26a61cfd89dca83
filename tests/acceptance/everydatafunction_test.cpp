#include "everydatafunction.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace {

std::string contentOf(const std::string& file) {
    std::ifstream stream(KELZOR_SOURCE_DIR "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(EveryDataFunction, worksFromC) {
    EXPECT_STREQ(useEveryDataFunction(), nullptr);
}

// What the headers of the data half declare is used, so that a new function can't be forgotten.
TEST(EveryDataFunction, noneIsLeftOut) {
    std::string program = contentOf("tests/acceptance/everydatafunction.c");
    for (const char* kind : {"Int", "Int1", "Int2", "Int8", "Float"})  // one macro calls these
        for (const char* way : {"", "ByIndex"})
            program += std::string(" ZorGet") + kind + way + "( ZorSet" + kind + way + "( ";
    const std::regex declaration(R"(KELZOR_API [^;(]*\b(Zor\w+)\()");
    for (const char* header : {"library", "config", "language", "metadata", "classes", "data", "function",
                               "objects", "table", "repository"}) {
        const std::string text = contentOf(std::string("include/kelzor/") + header + ".h");
        unsigned functions = 0;
        for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end;
             ++at, ++functions)
            EXPECT_TRUE(std::regex_search(program, std::regex("\\b" + (*at)[1].str() + "\\b"))) << (*at)[1];
        EXPECT_GT(functions, 3U) << header;
    }
}

}  // namespace
