#include "plaingateway.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <span>
#include <thread>

#include "krn/si/gw/gwappchdr.h"
#include "krn/si/gw/gwconn.h"
#include "process.h"

namespace {

constexpr std::size_t FRAME = 4, HEADER = APPCHDR6_LAYOUT::length;
constexpr std::size_t REQUEST_TYPE = 1;  // place in the header

using Bytes = std::span<const unsigned char>;

void putLength(unsigned char* frame, std::size_t length) {
    const std::uint32_t wire = htonl(static_cast<std::uint32_t>(length));
    std::memcpy(frame, &wire, FRAME);
}

bool sendAll(int socketNo, Bytes bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socketNo, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

/** One client's requests. */
class Service {
  public:
    Service(int socketNo, bool streaming) : socketNo(socketNo), streaming(streaming), buffer(1 << 18) {
        const int on = 1;
        setsockopt(socketNo, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Service() { close(socketNo); }
    Service(const Service&) = delete;

    void run() {
        while (receive()) {
            std::size_t done = 0, length = 0;
            while (whole(done, length)) {
                if (!serve(Bytes(buffer).subspan(done + FRAME, length))) return;
                done += FRAME + length;
            }
            have -= done;
            std::memmove(buffer.data(), buffer.data() + done, have);
        }
    }

  private:
    bool receive() {
        const ssize_t got = recv(socketNo, buffer.data() + have, buffer.size() - have, 0);
        if (got > 0) have += static_cast<std::size_t>(got);
        return got > 0;
    }
    bool whole(std::size_t at, std::size_t& length) const {
        if (have - at < FRAME) return false;
        std::uint32_t wire;
        std::memcpy(&wire, buffer.data() + at, FRAME);
        length = ntohl(wire);
        return have - at >= FRAME + length;
    }
    bool serve(Bytes message) {
        if (message.size() < HEADER || message.size() == APPC_CONN3_LAYOUT::length) return echo(message);
        if (message.size() == APPC_CONN_EXT1_LAYOUT::length) return true;
        switch (message[REQUEST_TYPE]) {
            case GW_RQ_INITIALIZE_CONVERSATION:
            case GW_RQ_ALLOCATE:
            case GW_RQ_SEND_DATA:
                return answer(message[REQUEST_TYPE], 0);
            case GW_RQ_KEL_SEND:
                return answer(message[REQUEST_TYPE], PONG_LENGTH);
            default:
                return message[REQUEST_TYPE] != GW_RQ_DEALLOCATE;
        }
    }
    /** The connect record is its own answer. */
    bool echo(Bytes record) {
        std::array<unsigned char, FRAME + APPC_CONN3_LAYOUT::length> bytes;
        putLength(bytes.data(), record.size());
        std::memcpy(bytes.data() + FRAME, record.data(), record.size());
        return sendAll(socketNo, Bytes(bytes).first(FRAME + record.size()));
    }
    bool answer(unsigned char request, std::size_t length) const {
        std::array<unsigned char, FRAME + HEADER + PONG_LENGTH> bytes{};
        APPCHDR6 header;
        header.rqtype = request;
        header.info4 = streaming ? GW_WITH_STREAMING : 0;
        header.conversation_ID = {'1', '2', '3', '4', '5', '6', '7', '8'};
        header.conn_idx = 1;
        if (request == GW_RQ_KEL_SEND)
            header.nparams = GwPutNcmrcv({.data_received = CM_COMPLETE_DATA_RECEIVED,
                                          .received_length = static_cast<std::int32_t>(length),
                                          .status_received = CM_SEND_RECEIVED});
        putLength(bytes.data(), HEADER + length);
        GwPutHdr(std::span(bytes).subspan<FRAME, HEADER>(), header);
        return sendAll(socketNo, Bytes(bytes).first(FRAME + HEADER + length));
    }

    int socketNo;
    bool streaming;
    std::vector<unsigned char> buffer;
    std::size_t have = 0;
};

}  // namespace

void servePlainGateway(int report, bool streaming) {
    const int listener = listenAndReport(report);
    for (int client; (client = accept(listener, nullptr, nullptr)) >= 0;)
        std::thread([client, streaming] { Service(client, streaming).run(); }).detach();
}

PlainClient::PlainClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)), in_(1 << 16) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) die("no plain gateway");
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

PlainClient::~PlainClient() {
    close(socket_);
}

void PlainClient::send(unsigned char request, std::size_t length) {
    out_.resize(FRAME + length);
    putLength(out_.data(), length);
    out_[FRAME + REQUEST_TYPE] = request;
    if (!sendAll(socket_, out_)) die("the plain gateway is gone");
}

void PlainClient::receive() {
    pollfd waiting{socket_, POLLIN, 0};
    poll(&waiting, 1, -1);
    if (recv(socket_, in_.data(), in_.size(), 0) <= 0) die("the plain gateway is gone");
}

void PlainClient::exchange(std::size_t length) {
    send(GW_RQ_KEL_SEND, length);
    receive();
}

void PlainClient::sendAway(std::size_t total, std::size_t block) {
    for (std::size_t sent = block; sent < total; sent += block)
        send(GW_RQ_ASEND_DATA, HEADER + block);
    send(GW_RQ_SEND_DATA, HEADER + block);
    receive();
}
