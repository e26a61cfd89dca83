#include "devsys/listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
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

// A socket that is bound to the loopback interface; `port` becomes the one that was taken.
int bindTo(std::uint16_t& port) {
    const int bound = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bound < 0) failWith("socket", bound);
    const int on = 1;
    setsockopt(bound, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(bound, generic, length) != 0) failWith("bind", bound);
    if (getsockname(bound, generic, &length) != 0) failWith("getsockname", bound);
    port = ntohs(address.sin_port);
    return bound;
}

// A port that the system chose is given back when its socket stops listening; one that was asked for stays
// with the socket. So a free one is found first and then asked for.
int bindLastingly(std::uint16_t& port) {
    if (port != 0) return bindTo(port);
    const int finder = bindTo(port);
    const int bound = bindTo(port);
    close(finder);
    return bound;
}

}  // namespace

Listener::Listener(std::uint16_t port, Accept accept)
    : accept_(std::move(accept)), port_(port), socket_(bindLastingly(port_)) {}

Listener::~Listener() {
    close();
    ::close(socket_);
}

void Listener::close() {
    if (!thread_.joinable()) return;
    closing_ = true;
    shutdown(socket_, SHUT_RDWR);  // ends the waiting accept
    thread_.join();
}

void Listener::open() {
    if (thread_.joinable()) return;
    if (listen(socket_, BACKLOG) != 0) failWith("listen", -1);
    closing_ = false;
    thread_ = std::thread([this] { acceptLoop(); });
}

void Listener::acceptLoop() {
    while (!closing_) {
        const int socket = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket >= 0) {
            accept_(socket);
        } else if (errno == EMFILE || errno == ENFILE) {
            // Others have to close first; the waiting client would only be found again at once.
            std::this_thread::sleep_for(DESCRIPTOR_WAIT);
        }
    }
}

}  // namespace zordev
