#include "devsys/link.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <vector>

#include "devsys/errorblock.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr std::string_view OWN_CODE_PAGE = "1100";

}  // namespace

Link::Link(int socket, const FaultSwitch& faults, ViolationLog& log)
    : channel(socket, faults), socket_(socket), log_(log), reader_(socket) {
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Link::~Link() {
    close(socket_);
}

void Link::shutDown() const {
    shutdown(socket_, SHUT_RDWR);
}

void Link::shutDownInput() const {
    shutdown(socket_, SHUT_RD);
}

Incoming Link::read(ByteSpan& message) {
    switch (reader_.next(message)) {
        case FrameResult::message:
            break;
        case FrameResult::closed:
            return Incoming::lost;
        case FrameResult::truncated:
            if (closing()) return Incoming::lost;
            log_.add({"network frame", 0, "a complete message", "the end of the connection"});
            return Incoming::lost;
        case FrameResult::badLength:
            log_.add({"network frame, length", 0, "at most " + std::to_string(NI_MAX_MESSAGE),
                      std::to_string(reader_.announced())});
            return Incoming::lost;
    }
    if (asText(message) == NI_PONG) return Incoming::ping;
    if (asText(message) != NI_PING) return Incoming::message;
    std::array<Byte, NI_LENGTH_BYTES + NI_PONG.size()> pong = {};
    storeText(pong, NI_LENGTH_BYTES, NI_PONG.size(), NI_PONG);
    return channel.send(pong, MessageKind::ping) ? Incoming::ping : Incoming::lost;
}

bool Link::next(ByteSpan& message) {
    for (;;) {
        const Incoming incoming = read(message);
        if (incoming != Incoming::ping) return incoming == Incoming::message;
    }
}

bool Link::sendPing() {
    std::array<Byte, NI_LENGTH_BYTES + NI_PING.size()> ping = {};
    storeText(ping, NI_LENGTH_BYTES, NI_PING.size(), NI_PING);
    return channel.send(ping, MessageKind::ping);
}

bool Link::sendBare(const Answer& answer, MessageKind kind) {
    std::array<Byte, ANSWER_ROOM> frame;
    const std::span<Byte> header = std::span(frame).subspan(NI_LENGTH_BYTES);
    writeAnswer(header, context, answer);
    if (answer.info3 & GW_WITH_CODE_PAGE) {
        storeText(header, hdr::rcvCodePage, OWN_CODE_PAGE.size(), OWN_CODE_PAGE);
    }
    return channel.send(frame, kind);
}

bool Link::sendRefusal(std::uint8_t rqtype, int kelRc, std::string_view reason, int appcRc) {
    return sendError(rqtype, appcRc, kelRc, makeErrorBlock(kelRc, "conversation ended", reason));
}

bool Link::sendError(std::uint8_t rqtype, int appcRc, int kelRc, std::string_view block) {
    Answer answer;
    answer.rqtype = rqtype;
    answer.appcRc = appcRc;
    answer.kelRc = kelRc;
    answer.info = WITH_ERR_INFO;
    answer.errLen = static_cast<std::uint16_t>(block.size());
    std::vector<Byte> frame(ANSWER_ROOM + block.size());
    writeAnswer(std::span(frame).subspan(NI_LENGTH_BYTES), context, answer);
    storeText(frame, ANSWER_ROOM, block.size(), block);
    return channel.send(frame, MessageKind::dataAnswer);
}

bool Link::refuse(ByteSpan message) {
    const bool answerExpected = message.size() > hdr::info && (message[hdr::info] & SYNC_CPIC_FUNCTION) != 0;
    if (answerExpected) sendRefusal(message[hdr::rqtype], INVALID_REQUEST, "the request is not valid");
    return false;
}

bool Link::outOfOrder(ByteSpan message, std::string_view expected) {
    log_.add(
        {"request header, rqtype", hdr::rqtype, std::string(expected), std::to_string(message[hdr::rqtype])});
    return refuse(message);
}

}  // namespace zordev
