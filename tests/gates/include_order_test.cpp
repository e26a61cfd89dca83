// Every include is read against src/layers.txt, the one table of the layers.

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "gates/sourcetree.h"

namespace {

namespace fs = std::filesystem;

struct Include {
    std::string target;
    bool quoted;
};

struct Layer {
    int rank;
    std::string folder;  // below src
};

std::vector<Include> includesOf(const std::string& text) {
    static const std::regex line(R"re(^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">])re",
                                 std::regex::multiline);
    std::vector<Include> found;
    for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it)
        found.push_back({(*it)[2], (*it)[1] == "\""});
    return found;
}

std::vector<Layer> readLayers() {
    std::vector<Layer> layers;
    std::istringstream in(gates::readFile(gates::root() / "src/layers.txt"));
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        Layer layer;
        std::string name;
        if (words >> layer.rank >> name >> layer.folder) layers.push_back(layer);
    }
    return layers;
}

const Layer* layerOf(const std::vector<Layer>& layers, const std::string& folder) {
    for (const Layer& layer : layers)
        if (layer.folder == folder) return &layer;
    return nullptr;
}

// The file that an include names, relative to the root of the tree; empty if it is none of ours.
std::string resolve(const fs::path& includer, const Include& include, const std::vector<fs::path>& roots) {
    std::vector<fs::path> candidates = roots;
    if (include.quoted) candidates.insert(candidates.begin(), includer.parent_path());
    for (const fs::path& candidate : candidates) {
        const fs::path file = (candidate / include.target).lexically_normal();
        if (fs::exists(file)) return gates::shortName(file);
    }
    return {};
}

std::vector<fs::path> libraryRoots() {
    return {gates::root() / "src", gates::root() / "src/krn/zor/nzor", gates::root() / "include"};
}

bool isPublic(const std::string& file) {
    return file.rfind("include/", 0) == 0;
}

// What is wrong with the includes of one file of the library; one line each.
std::string upwardIncludes(const std::vector<Layer>& layers, const fs::path& file, const std::string& text) {
    const Layer* own = layerOf(layers, file.parent_path().lexically_relative(gates::root() / "src"));
    if (own == nullptr) return gates::shortName(file) + " stands in no layer\n";
    std::string faults;
    for (const Include& include : includesOf(text)) {
        const std::string target = resolve(file, include, libraryRoots());
        if (isPublic(target) || (target.empty() && !include.quoted)) continue;
        const std::string folder = fs::path(target).parent_path().lexically_relative("src");
        const Layer* other = layerOf(layers, folder);
        if (other == nullptr || other->rank > own->rank)
            faults += gates::shortName(file) + " includes " + include.target + "\n";
    }
    return faults;
}

TEST(IncludeOrder, LibraryNeverIncludesUpwards) {
    const std::vector<Layer> layers = readLayers();
    ASSERT_GE(layers.size(), 17u);
    const std::vector<fs::path> sources = gates::sourcesBelow("src");
    ASSERT_FALSE(sources.empty());
    for (const fs::path& source : sources)
        EXPECT_EQ(upwardIncludes(layers, source, gates::readFile(source)), "");
}

TEST(IncludeOrder, FindsFaultsInAMadeUpText) {
    const std::vector<Layer> layers = readLayers();
    const fs::path file = gates::root() / "src/krn/zor/nzor/error/madeup.cpp";
    EXPECT_EQ(upwardIncludes(layers, file,
                             "#include <kelzor/error.h>\n#include <vector>\n"
                             "#include \"zorexception.h\"\n#include \"error/zorliterals.h\"\n"),
              "");
    const std::string up = "src/krn/zor/nzor/error/madeup.cpp includes ";
    EXPECT_EQ(upwardIncludes(layers, file, "#include \"api/frame.h\"\n"), up + "api/frame.h\n");
    EXPECT_EQ(upwardIncludes(layers, file, "  #  include <krn/zor/nzor/api/frame.h>\n"),
              up + "krn/zor/nzor/api/frame.h\n");
    EXPECT_EQ(upwardIncludes(layers, file, "#include \"../wire/zorid.h\"\n"), up + "../wire/zorid.h\n");
    EXPECT_EQ(upwardIncludes(layers, file, "#include \"nowhere.h\"\n"), up + "nowhere.h\n");
    EXPECT_EQ(upwardIncludes(layers, gates::root() / "src/krn/other/madeup.cpp", ""),
              "src/krn/other/madeup.cpp stands in no layer\n");
}

struct Outsider {
    const char* folder;
    std::set<std::string> libraryFiles;  // what of src it may see
    bool seesDevsys;
    bool umbrellasOnly;  // of the public headers <kelzor.h> and <kelzor.hpp> alone, as users are told to
};

bool isUmbrella(const std::string& file) {
    return file == "include/kelzor.h" || file == "include/kelzor.hpp";
}

// The files of the library that an outsider includes though it must not; one line each.
std::string strayIncludes(const Outsider& outsider, const fs::path& file, const std::string& text) {
    std::string faults;
    std::vector<fs::path> roots = libraryRoots();
    roots.push_back(gates::root());
    roots.push_back(gates::root() / "devsys");
    for (const Include& include : includesOf(text)) {
        const std::string target = resolve(file, include, roots);
        const bool internal = target.rfind("src/", 0) == 0 && outsider.libraryFiles.count(target) == 0;
        const bool devsys = target.rfind("devsys/", 0) == 0 && !outsider.seesDevsys;
        const bool part = outsider.umbrellasOnly && isPublic(target) && !isUmbrella(target);
        if (internal || devsys || part)
            faults += gates::shortName(file) + " includes " + include.target + "\n";
    }
    return faults;
}

// The development system shares enumerations and one constant with the library and nothing else, so that
// no mistake in a codec is made on both sides alike.
const Outsider outsiders[] = {
    {"devsys",
     {"src/krn/si/gw/gwenum.h", "src/krn/zor/nzor/wire/zorid.h", "src/krn/zor/nzor/wire/scrambletable.h"},
     true,
     false},
    {"tools", {}, false, true},
    {"examples", {}, false, true},
    // What the development system recorded is told by the numbers of its items.
    {"tests/acceptance", {"src/krn/zor/nzor/wire/zorid.h"}, true, false},
};

TEST(IncludeOrder, OutsidersSeeThePublicHeadersOnly) {
    for (const Outsider& outsider : outsiders)
        for (const fs::path& source : gates::sourcesBelow(outsider.folder))
            EXPECT_EQ(strayIncludes(outsider, source, gates::readFile(source)), "");
}

TEST(IncludeOrder, FindsAStrayIncludeInAMadeUpText) {
    const Outsider& devsys = outsiders[0];
    const fs::path file = gates::root() / "devsys/madeup.cpp";
    EXPECT_EQ(strayIncludes(devsys, file, "#include \"krn/si/gw/gwenum.h\"\n#include <kelzor.h>\n"), "");
    EXPECT_EQ(strayIncludes(devsys, file, "#include \"error/zorexception.h\"\n"),
              "devsys/madeup.cpp includes error/zorexception.h\n");
    EXPECT_EQ(strayIncludes(outsiders[2], gates::root() / "examples/madeup.c", "#include \"wire/zorid.h\"\n"),
              "examples/madeup.c includes wire/zorid.h\n");
    EXPECT_EQ(
        strayIncludes(outsiders[1], gates::root() / "tools/madeup.cpp",
                      "#include <kelzor.hpp>\n#include <kelzor/data.hpp>\n#include \"devsys/zordev.h\"\n"),
        "tools/madeup.cpp includes kelzor/data.hpp\ntools/madeup.cpp includes devsys/zordev.h\n");
}

}  // namespace
