#include "devsys/bridge.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zordev {
namespace {

msghdr messageOf(iovec (&parts)[2]) {
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return message;
}

}  // namespace

BridgeEnd::~BridgeEnd() {
    if (socket_ >= 0) close(socket_);
}

bool BridgeEnd::send(BridgeMark mark, ByteSpan data) const {
    assert(data.size() <= BRIDGE_MAX_DATA);
    iovec parts[2] = {{&mark, sizeof mark}, {const_cast<Byte*>(data.data()), data.size()}};
    const msghdr message = messageOf(parts);
    ssize_t sent;
    do {
        sent = sendmsg(socket_, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent > 0;
}

BridgePacket BridgeEnd::receive(std::span<Byte> room) const {
    BridgeMark mark = BridgeMark::gone;
    iovec parts[2] = {{&mark, sizeof mark}, {room.data(), room.size()}};
    msghdr message = messageOf(parts);
    ssize_t got;
    do {
        got = recvmsg(socket_, &message, 0);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return {BridgeMark::gone, 0};
    return {mark, static_cast<std::size_t>(got) - sizeof mark};
}

void BridgeEnd::shutDown() const {
    if (socket_ >= 0) ::shutdown(socket_, SHUT_RDWR);
}

std::pair<BridgeEnd, BridgeEnd> makeBridge() {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    return {BridgeEnd(sockets[0]), BridgeEnd(sockets[1])};
}

}  // namespace zordev
