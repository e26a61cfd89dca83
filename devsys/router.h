/**
 * @file
 * A router on the loopback interface: it understands route packets, connects to the next hop, which may be
 * another router, and passes everything on in both directions. It reaches the own machine only.
 */
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devsys/listener.h"
#include "devsys/routepacket.h"
#include "devsys/violations.h"

namespace zordev {

class RoutedConnection;

/** Faults that a router produces on demand; a default-made one is a well-behaved router. */
struct RouterFaults {
    int refuseWith = 0;  /**< Code with which every route is refused; 0 is off. */
    bool silent = false; /**< Routes are read and never answered. */
    /** The connection closes when this many bytes were sent to the client. */
    std::optional<std::size_t> cutAfterBytes;
    std::size_t pieceBytes =
        0;                     /**< Everything to the client goes in pieces of this many bytes; 0 is whole. */
    unsigned delayMs = 0;      /**< Milliseconds of waiting before whatever goes to the client. */
    unsigned pings = 0;        /**< Pings in front of the answer to a route. */
    bool versionQuery = false; /**< The client's version is asked for in front of that answer. */
    Byte version = NI_INTERFACE_VERSION; /**< Claimed in control messages. */
    bool wrongTextLength = false;        /**< Error messages announce a text longer than they have. */
};

/** How to start a router. */
struct RouterOptions {
    std::uint16_t port = 0; /**< 0 takes a free one. */
    /** Wanted with the hop that is this router or with the one behind it; empty wants none. */
    std::string password;
    std::vector<std::string> deniedHosts; /**< Hosts to which no route is permitted. */
    unsigned maxClients = 0;              /**< Further ones are refused; 0 is no limit. */
    RouterFaults faults;
    ViolationLog::Sink violationSink; /**< Gets each violation's line, on the thread that found it. */
};

/** A running router. All operations are thread-safe but the three by which it goes and comes back. */
class Router {
  public:
    /** Listens; throws std::system_error when it can't. */
    explicit Router(RouterOptions options = {});
    ~Router();
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /** The hop that stands for this router in front of others in a route. */
    std::string hop() const { return "/H/127.0.0.1/S/" + std::to_string(port()); }
    /** The routes that came, in order, the refused ones too. */
    std::vector<Route> routes() const;
    /** Connections that are open now. */
    unsigned open();
    std::string violationText() const;
    /** Replaces the faults; holds for what begins or is passed on from now on. */
    void setFaults(const RouterFaults& faults);

    /** Dies without a word: all connections break, and new ones are refused until `comeBack`. */
    void vanish();
    /** Tells all clients that talk in messages with this code, then as `vanish`. */
    void shutDown(int code = ROUTER_SHUTDOWN);
    /** Listens again on the same port. Throws std::system_error when it can't. */
    void comeBack();

  private:
    friend class RoutedConnection;

    void accept(int socket);
    bool permits(const Route& route) const;
    RouterFaults faults() const;
    void record(const Route& route);

    const RouterOptions options_;
    ViolationLog violations_;
    mutable std::mutex mutex_;  // guards the following
    RouterFaults faults_;
    std::vector<Route> routes_;
    std::list<std::unique_ptr<RoutedConnection>> connections_;
    Listener listener_;  // last: its thread uses all the others
};

}  // namespace zordev
