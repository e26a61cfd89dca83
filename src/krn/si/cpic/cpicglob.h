/** @file Settings of the process; private to the layer. */
#pragma once

#include <string>

#include "krn/si/cpic/cpic.h"

/** Read from the environment when the layer is used first; constant from then on. */
struct CPIC_GLOBALS {
    CPIC_INT cpic_max_conv = 200;
    bool cpic_buffering = true;
    CPIC_INT cpic_connect_timeout = 60000;  ///< ms; -1 none.
    std::string my_hostname;
    std::string my_TP_name;  ///< Own program.
    std::string user;        ///< Name of the user, else of the host, else "?".
};

/** The settings; the first call starts the network layer too. */
const CPIC_GLOBALS& STInitGlobals() noexcept;

/** Name that the program has by its argument vector; only what stands there before the first call counts. */
void STISetProgramName(const KEL_CHAR* path) noexcept;
