/**
 * @file
 * The gateway: listens on the loopback interface and serves each connection on a thread of its own.
 */
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "devsys/conversation.h"

namespace zordev {

/** A listening gateway. Construction starts it, destruction ends all conversations and joins all threads. */
class Gateway {
  public:
    /** Listens on 127.0.0.1 at `port`, or at a free one for 0. Throws std::system_error when it can't. */
    Gateway(std::uint16_t port, ConversationServices& services);
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    std::uint16_t port() const { return port_; }
    /** Connections that were accepted so far. */
    unsigned accepted() const { return accepted_.load(std::memory_order_relaxed); }
    /** Connections that are open now; no other one still holds a socket. */
    unsigned open();

  private:
    void acceptLoop();
    /** Ends the conversations that are over; under the lock. */
    void clearAway();

    ConversationServices& services_;
    int listener_;
    std::uint16_t port_;
    std::atomic<unsigned> accepted_{0};
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;  // guards conversations_
    std::list<std::unique_ptr<Conversation>> conversations_;
    std::thread thread_;
};

}  // namespace zordev
