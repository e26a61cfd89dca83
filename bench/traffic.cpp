#include "traffic.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

thread_local Traffic traffic;

template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The definitions of a program go before those of the C library, for the shared library too, if the program
// exports them.
#pragma GCC visibility push(default)
extern "C" {

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, const msghdr*, int)>("sendmsg");
    const ssize_t done = next(fd, message, flags);
    ++traffic.sends;
    if (done > 0) traffic.bytesOut += static_cast<std::size_t>(done);
    return done;
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
    static auto* const next = original<ssize_t(int, msghdr*, int)>("recvmsg");
    const ssize_t done = next(fd, message, flags);
    ++traffic.receives;
    if (done > 0) traffic.bytesIn += static_cast<std::size_t>(done);
    return done;
}

int poll(pollfd* fds, nfds_t count, int timeout) {
    static auto* const next = original<int(pollfd*, nfds_t, int)>("poll");
    ++traffic.waits;
    return next(fds, count, timeout);
}
}
#pragma GCC visibility pop

Traffic trafficOf(const std::function<void()>& exchange) {
    traffic = {};
    exchange();
    return traffic;
}
