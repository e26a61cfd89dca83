/** @file Plain sockets that a test scripts as a partner. */
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <semaphore>
#include <string>
#include <vector>

#include "tests/base/ni/nipeer.h"

namespace ni_test {

/** One end of a connection. */
class Peer {
  public:
    explicit Peer(int socketNo) : socketNo(socketNo) {}
    ~Peer() { close(socketNo); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void give(const std::string& bytes) const {
        EXPECT_EQ(send(socketNo, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::string take(std::size_t count) const {
        std::string bytes(count, '?');
        const ssize_t got = recv(socketNo, bytes.data(), count, MSG_WAITALL);
        bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return bytes;
    }
    /** Makes the end of the connection an error for the partner. */
    void reset() const {
        const linger hard{.l_onoff = 1, .l_linger = 0};
        setsockopt(socketNo, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    }
    std::string takeWhatIsThere() const {
        std::string bytes(1 << 16, '?');
        const ssize_t got = recv(socketNo, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return bytes;
    }
    std::string takeFrame() const {
        std::size_t length = 0;
        for (const char c : take(4))
            length = length << 8 | static_cast<unsigned char>(c);
        return take(length);
    }

  private:
    int socketNo;
};

/** Listens on a free loopback port. */
class PlainServer {
  public:
    explicit PlainServer(int backlog = 5) : listener(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
        port = ntohs(address.sin_port);
        if (backlog >= 0) {
            EXPECT_EQ(listen(listener, backlog), 0);
        }
    }
    ~PlainServer() {
        for (const int waiting : fillers)
            close(waiting);
        close(listener);
    }
    PlainServer(const PlainServer&) = delete;
    PlainServer& operator=(const PlainServer&) = delete;

    int acceptPlain() const { return accept(listener, nullptr, nullptr); }

    /** Fills the queue of partners, so that the system lets further ones wait for their connect. */
    void fillQueue() {
        for (int i = 0; i < 4; ++i) {
            fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            const sockaddr_in address = loopback(port);
            connect(fillers.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        }
    }
    /** Partners that connect from now on may send little that isn't taken. */
    void keepSmall() const {
        const int small = 1;
        EXPECT_EQ(setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &small, sizeof small), 0);
    }
    std::string portText() const { return std::to_string(port); }

    int port = 0;

  private:
    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<in_port_t>(port));
        return address;
    }

    int listener;
    std::vector<int> fillers;
};

}  // namespace ni_test
