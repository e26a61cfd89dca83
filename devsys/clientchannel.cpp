#include "devsys/clientchannel.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

#include "devsys/gwrequest.h"

namespace zordev {

const Faults& ClientChannel::faults() {
    const unsigned before = generation_;
    faultSwitch_.refresh(faults_, generation_);
    if (generation_ != before) faulty_ = faults_ != Faults{};
    return faults_;
}

bool ClientChannel::send(std::span<Byte> frame, MessageKind kind) {
    storeBe32(frame, 0, static_cast<std::uint32_t>(frame.size() - NI_LENGTH_BYTES));
    faults();
    const bool good = faulty_ ? sendFaulty(frame, kind) : sendAll(socket_, frame);
    sent_ += frame.size();
    if (kind != MessageKind::ping) ++answers_;
    return good;
}

bool ClientChannel::sendFaulty(std::span<Byte> frame, MessageKind kind) {
    if (kind != MessageKind::ping && due()) {
        if (faults_.silent) return true;
        if (!delay(faults_.delayMs)) return false;
        if (faults_.headerVersion && kind != MessageKind::connectAnswer) {
            frame[NI_LENGTH_BYTES + hdr::version] = *faults_.headerVersion;
        }
        if (kind == MessageKind::dataAnswer) {
            if (faults_.oversizeLength) storeBe32(frame, 0, NI_MAX_MESSAGE + 1);
            if (faults_.negativeLength) frame[0] |= 0x80;
        }
    }
    if (!faults_.cutAfterBytes || sent_ + frame.size() <= *faults_.cutAfterBytes) return sendPieces(frame);
    const std::size_t left = *faults_.cutAfterBytes > sent_ ? *faults_.cutAfterBytes - sent_ : 0;
    sendPieces(frame.first(left));
    shutdown(socket_, SHUT_RDWR);
    return false;
}

// A delay that ends early when the client, or the gateway's shut-down, closes the connection.
bool ClientChannel::delay(unsigned milliseconds) {
    if (milliseconds == 0) return true;
    pollfd waiting = {socket_, POLLRDHUP, 0};
    return poll(&waiting, 1, static_cast<int>(milliseconds)) == 0;
}

bool ClientChannel::sendPieces(ByteSpan frame) {
    const std::size_t piece = faults_.pieceBytes == 0 ? frame.size() : faults_.pieceBytes;
    while (!frame.empty()) {
        const std::size_t length = std::min(piece, frame.size());
        if (!sendAll(socket_, frame.first(length))) return false;
        frame = frame.subspan(length);
    }
    return true;
}

}  // namespace zordev
