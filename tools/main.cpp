/**
 * @file
 * `zor`, the command line tool: see `zor --help` and zor.1.
 */
#include <exception>
#include <iostream>

#include "cli.h"
#include "problem.h"

namespace {

int report(const zortool::Problem& problem, bool json) {
    std::cout.flush();
    problem.write(std::cerr, json);
    return problem.exitStatus();
}

int runGuarded(zortool::CommandLine& commandLine, int argc, char** argv) {
    try {
        const int status = commandLine.run({argv + 1, argv + argc});
        std::cout.flush();
        if (!std::cout) throw zortool::Problem(zortool::exitOutput, "the result can't be written");
        return status;
    } catch (const zortool::Problem& problem) {
        return report(problem, commandLine.json());
    } catch (const kelzor::Error& error) {
        return report(zortool::Problem(error, error.function(), ""), commandLine.json());
    } catch (const std::exception& error) {
        return report({zortool::exitInternal, std::string("failed: ") + error.what()}, commandLine.json());
    }
}

}  // namespace

int main(int argc, char** argv) {
    zortool::CommandLine commandLine;
    return runGuarded(commandLine, argc, argv);
}
