/**
 * @file
 * Listening sockets on the loopback interface, one of IPv4 and one of IPv6, with the thread that accepts.
 * They can be closed and opened again on the same port, as a process that restarts does.
 */
#pragma once

#include <array>
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

    /** Takes 127.0.0.1 at `port`, or a free one for 0, and ::1 at the same one where the host has it. Throws
     * std::system_error when it can't. */
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
    void acceptAll(int listening);

    Accept accept_;
    std::uint16_t port_;
    std::array<int, 2> sockets_;  // the second is -1 without IPv6
    std::atomic<bool> closing_{false};
    std::thread thread_;
};

}  // namespace zordev
