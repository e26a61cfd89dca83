/**
 * @file
 * The way back to a client: sends messages and produces the faults that are switched on.
 */
#pragma once

#include <cstddef>
#include <span>

#include "devsys/faults.h"
#include "devsys/niframe.h"

namespace zordev {

/** What a message is, as far as faults care. */
enum class MessageKind {
    connectAnswer, /**< The gateway's answer to a connect record. */
    answer,        /**< An answer without data: initialise, allocate, cancel. */
    dataAnswer,    /**< An answer to a send or a receive. */
    ping           /**< Nothing that anybody asked for. */
};

/** Sends to one client. The socket stays the caller's. For one thread. */
class ClientChannel {
  public:
    ClientChannel(int socket, const FaultSwitch& faultSwitch) : socket_(socket), faultSwitch_(faultSwitch) {}

    /** The faults that hold now. */
    const Faults& faults();
    /** Whether the faults that wait for a number of answers are due. */
    bool due() { return answers_ >= faults().afterAnswers; }

    /**
     * Sends one message: `frame` starts with NI_LENGTH_BYTES of room, which this fills in. Returns false
     * when the connection is gone, or when a fault just cut it.
     */
    bool send(std::span<Byte> frame, MessageKind kind);

  private:
    bool sendFaulty(std::span<Byte> frame, MessageKind kind);
    bool delay(unsigned milliseconds);
    bool sendPieces(ByteSpan frame);

    int socket_;
    const FaultSwitch& faultSwitch_;
    Faults faults_;
    unsigned generation_ = 0;
    bool faulty_ = false;   // faults_ differs from a well-behaved gateway
    unsigned answers_ = 0;  // answers sent so far
    std::size_t sent_ = 0;  // bytes sent so far
};

}  // namespace zordev
