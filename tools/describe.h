/** @file Descriptions of functions, types and classes, as JSON and for a human. */
#pragma once

#include <iosfwd>
#include <kelzor.hpp>

#include "jsontext.h"

namespace zortool {

/**
 * A description as an object: `kind`, `name`, what it consists of, and under `types` each type that is used,
 * once (types may contain themselves by way of a table).
 */
Json describeFunction(kelzor::FunctionView function);
Json describeType(kelzor::TypeView type);
Json describeClass(kelzor::ClassView type);

/** Writes such an object as tables. */
void writeDescription(std::ostream& out, const Json& description);

}  // namespace zortool
