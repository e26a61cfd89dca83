#include "barerelay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

/** In front of each message on the TCP side, in host order: both ends are this program. */
struct Frame {
    std::uint32_t length;  ///< Bytes behind the frame.
    std::uint32_t wanted;  ///< In the last message of a request: bytes to answer with; else 0.
    std::uint32_t block;   ///< Bytes of a message of the answer.
    std::uint32_t kept;    ///< Whether the request is kept, and is the answer.
};

[[noreturn]] void give_up() {
    _exit(1);
}

void sendAll(int socketNo, const void* data, std::size_t length) {
    const auto* position = static_cast<const char*>(data);
    while (length > 0) {
        const ssize_t sent = send(socketNo, position, length, MSG_NOSIGNAL);
        if (sent <= 0) give_up();
        position += sent;
        length -= static_cast<std::size_t>(sent);
    }
}

void await(int socketNo) {
    pollfd waiting{socketNo, POLLIN, 0};
    poll(&waiting, 1, -1);
}

/** Reads until the buffer, `have` bytes of it filled, begins with a whole message. */
bool receiveMessage(int socketNo, std::vector<char>& buffer, std::size_t& have, Frame& frame, bool waits) {
    while (true) {
        if (have >= sizeof frame) {
            std::memcpy(&frame, buffer.data(), sizeof frame);
            if (have >= sizeof frame + frame.length) return true;
        }
        if (waits) await(socketNo);
        const ssize_t got = recv(socketNo, buffer.data() + have, buffer.size() - have, 0);
        if (got <= 0) return false;
        have += static_cast<std::size_t>(got);
    }
}

/** Answers with so many bytes: those of the request, or whatever is in the buffer. */
void answer(int pair, std::vector<char>& buffer, const std::vector<char>& kept, std::size_t left,
            std::size_t block) {
    std::size_t sent = 0;
    while (sent < left) {
        const std::size_t length = std::min(left - sent, block);
        const Frame frame{static_cast<std::uint32_t>(length), 0, 0, 0};
        std::memcpy(buffer.data(), &frame, sizeof frame);
        if (!kept.empty()) std::memcpy(buffer.data() + sizeof frame, kept.data() + sent, length);
        sendAll(pair, buffer.data(), sizeof frame + length);
        sent += length;
    }
}

/** Answers each request with as many bytes as its last message asks for. */
void serve(int pair) {
    std::vector<char> buffer(sizeof(Frame) + BARE_MAX_MESSAGE), kept;
    while (true) {
        await(pair);
        const ssize_t got = recv(pair, buffer.data(), buffer.size(), 0);
        if (got <= 0) return;
        Frame frame;
        std::memcpy(&frame, buffer.data(), sizeof frame);
        if (frame.kept != 0) kept.insert(kept.end(), buffer.begin() + sizeof frame, buffer.begin() + got);
        if (frame.wanted == 0) continue;
        answer(pair, buffer, kept, frame.wanted, frame.block);
        kept.clear();  // its room stays
    }
}

/** The same for a client that is connected directly. */
void serveDirectly(int client) {
    std::vector<char> buffer(2 * (sizeof(Frame) + BARE_MAX_MESSAGE));
    std::size_t have = 0;
    Frame frame{};
    while (receiveMessage(client, buffer, have, frame, true)) {
        have -= sizeof frame + frame.length;
        std::memmove(buffer.data(), buffer.data() + sizeof frame + frame.length, have);
        if (frame.wanted != 0) answer(client, buffer, {}, frame.wanted, frame.block);
    }
}

/** Passes what comes from one side to the other until the client goes. */
void relay(int client) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) != 0) give_up();
    std::thread server(serve, pair[1]);
    std::vector<char> buffer(2 * (sizeof(Frame) + BARE_MAX_MESSAGE));
    std::vector<char> answer(sizeof(Frame) + BARE_MAX_MESSAGE);
    std::size_t have = 0;
    bool open = true;
    while (open) {
        pollfd waiting[2] = {{client, POLLIN, 0}, {pair[0], POLLIN, 0}};
        poll(waiting, 2, -1);
        if (waiting[0].revents != 0) {
            Frame frame{};
            do {
                open = receiveMessage(client, buffer, have, frame, false);
                if (!open) break;
                const std::size_t whole = sizeof frame + frame.length;
                sendAll(pair[0], buffer.data(), whole);
                have -= whole;
                std::memmove(buffer.data(), buffer.data() + whole, have);
            } while (have > 0);
        }
        if (waiting[1].revents != 0) {
            const ssize_t got = recv(pair[0], answer.data(), answer.size(), 0);
            if (got > 0) sendAll(client, answer.data(), static_cast<std::size_t>(got));
        }
    }
    shutdown(pair[0], SHUT_RDWR);
    server.join();
    close(pair[0]);
    close(pair[1]);
}

void setNoDelay(int socketNo) {
    const int on = 1;
    setsockopt(socketNo, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

[[noreturn]] void runServer(int listener, void (*work)(int client)) {
    while (true) {
        const int client = accept(listener, nullptr, nullptr);
        if (client < 0) give_up();
        setNoDelay(client);
        std::thread([client, work] {
            work(client);
            close(client);
        }).detach();
    }
}

}  // namespace

void runBareRelay(int listener) {
    runServer(listener, relay);
}

void runBareServer(int listener) {
    runServer(listener, serveDirectly);
}

BareClient::BareClient(std::uint16_t port)
    : socket_(socket(AF_INET, SOCK_STREAM, 0)), buffer_(sizeof(Frame) + BARE_MAX_MESSAGE) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
    setNoDelay(socket_);
}

BareClient::~BareClient() {
    close(socket_);
}

void BareClient::exchange(std::size_t out, std::size_t in, std::size_t block) {
    while (out > 0) {
        const std::size_t length = std::min(out, block);
        out -= length;
        const Frame frame{static_cast<std::uint32_t>(length), out == 0 ? static_cast<std::uint32_t>(in) : 0,
                          static_cast<std::uint32_t>(block), 0};
        std::memcpy(buffer_.data(), &frame, sizeof frame);
        sendAll(socket_, buffer_.data(), sizeof frame + length);
    }
    // Frames are counted with the data, so that it doesn't matter how the stream is cut on its way.
    std::size_t left = in + (in + block - 1) / block * sizeof(Frame);
    while (left > 0) {
        await(socket_);
        const ssize_t got = recv(socket_, buffer_.data(), std::min(buffer_.size(), left), 0);
        if (got <= 0) std::abort();
        left -= static_cast<std::size_t>(got);
    }
}

void BareClient::echo(std::vector<char>& data, std::size_t block) {
    for (std::size_t sent = 0; sent < data.size();) {
        const std::size_t length = std::min(data.size() - sent, block);
        const bool last = sent + length == data.size();
        const Frame frame{static_cast<std::uint32_t>(length),
                          last ? static_cast<std::uint32_t>(data.size()) : 0,
                          static_cast<std::uint32_t>(block), 1};
        std::memcpy(buffer_.data(), &frame, sizeof frame);
        std::memcpy(buffer_.data() + sizeof frame, data.data() + sent, length);
        sendAll(socket_, buffer_.data(), sizeof frame + length);
        sent += length;
    }
    for (std::size_t stored = 0, have = 0; stored < data.size();) {
        Frame frame{};
        if (!receiveMessage(socket_, buffer_, have, frame, true)) std::abort();
        const std::size_t whole = sizeof frame + frame.length;
        std::memcpy(data.data() + stored, buffer_.data() + sizeof frame, frame.length);
        stored += frame.length;
        have -= whole;
        std::memmove(buffer_.data(), buffer_.data() + whole, have);
    }
}
