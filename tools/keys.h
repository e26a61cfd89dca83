/** @file The connection parameters, each of which is an option of the tool. */
#pragma once

#include <span>
#include <string>

namespace zortool {

/** A connection parameter of the library. */
struct ConnectionKey {
    const char* name;     /**< As the library and kelzor.ini call it. */
    const char* argument; /**< What its value is, in one word. */
    const char* group;    /**< Heading under which it is listed. */
    const char* help;
    bool common = false; /**< Shown by `zor --help`; all stand in `zor keys`. */
    bool secret = false; /**< The option takes where the value is, not the value. */
};

/** All of them, by group. */
std::span<const ConnectionKey> connectionKeys();

/** Name of the option, as "--program-id" for PROGRAM_ID. */
std::string optionOf(const ConnectionKey& key);

}  // namespace zortool
