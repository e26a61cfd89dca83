/** @file Control messages inside the stream: their layout, encoder and decoder; private to the layer. */
#pragma once

#include <span>

#include "base/ni/ni.h"
#include "base/thr/bytes.h"

/** Operation of a control message; 0 marks an error. */
enum NI_OPCODES : std::uint8_t {
    NIOP_NOOP = 0,
    NIOP_VERSION = 1,
    NIOP_VERS_REP = 2,
    NIOP_PING = 3,
    NIOP_PASSREPLY = 5,
    NIOP_PASSOK = 6,
    NIOP_PASS_HDL_EX = 8,
};

/** Layout of a control message; the error text stands between the fixed part and the operation's data. */
namespace NI_RTERR_LAYOUT {
inline constexpr NetField eyecatcher{0, 9};
inline constexpr NetField version = eyecatcher.then(1);
inline constexpr NetField opcode = version.then(1);
inline constexpr NetField filler = opcode.then(1);
inline constexpr NetField rc = filler.then(4);
inline constexpr NetField textLength = rc.then(4);
inline constexpr std::size_t fixedLength = textLength.end();
inline constexpr std::size_t minLength = fixedLength + 4;
}  // namespace NI_RTERR_LAYOUT

/** Bytes of a control message that are looked at; longer ones are data. */
inline constexpr std::size_t NI_CONTROL_MAX = 2048;
inline constexpr std::size_t NI_PING_LENGTH = 8;
/** The two pings, each with its zero byte. */
extern const KEL_RAW NI_PING_MESSAGE[NI_PING_LENGTH];
extern const KEL_RAW NI_PONG_MESSAGE[NI_PING_LENGTH];

/** What a message is. */
enum class NiMessage { data, ping, pong, error, version, versionReply, control, unknownControl };

/** A message that was looked at. */
struct NiParsed {
    NiMessage kind = NiMessage::data;
    KEL_INT rc = 0;                        ///< Code of an error.
    KEL_RAW version = 0;                   ///< Of the sender's network layer.
    std::span<const KEL_RAW> errorText{};  ///< Error information of an error, in its wire form.
};

/** Whether the first bytes of a message are those of a control message other than a ping. */
bool NiIsControl(std::span<const KEL_RAW> start) noexcept;

/** Looks at a complete message. */
NiParsed NiParseMessage(std::span<const KEL_RAW> message) noexcept;

/** Writes a control message without text; returns its length in bytes. */
std::size_t NiPutControl(std::span<KEL_RAW, NI_RTERR_LAYOUT::minLength> target, NI_OPCODES opcode,
                         KEL_INT rc) noexcept;
