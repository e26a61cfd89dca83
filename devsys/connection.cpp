#include "devsys/connection.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "devsys/conversation.h"
#include "devsys/errorblock.h"
#include "devsys/registration.h"
#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

NodeAddress peerAddress(int socket) {
    sockaddr_in6 address = {};
    socklen_t length = sizeof address;
    NodeAddress node = {};
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return node;
    if (address.sin6_family == AF_INET6) {
        std::memcpy(node.data(), &address.sin6_addr, node.size());
    } else if (address.sin6_family == AF_INET) {
        sockaddr_in v4 = {};
        std::memcpy(&v4, &address, sizeof v4);
        node[10] = node[11] = 0xFF;
        std::memcpy(node.data() + 12, &v4.sin_addr, sizeof v4.sin_addr);
    }
    return node;
}

}  // namespace

Connection::Connection(int socket, std::uint32_t number, GatewayServices& services)
    : number_(number),
      services_(services),
      link_(socket, services.faults, services.violations),
      thread_([this] {
          run();
          finished_.store(true, std::memory_order_release);
      }) {}

Connection::~Connection() {
    shutDown();
    thread_.join();
}

void Connection::run() {
    if (acceptConnection()) serve();
    link_.shutDown();
}

bool Connection::acceptConnection() {
    if (link_.faults().refuseConnect) return false;
    ByteSpan record;
    if (!link_.next(record)) return false;
    if (!checkConnectRecord(record, peerAddress(link_.socket()), services_.violations)) {
        const bool answerable = record.size() == conn::length2 || record.size() == conn::length3;
        if (answerable) answerConnect(record, INVALID_REQUEST, "the connect record is not valid");
        return false;
    }
    opcode_ = connectOpcode(record);
    conversationId_ = asText(record.subspan(conn::conversationId, conn::conversationIdWidth));
    programName_ = trimmed(asText(record.subspan(conn::tp, conn::tpWidth)));
    if (opcode_ != GW_NORMAL_CLIENT && opcode_ != GW_REGISTER_TP) {
        answerConnect(record, INVALID_REQUEST, "connections of this type are not served");
        return false;
    }
    const Faults& faults = link_.faults();
    const bool refused = opcode_ == GW_REGISTER_TP && faults.registrationError != 0;
    const int error = refused ? faults.registrationError : faults.connectError;
    return answerConnect(record, error, "connect error on demand") && error == 0;
}

bool Connection::answerConnect(ByteSpan record, int rc, std::string_view reason) {
    const Faults& faults = link_.faults();
    const std::vector<Byte> answer = makeConnectAnswer(record, services_.capabilities, rc, faults.connectEcho,
                                                       makeErrorBlock(rc, "connect refused", reason));
    std::vector<Byte> frame(NI_LENGTH_BYTES);
    frame.insert(frame.end(), answer.begin(), answer.end());
    if (faults.shortConnectAnswer) frame.resize(NI_LENGTH_BYTES + record.size() - 1);
    if (!link_.channel.send(frame, MessageKind::connectAnswer)) return false;
    return rc != 0 || !faults.connectEcho || checkEcho(answer);
}

bool Connection::checkEcho(ByteSpan answer) {
    ByteSpan echo;
    if (!link_.next(echo)) return false;
    if (std::ranges::equal(echo, answer)) return true;
    services_.violations.add({"echo of the connect answer", 0, hexText(answer), hexText(echo)});
    return false;
}

void Connection::serve() {
    if (opcode_ == GW_REGISTER_TP) {
        Registration(link_, programName_, services_).run();
    } else if (trimmed(conversationId_).empty()) {
        Conversation(link_, number_, services_).run();
    } else {
        serveStarted();
    }
}

// The program's first request may cross the data that is pushed to it; afterwards it doesn't ask.
void Connection::serveStarted() {
    std::optional<BridgeEnd> partner = services_.started.claim(conversationId_);
    if (!partner) {
        services_.violations.add({"connect record, conversation_ID", conn::conversationId,
                                  "blanks, or the id that a started program was told", conversationId_});
        return;
    }
    if (!partner->send(BridgeMark::accepted, {})) return;
    link_.context = programContext(conversationId_, services_);
    link_.context.protocol = PROTOCOL_EXTERNAL;
    const bool streaming = (services_.capabilities.acceptInfo2 & GW_ACCEPT2_STREAMING) != 0;
    Exchange exchange(
        link_, std::move(*partner),
        {.maySend = false, .streaming = streaming, .aside = [streaming](ByteSpan message, bool first) {
             const bool asks = message.size() == hdr::length && message[hdr::rqtype] == GW_RQ_RECEIVE;
             return first && streaming && asks ? Aside::ignore : Aside::none;
         }});
    exchange.run();
    exchange.shutDown();
}

}  // namespace zordev
