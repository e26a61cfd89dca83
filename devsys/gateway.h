/**
 * @file
 * The gateway: listens on the loopback interface and serves each connection on a thread of its own.
 */
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "devsys/connection.h"
#include "devsys/listener.h"
#include "devsys/services.h"

namespace zordev {

/** A listening gateway. Construction starts it, destruction ends all connections and joins all threads. */
class Gateway {
  public:
    /** Listens on 127.0.0.1 at `port`, or at a free one for 0. Throws std::system_error when it can't. */
    Gateway(std::uint16_t port, GatewayServices& services);
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /** Connections that were accepted so far. */
    unsigned accepted() const { return accepted_.load(std::memory_order_relaxed); }
    /** Connections that are open now; no other one still holds a socket. */
    unsigned open();

    /** Dies without a word: all connections break, and new ones are refused until `comeBack`. */
    void vanish();
    /** Ends in order: tells programs and those who wait that it does, then as `vanish`. */
    void shutDown();
    /** Listens again on the same port. Throws std::system_error when it can't. */
    void comeBack();

  private:
    void accept(int socket);
    /** Ends the conversations that are over; under the lock. */
    void clearAway();

    GatewayServices& services_;
    std::atomic<unsigned> accepted_{0};
    std::mutex mutex_;  // guards connections_
    std::list<std::unique_ptr<Connection>> connections_;
    Listener listener_;  // last: its thread uses all the others
};

}  // namespace zordev
