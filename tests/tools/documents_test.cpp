// The options of the tool, the connection parameters of the library's guide and the manual page belong
// together.

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "program.h"
#include "testpaths.h"
#include "tools/cli.h"
#include "tools/keys.h"

namespace {

namespace fs = std::filesystem;

TEST(Documents, EveryConnectionParameterIsAnOption) {
    const std::string guide = contentOf(fs::path(KELZOR_SOURCE_DIR) / "docs/connection-options.md");
    static const std::regex row(R"re(\n\| `([A-Z0-9_]+)` \|)re");
    std::set<std::string> documented, known;
    for (std::sregex_iterator it(guide.begin(), guide.end(), row), end; it != end; ++it)
        documented.insert((*it)[1]);
    for (const zortool::ConnectionKey& key : zortool::connectionKeys())
        known.insert(key.name);
    EXPECT_GT(documented.size(), 40u);
    EXPECT_EQ(known, documented);
}

// Options that the help shows; the rarer connection parameters stand in `zor keys` alone.
std::set<std::string> shownOptions(const CLI::App& app) {
    std::set<std::string> names;
    for (const CLI::Option* option : app.get_options())
        if (!option->get_group().empty())
            for (const std::string& name : option->get_lnames())
                names.insert("--" + name);
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.merge(shownOptions(*command));
    return names;
}

TEST(Documents, TheManualPageHasEveryOptionAndCommand) {
    std::string page = contentOf(fs::path(KELZOR_SOURCE_DIR) / "tools/zor.1");
    page = std::regex_replace(page, std::regex(R"(\\-)"), "-");
    const zortool::CommandLine commandLine;
    const std::set<std::string> shown = shownOptions(commandLine.app());
    EXPECT_GT(shown.size(), 20u);
    for (const std::string& option : shown)
        EXPECT_TRUE(std::regex_search(page, std::regex(option + "(?![a-z-])"))) << option;
    for (const CLI::App* command : commandLine.app().get_subcommands([](const CLI::App*) { return true; }))
        EXPECT_TRUE(std::regex_search(page, std::regex("(fB|\\.B )" + command->get_name() + "\\b")))
            << command->get_name();
}

}  // namespace
