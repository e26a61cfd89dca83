#include "devsys/registration.h"

#include <poll.h>

#include <algorithm>

#include "devsys/programcall.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr std::uint16_t PROGRAM_INDEX = 30001;  // clients have smaller ones
constexpr unsigned MAX_UNANSWERED_PINGS = 2;

void storeId(RequestContext& context, std::string_view id) {
    std::copy_n(id.begin(), context.conversationId.size(), context.conversationId.begin());
}

std::string_view idOf(const RequestContext& context) {
    return {context.conversationId.data(), context.conversationId.size()};
}

std::string_view idOf(ByteSpan message) {
    return asText(message.subspan(hdr::conversationId, hdr::conversationIdWidth));
}

}  // namespace

RequestContext programContext(const std::string& id, const GatewayServices& services) {
    RequestContext context;
    storeId(context, id);
    context.connIdx = PROGRAM_INDEX;
    context.indexOptional = true;
    context.protocol = PROTOCOL_REGISTERED;
    context.zordestOffered = (services.capabilities.acceptInfo2 & GW_ACCEPT2_ZORDEST) != 0;
    return context;
}

Registration::Registration(Link& link, std::string nameStart, GatewayServices& services)
    : link_(link),
      nameStart_(std::move(nameStart)),
      services_(services),
      own_(programContext("        ", services)),
      conversation_(own_) {
    link_.context = own_;
}

void Registration::run() {
    ByteSpan message;
    if (!link_.next(message)) return;
    const std::string programId = readExtension(message, nameStart_, link_.log());
    if (programId.empty()) return;
    instance_.emplace(services_.programs, programId);
    while (step()) {
    }
    if (link_.closing() && !interrupted_) cancelRegistration(GW_SHUTDOWN);
}

bool Registration::step() {
    if (link_.buffered()) return handleMessage();
    const auto period = services_.programOptions.keepAlive.count();
    pollfd sources[2] = {{link_.socket(), POLLIN, 0}, {instance_->wakeUp(), POLLIN, 0}};
    const int ready = poll(sources, 2, period > 0 ? static_cast<int>(period) : -1);
    if (ready == 0) return keepAlive();
    // A program that is leaving and is wanted at the same time has left.
    if (sources[0].revents != 0) return handleMessage();
    return sources[1].revents == 0 || takeOffer();
}

bool Registration::keepAlive() {
    return unansweredPings_++ < MAX_UNANSWERED_PINGS && link_.sendPing();
}

bool Registration::takeOffer() {
    ProgramOffer offer = instance_->take();
    if (offer.partner && !serve(std::move(*offer.partner))) return false;
    return offer.cancelCode == 0 || cancelRegistration(offer.cancelCode);
}

bool Registration::serve(BridgeEnd partner) {
    const int cancelCode = link_.faults().registrationCancel;
    if (cancelCode != 0) return cancelRegistration(cancelCode);
    if (!partner.send(BridgeMark::accepted, {})) {  // it has given up in the meantime
        instance_->ready();
        return true;
    }
    const unsigned fixed = link_.faults().conversationNumber;
    std::string id = nextProgramId(services_);
    if (fixed != 0) id.replace(1, 7, std::to_string(10000000 + fixed % 10000000).substr(1));
    conversation_ = link_.context = programContext(id, services_);
    const bool streaming = (services_.capabilities.acceptInfo2 & GW_ACCEPT2_STREAMING) != 0;
    if (!sendCall(streaming)) return false;
    Exchange exchange(link_, std::move(partner),
                      {.maySend = false,
                       .streaming = streaming,
                       .aside = [this](ByteSpan message, bool first) { return asideOf(message, first); }});
    const bool good = exchange.run();
    exchange.shutDown();
    link_.context = own_;
    state_ = State::ended;
    mayDeallocate_ = exchange.endedByPartner();
    interrupted_ = !exchange.over();
    return good;
}

bool Registration::sendCall(bool streaming) {
    const Faults& faults = link_.faults();
    Answer call;
    call.rqtype = faults.registrationWrongRequest ? GW_RQ_KEL_SYNC : GW_RQ_KEL_REGTP;
    if (streaming) call.info4 = GW_WITH_STREAMING;
    // A trace record is announced and isn't there.
    if (faults.shortProgramCall) call.info3 = GW_DIST_TRACE;
    return link_.sendBare(call, MessageKind::answer);
}

// The program learns why it is registered no longer. Always false.
bool Registration::cancelRegistration(int kelRc) {
    link_.context = own_;
    Answer answer;
    answer.rqtype = GW_RQ_KEL_CANCTP;
    answer.kelRc = kelRc;
    link_.sendBare(answer, MessageKind::answer);
    return false;
}

bool Registration::handleMessage() {
    ByteSpan message;
    const Incoming incoming = link_.read(message);
    unansweredPings_ = 0;
    if (incoming != Incoming::message) return incoming == Incoming::ping;
    return handleRequest(message);
}

bool Registration::handleRequest(ByteSpan message) {
    const bool ofConversation =
        state_ == State::ended && message.size() >= hdr::length && idOf(message) == idOf(conversation_);
    const std::uint8_t rqtype = message.size() > hdr::rqtype ? message[hdr::rqtype] : Byte{0};
    if (ofConversation && mayDeallocate_ && rqtype == GW_RQ_DEALLOCATE) {
        return checkHeader(message, conversation_, link_.log()) &&
               checkBareRequest(message, 0, 0, link_.log());
    }
    if (!adoptId(message)) return false;
    const RequestContext& context = ofConversation && rqtype == GW_RQ_KEL_UNACCPTP ? conversation_ : own_;
    if (!checkRegistrationRequest(message, context, link_.log())) return false;
    switch (rqtype) {
        case GW_RQ_KEL_ACCPTP:
            return accept(message);
        case GW_RQ_KEL_UNACCPTP:
            return unaccept();
        case GW_RQ_KEL_UNREGTP:
            return false;
        default:
            return link_.outOfOrder(message, "KEL_ACCPTP, KEL_UNACCPTP or KEL_UNREGTP");
    }
}

// The first request tells how the program calls its registration.
bool Registration::adoptId(ByteSpan message) {
    if (own_.conversationId[0] != ' ' || message.size() < hdr::length) return true;
    if (!isRegistrationId(idOf(message))) {
        link_.log().add({"request of a registration, conversation_ID", hdr::conversationId,
                         "H or N and a number", std::string(idOf(message))});
        return false;
    }
    storeId(own_, idOf(message));
    link_.context = own_;
    return true;
}

bool Registration::accept(ByteSpan message) {
    const int cancelCode = link_.faults().registrationCancel;
    if (cancelCode != 0) return cancelRegistration(cancelCode);
    if (state_ == State::waiting && rearming_) {
        rearming_ = false;
        return true;
    }
    if (state_ != State::idle) {
        return link_.outOfOrder(message, "KEL_ACCPTP once, and KEL_UNACCPTP behind a conversation");
    }
    state_ = State::waiting;
    instance_->ready();
    return true;
}

// Behind a conversation the program isn't ready any more; while it waits, this says that it is alive.
bool Registration::unaccept() {
    rearming_ = state_ == State::waiting;
    if (rearming_) {
        instance_->keptAlive();
    } else {
        state_ = State::idle;
    }
    return true;
}

// A registration can be left in the middle of a conversation; the other requests were sent before the program
// knew of its partner, and have no meaning any more.
Aside Registration::asideOf(ByteSpan message, bool first) {
    if (message.size() != hdr::length || idOf(message) != idOf(own_)) return Aside::none;
    const std::uint8_t rqtype = message[hdr::rqtype];
    const bool leaves = rqtype == GW_RQ_KEL_UNREGTP;
    const bool crossed = first && (rqtype == GW_RQ_KEL_UNACCPTP || (rqtype == GW_RQ_KEL_ACCPTP && rearming_));
    if (!leaves && !crossed) return Aside::none;
    rearming_ = rqtype == GW_RQ_KEL_UNACCPTP;
    return checkRegistrationRequest(message, own_, link_.log()) && crossed ? Aside::ignore : Aside::leave;
}

}  // namespace zordev
