/**
 * @file
 * One conversation in the gateway: the connection of a client, the order of its requests, the rules of
 * half-duplex sending and receiving, and the bridge to the partner behind the gateway.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "devsys/bridge.h"
#include "devsys/clientchannel.h"
#include "devsys/connectrecord.h"
#include "devsys/gwrequest.h"
#include "devsys/niframe.h"
#include "devsys/violations.h"

namespace zordev {

/** What all conversations of a gateway share; outlives them. */
struct ConversationServices {
    GatewayCapabilities capabilities;
    const FaultSwitch& faults;
    ViolationLog& violations;
    /** Plays the partner on its end of the bridge until the conversation is over; runs on a thread of its
     * own. */
    std::function<void(BridgeEnd& bridge, const std::string& conversationId)> partner;
    std::atomic<unsigned> allocated{0}; /**< Conversations that got as far as their partner. */
};

/** A client's connection with the thread that serves it and the thread of its partner. */
class Conversation {
  public:
    /** Takes over the connected `socket`. `number` makes the conversation's id and index. */
    Conversation(int socket, std::uint32_t number, ConversationServices& services);
    /** Ends what still runs and waits for both threads. */
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /** Breaks the connection; the threads end soon after. Any thread may call it. */
    void shutDown();
    /** Whether the thread has done its work, so that destruction doesn't wait. */
    bool finished() const { return finished_.load(std::memory_order_acquire); }

  private:
    // Handlers return whether the conversation goes on.
    enum class State {
        connected,    // connect record answered
        initialized,  // the conversation has its id
        named,        // the partner's name is known
        sending,      // the client may send
        receiving,    // the partner sends; the client may ask for more
        over
    };

    void run();
    bool acceptConnection();
    bool answerConnect(ByteSpan record, int rc, std::string_view reason);
    bool checkEcho(ByteSpan answer);
    bool nextMessage(ByteSpan& message);
    bool handleRequest(ByteSpan message);
    bool handleOpening(ByteSpan message, std::uint8_t rqtype);
    bool initialize(ByteSpan message);
    bool allocate(ByteSpan message);
    bool handleData(ByteSpan message, std::uint8_t rqtype);
    bool stream(std::uint32_t blockSize);
    bool checkSendCount(std::uint8_t rqtype);
    bool awaitPartner();
    bool handleWhileWaiting();
    bool deliver(std::uint8_t rqtype, std::uint32_t requested);
    bool cancel(ByteSpan message);
    bool awaitDeallocate();
    bool deallocate(ByteSpan message);
    bool sendPings();
    bool sendBare(const Answer& answer, MessageKind kind);
    bool sendRefusal(std::uint8_t rqtype, int kelRc, std::string_view reason, int appcRc = REFUSED);
    bool refuse(ByteSpan message);
    bool outOfOrder(ByteSpan message);

    static constexpr int REFUSED = 20;  // CM_PRODUCT_SPECIFIC_ERROR

    int socket_;
    std::uint32_t number_;
    ConversationServices& services_;
    RequestContext context_;
    FrameReader reader_;
    ClientChannel channel_;
    State state_ = State::connected;
    BridgeEnd bridge_;
    BridgeEnd partnerEnd_;
    std::thread partnerThread_;
    bool streaming_ = false;
    unsigned unansweredSends_ = 0;
    // What the partner sent and the client hasn't fetched: room for the answer's header, then the data.
    std::vector<Byte> pending_;
    std::size_t pendingBegin_ = 0;
    std::size_t pendingEnd_ = 0;
    BridgeMark pendingMark_ = BridgeMark::data;
    bool pendingValid_ = false;
    std::atomic<bool> finished_{false};
    std::thread thread_;  // last: it uses all the others
};

}  // namespace zordev
