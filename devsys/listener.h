/**
 * @file
 * A listening socket on the loopback interface with the thread that accepts. It can be closed and opened
 * again on the same port, as a process that restarts does.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

namespace zordev {

/** Accepts connections while it is open, which it isn't at first. All operations are for one thread. */
class Listener {
  public:
    /** Gets each connected socket, which it takes over, on the accepting thread. */
    using Accept = std::function<void(int socket)>;

    /** Takes 127.0.0.1 at `port`, or a free one for 0. Throws std::system_error when it can't. */
    Listener(std::uint16_t port, Accept accept);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::uint16_t port() const { return port_; }
    /** Connections are refused from now on; the port stays reserved. */
    void close();
    /** Accepts connections, also after `close`. Throws std::system_error when it can't. */
    void open();

  private:
    void acceptLoop();

    Accept accept_;
    std::uint16_t port_;
    int socket_;
    std::atomic<bool> closing_{false};
    std::thread thread_;
};

}  // namespace zordev
