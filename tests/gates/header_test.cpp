// The public header alone, before anything else could lend it a declaration.
#include <kelzor.h>
//
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <type_traits>

#include "gates/sourcetree.h"

extern "C" int gatesHeaderFromC(void);

namespace {

TEST(Header, ServesBothLanguages) {
    EXPECT_EQ(gatesHeaderFromC(), ZOR_OK);
    EXPECT_TRUE(std::is_trivial_v<ZOR_ERROR_INFO> && std::is_standard_layout_v<ZOR_ERROR_INFO>);
}

// Whoever includes an umbrella gets every family: that of C the headers of C, that of C++ those of C++.
TEST(Header, UmbrellasIncludeEveryFamily) {
    for (const auto& header : gates::sourcesBelow("include/kelzor")) {
        const std::string ending = header.extension();
        const std::string umbrella = gates::readFile(gates::root() / ("include/kelzor" + ending));
        EXPECT_NE(umbrella.find("#include <kelzor/" + header.filename().string() + ">"), std::string::npos)
            << header;
    }
}

}  // namespace
