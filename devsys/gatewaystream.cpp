#include "devsys/gatewaystream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "devsys/connectrecord.h"
#include "devsys/gwrequest.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

constexpr std::size_t CHUNK = 28000;
constexpr unsigned SENDS_WITHOUT_ANSWER = 5;
constexpr int OPEN_LIMIT_MS = 60000;
constexpr std::string_view OWN_NAME = "zordev";
constexpr std::uint8_t PROTOCOL_INTERNAL = 2;

std::vector<Byte> connectRecord() {
    std::vector<Byte> record(conn::length2);
    record[conn::version] = 2;
    record[conn::opcode] = GW_NORMAL_CLIENT;
    storeBe32(record, conn::hostaddr, INADDR_LOOPBACK);
    storeText(record, conn::service, conn::serviceWidth, OWN_NAME, '\0');
    storeText(record, conn::codePage, conn::codePageWidth, "1100");
    record[conn::acceptInfo2] = CLIENT_ACCEPT_INFO2;
    storeText(record, conn::lu, conn::luWidth, "zordev");
    storeText(record, conn::tp, conn::tpWidth, OWN_NAME);
    storeText(record, conn::conversationId, conn::conversationIdWidth, "");
    record[conn::appchdrVersion] = 6;
    record[conn::acceptInfo] = CLIENT_ACCEPT_INFO;
    storeBe16(record, conn::connIdx, 0xFFFF);
    return record;
}

// What a refusal says of itself: the third text of its error block, or its codes.
std::string reasonOf(ByteSpan answer) {
    std::string_view rest = asText(answer.subspan(hdr::length));
    std::string_view text;
    constexpr std::size_t detail = 9;  // place of the detailed text among those of the block
    for (std::size_t i = 0; i <= detail && !rest.empty(); ++i) {
        text = rest.substr(0, rest.find('\0'));
        rest.remove_prefix(std::min(rest.size(), text.size() + 1));
    }
    return "code " + std::to_string(loadBe32(answer, hdr::kelRc)) + (text.empty() ? "" : ": ") +
           std::string(text);
}

int connectTo(std::uint16_t port) {
    const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connected < 0 || connect(connected, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        const std::string reason = std::strerror(errno);
        if (connected >= 0) ::close(connected);
        throw std::runtime_error("no gateway at port " + std::to_string(port) + ": " + reason);
    }
    const int on = 1;
    setsockopt(connected, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return connected;
}

}  // namespace

GatewayStream::GatewayStream(std::uint16_t port, const std::string& programId)
    : socket_(connectTo(port)), reader_(socket_) {
    try {
        open(programId);
    } catch (...) {
        ::close(socket_);
        throw;
    }
}

GatewayStream::~GatewayStream() {
    ::close(socket_);
}

void GatewayStream::open(const std::string& programId) {
    sendMessage(connectRecord());
    const ByteSpan greeting = await(OPEN_LIMIT_MS);
    if (greeting.size() < conn::length2 || loadBe32(greeting, conn::rc2) != 0) {
        throw std::runtime_error("the gateway refuses the connection");
    }
    const bool zordest = (greeting[conn::acceptInfo2] & GW_ACCEPT2_ZORDEST) != 0;
    sendMessage(makeInitialize("TSLZOR", "127.0.0.1", programId, OWN_NAME, zordest));
    const ByteSpan initialized = awaitAnswer("open the conversation");
    id_ = asText(initialized.subspan(hdr::conversationId, hdr::conversationIdWidth));
    index_ = loadBe16(initialized, hdr::connIdx);
    streaming_ = (initialized[hdr::info4] & GW_WITH_STREAMING) != 0;
    std::vector<Byte> partner = header(GW_RQ_SET_PARTNER_LU_NAME, WITH_GW_KEL_PARAMS_HDR, 0);
    addPartnerName(partner, "127.0.0.1");
    sendMessage(partner);
    sendMessage(header(GW_RQ_ALLOCATE, SYNC_CPIC_FUNCTION, F_V_ALLOCATE));
    awaitAnswer("reach the program");
}

std::vector<Byte> GatewayStream::header(std::uint8_t rqtype, std::uint8_t info, std::uint8_t vector) const {
    return makeRequest(rqtype, info, vector, PROTOCOL_INTERNAL, id_, index_);
}

bool GatewayStream::sendMessage(ByteSpan message) const {
    std::vector<Byte> frame(NI_LENGTH_BYTES);
    storeBe32(frame, 0, static_cast<std::uint32_t>(message.size()));
    frame.insert(frame.end(), message.begin(), message.end());
    return sendAll(socket_, frame);
}

// The next message that is no ping; empty when none comes.
ByteSpan GatewayStream::await(int limitMs) {
    for (;;) {
        pollfd gateway = {socket_, POLLIN, 0};
        timeout_ = !reader_.buffered() && poll(&gateway, 1, limitMs) == 0;
        ByteSpan message;
        if (timeout_ || reader_.next(message) != FrameResult::message) return {};
        if (asText(message) == NI_PONG) continue;
        if (asText(message) == NI_PING) {
            if (!sendMessage(asBytes(NI_PONG))) return {};
            continue;
        }
        if (message.size() < hdr::length || message[hdr::rqtype] != GW_RQ_KEL_PING) return message;
    }
}

ByteSpan GatewayStream::awaitAnswer(std::string_view step) {
    const ByteSpan answer = await(OPEN_LIMIT_MS);
    const std::string failure = "the gateway does not " + std::string(step);
    if (answer.size() < hdr::length) throw std::runtime_error(failure);
    if (loadBe32(answer, hdr::appcRc) != 0) throw std::runtime_error(failure + ", " + reasonOf(answer));
    return answer;
}

bool GatewayStream::send(ByteSpan request) {
    for (unsigned count = 1; request.size() > CHUNK; ++count) {
        const bool answered = count % (SENDS_WITHOUT_ANSWER + 1) == 0;
        const std::uint8_t rqtype = answered ? GW_RQ_SEND_DATA : GW_RQ_ASEND_DATA;
        std::vector<Byte> message = header(rqtype, answered ? SYNC_CPIC_FUNCTION : 0, F_V_SEND_DATA);
        storeBe32(message, hdr::sendLength, CHUNK);
        message.insert(message.end(), request.begin(), request.begin() + CHUNK);
        if (!sendMessage(message)) return false;
        if (answered && await(OPEN_LIMIT_MS).size() < hdr::length) return false;
        request = request.subspan(CHUNK);
    }
    std::vector<Byte> message =
        header(GW_RQ_KEL_SEND, SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR, F_V_SEND_DATA | F_V_RECEIVE);
    addSendReceive(message, request, CHUNK);
    return sendMessage(message);
}

StreamEnd GatewayStream::receive(std::vector<Byte>& answer, std::chrono::milliseconds limit) {
    for (;;) {
        const ByteSpan block = await(static_cast<int>(limit.count()));
        if (block.size() < hdr::length) return timeout_ ? StreamEnd::timeout : StreamEnd::lost;
        const std::uint32_t rc = loadBe32(block, hdr::appcRc);
        if (rc != CM_OK && rc != CM_DEALLOCATED_NORMAL) return StreamEnd::lost;
        answer.insert(answer.end(), block.begin() + hdr::length, block.end());
        if (rc == CM_DEALLOCATED_NORMAL) return StreamEnd::end;
        if (loadBe32(block, hdr::rcvStatus) == CM_SEND_RECEIVED) return StreamEnd::turn;
        if (streaming_) continue;
        std::vector<Byte> more = header(GW_RQ_RECEIVE, SYNC_CPIC_FUNCTION, F_V_RECEIVE);
        storeBe32(more, hdr::rcvRequested, CHUNK);
        if (!sendMessage(more)) return StreamEnd::lost;
    }
}

void GatewayStream::close(bool cancelled) {
    if (cancelled) {
        std::vector<Byte> request = header(GW_RQ_KEL_CANCEL, SYNC_CPIC_FUNCTION, 0);
        request[hdr::info3] = GW_CANCEL_SOFT;
        sendMessage(request);
        await(OPEN_LIMIT_MS);
    } else {
        sendMessage(header(GW_RQ_DEALLOCATE, 0, 0));
    }
}

}  // namespace zordev
