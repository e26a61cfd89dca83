#include "base/ni/nimsg.h"

#include <algorithm>

#include "base/ni/nierr.h"

namespace {

namespace L = NI_RTERR_LAYOUT;

constexpr KEL_RAW RTERR[] = {'N', 'I', '_', 'R', 'T', 'E', 'R', 'R', 0};
static_assert(sizeof RTERR == L::eyecatcher.length);

/** Senders up to this version leave the operation undefined: their message is an error. */
constexpr int LAST_VERSION_WITHOUT_OPCODE = 28;

NiMessage kindOf(int opcode) {
    switch (opcode) {
        case NIOP_NOOP:
            return NiMessage::error;
        case NIOP_VERSION:
            return NiMessage::version;
        case NIOP_VERS_REP:
            return NiMessage::versionReply;
        case NIOP_PING:
        case NIOP_PASSREPLY:
        case NIOP_PASSOK:
        case NIOP_PASS_HDL_EX:
            return NiMessage::control;
        default:
            return NiMessage::unknownControl;
    }
}

}  // namespace

const KEL_RAW NI_PING_MESSAGE[NI_PING_LENGTH] = {'N', 'I', '_', 'P', 'I', 'N', 'G', 0};
const KEL_RAW NI_PONG_MESSAGE[NI_PING_LENGTH] = {'N', 'I', '_', 'P', 'O', 'N', 'G', 0};

bool NiIsControl(std::span<const KEL_RAW> start) noexcept {
    return start.size() >= sizeof RTERR && std::ranges::equal(start.first(sizeof RTERR), RTERR);
}

NiParsed NiParseMessage(std::span<const KEL_RAW> message) noexcept {
    if (std::ranges::equal(message, NI_PING_MESSAGE)) return {.kind = NiMessage::ping};
    if (std::ranges::equal(message, NI_PONG_MESSAGE)) return {.kind = NiMessage::pong};
    if (message.size() < L::minLength || !NiIsControl(message)) return {};
    ByteReader reader(message);
    const KEL_RAW version = reader.at(L::version).u8();
    const int opcode = reader.at(L::opcode).u8();
    const KEL_INT rc = reader.at(L::rc).i32();
    const std::size_t textLength = reader.at(L::textLength).u32();
    const auto text = reader.bytes(textLength);
    if (!reader.ok()) return {};
    return {kindOf(version > LAST_VERSION_WITHOUT_OPCODE ? opcode : NIOP_NOOP), rc, version, text};
}

std::size_t NiPutControl(std::span<KEL_RAW, L::minLength> target, NI_OPCODES opcode, KEL_INT rc) noexcept {
    std::ranges::fill(target, KEL_RAW{0});
    ByteWriter writer(target);
    writer.at(L::eyecatcher).bytes(RTERR);
    writer.at(L::version).u8(NI_VERSION);
    writer.at(L::opcode).u8(opcode);
    writer.at(L::rc).i32(rc);
    return target.size();
}
