#include "devsys/gateway.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace zordev {
namespace {

constexpr int BACKLOG = 64;
constexpr std::chrono::milliseconds DESCRIPTOR_WAIT(10);

[[noreturn]] void failWith(const char* call, int socket) {
    const int error = errno;
    if (socket >= 0) close(socket);
    throw std::system_error(error, std::generic_category(), call);
}

// A socket that listens on the loopback interface; `port` becomes the one that was taken.
int listenOn(std::uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) failWith("socket", listener);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, length) != 0) failWith("bind", listener);
    if (listen(listener, BACKLOG) != 0) failWith("listen", listener);
    if (getsockname(listener, generic, &length) != 0) failWith("getsockname", listener);
    port = ntohs(address.sin_port);
    return listener;
}

}  // namespace

Gateway::Gateway(std::uint16_t port, ConversationServices& services)
    : services_(services), listener_(listenOn(port)), port_(port), thread_([this] { acceptLoop(); }) {}

Gateway::~Gateway() {
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);  // ends the waiting accept
    thread_.join();
    close(listener_);
    for (const auto& conversation : conversations_)
        conversation->shutDown();
}

unsigned Gateway::open() {
    const std::lock_guard lock(mutex_);
    clearAway();
    return static_cast<unsigned>(conversations_.size());
}

void Gateway::clearAway() {
    std::erase_if(conversations_, [](const auto& conversation) { return conversation->finished(); });
}

void Gateway::acceptLoop() {
    while (!stopping_) {
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            // Interrupted, aborted by the client, stopping, or out of descriptors: that one takes a while.
            if (errno == EMFILE || errno == ENFILE) std::this_thread::sleep_for(DESCRIPTOR_WAIT);
            continue;
        }
        const unsigned number = accepted_.fetch_add(1, std::memory_order_relaxed) + 1;
        const std::lock_guard lock(mutex_);
        clearAway();
        conversations_.push_back(std::make_unique<Conversation>(socket, number, services_));
    }
}

}  // namespace zordev
