#include "devsys/routepacket.h"

#include <algorithm>

namespace zordev {
namespace {

constexpr std::string_view CONTROL_EYECATCHER("NI_RTERR\0", 9);
constexpr std::size_t CONTROL_VERSION_AT = 9, CONTROL_OPERATION_AT = 10, CONTROL_CODE_AT = 12;
constexpr std::size_t CONTROL_LENGTH_AT = 16, CONTROL_TEXT_AT = 20, CONTROL_MINIMUM = 24;

// One of a hop's three texts; false when its zero byte lies beyond the space.
bool readText(ByteSpan space, std::size_t& offset, std::string& text) {
    const std::string_view rest = asText(space.subspan(offset));
    const std::size_t length = rest.find('\0');
    if (length == std::string_view::npos) return false;
    text = rest.substr(0, length);
    offset += length + 1;
    return true;
}

bool readHop(ByteSpan space, std::size_t& offset, RouteHop& hop) {
    return readText(space, offset, hop.host) && readText(space, offset, hop.service) &&
           readText(space, offset, hop.password);
}

bool checkFixedPart(ByteSpan message, ViolationLog& log) {
    if (message.size() < route::space) {
        log.add({"route packet", 0, "24 bytes and the hops", std::to_string(message.size()) + " bytes"});
        return false;
    }
    RecordChecker check("route packet", message, log);
    check.number1(route::formatVersion, route::formatVersionValue, "iroute_vs");
    check.number1(route::version, NI_INTERFACE_VERSION, "version");
    check.that(message[route::talkMode] <= TALK_ROUTER, route::talkMode, 1, "0, 1 or 2", "talkmode");
    check.number2(route::options, 0, "options, unused");
    const std::size_t space = message.size() - route::space;
    check.number4(route::spaceUsed, static_cast<std::uint32_t>(space), "space_used");
    check.that(space <= route::maxSpace, route::spaceUsed, 4, "at most 10000", "space_used");
    check.that(message[route::restEntries] >= 1 && message[route::restEntries] < message[route::totalEntries],
               route::restEntries, 1, "1 to one less than tot_entries", "rst_entries");
    return check.ok();
}

}  // namespace

bool isRoute(ByteSpan message) {
    return asText(message).starts_with(route::eyecatcher);
}

bool readRoute(ByteSpan message, Route& result, ViolationLog& log) {
    if (!checkFixedPart(message, log)) return false;
    const ByteSpan space = message.subspan(route::space);
    const std::size_t total = message[route::totalEntries];
    result.next = total - message[route::restEntries];
    result.talkMode = message[route::talkMode];
    std::size_t offset = 0;
    std::size_t nextOffset = 0;
    for (std::size_t i = 0; i < total; ++i) {
        const std::size_t start = offset;
        if (i == result.next) nextOffset = start;
        if (!readHop(space, offset, result.hops.emplace_back())) {
            log.add({"route packet, hop " + std::to_string(i), route::space + start, "three texts",
                     "the end of the packet"});
            return false;
        }
    }
    RecordChecker check("route packet", message, log);
    check.number4(route::nextEntry, static_cast<std::uint32_t>(nextOffset), "next_entry");
    check.that(offset == space.size(), route::space + offset, space.size() - offset,
               "nothing behind the hops", "space");
    return check.ok();
}

std::vector<Byte> forwardedRoute(ByteSpan message, const Route& route) {
    std::vector<Byte> packet(message.begin(), message.end());
    --packet[route::restEntries];
    const RouteHop& hop = route.hops[route.next];
    const std::size_t length = hop.host.size() + hop.service.size() + hop.password.size() + 3;
    storeBe32(packet, route::nextEntry,
              loadBe32(packet, route::nextEntry) + static_cast<std::uint32_t>(length));
    return packet;
}

std::vector<Byte> makeControl(ControlOperation operation, int code, std::string_view errorBlock,
                              Byte version) {
    std::vector<Byte> message(std::max(CONTROL_TEXT_AT + errorBlock.size(), CONTROL_MINIMUM));
    storeText(message, 0, CONTROL_EYECATCHER.size(), CONTROL_EYECATCHER);
    message[CONTROL_VERSION_AT] = version;
    message[CONTROL_OPERATION_AT] = operation;
    storeBe32(message, CONTROL_CODE_AT, static_cast<std::uint32_t>(code));
    storeBe32(message, CONTROL_LENGTH_AT, static_cast<std::uint32_t>(errorBlock.size()));
    storeText(message, CONTROL_TEXT_AT, errorBlock.size(), errorBlock);
    return message;
}

bool isVersionQuery(ByteSpan message) {
    return message.size() >= CONTROL_MINIMUM && asText(message).starts_with(CONTROL_EYECATCHER) &&
           message[CONTROL_OPERATION_AT] == CONTROL_VERSION;
}

}  // namespace zordev
