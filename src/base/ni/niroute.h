/**
 * @file
 * Routes: chains of application-level routers in front of a host. A route is written as a text
 * "/H/host/S/service/P/password/H/..." and travels as a packet; private to the layer.
 */
#pragma once

#include <strings.h>

#include <string_view>
#include <vector>

#include "base/ni/ni.h"
#include "base/thr/bytes.h"

/** Layout of a route packet; the hops follow, each three zero-terminated texts: host, service, password. */
namespace NI_ROUTE_LAYOUT {
inline constexpr NetField eyecatcher{0, 9};
inline constexpr NetField iroute_vs = eyecatcher.then(1);
inline constexpr NetField version = iroute_vs.then(1);
inline constexpr NetField tot_entries = version.then(1);
inline constexpr NetField talkmode = tot_entries.then(1);
inline constexpr NetField options = talkmode.then(1);
inline constexpr NetField unused = options.then(1);
inline constexpr NetField rst_entries = unused.then(1);
inline constexpr NetField space_used = rst_entries.then(4);
inline constexpr NetField next_entry = space_used.then(4);
inline constexpr std::size_t fixedLength = next_entry.end();
}  // namespace NI_ROUTE_LAYOUT
static_assert(NI_ROUTE_LAYOUT::fixedLength == 24);

inline constexpr std::size_t NI_ROUTE_SPACE = 10000;  ///< Bytes of all hops, at most.
inline constexpr std::size_t NI_PASS_MAX = 112;       ///< Of a password, its terminator included.

/** A hop as it is used: its texts cut to what their places take. */
struct NI_HOP {
    KEL_CHAR host[NI_HOST_MAX] = "";
    KEL_CHAR service[NI_SERV_MAX] = "";
    KEL_CHAR password[NI_PASS_MAX] = "";

    ~NI_HOP() { explicit_bzero(password, sizeof password); }
};

/** A route; wipes its passwords when it goes. */
class NI_IROUTE {
  public:
    NI_IROUTE() = default;
    ~NI_IROUTE();
    NI_IROUTE(const NI_IROUTE&) = delete;
    NI_IROUTE& operator=(const NI_IROUTE&) = delete;

    /**
     * Reads a text. Without a leading "/H/" it is one hop, a host. NIEINVAL: the hops don't fit, or one of
     * them has no host, or there are more than 255.
     */
    KELRETURN NiBufIHostToRoute(std::string_view host, std::string_view service, NI_TALKMODE talkmode);

    /** Takes a packet. NIEINVAL: it is none. */
    KELRETURN read(std::span<const KEL_RAW> packet);

    /** Reads the hop at `*offset` of the hops, and moves `*offset` behind it. NIEINVAL: there is none. */
    KELRETURN NiBufIRouteGetNext(std::size_t* offset, NI_HOP* hop) const;

    /** Takes out the next hop: it has been reached. */
    KELRETURN takeHop(NI_HOP* hop);

    std::size_t hops() const { return tot_entries; }
    std::size_t hopsToGo() const { return rst_entries; }
    NI_TALKMODE mode() const { return talkmode; }

    /** The packet. `parts` refer to this object. */
    struct Packet {
        KEL_RAW head[NI_ROUTE_LAYOUT::fixedLength];
        iovec parts[2];
    };
    void packet(Packet* target) const;

  private:
    KELRETURN NiBufIAddRouteEntry(std::string_view host, std::string_view service, std::string_view password);
    KELRETURN addHops(std::string_view route, std::string_view service);

    std::vector<KEL_RAW> space;
    std::size_t tot_entries = 0;
    std::size_t rst_entries = 0;
    std::size_t next_entry = 0;
    NI_TALKMODE talkmode = MESG_IO;
};
