// What a call costs in system calls on the caller's thread.

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

#include "session.h"

namespace {

/** System calls of this thread; the development system's threads count their own. */
struct Calls {
    unsigned sends = 0;
    unsigned receives = 0;
    unsigned waits = 0;
};
thread_local Calls calls;

template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The definitions of a program go before those of the C library, for the shared library too.
#pragma GCC visibility push(default)
extern "C" {

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, const msghdr*, int)>("sendmsg");
    ++calls.sends;
    return next(fd, message, flags);
}

ssize_t send(int fd, const void* data, size_t length, int flags) {
    static auto* const next = original<ssize_t(int, const void*, size_t, int)>("send");
    ++calls.sends;
    return next(fd, data, length, flags);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, msghdr*, int)>("recvmsg");
    ++calls.receives;
    return next(fd, message, flags);
}

ssize_t recv(int fd, void* data, size_t length, int flags) {
    static auto* const next = original<ssize_t(int, void*, size_t, int)>("recv");
    ++calls.receives;
    return next(fd, data, length, flags);
}

int poll(pollfd* fds, nfds_t count, int timeout) {
    static auto* const next = original<int(pollfd*, nfds_t, int)>("poll");
    ++calls.waits;
    return next(fds, count, timeout);
}
}
#pragma GCC visibility pop

namespace {

class SystemCallTest : public SessionTest {};

TEST_F(SystemCallTest, aSmallCallIsOneSendAndOneReceive) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_TEN_SCALARS");
    for (int i = 0; i < 5; ++i) {
        calls = {};
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(calls.sends, 1u);
        EXPECT_EQ(calls.receives, 1u);
        EXPECT_LE(calls.waits, 1u);
    }
}

TEST_F(SystemCallTest, aPingIsOneSendAndOneReceive) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    calls = {};
    ASSERT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
    EXPECT_EQ(calls.sends, 1u);
    EXPECT_EQ(calls.receives, 1u);
}

}  // namespace
