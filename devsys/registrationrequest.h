/**
 * @file
 * What a program sends to register and to keep its registration: the extension behind its connect
 * record, and requests that are a bare header.
 */
#pragma once

#include <string>

#include "devsys/gwrequest.h"

namespace zordev {

/** Values of `protocol` in the requests of programs. */
inline constexpr std::uint8_t PROTOCOL_EXTERNAL = 3;   /**< A started program. */
inline constexpr std::uint8_t PROTOCOL_REGISTERED = 7; /**< A registered one. */

/** The extension: 512 bytes with the program's host and its id, each with a closing zero, and blanks. */
namespace ext {
inline constexpr std::size_t longLu = 0, longLuWidth = 128;
inline constexpr std::size_t longTp = 128, longTpWidth = 64;
inline constexpr std::size_t rest = 192, length = 512;
}  // namespace ext

/**
 * Checks the extension and returns the program id, or an empty text after a violation. `nameStart` is the
 * `tp` of the connect record, the id's first eight characters.
 */
std::string readExtension(ByteSpan message, std::string_view nameStart, ViolationLog& log);

/** Whether a text is the id that a program makes for its registration: a letter and its handle. */
bool isRegistrationId(std::string_view id);

/** Checks KEL_ACCPTP, KEL_UNACCPTP or KEL_UNREGTP, a bare header whose `send_length` is its own length. */
bool checkRegistrationRequest(ByteSpan message, const RequestContext& context, ViolationLog& log);

}  // namespace zordev
