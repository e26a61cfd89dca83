// Route texts and route packets: what is taken can be written and read again, and texts never show a
// password.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/ni/niroute.h"

namespace {

/** All hops as one text; whether the packet is sound. */
bool hopsOf(const NI_IROUTE& route, std::string& text) {
    std::size_t offset = 0;
    for (std::size_t i = 0; i < route.hops(); ++i) {
        NI_HOP hop;
        if (route.NiBufIRouteGetNext(&offset, &hop) != NI_OK) return false;
        if (std::strlen(hop.host) >= NI_HOST_MAX || std::strlen(hop.service) >= NI_SERV_MAX) std::abort();
        text += std::string(hop.host) + "|" + hop.service + "|" + hop.password + "\n";
    }
    return true;
}

void asText(std::string_view text) {
    NI_IROUTE route, again;
    if (route.NiBufIHostToRoute(text, "kelgw00", MESG_IO) != NI_OK) return;
    NI_IROUTE::Packet packet;
    route.packet(&packet);
    std::vector<KEL_RAW> bytes;
    for (const iovec& part : packet.parts)
        bytes.insert(bytes.end(), static_cast<KEL_RAW*>(part.iov_base),
                     static_cast<KEL_RAW*>(part.iov_base) + part.iov_len);
    std::string first, second;
    // A zero byte within the text ends a hop's text early; all else comes out as it went in.
    const bool sound = hopsOf(route, first);
    if (again.read(bytes) != NI_OK || hopsOf(again, second) != sound || first != second) std::abort();
}

void asPacket(std::span<const KEL_RAW> bytes) {
    NI_IROUTE route;
    if (route.read(bytes) != NI_OK) return;
    std::string text;
    hopsOf(route, text);
    NI_HOP hop;
    while (route.takeHop(&hop) == NI_OK) {
    }
}

/** Behind each mark of a password stands its cover, or the mark of the next hop at once. */
void asShown(std::string_view text) {
    KEL_CHAR buffer[300];
    NiSecStr(text, buffer);
    const std::string_view shown(buffer);
    constexpr std::string_view covered = "/P/<pass>", none = "/P/H/";
    for (auto at = shown.find("/P/"); at != shown.npos; at = shown.find("/P/", at + 1)) {
        const std::string_view rest = shown.substr(at);
        const bool cut = shown.size() == sizeof buffer - 1 && rest.size() < covered.size();
        if (!cut && !rest.starts_with(covered) && !rest.starts_with(none)) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    asText(text);
    asPacket({data, size});
    asShown(text.substr(0, text.find('\0')));
    return 0;
}
