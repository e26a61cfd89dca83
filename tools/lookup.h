/** @file Descriptions from the partner, with failures that tell what to try. */
#pragma once

#include <kelzor.hpp>
#include <string>

#include "target.h"

namespace zortool {

/** The description of a function. Failures are a `Problem`. */
kelzor::FunctionView lookUpFunction(kelzor::Connection& connection, const Target& target,
                                    const std::string& name);

/** Whether a query failed because the partner doesn't know the name, and not for another reason. */
bool meansUnknown(const kelzor::Error& error);

}  // namespace zortool
