/** @file The parameters of a call: filled from the command line and from JSON, read into JSON. */
#pragma once

#include <kelzor.hpp>
#include <string>
#include <vector>

#include "jsontext.h"

namespace zortool {

/**
 * Joins "NAME=VALUE", "STRUCTURE.FIELD=VALUE" and a JSON object into one object of parameters; the
 * assignments go over the object. A value that begins with { or [ is JSON, any other is text as it stands.
 */
Json joinParameters(Json base, const std::vector<std::string>& assignments);

/** Which parameters to read or to write. */
enum class Selection { results, inputs, all };

/**
 * Writes parameters. null leaves one out of the call. Failures are a `Problem`: an unknown name, a parameter
 * that doesn't go that way, a value that doesn't fit. Of the results those that nobody asked for stay as they
 * are.
 */
void fillFunction(kelzor::Function& function, const Json& parameters,
                  Selection selection = Selection::inputs);

/** Reads parameters into an object. Failures: `kelzor::Error`. */
Json readFunction(const kelzor::Function& function, Selection selection);

/** An object to start from: the input parameters with initial values, tables with one row. */
Json templateOf(kelzor::FunctionView description);

}  // namespace zortool
