#include "devsys/conversation.h"

#include <algorithm>
#include <cstdio>
#include <tuple>

#include "devsys/programcall.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr unsigned INDEX_LIMIT = 30000;  // indexes fit two bytes with a sign

}  // namespace

Conversation::Conversation(Link& link, std::uint32_t number, GatewayServices& services)
    : link_(link), number_(number), services_(services) {
    link_.context.zordestOffered = (services.capabilities.acceptInfo2 & GW_ACCEPT2_ZORDEST) != 0;
}

Conversation::~Conversation() {
    if (backEnd_.joinable()) backEnd_.join();
}

void Conversation::run() {
    ByteSpan message;
    while (state_ != State::allocated && link_.next(message) && handleOpening(message)) {
    }
    if (state_ == State::allocated) {
        Exchange exchange(link_, std::move(bridge_), {.maySend = true, .streaming = streaming_});
        exchange.run();
        exchange.shutDown();
    }
    link_.shutDown();
}

bool Conversation::handleOpening(ByteSpan message) {
    if (!checkHeader(message, link_.context, link_.log())) return link_.refuse(message);
    const std::uint8_t rqtype = message[hdr::rqtype];
    if (rqtype == GW_RQ_INITIALIZE_CONVERSATION && state_ == State::connected) return initialize(message);
    if (rqtype == GW_RQ_SET_PARTNER_LU_NAME && state_ == State::initialized) {
        if (!checkSetPartnerLuName(message, link_.log())) return link_.refuse(message);
        state_ = State::named;
        return true;
    }
    if (rqtype == GW_RQ_ALLOCATE && state_ == State::named) return allocate(message);
    if (rqtype == GW_RQ_DEALLOCATE && state_ != State::connected) {
        return !checkBareRequest(message, 0, 0, link_.log()) && link_.refuse(message);
    }
    static constexpr std::string_view expected[] = {"INITIALIZE_CONVERSATION", "SET_PARTNER_LU_NAME",
                                                    "ALLOCATE"};
    return link_.outOfOrder(message, expected[static_cast<std::size_t>(state_)]);
}

bool Conversation::initialize(ByteSpan message) {
    RequestContext& context = link_.context;
    if (!checkInitialize(message, context, link_.log())) return link_.refuse(message);
    const unsigned fixed = link_.faults().conversationNumber;
    char id[hdr::conversationIdWidth + 1];
    std::snprintf(id, sizeof id, "%08u", (fixed != 0 ? fixed : number_) % 50000000);
    std::copy_n(id, context.conversationId.size(), context.conversationId.begin());
    context.connIdx = static_cast<std::uint16_t>(number_ % INDEX_LIMIT);
    context.protocol = message[hdr::protocol];
    state_ = State::initialized;
    partner_ = partnerProgram(message);
    const bool offered = (services_.capabilities.acceptInfo2 & GW_ACCEPT2_STREAMING) != 0;
    streaming_ = offered && asksForStreaming(message);
    Answer answer;
    answer.rqtype = GW_RQ_INITIALIZE_CONVERSATION;
    if (streaming_) answer.info4 = GW_WITH_STREAMING;
    return link_.sendBare(answer, MessageKind::answer);
}

bool Conversation::allocate(ByteSpan message) {
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, F_V_ALLOCATE, link_.log())) {
        return link_.refuse(message);
    }
    if (!connectPartner()) return false;
    services_.allocated.fetch_add(1, std::memory_order_relaxed);
    state_ = State::allocated;
    Answer answer;
    answer.rqtype = GW_RQ_ALLOCATE;
    answer.info3 = GW_WITH_CODE_PAGE;
    return link_.sendBare(answer, MessageKind::answer);
}

bool Conversation::connectPartner() {
    if (namesBackEnd(partner_)) {
        std::tie(bridge_, backEndBridge_) = makeBridge();
        const auto& id = link_.context.conversationId;
        backEnd_ = std::thread([this, text = std::string(id.data(), id.size())] {
            services_.backEnd(backEndBridge_, text);
            backEndBridge_.shutDown();
        });
        return true;
    }
    const WaitingCaller caller{link_.socket(), [this] { return link_.buffered(); },
                               [this] { return handleWhileWaiting(); }};
    const ProgramFailure failure = connectProgram(services_, partner_, caller, bridge_);
    if (failure.kelRc > 0) {
        link_.sendRefusal(GW_RQ_ALLOCATE, failure.kelRc, failure.reason, failure.appcRc);
    }
    return failure.kelRc == 0;
}

// A client that waits for a program may give up, and says so or not.
bool Conversation::handleWhileWaiting() {
    ByteSpan message;
    const Incoming incoming = link_.read(message);
    if (incoming != Incoming::message) return incoming == Incoming::ping;
    if (!checkHeader(message, link_.context, link_.log())) return false;
    if (message[hdr::rqtype] == GW_RQ_DEALLOCATE)
        return !checkBareRequest(message, 0, 0, link_.log()) && false;
    if (message[hdr::rqtype] != GW_RQ_KEL_CANCEL) return link_.outOfOrder(message, "the wait's end");
    if (!checkCancel(message, link_.log())) return link_.refuse(message);
    Answer answer;
    answer.rqtype = GW_RQ_KEL_CANCEL;
    answer.appcRc = CM_DEALLOCATED_NORMAL;
    link_.sendBare(answer, MessageKind::answer);
    return false;
}

}  // namespace zordev
