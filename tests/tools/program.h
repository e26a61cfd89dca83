/** @file Running the tool as a user does: as a child process, against a development system in this one. */
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "devsys/zordev.h"

/** What a run of a program came to. */
struct Outcome {
    int status = -1; /**< Exit status; 128 and the signal's number if one ended it. */
    std::string out;
    std::string err;
};

/** A development system, and a scratch folder with a kelzor.ini that leads to it. */
class ToolTest : public testing::Test {
  protected:
    ToolTest();
    ~ToolTest() override;

    /** Runs the tool in the scratch folder. `input` is its standard input; `environment` as "NAME=VALUE". */
    Outcome zor(const std::vector<std::string>& arguments, const std::string& input = {},
                const std::vector<std::string>& environment = {});

    /** The same with a command line of words that are separated by blanks. */
    Outcome zorLine(const std::string& line, const std::string& input = {});

    /** Starts the tool and leaves it running. */
    pid_t start(const std::vector<std::string>& arguments);
    /** Waits for its end. */
    Outcome finish(pid_t child);

    /** Runs it at a terminal: writes `answer` once `question` stands there. Gives all that the terminal
     * showed. */
    Outcome zorAtTerminal(const std::vector<std::string>& arguments, const std::string& question,
                          const std::string& answer);

    void write(const std::string& file, const std::string& text) const;
    std::filesystem::path path(const std::string& file) const { return folder / file; }

    zordev::DevSystem system;
    std::filesystem::path folder;
};

/** Whole content of a file; empty if there is none. */
std::string contentOf(const std::filesystem::path& file);
