#include "base/si/si.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

static_assert(SI_READ == POLLIN && SI_WRITE == POLLOUT);

namespace {

struct Mapping {
    int error;
    SI_RC rc;
};

constexpr Mapping MAPPINGS[] = {
    {EINTR, SI_EINTR},
    {EAGAIN, SI_ETIMEOUT},
    {ETIMEDOUT, SI_ETIMEOUT},
    {EINPROGRESS, SI_ECONN_INPROG},
    {EADDRNOTAVAIL, SI_EADDR_NAVAIL},
    {EADDRINUSE, SI_EPORT_INUSE},
    {ECONNREFUSED, SI_ECONN_REFUSE},
    {EHOSTUNREACH, SI_ECONN_REFUSE},
    {ENETUNREACH, SI_ECONN_REFUSE},
    {ENOENT, SI_ECONN_REFUSE},
    {EPIPE, SI_ECONN_BROKEN},
    {ECONNRESET, SI_ECONN_BROKEN},
    {ECONNABORTED, SI_ECONN_BROKEN},
    {ENOTCONN, SI_ECONN_BROKEN},
    {EBADF, SI_EINVAL_SOCK},
    {ENOTSOCK, SI_EINVAL_SOCK},
    {EINVAL, SI_EINVAL},
    {EAFNOSUPPORT, SI_EINVAL_FAMI},
    {ENOPROTOOPT, SI_EINVAL_OPT},
    {ENOMEM, SI_EMEMORY},
    {ENOBUFS, SI_EMEMORY},
    {EMFILE, SI_EMFILE},
    {ENFILE, SI_EMFILE},
};

SI_RC result(SI_SOCK* sock, const KEL_CHAR* call, int returned) noexcept {
    return returned == 0 ? SI_OK : SiFail(sock, call, errno);
}

/** Small packets of TCP leave at once. */
SI_RC noDelay(SI_SOCK* sock) noexcept {
    return sock->family == AF_UNIX ? SI_OK : SiSetSockOpt(sock, IPPROTO_TCP, TCP_NODELAY, 1);
}

/** Keeps a socket clear of the standard streams, also where a program has closed these: what it prints, or a
 * program that it starts, would reach the partner. */
int clearOfStreams(int socketNo) noexcept {
    if (socketNo < 0 || socketNo > STDERR_FILENO) return socketNo;
    const int higher = fcntl(socketNo, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(socketNo);
    errno = error;
    return higher;
}

}  // namespace

SI_RC SiFail(SI_SOCK* sock, const KEL_CHAR* call, int error) noexcept {
    sock->lastCall = call;
    sock->lastError = error;
    for (const Mapping& mapping : MAPPINGS)
        if (mapping.error == error) return mapping.rc;
    return SI_ESYSCALL;
}

SI_RC SiSocket(int family, SI_SOCK* sock) noexcept {
    *sock = {.family = family, .type = SOCK_STREAM};
    sock->socketNo = clearOfStreams(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (sock->socketNo < 0) return SiFail(sock, "socket", errno);
    if (family == AF_INET6) (void)SiSetSockOpt(sock, IPPROTO_IPV6, IPV6_V6ONLY, 0);
    return noDelay(sock);
}

SI_RC SiAdopt(int socketNo, SI_SOCK* sock) noexcept {
    *sock = {.socketNo = socketNo};
    socklen_t length = sizeof sock->family;
    if (getsockopt(socketNo, SOL_SOCKET, SO_DOMAIN, &sock->family, &length) != 0)
        return SiFail(sock, "getsockopt", errno);
    length = sizeof sock->type;
    if (getsockopt(socketNo, SOL_SOCKET, SO_TYPE, &sock->type, &length) != 0)
        return SiFail(sock, "getsockopt", errno);
    const int flags = fcntl(socketNo, F_GETFL);
    if (flags < 0 || fcntl(socketNo, F_SETFL, flags | O_NONBLOCK) != 0) return SiFail(sock, "fcntl", errno);
    return fcntl(socketNo, F_SETFD, FD_CLOEXEC) == 0 ? SI_OK : SiFail(sock, "fcntl", errno);
}

SI_RC SiBind(SI_SOCK* sock, const sockaddr* address, socklen_t length) noexcept {
    return result(sock, "bind", bind(sock->socketNo, address, length));
}

SI_RC SiListen(SI_SOCK* sock, int queueLength) noexcept {
    return result(sock, "listen", listen(sock->socketNo, queueLength));
}

SI_RC SiAccept(SI_SOCK* listening, SI_SOCK* accepted) noexcept {
    *accepted = {.family = listening->family, .type = SOCK_STREAM};
    accepted->socketNo =
        clearOfStreams(accept4(listening->socketNo, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (accepted->socketNo < 0) return SiFail(listening, "accept", errno);
    return noDelay(accepted);
}

SI_RC SiConnect(SI_SOCK* sock, const sockaddr* address, socklen_t length) noexcept {
    return result(sock, "connect", connect(sock->socketNo, address, length));
}

SI_RC SiPeekPendConn(SI_SOCK* sock) noexcept {
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(sock->socketNo, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
        return SiFail(sock, "getsockopt", errno);
    return error == 0 ? SI_OK : SiFail(sock, "connect", error);
}

SI_RC SiSendV(SI_SOCK* sock, std::span<iovec> parts, std::size_t* sent) noexcept {
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    const ssize_t count = sendmsg(sock->socketNo, &message, MSG_NOSIGNAL);
    *sent = count < 0 ? 0 : static_cast<std::size_t>(count);
    return count < 0 ? SiFail(sock, "sendmsg", errno) : SI_OK;
}

SI_RC SiRecvV(SI_SOCK* sock, std::span<iovec> parts, std::size_t* received) noexcept {
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    const ssize_t count = recvmsg(sock->socketNo, &message, 0);
    *received = count < 0 ? 0 : static_cast<std::size_t>(count);
    if (count > 0) return SI_OK;
    if (count < 0) return SiFail(sock, "recvmsg", errno);
    SiFail(sock, "recvmsg", 0);
    return SI_ECONN_BROKEN;
}

SI_RC SiPoll(SI_SOCK* sock, SI_EVENT event, int timeout) noexcept {
    pollfd entry{.fd = sock->socketNo, .events = event, .revents = 0};
    const int count = poll(&entry, 1, timeout);
    if (count < 0) return SiFail(sock, "poll", errno);
    if (count == 0) return SiFail(sock, "poll", ETIMEDOUT);
    return (entry.revents & POLLNVAL) != 0 ? SiFail(sock, "poll", EBADF) : SI_OK;
}

SI_RC SiPollListen(SI_SOCK* first, SI_SOCK* second, int timeout) noexcept {
    pollfd entries[] = {{.fd = first->socketNo, .events = POLLIN, .revents = 0},
                        {.fd = second->socketNo, .events = POLLIN, .revents = 0}};
    const int count = poll(entries, std::size(entries), timeout);
    if (count < 0) return SiFail(first, "poll", errno);
    return count == 0 ? SiFail(first, "poll", ETIMEDOUT) : SI_OK;
}

SI_RC SiClose(SI_SOCK* sock) noexcept {
    if (sock->socketNo < 0) return SI_OK;
    // The descriptor is gone even when a signal cuts the call short, so it is never closed twice.
    const int returned = close(sock->socketNo);
    sock->socketNo = -1;
    return returned == 0 || errno == EINTR ? SI_OK : SiFail(sock, "close", errno);
}

SI_RC SiGetSockName(SI_SOCK* sock, sockaddr* address, socklen_t* length) noexcept {
    return result(sock, "getsockname", getsockname(sock->socketNo, address, length));
}

SI_RC SiGetPeerName(SI_SOCK* sock, sockaddr* address, socklen_t* length) noexcept {
    return result(sock, "getpeername", getpeername(sock->socketNo, address, length));
}

SI_RC SiSetSockOpt(SI_SOCK* sock, int level, int option, int value) noexcept {
    return result(sock, "setsockopt", setsockopt(sock->socketNo, level, option, &value, sizeof value));
}
