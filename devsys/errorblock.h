/**
 * @file
 * The error block that a gateway sends behind a record or an answer: 21 zero-terminated texts with an
 * eyecatcher at both ends, at most 500 bytes.
 */
#pragma once

#include <string>
#include <string_view>

namespace zordev {

/** Who reports an error. */
struct ErrorSource {
    std::string_view component;
    std::string_view module;
    std::string_view location;
};

inline constexpr ErrorSource GATEWAY_ERROR = {"KEL-Gateway", "gateway",
                                              "KEL-Gateway on host zordev / kelgw00"};
inline constexpr ErrorSource ROUTER_ERROR = {"NI (network interface)", "router", "KELRouter on host zordev"};

/** A block for return code `rc` with the short text `error` and `detail`; the other fields are the source's.
 */
std::string makeErrorBlock(int rc, std::string_view error, std::string_view detail,
                           const ErrorSource& source = GATEWAY_ERROR);

}  // namespace zordev
