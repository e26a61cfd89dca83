/**
 * @file
 * A client's conversation from its opening request to its end: it gets a name, a partner and the right to
 * send. The partner is the back-end, a registered program or a program that the gateway starts.
 */
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "devsys/exchange.h"
#include "devsys/link.h"
#include "devsys/services.h"

namespace zordev {

/** One conversation of a client, for the thread that serves its connection. */
class Conversation {
  public:
    /** `number` makes the conversation's id and index. */
    Conversation(Link& link, std::uint32_t number, GatewayServices& services);
    /** Waits for the back-end's thread, which sees that the conversation is over. */
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /** Serves the client until the conversation is over, and breaks its connection then. */
    void run();

  private:
    // Handlers return whether the conversation goes on.
    enum class State {
        connected,    // connect record answered
        initialized,  // the conversation has its id
        named,        // the partner's name is known
        allocated     // the partner is there
    };

    bool handleOpening(ByteSpan message);
    bool initialize(ByteSpan message);
    bool setPartner(ByteSpan message);
    bool allocate(ByteSpan message);
    bool connectPartner();
    bool handleWhileWaiting();

    Link& link_;
    std::uint32_t number_;
    GatewayServices& services_;
    State state_ = State::connected;
    std::string partner_;  // a service of the back-end or a program
    bool streaming_ = false;
    BridgeEnd bridge_;
    BridgeEnd backEndBridge_;
    std::thread backEnd_;
};

}  // namespace zordev
