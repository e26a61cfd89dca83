#include "base/ni/niroute.h"

#include <algorithm>
#include <new>

#include "base/ni/nierr.h"

namespace {

namespace L = NI_ROUTE_LAYOUT;

constexpr KEL_RAW EYECATCHER[] = {'N', 'I', '_', 'R', 'O', 'U', 'T', 'E', 0};
static_assert(sizeof EYECATCHER == L::eyecatcher.length);
constexpr KEL_RAW ROUTE_VERSION = 2;
constexpr std::size_t HOPS_MAX = 255;

constexpr std::string_view HOP{"/H/"};
constexpr std::string_view SERVICE{"/S/"};
constexpr std::string_view PASSWORD{"/P/"};
constexpr std::string_view NEXT_PASSWORD{"/W/"};
/** Where routers listen. */
constexpr std::string_view ROUTER_SERVICE{"3299"};

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

/** The value behind a mark of a hop, up to the next mark; empty if the hop doesn't have it. */
std::string_view valueOf(std::string_view hop, std::string_view mark) {
    const std::size_t at = hop.find(mark);
    if (at == std::string_view::npos) return {};
    const std::string_view value = hop.substr(at + mark.size());
    return value.substr(0, std::min({value.find(SERVICE), value.find(PASSWORD), value.find(NEXT_PASSWORD)}));
}

/** A text of a packet in its place; cut where it is too long. */
void put(std::string_view text, std::span<KEL_CHAR> place) {
    const std::size_t length = text.copy(place.data(), place.size() - 1);
    place[length] = '\0';
}

bool append(std::vector<KEL_RAW>& space, std::string_view text) {
    if (text.size() + 1 > NI_ROUTE_SPACE - space.size()) return false;
    for (const char c : text)
        space.push_back(static_cast<unsigned char>(c) < 0x80 ? static_cast<KEL_RAW>(c) : KEL_RAW{'#'});
    space.push_back(0);
    return true;
}

}  // namespace

NI_IROUTE::~NI_IROUTE() {
    if (!space.empty()) explicit_bzero(space.data(), space.size());
}

KELRETURN NI_IROUTE::NiBufIAddRouteEntry(std::string_view host, std::string_view service,
                                         std::string_view password) {
    if (host.empty()) return refuse(__LINE__, __func__, "parameter invalid (hop without a host)");
    if (tot_entries == HOPS_MAX) return refuse(__LINE__, __func__, "parameter invalid (too many hops)");
    if (!append(space, host) || !append(space, service) || !append(space, password))
        return refuse(__LINE__, __func__, "parameter invalid (route too long)");
    ++tot_entries;
    ++rst_entries;
    return NI_OK;
}

KELRETURN NI_IROUTE::addHops(std::string_view route, std::string_view service) {
    std::string_view inherited;  // password of the hop before for this one
    while (!route.empty()) {
        route.remove_prefix(HOP.size());
        const std::string_view hop = route.substr(0, route.find(HOP));
        route.remove_prefix(hop.size());
        const std::string_view host =
            hop.substr(0, std::min({hop.find(SERVICE), hop.find(PASSWORD), hop.find(NEXT_PASSWORD)}));
        std::string_view port = valueOf(hop, SERVICE);
        if (port.empty()) port = route.empty() ? service : ROUTER_SERVICE;
        const std::string_view own = valueOf(hop, PASSWORD);
        const KELRETURN rc = NiBufIAddRouteEntry(host, port, own.empty() ? inherited : own);
        if (rc != NI_OK) return rc;
        inherited = valueOf(hop, NEXT_PASSWORD);
    }
    return NI_OK;
}

KELRETURN NI_IROUTE::NiBufIHostToRoute(std::string_view host, std::string_view service, NI_TALKMODE mode) {
    talkmode = mode;
    try {
        // The room is fixed, so that growing never leaves a password behind in freed memory.
        space.reserve(NI_ROUTE_SPACE);
        return host.starts_with(HOP) ? addHops(host, service) : NiBufIAddRouteEntry(host, service, "");
    } catch (const std::bad_alloc&) {
        return NiErrSet(NIEINTERN, {.function = __func__, .line = __LINE__, .module = __FILE__});
    }
}

KELRETURN NI_IROUTE::read(std::span<const KEL_RAW> packet) {
    constexpr const KEL_CHAR* invalid = "invalid route received";
    ByteReader reader(packet);
    const auto eyecatcher = reader.field(L::eyecatcher);
    const std::size_t total = reader.at(L::tot_entries).u8();
    const KEL_RAW mode = reader.at(L::talkmode).u8();
    const std::size_t rest = reader.at(L::rst_entries).u8();
    const std::size_t used = reader.at(L::space_used).u32();
    const std::size_t next = reader.at(L::next_entry).u32();
    if (!reader.ok() || !std::ranges::equal(eyecatcher, EYECATCHER) || used > NI_ROUTE_SPACE ||
        used != packet.size() - L::fixedLength || next > used || rest > total)
        return refuse(__LINE__, __func__, invalid);
    try {
        space.assign(packet.begin() + L::fixedLength, packet.end());
    } catch (const std::bad_alloc&) {
        return NiErrSet(NIEINTERN, {.function = __func__, .line = __LINE__, .module = __FILE__});
    }
    tot_entries = total;
    rst_entries = rest;
    next_entry = next;
    talkmode = static_cast<NI_TALKMODE>(mode);
    return NI_OK;
}

KELRETURN NI_IROUTE::NiBufIRouteGetNext(std::size_t* offset, NI_HOP* hop) const {
    std::size_t at = *offset;
    for (const std::span<KEL_CHAR> place : {std::span<KEL_CHAR>(hop->host), std::span<KEL_CHAR>(hop->service),
                                            std::span<KEL_CHAR>(hop->password)}) {
        if (at > space.size()) return refuse(__LINE__, __func__, "invalid route received");
        const auto begin = space.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = std::find(begin, space.end(), KEL_RAW{0});
        if (end == space.end()) return refuse(__LINE__, __func__, "invalid route received");
        const auto length = static_cast<std::size_t>(end - begin);
        put({reinterpret_cast<const char*>(space.data()) + at, length}, place);
        at += length + 1;
    }
    *offset = at;
    return NI_OK;
}

KELRETURN NI_IROUTE::takeHop(NI_HOP* hop) {
    if (rst_entries == 0) return refuse(__LINE__, __func__, "invalid route received");
    const KELRETURN rc = NiBufIRouteGetNext(&next_entry, hop);
    if (rc == NI_OK) --rst_entries;
    return rc;
}

void NI_IROUTE::packet(Packet* target) const {
    std::ranges::fill(target->head, KEL_RAW{0});
    ByteWriter writer(target->head);
    writer.at(L::eyecatcher).bytes(EYECATCHER);
    writer.at(L::iroute_vs).u8(ROUTE_VERSION);
    writer.at(L::version).u8(NI_VERSION);
    writer.at(L::tot_entries).u8(static_cast<std::uint8_t>(tot_entries));
    writer.at(L::talkmode).u8(talkmode);
    writer.at(L::rst_entries).u8(static_cast<std::uint8_t>(rst_entries));
    writer.at(L::space_used).u32(static_cast<std::uint32_t>(space.size()));
    writer.at(L::next_entry).u32(static_cast<std::uint32_t>(next_entry));
    target->parts[0] = {target->head, sizeof target->head};
    target->parts[1] = {const_cast<KEL_RAW*>(space.data()), space.size()};
}

KELRETURN NiRouteToTable(KEL_INT* count, const KEL_CHAR* route, NI_ROUTE_TABLE* table,
                         KEL_INT size) noexcept {
    *count = 0;
    if (!route || !table || size < 1) return refuse(__LINE__, __func__, "parameter invalid (route or table)");
    NI_IROUTE packet;
    KELRETURN rc = packet.NiBufIHostToRoute(route, "", MESG_IO);
    const std::size_t room = static_cast<std::size_t>(size);
    std::size_t offset = 0;
    for (std::size_t i = 0; rc == NI_OK && i < packet.hops(); ++i) {
        NI_HOP hop;
        rc = packet.NiBufIRouteGetNext(&offset, &hop);
        if (rc != NI_OK || packet.hops() - i > room) continue;
        NI_ROUTE_TABLE& row = table[(*count)++];
        put(hop.host, row.hostname);
        put(hop.service, row.service);
    }
    return rc;
}

void NiSecStr(std::string_view route, std::span<KEL_CHAR> buffer) noexcept {
    std::size_t length = 0;
    const auto add = [&](std::string_view piece) {
        length += piece.copy(buffer.data() + length, buffer.size() - 1 - length);
    };
    while (!route.empty()) {
        // A hop, its own mark included, ends where the next one begins.
        const std::string_view hop = route.substr(0, route.find(HOP, 1));
        const std::size_t secret = std::min(hop.find(PASSWORD), hop.find(NEXT_PASSWORD));
        add(hop.substr(0, secret));
        if (secret < hop.size()) add("/P/<pass>");
        route.remove_prefix(hop.size());
    }
    buffer[length] = '\0';
}
