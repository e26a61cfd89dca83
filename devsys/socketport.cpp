#include "devsys/socketport.h"

#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "devsys/items.h"

namespace zordev {
namespace {

constexpr std::uint16_t END_ITEM = 0xFFFF;
constexpr std::size_t ROOM = 32768;             // bytes that are asked for at once
constexpr std::size_t REQUEST_MAX = 64u << 20;  // bytes of a message; who sends more is hung up

/** Whether the bytes hold a message up to its end. */
bool complete(ByteSpan bytes) {
    ItemReader reader(bytes);
    Item item;
    while (reader.next(item) == ItemResult::item)
        if (item.id == END_ITEM) return true;
    return false;
}

bool sendAll(int socket, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

/** Reads one message; false when the partner is gone. */
bool readMessage(int socket, std::vector<Byte>& message) {
    message.clear();
    while (message.empty() || !complete(message)) {
        const std::size_t before = message.size();
        if (before > REQUEST_MAX) return false;
        message.resize(before + ROOM);
        const ssize_t got = recv(socket, message.data() + before, ROOM, 0);
        message.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
        if (got <= 0) return false;
    }
    return true;
}

bool passOn(const BridgeEnd& bridge, ByteSpan message) {
    while (message.size() > BRIDGE_MAX_DATA) {
        if (!bridge.send(BridgeMark::data, message.first(BRIDGE_MAX_DATA))) return false;
        message = message.subspan(BRIDGE_MAX_DATA);
    }
    return bridge.send(BridgeMark::turn, message);
}

/** Sends the back-end's answer; false when it was its last word. */
bool sendAnswer(int socket, const BridgeEnd& bridge) {
    std::vector<Byte> room(BRIDGE_MAX_DATA);
    for (;;) {
        const BridgePacket packet = bridge.receive(room);
        if (!sendAll(socket, ByteSpan(room).first(packet.length))) return false;
        if (packet.mark == BridgeMark::turn) return true;
        if (packet.mark != BridgeMark::data) return false;
    }
}

}  // namespace

/** One partner: a thread that carries messages, and one that plays the back-end. */
class SocketPort::Line {
  public:
    Line(int socket, BackEndRunner& backEnd, std::string name)
        : socket_(socket),
          ends_(makeBridge()),
          session_([this, &backEnd, name = std::move(name)] {
              backEnd(ends_.second, name);
              ends_.second.shutDown();
          }),
          carrier_([this] { carry(); }) {}
    ~Line() {
        shutDown();
        carrier_.join();
        session_.join();
        close(socket_);
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void shutDown() const {
        shutdown(socket_, SHUT_RDWR);
        ends_.first.shutDown();
    }

  private:
    void carry() {
        std::vector<Byte> message;
        while (readMessage(socket_, message) && passOn(ends_.first, message) &&
               sendAnswer(socket_, ends_.first)) {
        }
        shutDown();
    }

    int socket_;
    std::pair<BridgeEnd, BridgeEnd> ends_;
    std::thread session_;
    std::thread carrier_;
};

SocketPort::SocketPort(BackEndRunner backEnd)
    : backEnd_(std::move(backEnd)), listener_(0, [this](int socket) { accept(socket); }) {
    listener_.open();
}

SocketPort::~SocketPort() {
    listener_.close();
    breakConnections();
}

void SocketPort::breakConnections() {
    std::list<std::unique_ptr<Line>> lines;
    const std::lock_guard lock(mutex_);
    lines.swap(lines_);
}

void SocketPort::accept(int socket) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::make_unique<Line>(socket, backEnd_, "socket" + std::to_string(++accepted_)));
}

}  // namespace zordev
