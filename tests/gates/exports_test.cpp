// The shared library exports what the public headers declare, and the list of exports knows it all.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>
#include <regex>
#include <set>

#include "gates/sourcetree.h"
#include "testpaths.h"

namespace {

using Names = std::set<std::string>;

struct Row {
    const char* name;
};

const Row rows[] = {
#define ZOR_EXPORT(name, family, frame) {#name},
#include "krn/zor/nzor/api/exports.def"
#undef ZOR_EXPORT
};

Names listed() {
    Names names;
    for (const Row& row : rows)
        names.insert(row.name);
    return names;
}

Names declared() {
    static const std::regex declaration(R"re(KELZOR_API[^;(]*\b(Zor\w+)\s*\()re");
    Names names;
    for (const auto& header : gates::sourcesBelow("include/kelzor")) {
        const std::string code = gates::codeOnly(gates::readFile(header));
        for (std::sregex_iterator it(code.begin(), code.end(), declaration), end; it != end; ++it)
            names.insert((*it)[1]);
    }
    return names;
}

// Defined names of the dynamic symbol table, read from the file's section headers.
Names exported() {
    const std::string file = gates::readFile(KELZOR_LIBRARY);
    const auto at = [&]<class T>(std::size_t offset, T) {
        T value{};
        if (offset + sizeof(T) <= file.size()) std::memcpy(&value, file.data() + offset, sizeof(T));
        return value;
    };
    const auto header = at(0, ElfW(Ehdr){});
    const auto section = [&](std::size_t number) {
        return at(header.e_shoff + number * header.e_shentsize, ElfW(Shdr){});
    };
    Names names;
    for (std::size_t number = 0; number < header.e_shnum; number++) {
        const ElfW(Shdr) symbols = section(number);
        if (symbols.sh_type != SHT_DYNSYM) continue;
        const std::size_t texts = section(symbols.sh_link).sh_offset;
        for (std::size_t i = 1; i < symbols.sh_size / sizeof(ElfW(Sym)); i++) {
            const auto symbol = at(symbols.sh_offset + i * sizeof(ElfW(Sym)), ElfW(Sym){});
            if (symbol.st_shndx != SHN_UNDEF) names.insert(file.c_str() + texts + symbol.st_name);
        }
    }
    return names;
}

TEST(Exports, ListHasEveryNameOnce) {
    EXPECT_EQ(std::size(rows), 225u);
    EXPECT_EQ(listed().size(), 225u);
}

TEST(Exports, LibraryExportsWhatTheHeadersDeclare) {
    const Names names = exported();
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names, declared());
    for (const std::string& name : names)
        EXPECT_EQ(listed().count(name), 1u) << name;
}

TEST(Exports, LibraryLoadsWithoutUnresolvedNames) {
    void* library = dlopen(KELZOR_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const std::string& name : declared())
        EXPECT_NE(dlsym(library, name.c_str()), nullptr) << name;
    EXPECT_EQ(dlsym(library, "_ZN16ZorBaseExceptionD1Ev"), nullptr);
    dlclose(library);
}

// Programs are linked against this name, so it changes with the major number only.
TEST(Exports, LibraryCarriesItsSoname) {
    const std::string file = gates::readFile(KELZOR_LIBRARY);
    EXPECT_NE(file.find(std::string("\0libkelzorcm.so.7\0", 18)), std::string::npos);
}

}  // namespace
