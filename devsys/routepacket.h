/**
 * @file
 * What a client and a router say to each other besides data: the route packet, the control messages, and
 * the router's own failures. Numbers are big-endian.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/bytes.h"
#include "devsys/violations.h"

namespace zordev {

/** Offsets in the route packet, in bytes. */
namespace route {
inline constexpr std::string_view eyecatcher("NI_ROUTE\0", 9);
inline constexpr std::size_t formatVersion = 9, version = 10, totalEntries = 11, talkMode = 12, options = 13;
inline constexpr std::size_t unused = 14, restEntries = 15, spaceUsed = 16, nextEntry = 20, space = 24;
inline constexpr std::size_t maxSpace = 10000;
inline constexpr Byte formatVersionValue = 2;
}  // namespace route

/** Version of the network interface that clients and routers claim. */
inline constexpr Byte NI_INTERFACE_VERSION = 40;

/** How the bytes behind the handshake are framed. */
enum TalkMode : Byte { TALK_MESSAGES = 0, TALK_BYTES = 1, TALK_ROUTER = 2 };

/** A stop on the way. */
struct RouteHop {
    std::string host;
    std::string service;
    std::string password; /**< What the router in front of the hop, or at it, wants to see. */
    bool operator==(const RouteHop&) const = default;
};

/** A route as a router gets it. */
struct Route {
    std::vector<RouteHop> hops;
    std::size_t next = 0; /**< The hop that the router connects to; those in front are behind us. */
    Byte talkMode = TALK_MESSAGES;
};

/** Whether a message begins like a route packet. */
bool isRoute(ByteSpan message);
/** Checks and reads a route packet; what is wrong stands in the log. */
bool readRoute(ByteSpan message, Route& route, ViolationLog& log);
/** The packet for the next router: the same with one hop less to go. */
std::vector<Byte> forwardedRoute(ByteSpan message, const Route& route);

/** Failures that a router reports. */
enum RouterCode : int {
    ROUTER_HOST_UNKNOWN = -90,
    ROUTER_SERVICE_UNKNOWN = -91,
    ROUTER_CONNECTION_REFUSED = -92,
    ROUTER_INTERNAL = -93,
    ROUTER_PERMISSION_DENIED = -94,
    ROUTER_CONNECTION_BROKEN = -95,
    ROUTER_VERSION = -96,
    ROUTER_CANCELED = -97,
    ROUTER_SHUTDOWN = -98,
    ROUTER_OVERFLOW = -100,
    ROUTER_MODE_DENIED = -101,
};

/** Operations of a control message. */
enum ControlOperation : Byte { CONTROL_ERROR = 0, CONTROL_VERSION = 1, CONTROL_VERSION_REPLY = 2 };

/** A control message: `code` and `errorBlock` tell of an error. */
std::vector<Byte> makeControl(ControlOperation operation, int code, std::string_view errorBlock,
                              Byte version = NI_INTERFACE_VERSION);
/** Whether a message asks for the version of its receiver. */
bool isVersionQuery(ByteSpan message);

}  // namespace zordev
