/**
 * @file
 * The connection of one client or program with the gateway: reads its messages, answers its pings, and
 * sends answers and refusals.
 */
#pragma once

#include <atomic>
#include <string_view>

#include "devsys/clientchannel.h"
#include "devsys/gwrequest.h"
#include "devsys/niframe.h"
#include "devsys/violations.h"

namespace zordev {

/** Bytes in front of an answer's data: the length of the message and its header. */
inline constexpr std::size_t ANSWER_ROOM = NI_LENGTH_BYTES + hdr::length;

/** What came of an attempt to read a message. */
enum class Incoming {
    message, /**< One that the caller has to handle. */
    ping,    /**< A ping, which was answered, or the answer to one. */
    lost     /**< The connection is over or broken; what was wrong stands in the log. */
};

/** A connection. Owns its socket. For one thread, but for its ways to close. */
class Link {
  public:
    /** Takes over the connected `socket`. */
    Link(int socket, const FaultSwitch& faults, ViolationLog& log);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /** Waits for one message, which stays valid until the next read. */
    Incoming read(ByteSpan& message);
    /** Waits for one that is no ping; false when there is none to come. */
    bool next(ByteSpan& message);
    /** Whether a message is there already, so that waiting on the socket would be wrong. */
    bool buffered() const { return reader_.buffered(); }

    /** Sends an answer without data. */
    bool sendBare(const Answer& answer, MessageKind kind);
    /** Sends an answer that says no, with an error block. */
    bool sendRefusal(std::uint8_t rqtype, int kelRc, std::string_view reason, int appcRc = REFUSED);
    /** The same with a block that is there already. */
    bool sendError(std::uint8_t rqtype, int appcRc, int kelRc, std::string_view block);
    /** Sends a ping of the network. */
    bool sendPing();
    /** Ends with a request that broke the protocol: whoever waits for its answer is told so. Always false. */
    bool refuse(ByteSpan message);
    /** The same for one that came at the wrong time, where `expected` was due. */
    bool outOfOrder(ByteSpan message, std::string_view expected);
    /** Breaks the connection. Any thread may call it. */
    void shutDown() const;
    /** The gateway is about to close in order. Any thread may call it. */
    void announceClosing() { closing_.store(true, std::memory_order_release); }
    /** Nothing more is read, but the last word can still be sent. Any thread may call it. */
    void shutDownInput() const;
    /** Whether the gateway is closing in order, as the reason for a lost connection. */
    bool closing() const { return closing_.load(std::memory_order_acquire); }

    int socket() const { return socket_; }
    const Faults& faults() { return channel.faults(); }
    ViolationLog& log() { return log_; }

    ClientChannel channel;
    RequestContext context; /**< What requests of the current conversation look like. */

  private:
    static constexpr int REFUSED = 20;  // CM_PRODUCT_SPECIFIC_ERROR

    int socket_;
    ViolationLog& log_;
    FrameReader reader_;
    std::atomic<bool> closing_{false};
};

}  // namespace zordev
