#include "devsys/routedconnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "devsys/errorblock.h"

namespace zordev {
namespace {

constexpr std::size_t RELAY_BUFFER = 65536;

// Names that lead to the own machine; a router of the development system goes nowhere else.
std::optional<in_addr> loopbackAddress(const std::string& host) {
    in_addr address = {};
    if (host == "localhost") {
        address.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    if (inet_pton(AF_INET, host.c_str(), &address) != 1) return std::nullopt;
    if (ntohl(address.s_addr) >> 24 != IN_LOOPBACKNET) return std::nullopt;
    return address;
}

std::optional<unsigned> digits(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// A number, or one of the names that are calculated.
std::optional<std::uint16_t> portOf(const std::string& service) {
    const auto number = digits(service);
    if (number && *number > 0 && *number < 65536) return static_cast<std::uint16_t>(*number);
    static constexpr struct {
        std::string_view prefix, suffix;
        unsigned base;
    } forms[] = {{"keldp", "", 3200}, {"kelgw", "", 3300}, {"keldp", "s", 4700}, {"kelgw", "s", 4800}};
    for (const auto& form : forms) {
        if (service.size() != form.prefix.size() + 2 + form.suffix.size()) continue;
        if (!service.starts_with(form.prefix) || !service.ends_with(form.suffix)) continue;
        const auto instance = digits(std::string_view(service).substr(form.prefix.size(), 2));
        if (instance) return static_cast<std::uint16_t>(form.base + *instance);
    }
    return std::nullopt;
}

void sendAtOnce(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

std::string targetText(const RouteHop& hop) {
    return hop.host + ":" + hop.service;
}

}  // namespace

void MessageBoundary::pass(ByteSpan bytes) {
    while (!bytes.empty()) {
        if (rest_ == 0) {
            length_ = length_ << 8 | bytes[0];
            bytes = bytes.subspan(1);
            if (++headerBytes_ < NI_LENGTH_BYTES) continue;
            headerBytes_ = 0;
            rest_ = std::exchange(length_, 0);
        }
        const std::size_t length = std::min(rest_, bytes.size());
        rest_ -= length;
        bytes = bytes.subspan(length);
    }
}

RoutedConnection::RoutedConnection(int socket, Router& router, bool refused)
    : router_(router), client_(socket), reader_(socket), thread_([this, refused] {
          run(refused);
          finished_.store(true, std::memory_order_release);
      }) {}

RoutedConnection::~RoutedConnection() {
    shutDown();
    thread_.join();
    close(client_);
    if (target_ >= 0) close(target_);
}

void RoutedConnection::shutDown() {
    shutdown(client_, SHUT_RDWR);
    if (target_ >= 0) shutdown(target_, SHUT_RDWR);
}

void RoutedConnection::cancel(int code) {
    cancelCode_ = code;
    shutdown(client_, SHUT_RD);
}

void RoutedConnection::run(bool refused) {
    sendAtOnce(client_);
    if (refused) {
        fail(ROUTER_OVERFLOW, "maximum number of clients reached");
    } else if (handshake()) {
        relay();
    }
    if (cancelCode_ != 0 && messages_ && toClient_.atEnd()) {
        fail(cancelCode_,
             cancelCode_ == ROUTER_SHUTDOWN ? "router shutdown" : "route canceled by administator");
    }
    shutDown();
}

// Reads messages until a route comes; returns whether data may flow.
bool RoutedConnection::handshake() {
    ByteSpan message;
    while (reader_.next(message) == FrameResult::message) {
        if (isVersionQuery(message)) {
            const Byte version = router_.faults().version;
            if (!sendMessage(makeControl(CONTROL_VERSION_REPLY, 0, {}, version))) return false;
            continue;
        }
        if (asText(message) == NI_PING) {
            if (!sendMessage(asBytes(NI_PONG))) return false;
            continue;
        }
        if (!isRoute(message)) {
            router_.violations_.add({"first message to a router", 0, "a route packet", hexText(message)});
            return fail(ROUTER_VERSION, "invalid client version");
        }
        Route route;
        if (!readRoute(message, route, router_.violations_)) return fail(ROUTER_INTERNAL, "internal error");
        router_.record(route);
        return follow(message, route);
    }
    return false;
}

bool RoutedConnection::follow(ByteSpan packet, const Route& route) {
    const RouterFaults faults = router_.faults();
    const RouteHop& hop = route.hops[route.next];
    if (faults.silent) {
        ByteSpan ignored;
        while (reader_.next(ignored) == FrameResult::message) {
        }
        return false;
    }
    if (faults.refuseWith != 0) return fail(faults.refuseWith, "refused on demand");
    if (route.talkMode == TALK_ROUTER) return fail(ROUTER_MODE_DENIED, "talkmode Native2 not allowed");
    if (!router_.permits(route)) {
        return fail(ROUTER_PERMISSION_DENIED,
                    "zordev: route permission denied (127.0.0.1 to " + hop.host + ", " + hop.service + ")");
    }
    if (!connectTo(hop)) return false;
    messages_ = route.talkMode == TALK_MESSAGES;
    if (route.next + 1 == route.hops.size()) return announce();
    // The next router answers for all that is behind it.
    std::vector<Byte> frame(NI_LENGTH_BYTES);
    storeBe32(frame, 0, static_cast<std::uint32_t>(packet.size()));
    const std::vector<Byte> next = forwardedRoute(packet, route);
    frame.insert(frame.end(), next.begin(), next.end());
    return sendAll(target_, frame) ||
           fail(ROUTER_CONNECTION_BROKEN, "connection to " + hop.host + ", " + hop.service + " broken");
}

bool RoutedConnection::connectTo(const RouteHop& hop) {
    const auto host = loopbackAddress(hop.host);
    if (!host) return fail(ROUTER_HOST_UNKNOWN, "hostname '" + hop.host + "' unknown");
    const auto port = portOf(hop.service);
    if (!port) return fail(ROUTER_SERVICE_UNKNOWN, "service '" + hop.service + "' unknown");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr = *host;
    address.sin_port = htons(*port);
    const int target = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    target_ = target;
    if (target >= 0 && connect(target, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        sendAtOnce(target);
        return true;
    }
    return fail(ROUTER_CONNECTION_REFUSED, "partner '" + targetText(hop) + "' not reached");
}

// The last router of a route tells the client that it has arrived.
bool RoutedConnection::announce() {
    const RouterFaults faults = router_.faults();
    for (unsigned i = 0; i < faults.pings; ++i) {
        if (!sendMessage(asBytes(NI_PING))) return false;
    }
    if (faults.versionQuery && !sendMessage(makeControl(CONTROL_VERSION, 0, {}, faults.version)))
        return false;
    return sendMessage(asBytes(NI_PONG));
}

void RoutedConnection::relay() {
    const ByteSpan early = reader_.rest();
    if (!early.empty() && !sendAll(target_, early)) return;
    std::vector<Byte> buffer(RELAY_BUFFER);
    for (;;) {
        pollfd sides[2] = {{client_, POLLIN, 0}, {target_, POLLIN, 0}};
        if (poll(sides, 2, -1) < 0) continue;
        if (sides[0].revents != 0 && !pass(client_, target_, buffer)) return;
        if (sides[1].revents != 0 && !pass(target_, client_, buffer)) return;
    }
}

// Returns whether both connections live.
bool RoutedConnection::pass(int from, int to, std::vector<Byte>& buffer) {
    const ssize_t got = recv(from, buffer.data(), buffer.size(), 0);
    if (got < 0 && errno == EINTR) return true;
    if (got < 0 && from == target_ && messages_ && toClient_.atEnd()) {
        fail(ROUTER_CONNECTION_BROKEN, "connection to the partner broken");
    }
    if (got <= 0) return false;
    const ByteSpan bytes = ByteSpan(buffer).first(static_cast<std::size_t>(got));
    return to == target_ ? sendAll(target_, bytes) : sendToClient(bytes);
}

// Tells the client of a failure. Always false.
bool RoutedConnection::fail(int code, const std::string& text) {
    const RouterFaults faults = router_.faults();
    const std::string block = makeErrorBlock(code, text, "router", ROUTER_ERROR);
    std::vector<Byte> message = makeControl(CONTROL_ERROR, code, block, faults.version);
    if (faults.wrongTextLength) message.pop_back();
    sendMessage(message);
    return false;
}

bool RoutedConnection::sendMessage(ByteSpan message) {
    std::vector<Byte> frame(NI_LENGTH_BYTES);
    storeBe32(frame, 0, static_cast<std::uint32_t>(message.size()));
    frame.insert(frame.end(), message.begin(), message.end());
    return sendToClient(frame);
}

bool RoutedConnection::sendToClient(ByteSpan bytes) {
    if (messages_) toClient_.pass(bytes);
    const RouterFaults faults = router_.faults();
    if (faults.delayMs != 0) {
        pollfd client = {client_, POLLRDHUP, 0};
        if (poll(&client, 1, static_cast<int>(faults.delayMs)) > 0) return false;
    }
    const std::size_t limit = faults.cutAfterBytes.value_or(SIZE_MAX);
    const bool cut = bytes.size() > limit - std::min(limit, sent_);
    if (cut) bytes = bytes.first(limit - std::min(limit, sent_));
    sent_ += bytes.size();
    const std::size_t piece =
        faults.pieceBytes == 0 ? std::max<std::size_t>(bytes.size(), 1) : faults.pieceBytes;
    while (!bytes.empty()) {
        const std::size_t length = std::min(piece, bytes.size());
        if (!sendAll(client_, bytes.first(length))) return false;
        bytes = bytes.subspan(length);
    }
    return !cut;
}

}  // namespace zordev
