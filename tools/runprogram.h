/** @file Running a program with an input and taking what it writes. No shell stands in between. */
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace zortool {

/** A program to run. */
struct ProgramCall {
    std::vector<std::string> command;     /**< The program, found as a shell finds it, and its arguments. */
    std::vector<std::string> environment; /**< As NAME=VALUE, in front of that of this process. */
    std::string input;
    std::chrono::milliseconds timeLimit{};
};

/** What came of it. */
struct ProgramOutcome {
    enum class End { exited, killed, outOfTime, tooMuch };
    End end = End::exited;
    int status = 0; /**< Exit status, or the number of the signal. */
    std::string output;
    std::string errors; /**< The last part, if it is long. */
};

/**
 * Runs a program to its end, or to that of its time. It gets default signals and a process group of its own,
 * which goes with it when it is killed. Any number of threads may do this at once. SIGPIPE has to be ignored.
 *
 * Throws std::system_error if it can't be started.
 */
ProgramOutcome runProgram(const ProgramCall& call);

/** Kills all programs that are running. */
void killPrograms();

}  // namespace zortool
