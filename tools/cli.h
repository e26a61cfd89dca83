/** @file The command line: options and commands, and what they are set to. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "commands.h"

namespace zortool {

/** The command line with all that it sets. */
class CommandLine {
  public:
    CommandLine();

    /**
     * Reads a command line and runs its command.
     *
     * @param arguments without the program's name.
     * @return the exit status. Failures are a `Problem`.
     */
    int run(std::vector<std::string> arguments);

    /** Whether problems are to be written as JSON; known once `run` has read the options. */
    bool json() const { return settings_.json; }

    /** The definition of the options, for whoever lists them. */
    const CLI::App& app() const { return app_; }

  private:
    void addConnectionOptions();
    void addCommands();
    void addDescribe();
    void addCall();
    void addServe();
    CLI::App* addCommand(const std::string& name, const std::string& text, std::function<int()> action);
    int parse(const std::vector<std::string>& arguments);
    [[noreturn]] void refuseCommand() const;
    [[noreturn]] void refuseExtras() const;

    CLI::App app_;
    Settings settings_;
    PingOptions ping_;
    DescribeOptions describe_;
    SearchOptions search_;
    CallOptions call_;
    ServeOptions serve_;
    std::string format_ = "table";
    std::string shell_ = "bash";
    std::function<int()> action_;
};

}  // namespace zortool
