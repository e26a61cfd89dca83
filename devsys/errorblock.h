/**
 * @file
 * The error block that a gateway sends behind a record or an answer: 21 zero-terminated texts with an
 * eyecatcher at both ends, at most 500 bytes.
 */
#pragma once

#include <string>
#include <string_view>

namespace zordev {

/** A block for return code `rc` with the short text `error` and `detail`; the other fields are the gateway's.
 */
std::string makeErrorBlock(int rc, std::string_view error, std::string_view detail);

}  // namespace zordev
