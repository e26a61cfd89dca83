/**
 * @file
 * Functions that `zor serve` serves, as a JSON file tells them:
 *
 *     {"functions": [{"name": "GREET", "run": ["./greet"], "seconds": 10,
 *                     "parameters": [{"direction": "import", "name": "NAME", "type": "CHAR", "length": 40}],
 *                     "exceptions": [{"key": "NO_NAME", "text": "Nobody is there"}]}],
 *      "types": [{"name": "LINE", "fields": [{"name": "TEXT", "type": "STRING"}]}]}
 *
 * A function looks as `zor describe --format json` shows it, with its own types beside those of the file.
 */
#pragma once

#include <chrono>
#include <kelzor.hpp>
#include <set>
#include <string>
#include <vector>

#include "jsontext.h"

namespace zortool {

/** A function, and the program that is run for each call. */
struct ServedFunction {
    kelzor::FunctionBuilder description;
    std::string name; /**< In UTF-8. */
    std::vector<std::string> command;
    std::chrono::seconds timeLimit;
    std::set<std::string> exceptions; /**< Keys that the program may raise. */
};

/** Reads them. Failures are a `Problem` that names the place in the file. */
std::vector<ServedFunction> readServedFunctions(const Json& file);

}  // namespace zortool
