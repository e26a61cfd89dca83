/**
 * @file
 * A connection that the gateway accepted, with the thread that serves it: a client, a program that
 * registers, or one that was started. Its connect record says which.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "devsys/link.h"
#include "devsys/services.h"

namespace zordev {

/** One accepted connection. */
class Connection {
  public:
    /** Takes over the connected `socket`; `number` counts the gateway's connections. */
    Connection(int socket, std::uint32_t number, GatewayServices& services);
    /** Breaks the connection and waits for its thread. */
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /** Breaks the connection; the thread ends soon after. Any thread may call it. */
    void shutDown() { link_.shutDown(); }
    /** @name The two steps of an orderly end, in which whoever waits for an answer is told. For any thread.
     */
    /** @{ */
    void announceClosing() { link_.announceClosing(); }
    void shutDownInput() { link_.shutDownInput(); }
    /** @} */
    /** Whether the thread has done its work, so that destruction doesn't wait. */
    bool finished() const { return finished_.load(std::memory_order_acquire); }

  private:
    void run();
    bool acceptConnection();
    bool answerConnect(ByteSpan record, int rc, std::string_view reason);
    bool checkEcho(ByteSpan answer);
    void serve();
    void serveStarted();

    std::uint32_t number_;
    GatewayServices& services_;
    Link link_;
    std::uint8_t opcode_ = 0;
    std::string conversationId_;  // of a started program, else blank
    std::string programName_;     // of a program that registers: the start of its id
    std::atomic<bool> finished_{false};
    std::thread thread_;  // last: it uses all the others
};

}  // namespace zordev
