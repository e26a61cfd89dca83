#include "devsys/exchange.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr unsigned MAX_UNANSWERED_SENDS = 5;
constexpr unsigned MAX_UNANSWERED_STREAMING = 20;
constexpr std::uint32_t FIRST_BLOCK = 28000;  // pushed to a program, which hasn't said how much it takes

}  // namespace

Exchange::Exchange(Link& link, BridgeEnd bridge, ExchangeStart start)
    : link_(link),
      bridge_(std::move(bridge)),
      state_(start.maySend ? State::sending : State::receiving),
      streaming_(start.streaming),
      aside_(std::move(start.aside)),
      pending_(ANSWER_ROOM + BRIDGE_MAX_DATA) {}

bool Exchange::run() {
    bool good = push(FIRST_BLOCK);
    while (good && state_ != State::over) {
        ByteSpan message;
        if (!link_.next(message)) {
            good = false;
        } else if (const Aside aside = asideOf(message); aside != Aside::ignore) {
            good = aside == Aside::none && handle(message);
        }
    }
    if (!good && state_ == State::receiving && link_.closing()) {
        link_.sendRefusal(GW_RQ_RECEIVE, GW_SHUTDOWN, "gateway shutdown", CM_DEALLOCATED_ABEND);
        state_ = State::over;
    }
    return good;
}

Aside Exchange::asideOf(ByteSpan message) {
    const Aside aside = aside_ ? aside_(message, first_) : Aside::none;
    if (aside == Aside::none) first_ = false;
    return aside;
}

bool Exchange::handle(ByteSpan message) {
    if (!checkHeader(message, link_.context, link_.log())) return link_.refuse(message);
    const std::uint8_t rqtype = message[hdr::rqtype];
    switch (rqtype) {
        case GW_RQ_KEL_SEND:
        case GW_RQ_ASEND_DATA:
        case GW_RQ_SEND_DATA:
        case GW_RQ_RECEIVE:
            return handleData(message, rqtype);
        case GW_RQ_KEL_CANCEL:
            return cancel(message);
        case GW_RQ_DEALLOCATE:
            return deallocate(message);
        case GW_RQ_FLUSH:
            return checkBareRequest(message, 0, F_V_FLUSH, link_.log()) || link_.refuse(message);
        case GW_RQ_KEL_SYNC:
            return sync(message);
        default:
            return outOfOrder(message);
    }
}

bool Exchange::handleData(ByteSpan message, std::uint8_t rqtype) {
    const bool receive = rqtype == GW_RQ_RECEIVE;
    if (state_ != State::sending && !(receive && state_ == State::receiving)) return outOfOrder(message);
    ViolationLog& log = link_.log();
    const DataRequest request = receive ? readReceive(message, log)
                                : rqtype == GW_RQ_KEL_SEND
                                    ? readSendReceive(message, log)
                                    : readSend(message, rqtype == GW_RQ_SEND_DATA, log);
    if (!request.valid || !checkSendCount(rqtype)) return link_.refuse(message);
    const Faults& faults = link_.faults();
    if (faults.dataError != 0 && link_.channel.due()) {
        return link_.sendRefusal(rqtype, faults.dataError, "data error on demand") && false;
    }
    const bool turns = rqtype == GW_RQ_KEL_SEND || (receive && state_ == State::sending);
    if (turns || !receive) bridge_.send(turns ? BridgeMark::turn : BridgeMark::data, request.data);
    if (turns) state_ = State::receiving;
    if (rqtype == GW_RQ_ASEND_DATA) return true;
    if (rqtype == GW_RQ_SEND_DATA) return answerSend();
    if (!awaitPartner()) return false;
    if (state_ == State::over) return true;
    return deliver(rqtype, request.requestedLength) && push(request.requestedLength);
}

// A sender learns here that its partner has cancelled or gone; a partner never sends out of turn otherwise.
bool Exchange::answerSend() {
    pollfd partner = {bridge_.socket(), POLLIN, 0};
    Answer answer;
    answer.rqtype = GW_RQ_SEND_DATA;
    if (poll(&partner, 1, 0) > 0) {
        if (!awaitPartner()) return false;
        if (pendingMark_ == BridgeMark::gone || pendingMark_ == BridgeMark::abend)
            return deliverFailure(GW_RQ_SEND_DATA);
        endedByPartner_ = pendingMark_ == BridgeMark::end;
        if (endedByPartner_) state_ = State::over;
        answer.appcRc = endedByPartner_ ? CM_DEALLOCATED_NORMAL : CM_CANCEL_REQUEST;
    }
    if (link_.faults().askForSync && answer.appcRc == CM_OK) {
        answer.info = CPIC_SYNC_REQ;
        awaitingSync_ = true;
    }
    return link_.sendBare(answer, MessageKind::dataAnswer);
}

// The sender says that it has come so far, because it was asked to.
bool Exchange::sync(ByteSpan message) {
    if (!std::exchange(awaitingSync_, false)) return outOfOrder(message);
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, 0, link_.log())) return link_.refuse(message);
    Answer answer;
    answer.rqtype = GW_RQ_KEL_SYNC;
    return link_.sendBare(answer, MessageKind::answer);
}

// Whoever streams asks once; all that follows is pushed in blocks of the same size until the right to send
// has changed sides.
bool Exchange::push(std::uint32_t blockSize) {
    while (streaming_ && state_ == State::receiving) {
        if (!awaitPartner()) return false;
        if (state_ == State::receiving && !deliver(GW_RQ_RECEIVE, blockSize)) return false;
    }
    return true;
}

// A side that sends on and on has to let a block be answered now and then.
bool Exchange::checkSendCount(std::uint8_t rqtype) {
    if (rqtype != GW_RQ_ASEND_DATA) {
        unansweredSends_ = 0;
        return true;
    }
    const unsigned limit = streaming_ ? MAX_UNANSWERED_STREAMING : MAX_UNANSWERED_SENDS;
    if (++unansweredSends_ <= limit) return true;
    link_.log().add({"send request, rqtype", hdr::rqtype,
                     "SEND_DATA after " + std::to_string(limit) + " ASEND_DATA", "ASEND_DATA"});
    return false;
}

// Waits until the partner has sent something. Only here both directions need watching: the link's side may
// cancel, end the conversation, or be gone, while its partner works.
bool Exchange::awaitPartner() {
    while (!pendingValid_ && state_ != State::over) {
        if (link_.buffered()) {
            if (!handleWhileWaiting()) return false;
            continue;
        }
        pollfd sockets[2] = {{bridge_.socket(), POLLIN, 0}, {link_.socket(), POLLIN, 0}};
        if (poll(sockets, 2, -1) < 0) continue;
        if (sockets[0].revents != 0) {
            const BridgePacket packet = bridge_.receive(std::span(pending_).subspan(ANSWER_ROOM));
            pendingBegin_ = ANSWER_ROOM;
            pendingEnd_ = ANSWER_ROOM + packet.length;
            pendingMark_ = packet.mark;
            pendingValid_ = true;
        } else if (!handleWhileWaiting()) {
            return false;
        }
    }
    return true;
}

bool Exchange::handleWhileWaiting() {
    ByteSpan message;
    const Incoming incoming = link_.read(message);
    if (incoming != Incoming::message) return incoming == Incoming::ping;
    const Aside aside = asideOf(message);
    if (aside != Aside::none) return aside == Aside::ignore;
    if (!checkHeader(message, link_.context, link_.log())) return link_.refuse(message);
    if (message[hdr::rqtype] == GW_RQ_KEL_CANCEL) return cancel(message);
    if (message[hdr::rqtype] == GW_RQ_DEALLOCATE) return deallocate(message);
    return outOfOrder(message);
}

// Answers a request that receives with as much of the pending packet as it asked for.
bool Exchange::deliver(std::uint8_t rqtype, std::uint32_t requested) {
    if (!sendPings()) return false;
    const bool fails = pendingMark_ == BridgeMark::gone || pendingMark_ == BridgeMark::cancel ||
                       pendingMark_ == BridgeMark::abend;
    if (fails) return deliverFailure(rqtype);
    const std::size_t length = std::min<std::size_t>(requested, pendingEnd_ - pendingBegin_);
    const bool last = pendingBegin_ + length == pendingEnd_;
    const bool complete = last && pendingMark_ != BridgeMark::data;
    const bool ends = complete && pendingMark_ == BridgeMark::end;
    Answer answer;
    answer.rqtype = rqtype;
    answer.appcRc = ends ? CM_DEALLOCATED_NORMAL : CM_OK;
    answer.requestedLength = requested;
    answer.receivedLength = static_cast<std::uint32_t>(length);
    answer.dataReceived = !complete     ? CM_INCOMPLETE_DATA_RECEIVED
                          : length == 0 ? CM_NO_DATA_RECEIVED
                                        : CM_COMPLETE_DATA_RECEIVED;
    answer.statusReceived = complete && !ends ? CM_SEND_RECEIVED : CM_NO_STATUS_RECEIVED;
    // The header goes right in front of the data, over bytes that were delivered before.
    const std::span<Byte> frame =
        std::span(pending_).subspan(pendingBegin_ - ANSWER_ROOM, ANSWER_ROOM + length);
    writeAnswer(frame.subspan(NI_LENGTH_BYTES), link_.context, answer);
    pendingBegin_ += length;
    pendingValid_ = !last;
    if (complete) state_ = ends ? State::over : State::sending;
    endedByPartner_ = ends;
    return link_.channel.send(frame, MessageKind::dataAnswer);
}

// The conversation is over without a word of the partner's.
bool Exchange::deliverFailure(std::uint8_t rqtype) {
    state_ = State::over;
    endedByPartner_ = true;
    if (pendingMark_ == BridgeMark::cancel) {
        return link_.sendRefusal(GW_RQ_KEL_CANCELED, C_MANUAL_CANCELD, "the partner has cancelled",
                                 CM_DEALLOCATED_ABEND);
    }
    if (pendingMark_ == BridgeMark::abend) {
        const ByteSpan data = ByteSpan(pending_).subspan(pendingBegin_, pendingEnd_ - pendingBegin_);
        return link_.sendError(rqtype, CM_DEALLOCATED_ABEND, static_cast<int>(loadBe32(data, 0)),
                               asText(data.subspan(4)));
    }
    // In an orderly end of the gateway both sides go, in any order.
    if (link_.closing()) {
        return link_.sendRefusal(rqtype, GW_SHUTDOWN, "gateway shutdown", CM_DEALLOCATED_ABEND);
    }
    return link_.sendRefusal(rqtype, SYSTEM_DISCONNECTED, "the partner has gone", CM_DEALLOCATED_ABEND);
}

bool Exchange::cancel(ByteSpan message) {
    if (!checkCancel(message, link_.log())) return link_.refuse(message);
    bridge_.send(BridgeMark::cancel, {});
    state_ = State::over;
    Answer answer;
    answer.rqtype = GW_RQ_KEL_CANCEL;
    answer.appcRc = link_.faults().cancelAnswer;
    if (!link_.sendBare(answer, MessageKind::answer)) return false;
    if (answer.appcRc != CM_OK) return true;
    // The conversation was left to whoever cancelled, whose only request is to end it.
    ByteSpan last;
    if (!link_.next(last) || !checkHeader(last, link_.context, link_.log())) return false;
    return last[hdr::rqtype] == GW_RQ_DEALLOCATE ? deallocate(last) : outOfOrder(last);
}

bool Exchange::deallocate(ByteSpan message) {
    state_ = State::over;
    if (endsByError(message)) {
        // Code and block lie apart in the request.
        std::vector<Byte> data(message.begin() + hdr::kelRc, message.begin() + hdr::kelRc + 4);
        data.insert(data.end(), message.begin() + hdr::length, message.end());
        bridge_.send(BridgeMark::abend, data);
        return true;
    }
    if (!checkBareRequest(message, 0, 0, link_.log())) return link_.refuse(message);
    bridge_.send(BridgeMark::end, {});
    return true;
}

bool Exchange::sendPings() {
    const Faults& faults = link_.faults();
    for (unsigned i = 0; i < faults.networkPings; ++i) {
        if (!link_.sendPing()) return false;
    }
    for (unsigned i = 0; i < faults.gatewayPings; ++i) {
        Answer ping;
        ping.rqtype = GW_RQ_KEL_PING;
        if (!link_.sendBare(ping, MessageKind::ping)) return false;
    }
    return true;
}

bool Exchange::outOfOrder(ByteSpan message) {
    static constexpr std::string_view expected[] = {"a send, a receive or the end", "RECEIVE or KEL_CANCEL",
                                                    "nothing more"};
    return link_.outOfOrder(message, expected[static_cast<std::size_t>(state_)]);
}

}  // namespace zordev
