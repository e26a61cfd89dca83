/** @file Completion of the command line in a shell. */
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>

namespace zortool {

/** Writes a script for bash, made of the definition of the options, that completes all that doesn't need a
 * partner. */
void writeBashCompletion(std::ostream& out, const CLI::App& app);

}  // namespace zortool
