/**
 * @file
 * The back-end's own port: partners talk to it over a plain socket, with no gateway between. The stream has
 * no frames; a message ends with its end item, and the first one has no communication header.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "devsys/bridge.h"
#include "devsys/listener.h"

namespace zordev {

/** A listening port. Construction starts it, destruction breaks all connections and joins all threads. */
class SocketPort {
  public:
    /** Plays the back-end on its end of a bridge until it is over. */
    using BackEndRunner = std::function<void(BridgeEnd& bridge, const std::string& name)>;

    /** Listens on a free port of 127.0.0.1. Throws std::system_error when it can't. */
    explicit SocketPort(BackEndRunner backEnd);
    ~SocketPort();
    SocketPort(const SocketPort&) = delete;
    SocketPort& operator=(const SocketPort&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /** Breaks all connections; new ones are served. */
    void breakConnections();

  private:
    class Line;
    void accept(int socket);

    BackEndRunner backEnd_;
    unsigned accepted_ = 0;
    std::mutex mutex_;  // guards lines_
    std::list<std::unique_ptr<Line>> lines_;
    Listener listener_;  // last: its thread uses all the others
};

}  // namespace zordev
