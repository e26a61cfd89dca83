#include "devsys/gateway.h"

#include <algorithm>
#include <chrono>

namespace zordev {
namespace {

constexpr std::chrono::seconds ORDERLY_END_LIMIT(2);

}  // namespace

Gateway::Gateway(std::uint16_t port, GatewayServices& services)
    : services_(services), listener_(port, [this](int socket) { accept(socket); }) {
    services_.service = std::to_string(this->port());
    listener_.open();
}

Gateway::~Gateway() {
    vanish();
}

unsigned Gateway::open() {
    const std::lock_guard lock(mutex_);
    clearAway();
    return static_cast<unsigned>(connections_.size());
}

void Gateway::vanish() {
    listener_.close();
    std::list<std::unique_ptr<Connection>> connections;
    {
        const std::lock_guard lock(mutex_);
        connections.swap(connections_);
    }
    for (const auto& connection : connections)
        connection->shutDown();
}

void Gateway::shutDown() {
    listener_.close();
    {
        const std::lock_guard lock(mutex_);
        // All know why before the first of them goes.
        for (const auto& connection : connections_)
            connection->announceClosing();
        for (const auto& connection : connections_)
            connection->shutDownInput();
    }
    // Whoever doesn't take its last message ends with the others.
    const auto limit = std::chrono::steady_clock::now() + ORDERLY_END_LIMIT;
    while (open() > 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    vanish();
}

void Gateway::comeBack() {
    listener_.open();
}

void Gateway::clearAway() {
    std::erase_if(connections_, [](const auto& connection) { return connection->finished(); });
}

void Gateway::accept(int socket) {
    const unsigned number = accepted_.fetch_add(1, std::memory_order_relaxed) + 1;
    const std::lock_guard lock(mutex_);
    clearAway();
    connections_.push_back(std::make_unique<Connection>(socket, number, services_));
}

}  // namespace zordev
