/**
 * @file
 * JSON text as the tool takes it: numbers keep all their digits, a name may not come twice, and what is wrong
 * is told with its line and column.
 */
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace zortool {

using Json = nlohmann::ordered_json;

/** Reads a JSON text; `name` is what messages call it. A failure is a `Problem`. */
Json parseJson(std::string_view text, const std::string& name);

/**
 * The digits of a number as they stood in the text, for a number of either kind; none for any other value.
 * Numbers that aren't integers of 64 bits are kept as text: a decimal would lose digits in a double.
 */
std::optional<std::string> numberText(const Json& value);

/** Kind of a value for messages: "an object", "a number". */
std::string kindOf(const Json& value);

}  // namespace zortool
