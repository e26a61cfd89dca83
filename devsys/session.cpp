#include "devsys/session.h"

#include <poll.h>

#include <algorithm>

#include "devsys/messageparser.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr std::size_t CHUNK = 28000;                // bytes of an answer that go out at once
constexpr std::uint32_t OWN_PROTOCOL = 0x00000E09;  // without the bit that allows compressed tables

// Version 3, least byte first, IEEE, one byte a character, code page 1100 as digit values.
constexpr Byte OWN_HEADER[] = {3, 1, 1, 1, 1, 1, 0, 0};
// Code page 1100, conversion errors matter, character size 1, substitute '#'.
constexpr Byte OWN_UNICODE_HEADER[] = {1, 1, 0, 0, 0, 0, 1, 0, 0, 0, '#'};

bool isLogonFunction(std::string_view name) {
    return name == "ZOR_PING" || name == "ZORPING";
}

}  // namespace

Session::Session(BackEnd& backEnd, BridgeEnd& bridge, std::string conversationId)
    : backEnd_(backEnd),
      bridge_(bridge),
      conversationId_(std::move(conversationId)),
      request_(BRIDGE_MAX_DATA),
      call_(*this, out_) {}

void Session::run() {
    while (receiveMessage()) {
        out_.clear();
        if (!answer(handleRequest())) return;
    }
}

// Collects packets until the client gives the right to send.
bool Session::receiveMessage() {
    requestLength_ = 0;
    for (;;) {
        if (request_.size() - requestLength_ < BRIDGE_MAX_DATA) request_.resize(2 * request_.size());
        const BridgePacket packet = bridge_.receive(std::span(request_).subspan(requestLength_));
        if (packet.mark != BridgeMark::data && packet.mark != BridgeMark::turn) return false;
        requestLength_ += packet.length;
        if (packet.mark == BridgeMark::turn) return true;
    }
}

Outcome Session::handleRequest() {
    const ByteSpan stream(request_.data(), requestLength_);
    const bool first = !std::exchange(started_, true);
    if (first && !checkCommunicationHeader(stream, facts_, backEnd_.violations)) return refuseViolation();
    ItemReader reader(stream, first ? COMMUNICATION_HEADER : 0);
    SessionItems items(first ? StreamKind::logon : StreamKind::call, backEnd_.violations);
    Item item;
    const bool good = items.read(reader, facts_, item);
    if (backEnd_.recorder.on()) {
        backEnd_.recorder.record(conversationId_, facts_.function, stream.data(), stream.size());
    }
    if (!good) return refuseViolation();
    return first ? handleLogon(reader, item) : handleCall(reader, item);
}

// The first call of a conversation. ZORPING wants name and password checked now; with ZOR_PING a wrong
// one shows when the first function is called.
Outcome Session::handleLogon(ItemReader& reader, Item item) {
    if (!isLogonFunction(facts_.function)) {
        backEnd_.violations.add(
            {"logon, function name", item.offset, "ZOR_PING or ZORPING", facts_.function});
        return refuseViolation();
    }
    call_.begin(*lookUpFunction());
    if (ParameterParser(reader, call_, backEnd_.violations).parse(item) != ParseResult::good) {
        return refuseViolation();
    }
    const LogonResult result = checkLogon();
    if (facts_.function == "ZORPING" && result != LogonResult::ok) return refuseLogon(result);
    writeHeader();
    writeSessionItems();
    return Outcome::reply;
}

Outcome Session::handleCall(ItemReader& reader, const Item& item) {
    const FunctionDescription* function = lookUpFunction();
    if (function == nullptr) {
        return refuse("CALL_FUNCTION_NOT_FOUND", "Function module \"" + facts_.function + "\" not found");
    }
    call_.begin(*function);
    ParameterParser parser(reader, call_, backEnd_.violations);
    switch (parser.parse(item)) {
        case ParseResult::violation:
            return refuseViolation();
        case ParseResult::unknownParameter:
            return refuse("CALL_FUNCTION_PARM_UNKNOWN",
                          "Function module " + facts_.function + " has no parameter " + parser.unknown());
        case ParseResult::good:
            break;
    }
    return runFunction();
}

Outcome Session::runFunction() {
    if (!loggedOn_ && !call_.function->beforeLogon) {
        const LogonResult result = checkLogon();
        if (result != LogonResult::ok) return refuseLogon(result);
    }
    return call_.function->handler(call_);
}

const FunctionDescription* Session::lookUpFunction() {
    if (lastFunction_ == nullptr || lastFunction_->name != facts_.function) {
        lastFunction_ = findFunction(facts_.function, backEnd_.names.version());
    }
    return lastFunction_;
}

LogonResult Session::checkLogon() {
    const LogonResult result =
        backEnd_.users.logon(facts_.client, facts_.user, facts_.password, passwordState_);
    loggedOn_ = result == LogonResult::ok;
    if (loggedOn_) {
        std::ranges::fill(facts_.password, '\0');
        facts_.password.clear();
    }
    return result;
}

Outcome Session::refuse(std::string_view key, std::string_view text) {
    out_.clear();
    out_.text(ZORID_SnapDump, key);
    out_.text(ZORID_ErrorMessage, text);
    return Outcome::end;
}

// A refused logon is a message and not a dump, so that the client takes it for a failed logon.
Outcome Session::refuseLogon(LogonResult result) {
    out_.text(ZORID_SystMsgid, "00");
    out_.text(ZORID_SystMsgty, "E");
    out_.text(ZORID_SystMsgno, "152");
    out_.text(ZORID_ErrorMessage, logonText(result));
    return Outcome::end;
}

Outcome Session::refuseViolation() {
    return refuse("PROTOCOL_VIOLATION",
                  "The client broke the protocol; the development system's log says how");
}

void Session::writeHeader() {
    out_.item(ZORID_Header, OWN_HEADER);
    out_.number4(ZORID_Protocol, OWN_PROTOCOL);
    out_.item(ZORID_UnicodeHeader, OWN_UNICODE_HEADER);
}

void Session::writeSessionItems() {
    const BackEndNames& names = backEnd_.names;
    const std::string destination = names.host + '_' + names.systemId + '_' + names.systemNumber;
    out_.text(ZORID_IpAddress, "127.0.0.1");
    out_.text(ZORID_OwnType, names.partnerType);
    out_.text(ZORID_OwnRel, names.release);
    out_.text(ZORID_KernelRel, names.release);
    out_.text(ZORID_CDestination, destination);
    out_.text(ZORID_Destination, destination);
    out_.text(ZORID_ProgramName, "zordev");
    if (!loggedOn_) return;
    out_.text(ZORID_LoggedOnUser, facts_.user);
    out_.text(ZORID_LoggedOnClient, facts_.client);
    out_.text(ZORID_LoggedOnLanguage, facts_.language);
    if (passwordState_ != PasswordState::ok) {
        storeLe32(out_.reserve(ZORID_PwState, 4), 0, static_cast<std::uint32_t>(passwordState_));
    }
}

// Closes and sends the answer; returns whether the conversation goes on.
bool Session::answer(Outcome outcome) {
    if (outcome == Outcome::dropped) return false;
    if (outcome != Outcome::endUnframed) out_.flag(ZORID_End);
    const BridgeMark mark = outcome == Outcome::reply ? BridgeMark::turn : BridgeMark::end;
    return sendStream(out_.bytes(), mark) && outcome == Outcome::reply;
}

bool Session::sendStream(ByteSpan stream, BridgeMark mark) {
    while (stream.size() > CHUNK) {
        if (!bridge_.send(BridgeMark::data, stream.first(CHUNK))) return false;
        stream = stream.subspan(CHUNK);
    }
    return bridge_.send(mark, stream);
}

bool Session::wait(unsigned milliseconds) {
    pollfd client = {bridge_.socket(), POLLIN, 0};
    return poll(&client, 1, static_cast<int>(milliseconds)) == 0;
}

bool Session::callBack(std::string_view function, const ItemWriter& parameters, std::vector<Byte>& answer) {
    ItemWriter question;
    question.flag(ZORID_CallBack);
    question.text(ZORID_CKelRel, backEnd_.names.release);
    question.text(ZORID_FunctionName, function);
    question.raw(parameters.bytes());
    question.flag(ZORID_End);
    if (!sendStream(question.bytes(), BridgeMark::turn) || !receiveMessage()) return false;
    const ByteSpan stream(request_.data(), requestLength_);
    if (backEnd_.recorder.on()) backEnd_.recorder.record(conversationId_, "", stream.data(), stream.size());
    ItemReader reader(stream);
    Item item;
    ClientFacts facts;
    if (!SessionItems(StreamKind::answer, backEnd_.violations).read(reader, facts, item)) return false;
    answer.assign(stream.begin() + static_cast<std::ptrdiff_t>(item.offset), stream.end());
    return true;
}

}  // namespace zordev
