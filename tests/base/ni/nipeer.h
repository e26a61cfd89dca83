/** @file The other end of a handle, as a plain socket that a test holds. */
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "base/ni/ni.h"

namespace ni_test {

/** A message as it travels. */
inline std::string frame(const std::string& message) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(message.size() >> shift);
    return bytes + message;
}

inline const std::string PING("NI_PING\0", 8);
inline const std::string PONG("NI_PONG\0", 8);

/** A control message by hand. */
inline std::string control(char opcode, int rc, const std::string& error, const std::string& rest) {
    std::string message("NI_RTERR\0\x28", 10);
    message += opcode;
    message += '\0';
    for (int shift = 24; shift >= 0; shift -= 8)
        message += static_cast<char>(rc >> shift);
    for (int shift = 24; shift >= 0; shift -= 8)
        message += static_cast<char>(error.size() >> shift);
    return message + error + rest;
}

/** A connected handle and the plain socket at its other end. */
struct Pair {
    Pair() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        peer = ends[1];
        EXPECT_EQ(NiSockToHdl(ends[0], &handle), NI_OK);
    }
    ~Pair() {
        NiCloseHandle(handle);
        hangUp();
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void hangUp() {
        if (peer >= 0) close(peer);
        peer = -1;
    }
    void give(const std::string& bytes) const {
        EXPECT_EQ(::write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /** `count` bytes that the handle wrote, fewer at the end of the connection. */
    std::string take(std::size_t count) const {
        std::string bytes(count, '?');
        std::size_t got = 0;
        while (got < count) {
            const ssize_t n = ::read(peer, bytes.data() + got, count - got);
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        bytes.resize(got);
        return bytes;
    }

    NI_HDL handle = NI_INVALID_HDL;
    int peer = -1;
};

/** The next message; what went wrong is its text else. */
inline std::string read(NI_HDL handle, KEL_INT timeout = 5000) {
    KEL_RAW buffer[1000];
    KEL_INT length = 0;
    const KELRETURN rc = NiRead(handle, buffer, sizeof buffer, timeout, &length);
    return rc == NI_OK ? std::string(buffer, buffer + length) : NiErrStr(rc);
}

/** What arrives when "hello" is sent from one handle to the other. */
inline std::string exchange(NI_HDL from, NI_HDL to) {
    EXPECT_EQ(NiWrite(from, reinterpret_cast<const KEL_RAW*>("hello"), 5, 5000), NI_OK);
    return read(to);
}

inline void expectEnd(NI_HDL handle) {
    EXPECT_EQ(read(handle), "NIECONN_BROKEN");
}

}  // namespace ni_test
