#include <iostream>

#include "callvalues.h"
#include "commands.h"
#include "describe.h"
#include "lookup.h"
#include "problem.h"
#include "texttable.h"

namespace zortool {

namespace {

// The function of back-ends that offer searches: a pattern goes in as FUNCNAME, tables of what was found come
// back.
constexpr const char* searchFunction = "ZOR_FUNCTION_SEARCH";

// A kind of description: its name, and how to get one.
struct Kind {
    const char* name;
    Json (*describe)(kelzor::Connection& connection, const std::string& name);
};

constexpr Kind kinds[] = {
    {"function",
     [](kelzor::Connection& connection, const std::string& name) {
         return describeFunction(connection.functionDescription(name));
     }},
    {"type", [](kelzor::Connection& connection,
                const std::string& name) { return describeType(connection.typeDescription(name)); }},
    {"class", [](kelzor::Connection& connection,
                 const std::string& name) { return describeClass(connection.classDescription(name)); }},
};

// The first kind that the name stands for; a kind that doesn't know it gives way to the next.
Json lookUp(kelzor::Connection& connection, const Target& target, const DescribeOptions& options) {
    const std::string name = kelzor::fromUtf8(options.name);
    for (const Kind& kind : kinds) {
        if (options.kind != "any" && options.kind != kind.name) continue;
        const auto found = kelzor::attempt([&] { return kind.describe(connection, name); });
        if (found) return *found;
        if (!meansUnknown(found.error()) || options.kind != "any")
            throw Problem(found.error(), "looking up the " + (kind.name + (" " + options.name)),
                          target.where());
    }
    throw Problem(
        EXTERNAL_RUNTIME_FAILURE, "the partner knows no function, type or class " + options.name,
        "Names are in capitals as a rule. `zor search 'PART*'` finds functions where the partner offers it.");
}

void writeFound(const Json& values) {
    std::size_t count = 0;
    for (const auto& [name, value] : values.items())
        if (value.is_array()) count += value.size();
    if (count == 0)
        std::cout << "no function is called so; * stands for any characters\n";
    else
        writeValues(std::cout, values, std::nullopt);
}

}  // namespace

int describe(Settings& settings, const DescribeOptions& options) {
    const Interrupts interrupts;
    settings.target.prepare();
    kelzor::Connection connection = settings.target.open();
    if (options.makeTemplate) {
        writeJson(std::cout, templateOf(lookUpFunction(connection, settings.target, options.name)));
        return 0;
    }
    const Json description = lookUp(connection, settings.target, options);
    if (settings.json)
        writeJson(std::cout, description);
    else
        writeDescription(std::cout, description);
    return 0;
}

int search(Settings& settings, const SearchOptions& options) {
    const Interrupts interrupts;
    settings.target.prepare();
    kelzor::Connection connection = settings.target.open();
    const auto description = kelzor::attempt([&] { return connection.functionDescription(searchFunction); });
    if (!description && meansUnknown(description.error()))
        throw Problem(EXTERNAL_RUNTIME_FAILURE,
                      "this partner offers no search: it has no function ZOR_FUNCTION_SEARCH",
                      "`zor describe NAME` tells whether a name is there.");
    if (!description) throw Problem(description.error(), "preparing the search", settings.target.where());
    kelzor::Function function(*description);
    fillFunction(function, {{"FUNCNAME", options.pattern}});
    const auto called = kelzor::attempt([&] { connection.invoke(function); });
    if (!called) throw Problem(called.error(), "searching", settings.target.where());
    const Json values = readFunction(function, Selection::results);
    if (settings.json)
        writeJson(std::cout, values);
    else
        writeFound(values);
    return 0;
}

}  // namespace zortool
