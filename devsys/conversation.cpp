#include "devsys/conversation.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <tuple>

#include "devsys/errorblock.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr std::size_t ANSWER_ROOM = NI_LENGTH_BYTES + hdr::length;
constexpr unsigned MAX_UNANSWERED_SENDS = 5;
constexpr unsigned MAX_UNANSWERED_STREAMING = 20;
constexpr std::string_view OWN_CODE_PAGE = "1100";

// The address of a client on IPv4 in network order as a number, 0 for any other family.
std::uint32_t peerAddress(int socket) {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return address.sin_family == AF_INET ? ntohl(address.sin_addr.s_addr) : 0;
}

}  // namespace

Conversation::Conversation(int socket, std::uint32_t number, ConversationServices& services)
    : socket_(socket),
      number_(number),
      services_(services),
      reader_(socket),
      channel_(socket, services.faults),
      pending_(ANSWER_ROOM + BRIDGE_MAX_DATA) {
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    context_.zordestOffered = (services.capabilities.acceptInfo2 & GW_ACCEPT2_ZORDEST) != 0;
    thread_ = std::thread([this] {
        run();
        finished_.store(true, std::memory_order_release);
    });
}

Conversation::~Conversation() {
    shutDown();
    thread_.join();
    if (partnerThread_.joinable()) partnerThread_.join();
    close(socket_);
}

void Conversation::shutDown() {
    shutdown(socket_, SHUT_RDWR);
}

void Conversation::run() {
    ByteSpan message;
    if (acceptConnection()) {
        while (state_ != State::over && nextMessage(message) && handleRequest(message)) {
        }
    }
    // The partner sees the end of its bridge; the client sees its connection close.
    bridge_.shutDown();
    shutdown(socket_, SHUT_RDWR);
}

bool Conversation::acceptConnection() {
    if (channel_.faults().refuseConnect) return false;
    ByteSpan record;
    if (!nextMessage(record)) return false;
    if (!checkConnectRecord(record, peerAddress(socket_), services_.violations)) {
        const bool answerable = record.size() == conn::length2 || record.size() == conn::length3;
        if (answerable) answerConnect(record, INVALID_REQUEST, "the connect record is not valid");
        return false;
    }
    if (connectOpcode(record) != GW_NORMAL_CLIENT) {
        answerConnect(record, INVALID_REQUEST, "connections of this type are not served");
        return false;
    }
    const int error = channel_.faults().connectError;
    return answerConnect(record, error, "connect error on demand") && error == 0;
}

bool Conversation::answerConnect(ByteSpan record, int rc, std::string_view reason) {
    const Faults& faults = channel_.faults();
    const std::vector<Byte> answer = makeConnectAnswer(record, services_.capabilities, rc, faults.connectEcho,
                                                       makeErrorBlock(rc, "connect refused", reason));
    std::vector<Byte> frame(NI_LENGTH_BYTES);
    frame.insert(frame.end(), answer.begin(), answer.end());
    if (faults.shortConnectAnswer) frame.resize(NI_LENGTH_BYTES + record.size() - 1);
    if (!channel_.send(frame, MessageKind::connectAnswer)) return false;
    return rc != 0 || !faults.connectEcho || checkEcho(answer);
}

bool Conversation::checkEcho(ByteSpan answer) {
    ByteSpan echo;
    if (!nextMessage(echo)) return false;
    if (std::ranges::equal(echo, answer)) return true;
    services_.violations.add({"echo of the connect answer", 0, hexText(answer), hexText(echo)});
    return false;
}

bool Conversation::nextMessage(ByteSpan& message) {
    switch (reader_.next(message)) {
        case FrameResult::message:
            return true;
        case FrameResult::closed:
            return false;
        case FrameResult::truncated:
            services_.violations.add({"network frame", 0, "a complete message", "the end of the connection"});
            return false;
        case FrameResult::badLength:
            services_.violations.add({"network frame, length", 0, "at most " + std::to_string(NI_MAX_MESSAGE),
                                      std::to_string(reader_.announced())});
            return false;
    }
    return false;
}

bool Conversation::handleRequest(ByteSpan message) {
    if (asText(message) == NI_PONG) return true;
    if (asText(message) == NI_PING) {
        std::array<Byte, NI_LENGTH_BYTES + NI_PONG.size()> pong = {};
        storeText(pong, NI_LENGTH_BYTES, NI_PONG.size(), NI_PONG);
        return channel_.send(pong, MessageKind::ping);
    }
    if (!checkHeader(message, context_, services_.violations)) return refuse(message);
    const std::uint8_t rqtype = message[hdr::rqtype];
    switch (rqtype) {
        case GW_RQ_KEL_SEND:
        case GW_RQ_ASEND_DATA:
        case GW_RQ_SEND_DATA:
        case GW_RQ_RECEIVE:
            return handleData(message, rqtype);
        case GW_RQ_INITIALIZE_CONVERSATION:
        case GW_RQ_SET_PARTNER_LU_NAME:
        case GW_RQ_ALLOCATE:
            return handleOpening(message, rqtype);
        case GW_RQ_KEL_CANCEL:
            return state_ < State::sending ? outOfOrder(message) : cancel(message);
        case GW_RQ_DEALLOCATE:
            return deallocate(message);
        default:
            return outOfOrder(message);
    }
}

bool Conversation::handleOpening(ByteSpan message, std::uint8_t rqtype) {
    if (rqtype == GW_RQ_INITIALIZE_CONVERSATION && state_ == State::connected) return initialize(message);
    if (rqtype == GW_RQ_SET_PARTNER_LU_NAME && state_ == State::initialized) {
        if (!checkSetPartnerLuName(message, services_.violations)) return refuse(message);
        state_ = State::named;
        return true;
    }
    if (rqtype == GW_RQ_ALLOCATE && state_ == State::named) return allocate(message);
    return outOfOrder(message);
}

bool Conversation::initialize(ByteSpan message) {
    if (!checkInitialize(message, context_, services_.violations)) return refuse(message);
    char id[hdr::conversationIdWidth + 1];
    std::snprintf(id, sizeof id, "%08u", static_cast<unsigned>(number_ % 100000000));
    std::copy_n(id, context_.conversationId.size(), context_.conversationId.begin());
    context_.connIdx = static_cast<std::uint16_t>(number_ % 30000);
    context_.protocol = message[hdr::protocol];
    state_ = State::initialized;
    const bool offered = (services_.capabilities.acceptInfo2 & GW_ACCEPT2_STREAMING) != 0;
    streaming_ = offered && asksForStreaming(message);
    Answer answer;
    answer.rqtype = GW_RQ_INITIALIZE_CONVERSATION;
    answer.info4 = streaming_ ? GW_WITH_STREAMING : 0;
    return sendBare(answer, MessageKind::answer);
}

bool Conversation::allocate(ByteSpan message) {
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, F_V_ALLOCATE, services_.violations)) {
        return refuse(message);
    }
    std::tie(bridge_, partnerEnd_) = makeBridge();
    const std::string id(context_.conversationId.data(), context_.conversationId.size());
    partnerThread_ = std::thread([this, id] {
        services_.partner(partnerEnd_, id);
        partnerEnd_.shutDown();
    });
    services_.allocated.fetch_add(1, std::memory_order_relaxed);
    state_ = State::sending;
    Answer answer;
    answer.rqtype = GW_RQ_ALLOCATE;
    answer.info3 = GW_WITH_CODE_PAGE;
    return sendBare(answer, MessageKind::answer);
}

bool Conversation::handleData(ByteSpan message, std::uint8_t rqtype) {
    const bool receive = rqtype == GW_RQ_RECEIVE;
    if (state_ != State::sending && !(receive && state_ == State::receiving)) return outOfOrder(message);
    ViolationLog& log = services_.violations;
    const DataRequest request = receive ? readReceive(message, log)
                                : rqtype == GW_RQ_KEL_SEND
                                    ? readSendReceive(message, log)
                                    : readSend(message, rqtype == GW_RQ_SEND_DATA, log);
    if (!request.valid || !checkSendCount(rqtype)) return refuse(message);
    const Faults& faults = channel_.faults();
    if (faults.dataError != 0 && channel_.due()) {
        return sendRefusal(rqtype, faults.dataError, "data error on demand") && false;
    }
    const bool turns = rqtype == GW_RQ_KEL_SEND || (receive && state_ == State::sending);
    if (turns || !receive) bridge_.send(turns ? BridgeMark::turn : BridgeMark::data, request.data);
    if (turns) state_ = State::receiving;
    if (rqtype == GW_RQ_ASEND_DATA) return true;
    if (rqtype == GW_RQ_SEND_DATA) {
        Answer answer;
        answer.rqtype = rqtype;
        return sendBare(answer, MessageKind::dataAnswer);
    }
    return awaitPartner() && deliver(rqtype, request.requestedLength) && stream(request.requestedLength);
}

// A streaming client asks once; all that follows is pushed in blocks of the same size until the client has
// the right to send.
bool Conversation::stream(std::uint32_t blockSize) {
    if (!streaming_) return true;
    while (state_ == State::receiving) {
        if (!awaitPartner() || !deliver(GW_RQ_RECEIVE, blockSize)) return false;
    }
    return true;
}

// A client that sends on and on has to let a block be answered now and then.
bool Conversation::checkSendCount(std::uint8_t rqtype) {
    if (rqtype != GW_RQ_ASEND_DATA) {
        unansweredSends_ = 0;
        return true;
    }
    const unsigned limit = streaming_ ? MAX_UNANSWERED_STREAMING : MAX_UNANSWERED_SENDS;
    if (++unansweredSends_ <= limit) return true;
    services_.violations.add({"send request, rqtype", hdr::rqtype,
                              "SEND_DATA after " + std::to_string(limit) + " ASEND_DATA", "ASEND_DATA"});
    return false;
}

// Waits until the partner has sent something. Only here both directions need watching: the client may
// cancel, or be gone, while its partner works.
bool Conversation::awaitPartner() {
    while (!pendingValid_) {
        if (reader_.buffered()) {
            if (!handleWhileWaiting()) return false;
            continue;
        }
        pollfd sockets[2] = {{bridge_.socket(), POLLIN, 0}, {socket_, POLLIN, 0}};
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

bool Conversation::handleWhileWaiting() {
    ByteSpan message;
    if (!nextMessage(message)) return false;
    const bool control = asText(message) == NI_PING || asText(message) == NI_PONG;
    if (control) return handleRequest(message);
    if (!checkHeader(message, context_, services_.violations)) return refuse(message);
    if (message[hdr::rqtype] == GW_RQ_KEL_CANCEL) {
        cancel(message);
        return false;
    }
    if (message[hdr::rqtype] == GW_RQ_DEALLOCATE) return deallocate(message);
    return outOfOrder(message);
}

// Answers a request that receives with as much of the pending packet as it asked for.
bool Conversation::deliver(std::uint8_t rqtype, std::uint32_t requested) {
    if (!sendPings()) return false;
    if (pendingMark_ == BridgeMark::gone) {
        return sendRefusal(rqtype, SYSTEM_DISCONNECTED, "the partner has gone", CM_DEALLOCATED_ABEND) &&
               false;
    }
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
    writeAnswer(frame.subspan(NI_LENGTH_BYTES), context_, answer);
    pendingBegin_ += length;
    pendingValid_ = !last;
    if (complete) state_ = ends ? State::over : State::sending;
    return channel_.send(frame, MessageKind::dataAnswer);
}

bool Conversation::cancel(ByteSpan message) {
    if (!checkCancel(message, services_.violations)) return refuse(message);
    bridge_.send(BridgeMark::cancel, {});
    const int appcRc = channel_.faults().cancelAnswer;
    state_ = State::over;
    Answer answer;
    answer.rqtype = GW_RQ_KEL_CANCEL;
    answer.appcRc = appcRc;
    return sendBare(answer, MessageKind::answer) && appcRc == CM_OK && awaitDeallocate();
}

// After a cancel that left the conversation to the client, its only request is to end it.
bool Conversation::awaitDeallocate() {
    ByteSpan message;
    if (!nextMessage(message) || !checkHeader(message, context_, services_.violations)) return false;
    return message[hdr::rqtype] == GW_RQ_DEALLOCATE ? deallocate(message) : outOfOrder(message);
}

bool Conversation::deallocate(ByteSpan message) {
    if (state_ == State::connected) return outOfOrder(message);
    if (!checkBareRequest(message, 0, 0, services_.violations)) return refuse(message);
    bridge_.send(BridgeMark::end, {});
    return false;
}

bool Conversation::sendPings() {
    const Faults& faults = channel_.faults();
    for (unsigned i = 0; i < faults.networkPings; ++i) {
        std::array<Byte, NI_LENGTH_BYTES + NI_PING.size()> ping = {};
        storeText(ping, NI_LENGTH_BYTES, NI_PING.size(), NI_PING);
        if (!channel_.send(ping, MessageKind::ping)) return false;
    }
    for (unsigned i = 0; i < faults.gatewayPings; ++i) {
        Answer ping;
        ping.rqtype = GW_RQ_KEL_PING;
        if (!sendBare(ping, MessageKind::ping)) return false;
    }
    return true;
}

bool Conversation::sendBare(const Answer& answer, MessageKind kind) {
    std::array<Byte, ANSWER_ROOM> frame;
    const std::span<Byte> header = std::span(frame).subspan(NI_LENGTH_BYTES);
    writeAnswer(header, context_, answer);
    if (answer.info3 & GW_WITH_CODE_PAGE) {
        storeText(header, hdr::rcvCodePage, OWN_CODE_PAGE.size(), OWN_CODE_PAGE);
    }
    return channel_.send(frame, kind);
}

bool Conversation::sendRefusal(std::uint8_t rqtype, int kelRc, std::string_view reason, int appcRc) {
    const std::string block = makeErrorBlock(kelRc, "conversation ended", reason);
    Answer answer;
    answer.rqtype = rqtype;
    answer.appcRc = appcRc;
    answer.kelRc = kelRc;
    answer.info = WITH_ERR_INFO;
    answer.errLen = static_cast<std::uint16_t>(block.size());
    std::vector<Byte> frame(ANSWER_ROOM + block.size());
    writeAnswer(std::span(frame).subspan(NI_LENGTH_BYTES), context_, answer);
    storeText(frame, ANSWER_ROOM, block.size(), block);
    return channel_.send(frame, MessageKind::dataAnswer);
}

// What is wrong stands in the log already; a client that waits for an answer is told so. Always false.
bool Conversation::refuse(ByteSpan message) {
    const bool answerExpected = message.size() > hdr::info && (message[hdr::info] & SYNC_CPIC_FUNCTION) != 0;
    if (answerExpected) sendRefusal(message[hdr::rqtype], INVALID_REQUEST, "the request is not valid");
    return false;
}

bool Conversation::outOfOrder(ByteSpan message) {
    static constexpr std::string_view expected[] = {
        "INITIALIZE_CONVERSATION",      "SET_PARTNER_LU_NAME",   "ALLOCATE",
        "a send, a receive or the end", "RECEIVE or KEL_CANCEL", "nothing more"};
    services_.violations.add({"request header, rqtype", hdr::rqtype,
                              std::string(expected[static_cast<std::size_t>(state_)]),
                              std::to_string(message[hdr::rqtype])});
    return refuse(message);
}

}  // namespace zordev
