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

// Whoever includes the umbrella gets every family.
TEST(Header, UmbrellaIncludesEveryFamily) {
    const std::string umbrella = gates::readFile(gates::root() / "include/kelzor.h");
    for (const auto& header : gates::sourcesBelow("include/kelzor"))
        EXPECT_NE(umbrella.find("#include <kelzor/" + header.filename().string() + ">"), std::string::npos)
            << header;
}

}  // namespace
