/**
 * @file
 * The connection of a registered program: it says when it is ready, gets a partner, serves it on the same
 * connection, and is ready again.
 */
#pragma once

#include <optional>
#include <string>

#include "devsys/exchange.h"
#include "devsys/link.h"
#include "devsys/registrationrequest.h"
#include "devsys/services.h"

namespace zordev {

/** What requests look like in the conversation `id` of a program. */
RequestContext programContext(const std::string& id, const GatewayServices& services);

/** One registration, for the thread that serves its connection. */
class Registration {
  public:
    /** `nameStart` is the beginning of the program id, as the connect record has it. */
    Registration(Link& link, std::string nameStart, GatewayServices& services);

    /** Serves the program until it leaves, is cancelled or is gone. */
    void run();

  private:
    enum class State {
        idle,     // registered and not ready
        waiting,  // ready for a partner
        ended     // a conversation is over, and the program hasn't said so yet
    };

    // These return whether the registration goes on.
    bool step();
    bool keepAlive();
    bool takeOffer();
    bool serve(BridgeEnd partner);
    bool sendCall(bool streaming);
    bool cancelRegistration(int kelRc);
    bool handleMessage();
    bool handleRequest(ByteSpan message);
    bool accept(ByteSpan message);
    bool unaccept();
    bool adoptId(ByteSpan message);
    Aside asideOf(ByteSpan message, bool first);

    Link& link_;
    std::string nameStart_;
    GatewayServices& services_;
    RequestContext own_;           // of requests outside of conversations
    RequestContext conversation_;  // of the last conversation
    State state_ = State::idle;
    bool mayDeallocate_ = false;  // the conversation was ended by the gateway, or by both at once
    bool interrupted_ = false;    // the connection was lost within a conversation
    bool rearming_ = false;       // the program has kept itself alive, and may say again that it is ready
    unsigned unansweredPings_ = 0;
    std::optional<ProgramRegistry::Instance> instance_;
};

}  // namespace zordev
