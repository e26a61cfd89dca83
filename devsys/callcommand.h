/**
 * @file
 * `zordev call`: calls a program that is registered at a running development system.
 */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace zordev {

/** The arguments of the command. */
struct CallCommand {
    std::uint16_t gatewayPort = 0;
    std::string programId;
    std::string function;
    std::vector<std::string> parameters;
    unsigned limitMs = 60000;
    bool trace = false;

    /** Adds the command to the program's options. */
    CLI::App* addTo(CLI::App& app);
    /** Makes the call and prints the fields that came back; 0, or 1 when there is no answer. */
    int run() const;
};

}  // namespace zordev
