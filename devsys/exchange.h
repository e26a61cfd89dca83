/**
 * @file
 * The data phase of a conversation on one link: the rules of half-duplex sending and receiving between
 * whoever is connected, a client or a program, and the other end of a bridge.
 */
#pragma once

#include <functional>
#include <vector>

#include "devsys/bridge.h"
#include "devsys/link.h"

namespace zordev {

/** What a message means that isn't the conversation's own. */
enum class Aside {
    none,   /**< It is the conversation's. */
    ignore, /**< It crossed the beginning and means nothing any more. */
    leave   /**< The link's side leaves altogether. */
};

/** How a data phase begins. */
struct ExchangeStart {
    bool maySend = true;    /**< The link's side has the right to send: a client, not a program. */
    bool streaming = false; /**< What the partner sends is pushed; only the first receive is asked for. */
    /** Looks at each message before the conversation does; `first` up to its first own message. */
    std::function<Aside(ByteSpan message, bool first)> aside{};
};

/** One data phase. For one thread. */
class Exchange {
  public:
    Exchange(Link& link, BridgeEnd bridge, ExchangeStart start);

    /** Serves requests until the conversation is over. Returns whether the link can go on without it. */
    bool run();
    /** Whether the last word was the gateway's, so that the link's side may have ended it at the same time.
     */
    bool endedByPartner() const { return endedByPartner_; }
    /** Whether the conversation has an end, and not just a lost connection. */
    bool over() const { return state_ == State::over; }
    /** The partner's end sees that nobody is there any more. */
    void shutDown() const { bridge_.shutDown(); }

  private:
    // Handlers return whether the link goes on; the conversation is over when state_ says so.
    enum class State { sending, receiving, over };

    bool handle(ByteSpan message);
    bool handleData(ByteSpan message, std::uint8_t rqtype);
    bool answerSend();
    bool push(std::uint32_t blockSize);
    bool checkSendCount(std::uint8_t rqtype);
    bool awaitPartner();
    bool handleWhileWaiting();
    bool deliver(std::uint8_t rqtype, std::uint32_t requested);
    bool deliverFailure(std::uint8_t rqtype);
    bool cancel(ByteSpan message);
    bool deallocate(ByteSpan message);
    bool sendPings();
    bool outOfOrder(ByteSpan message);
    Aside asideOf(ByteSpan message);
    bool sync(ByteSpan message);

    Link& link_;
    BridgeEnd bridge_;
    State state_;
    bool streaming_;
    std::function<Aside(ByteSpan message, bool first)> aside_;
    bool first_ = true;  // no message of the conversation's own has come
    bool endedByPartner_ = false;
    bool awaitingSync_ = false;  // the answer to a send has asked for KEL_SYNC
    unsigned unansweredSends_ = 0;
    // What the partner sent and wasn't fetched: room for the answer's header, then the data.
    std::vector<Byte> pending_;
    std::size_t pendingBegin_ = 0;
    std::size_t pendingEnd_ = 0;
    BridgeMark pendingMark_ = BridgeMark::data;
    bool pendingValid_ = false;
};

}  // namespace zordev
