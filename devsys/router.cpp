#include "devsys/router.h"

#include <algorithm>
#include <chrono>

#include "devsys/routedconnection.h"

namespace zordev {
namespace {

constexpr std::chrono::seconds ORDERLY_END_LIMIT(2);

}  // namespace

Router::Router(RouterOptions options)
    : options_(std::move(options)),
      violations_(options_.violationSink),
      faults_(options_.faults),
      listener_(options_.port, [this](int socket) { accept(socket); }) {
    listener_.open();
}

Router::~Router() {
    vanish();
}

std::vector<Route> Router::routes() const {
    const std::lock_guard lock(mutex_);
    return routes_;
}

unsigned Router::open() {
    const std::lock_guard lock(mutex_);
    std::erase_if(connections_, [](const auto& connection) { return connection->finished(); });
    return static_cast<unsigned>(connections_.size());
}

std::string Router::violationText() const {
    std::string text;
    for (const Violation& violation : violations_.all())
        text += violation.toString() + '\n';
    return text;
}

void Router::setFaults(const RouterFaults& faults) {
    const std::lock_guard lock(mutex_);
    faults_ = faults;
}

RouterFaults Router::faults() const {
    const std::lock_guard lock(mutex_);
    return faults_;
}

void Router::record(const Route& route) {
    const std::lock_guard lock(mutex_);
    routes_.push_back(route);
}

void Router::accept(int socket) {
    const unsigned before = open();
    const bool refused = options_.maxClients != 0 && before >= options_.maxClients;
    const std::lock_guard lock(mutex_);
    connections_.push_back(std::make_unique<RoutedConnection>(socket, *this, refused));
}

// The password stands with our own hop, or with the one that we are asked for.
bool Router::permits(const Route& route) const {
    const RouteHop& hop = route.hops[route.next];
    if (std::ranges::find(options_.deniedHosts, hop.host) != options_.deniedHosts.end()) return false;
    return options_.password.empty() || hop.password == options_.password ||
           route.hops[route.next - 1].password == options_.password;
}

void Router::vanish() {
    listener_.close();
    std::list<std::unique_ptr<RoutedConnection>> connections;
    {
        const std::lock_guard lock(mutex_);
        connections.swap(connections_);
    }
    for (const auto& connection : connections)
        connection->shutDown();
}

void Router::shutDown(int code) {
    listener_.close();
    {
        const std::lock_guard lock(mutex_);
        for (const auto& connection : connections_)
            connection->cancel(code);
    }
    const auto limit = std::chrono::steady_clock::now() + ORDERLY_END_LIMIT;
    while (open() > 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    vanish();
}

void Router::comeBack() {
    listener_.open();
}

}  // namespace zordev
