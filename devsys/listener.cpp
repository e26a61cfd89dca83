#include "devsys/listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <iterator>
#include <system_error>

namespace zordev {
namespace {

constexpr int BACKLOG = 256;
constexpr std::chrono::milliseconds DESCRIPTOR_WAIT(10);

[[noreturn]] void failWith(const char* call, int socket) {
    const int error = errno;
    if (socket >= 0) close(socket);
    throw std::system_error(error, std::generic_category(), call);
}

// A socket that is bound to the loopback interface of a family; `port` becomes the one that was taken. -1
// with errno when it can't be.
int bindTo(int family, std::uint16_t& port) {
    const int bound = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (bound < 0) return -1;
    const int on = 1;
    setsockopt(bound, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (family == AF_INET6) setsockopt(bound, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    sockaddr_in6 address6 = {};
    sockaddr_in address4 = {};
    address6.sin6_family = AF_INET6;
    address6.sin6_addr = in6addr_loopback;
    address4.sin_family = AF_INET;
    address4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address6.sin6_port = address4.sin_port = htons(port);
    auto* const generic =
        family == AF_INET6 ? reinterpret_cast<sockaddr*>(&address6) : reinterpret_cast<sockaddr*>(&address4);
    socklen_t length = family == AF_INET6 ? sizeof address6 : sizeof address4;
    if (bind(bound, generic, length) != 0 || getsockname(bound, generic, &length) != 0) {
        const int error = errno;
        close(bound);
        errno = error;
        return -1;
    }
    port = ntohs(family == AF_INET6 ? address6.sin6_port : address4.sin_port);
    return bound;
}

// A port that the system chose is given back when its socket stops listening; one that was asked for stays
// with the socket. So a free one is found first and then asked for.
std::array<int, 2> bindBoth(std::uint16_t& port) {
    std::uint16_t wanted = port;
    const int finder = port == 0 ? bindTo(AF_INET, wanted) : -1;
    const int first = bindTo(AF_INET, wanted);
    const int error = errno;
    if (finder >= 0) close(finder);
    errno = error;
    if (first < 0) failWith("bind", first);
    const int second = bindTo(AF_INET6, wanted);
    if (second < 0 && errno == EADDRINUSE) {
        if (port != 0) failWith("bind", first);
        close(first);
        return bindBoth(port);  // it is free for one family only: another one
    }
    port = wanted;
    return {first, second};
}

}  // namespace

Listener::Listener(std::uint16_t port, Accept accept)
    : accept_(std::move(accept)), port_(port), sockets_(bindBoth(port_)) {}

Listener::~Listener() {
    close();
    for (const int socket : sockets_)
        if (socket >= 0) ::close(socket);
}

void Listener::close() {
    if (!thread_.joinable()) return;
    closing_ = true;
    for (const int socket : sockets_)
        if (socket >= 0) shutdown(socket, SHUT_RDWR);  // ends the wait
    thread_.join();
}

void Listener::open() {
    if (thread_.joinable()) return;
    for (const int socket : sockets_)
        if (socket >= 0 && listen(socket, BACKLOG) != 0) failWith("listen", -1);
    closing_ = false;
    thread_ = std::thread([this] { acceptLoop(); });
}

void Listener::acceptLoop() {
    while (!closing_) {
        pollfd waiting[] = {{sockets_[0], POLLIN, 0}, {sockets_[1], POLLIN, 0}};
        poll(waiting, std::size(waiting), -1);
        for (const pollfd& entry : waiting)
            if (entry.revents != 0) acceptAll(entry.fd);
    }
}

void Listener::acceptAll(int listening) {
    int socket;
    while ((socket = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC)) >= 0)
        accept_(socket);
    // Others have to close first; the waiting client would only be found again at once.
    if (errno == EMFILE || errno == ENFILE) std::this_thread::sleep_for(DESCRIPTOR_WAIT);
}

}  // namespace zordev
