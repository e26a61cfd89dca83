/** @file Settings of the process; private to the layer. */
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "krn/si/cpic/cpic.h"

/** Read from the environment when the layer is used first; constant from then on. */
struct CPIC_GLOBALS {
    CPIC_INT cpic_max_conv = 200;
    bool cpic_use_uds = true;
    CPIC_INT cpic_trace_len = 32000;  ///< Most bytes of a block in the trace of raw data.
    bool cpic_buffering = true;
    bool cpic_with_lu_addr = false;         ///< Tell the gateway the partner's address too.
    CPIC_INT cpic_connect_timeout = 60000;  ///< ms; -1 none.
    CPIC_INT cpic_trace_raw = 0;
    CPIC_INT cpic_trace_appchdr = 0;
    bool cpic_ping = false;  ///< Ping the gateway of a registration that waits.
    CPIC_INT cpic_ping_reply = 0;
    CPIC_INT cpic_ping_period = 10;          ///< s
    CPIC_INT cpic_ping_timeout = 50;         ///< ms
    CPIC_INT cpic_select_check_period = 30;  ///< s
    CPIC_INT cpic_select_check_timeout = 2;  ///< s
    CPIC_INT cpic_no_nicheck = 5;            ///< Pings that may go unanswered.
    CPIC_INT trace_level = 0;                ///< CPIC_TRACE
    std::string trace_dir;                   ///< CPIC_TRACE_DIR
    CPIC_INT trace_file_size = 100;          ///< MiB
    std::string side_info = "sideinfo";      ///< File of the side information.
    std::string my_hostname;
    std::string my_TP_name;  ///< Own program.
    std::string user;        ///< Name of the user, else of the host, else "?".
};

/** What the environment says about a name; nothing if it isn't set. */
using CPIC_GETENV = std::function<std::optional<std::string>(const KEL_CHAR* name)>;

/** The settings that come from an environment; a value out of its range counts as not given. */
CPIC_GLOBALS STIReadSettings(const CPIC_GETENV& environment);

/** The settings; the first call starts the network layer too. */
const CPIC_GLOBALS& STInitGlobals() noexcept;

/** Limit in ms of conversations without one of their own; -1 none. */
inline std::atomic<CPIC_INT> cpic_timeout{-1};
/** Whether the side information is read. */
inline std::atomic<bool> cpic_use_sideinfo{true};
/** Called before each blocking wait, if there is one. */
inline std::atomic<CPIC_SOCK_WAITER> cpic_sock_waiter{nullptr};

/** Name that the program has by its argument vector; only what stands there before the first call counts. */
void STISetProgramName(const KEL_CHAR* path) noexcept;
