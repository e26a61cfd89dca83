/**
 * @file
 * One connection through a router: the handshake with the client, the connection to the next hop, and
 * the passing on of bytes.
 */
#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "devsys/niframe.h"
#include "devsys/router.h"

namespace zordev {

/** Follows a stream of messages, to know where one ends and the next begins. */
class MessageBoundary {
  public:
    void pass(ByteSpan bytes);
    bool atEnd() const { return headerBytes_ == 0 && rest_ == 0; }

  private:
    std::size_t headerBytes_ = 0;  // of a length that isn't complete
    std::uint32_t length_ = 0;
    std::size_t rest_ = 0;  // bytes of the current message to come
};

/** One client of a router, with the thread that serves it. */
class RoutedConnection {
  public:
    /** Takes over the connected `socket`. A client beyond the limit is `refused`. */
    RoutedConnection(int socket, Router& router, bool refused);
    /** Breaks both connections and waits for the thread. */
    ~RoutedConnection();
    RoutedConnection(const RoutedConnection&) = delete;
    RoutedConnection& operator=(const RoutedConnection&) = delete;

    /** Breaks both connections. Any thread may call it. */
    void shutDown();
    /** Ends with an error message of this code where one may stand. Any thread may call it. */
    void cancel(int code);
    bool finished() const { return finished_.load(std::memory_order_acquire); }

  private:
    void run(bool refused);
    bool handshake();
    bool follow(ByteSpan packet, const Route& route);
    bool connectTo(const RouteHop& hop);
    bool announce();
    void relay();
    bool pass(int from, int to, std::vector<Byte>& buffer);
    bool fail(int code, const std::string& text);
    bool sendMessage(ByteSpan message);
    bool sendToClient(ByteSpan bytes);

    Router& router_;
    int client_;
    std::atomic<int> target_{-1};
    FrameReader reader_;
    bool messages_ = true;      // the talk mode
    MessageBoundary toClient_;  // what the client has got
    std::size_t sent_ = 0;      // bytes to the client
    std::atomic<int> cancelCode_{0};
    std::atomic<bool> finished_{false};
    std::thread thread_;  // last: it uses all the others
};

}  // namespace zordev
