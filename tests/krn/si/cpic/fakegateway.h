/**
 * @file
 * A gateway that follows a script: a thread that takes messages and gives messages, each checked and made by
 * hand. It knows nothing of the library's records.
 */
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>

#include "krn/si/cpic/cpic.h"

inline std::string number(unsigned value, int width) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

class FakeGateway {
  public:
    /** What the script's answers carry; the defaults are those of a plain success. */
    struct Answer {
        int rqtype = 0;
        unsigned appcRc = 0;
        unsigned kelRc = 0;
        int info = 0;
        int info2 = 0;
        int info3 = 0;
        int info4 = 0;
        int traceLevel = 0;
        std::string error{};  ///< Error block in front of the data.
        unsigned dataReceived = 2;
        unsigned status = 1;
        std::string data{};
        int announced = -1;  ///< Length that the header tells; -1 that of the data.
    };

    explicit FakeGateway(std::function<void(FakeGateway&)> script) {
        listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        const int small = 16384;  // a gateway that doesn't read is full soon
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        bind(listener, reinterpret_cast<sockaddr*>(&address), length);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        listen(listener, 1);
        service = std::to_string(ntohs(address.sin_port));
        thread = std::thread([this, script = std::move(script)] {
            line = accept(listener, nullptr, nullptr);
            script(*this);
            hangUp();
        });
    }
    ~FakeGateway() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }
    FakeGateway(const FakeGateway&) = delete;
    FakeGateway& operator=(const FakeGateway&) = delete;

    /** The next message; empty when the client has closed. */
    std::string take() {
        const std::string head = bytes(4);
        if (head.size() < 4) return {};
        std::size_t length = 0;
        for (const char c : head)
            length = length << 8 | static_cast<unsigned char>(c);
        return bytes(length);
    }
    void give(const std::string& message) { raw(number(static_cast<unsigned>(message.size()), 4) + message); }
    void raw(const std::string& all) { (void)!::send(line, all.data(), all.size(), MSG_NOSIGNAL); }

    void answer(const Answer& answer) {
        std::string header =
            std::string("\6", 1) + static_cast<char>(answer.rqtype) + '\2' + '\0' + "\xFF\xFF";
        header += std::string(2, '\0') + number(static_cast<unsigned>(answer.error.size()), 2);
        header += static_cast<char>(answer.info2);
        header +=
            static_cast<char>(answer.traceLevel) + std::string(4, '\0') + static_cast<char>(answer.info3);
        header += std::string(4, '\0') + static_cast<char>(answer.info4);
        header += std::string(8, '\0') + static_cast<char>(answer.info) + '\0';
        header += number(answer.appcRc, 4) + number(answer.kelRc, 4) + conversation;
        header += number(0, 4) + number(answer.dataReceived, 4);
        const std::size_t announced =
            answer.announced >= 0 ? static_cast<std::size_t>(answer.announced) : answer.data.size();
        header += number(static_cast<unsigned>(announced), 4) + number(answer.status, 4);
        header += std::string(12, '\0') + "\xFF\xFF" + number(77, 2);
        give(header + answer.error + answer.data);
    }

    /** Takes a request and checks its type. */
    std::string expect(int rqtype) {
        std::string message = take();
        EXPECT_GE(message.size(), 80u) << "request " << rqtype;
        message.resize(std::max<std::size_t>(message.size(), 80));
        EXPECT_EQ(static_cast<unsigned char>(message[1]), rqtype);
        return message;
    }

    /** Connect record and its answer. */
    void connect(int acceptInfo = 0xC9, int acceptInfo2 = 4) {
        std::string record = take();
        ASSERT_EQ(record.size(), 64u);
        record[29] = static_cast<char>(acceptInfo2);
        record[55] = static_cast<char>(acceptInfo);
        give(record);
    }

    /** All up to an allocated conversation. */
    void open(int info4 = 0) {
        connect();
        expect(1);
        answer({.rqtype = 1, .info4 = info4});
        expect(15);
        expect(5);
        answer({.rqtype = 5});
    }

    /** Connect and registration of a program. */
    void openRegistration() {
        std::string record = take();
        ASSERT_EQ(record.size(), 64u);
        EXPECT_EQ(record[1], 11);
        give(record);
        EXPECT_EQ(take().size(), 512u);
    }

    /** Hears that the program is ready, and gives it a partner. */
    void givePartner(const std::string& id) { givePartner(id, Answer()); }
    void givePartner(const std::string& id, Answer answer) {
        expect(209);
        conversation = id;
        answer.rqtype = 207;
        this->answer(answer);
    }

    /** Ends the line as a crash does. */
    void reset() {
        const linger hard{1, 0};
        setsockopt(line, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        hangUp();
    }

    /** Takes nothing more: the line stays open until this object ends. */
    void standStill() {
        pollfd entry{listener, POLLIN, 0};
        poll(&entry, 1, -1);
    }

    /** Whether the client sends nothing for a while. */
    bool silent() {
        pollfd entry{line, POLLIN, 0};
        return poll(&entry, 1, 50) == 0;
    }
    void hangUp() {
        if (line >= 0) close(line);
        line = -1;
    }

    std::string service;
    std::string conversation = "12345678";

  private:
    std::string bytes(std::size_t count) {
        std::string all(count, '\0');
        std::size_t got = 0;
        while (got < count) {
            const ssize_t n = recv(line, all.data() + got, count - got, 0);
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        all.resize(got);
        return all;
    }

    int listener = -1;
    int line = -1;
    std::thread thread;
};

/** Makes the client's end of a conversation small too. */
inline void keepSmall(const KEL_RAW* id, int small = 16384) {
    NI_HDL handle;
    int socketNo = -1;
    ASSERT_EQ(KEL_CMNIHANDLE(id, &handle, nullptr), CM_OK);
    ASSERT_EQ(NiHdlToSock(handle, &socketNo), NI_OK);
    ASSERT_EQ(setsockopt(socketNo, SOL_SOCKET, SO_SNDBUF, &small, sizeof small), 0);
}

/** A complete error block with the given ERROR. */
inline std::string errorBlock(const std::string& text) {
    return std::string(
               "*ERR*\0"
               "1\0",
               8) +
           text + std::string(18, '\0') + std::string("*ERR*\0", 6);
}
