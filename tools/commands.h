/** @file The commands of the tool. Each returns the exit status; failures are thrown as `Problem`. */
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "load.h"
#include "target.h"

namespace zortool {

/** What holds for every command. */
struct Settings {
    Target target;
    bool json = false; /**< Results and problems as JSON, not as tables. */
};

struct PingOptions {
    unsigned count = 1;
};

struct DescribeOptions {
    std::string name;
    std::string kind = "any"; /**< any, function, type or class. */
    bool makeTemplate = false;
};

struct SearchOptions {
    std::string pattern = "*";
};

struct CallOptions {
    std::string name;
    std::vector<std::string> assignments;
    std::string jsonFile; /**< "-" is the standard input; empty: none. */
    bool all = false;     /**< Show what was sent, too. */
    std::optional<unsigned> rows;
    LoadPlan load;
};

struct ServeOptions {
    std::string file;
    unsigned patience = 30; /**< Seconds that calls may take once the end was asked for. */
};

int ping(Settings& settings, const PingOptions& options);
int info(Settings& settings);
int describe(Settings& settings, const DescribeOptions& options);
int search(Settings& settings, const SearchOptions& options);
int call(Settings& settings, const CallOptions& options);
/** Serves the functions of a file by running their programs until SIGINT or SIGTERM. */
int serve(Settings& settings, const ServeOptions& options);
/** Lists the connection parameters. */
int keys(const Settings& settings);
/** Becomes the development system, the program zordev beside this one. Doesn't return unless it fails. */
int dev(const std::vector<std::string>& arguments);

/** Writes parameters and their values for a human; at most `rows` rows of a table. */
void writeValues(std::ostream& out, const Json& values, std::optional<unsigned> rows);

/** Writes JSON with an end of line. */
void writeJson(std::ostream& out, const Json& json);

}  // namespace zortool
