#include "devsys/bridgestream.h"

#include <poll.h>

namespace zordev {
namespace {

constexpr std::size_t CHUNK = 28000;  // bytes of a request that go out at once

}  // namespace

bool BridgeStream::send(ByteSpan request) {
    while (request.size() > CHUNK) {
        if (!bridge_.send(BridgeMark::data, request.first(CHUNK))) return false;
        request = request.subspan(CHUNK);
    }
    return bridge_.send(BridgeMark::turn, request);
}

StreamEnd BridgeStream::receive(std::vector<Byte>& answer, std::chrono::milliseconds limit) {
    for (;;) {
        pollfd program = {bridge_.socket(), POLLIN, 0};
        if (poll(&program, 1, static_cast<int>(limit.count())) == 0) return StreamEnd::timeout;
        const std::size_t length = answer.size();
        answer.resize(length + BRIDGE_MAX_DATA);
        const BridgePacket packet = bridge_.receive(std::span(answer).subspan(length));
        answer.resize(length + packet.length);
        if (packet.mark == BridgeMark::turn) return StreamEnd::turn;
        if (packet.mark == BridgeMark::end) return StreamEnd::end;
        if (packet.mark != BridgeMark::data) return StreamEnd::lost;
    }
}

void BridgeStream::close(bool cancelled) {
    bridge_.send(cancelled ? BridgeMark::cancel : BridgeMark::end, {});
}

}  // namespace zordev
