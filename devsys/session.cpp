#include "devsys/session.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "devsys/messageparser.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr std::size_t CHUNK = 28000;                // bytes of an answer that go out at once
constexpr std::uint32_t OWN_PROTOCOL = 0x00000E09;  // without the bit that allows compressed tables

constexpr Byte VERSION = 3;

// A code page as it travels: four digits, each byte its digit's value.
void putDigits(std::span<Byte> bytes, std::size_t offset, std::string_view codePage) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<Byte>(codePage[i] - '0');
}

// Whether the client calls instead of answering: a call says so before it names its function.
bool isCall(ByteSpan stream) {
    ItemReader reader(stream);
    for (Item item; reader.next(item) == ItemResult::item;)
        if (item.id == ZORID_CallBack) return true;
    return false;
}

bool isLogonFunction(std::string_view name) {
    return name == "ZOR_PING" || name == "ZORPING";
}

}  // namespace

Session::Session(BackEnd& backEnd, BridgeEnd& bridge, std::string conversationId, Way way)
    : backEnd_(backEnd),
      bridge_(bridge),
      conversationId_(std::move(conversationId)),
      way_(way),
      request_(BRIDGE_MAX_DATA),
      call_(*this, out_) {}

void Session::run() {
    while (receiveMessage()) {
        out_.clear();
        if (!answer(handleRequest(), out_)) return;
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
    const bool header = first && way_ == Way::gateway;
    if (header && !checkCommunicationHeader(stream, facts_, backEnd_.violations))
        return refuseViolation(out_);
    ItemReader reader(stream, header ? COMMUNICATION_HEADER : 0);
    SessionItems items(first ? StreamKind::logon : StreamKind::call, backEnd_.violations);
    Item item;
    const bool good = items.read(reader, facts_, item);
    if (backEnd_.recorder.on()) {
        backEnd_.recorder.record(conversationId_, facts_.function, stream.data(), stream.size());
    }
    if (!good) return refuseViolation(out_);
    return first ? handleLogon(reader, item) : handleCall(reader, item, call_);
}

// The first call of a conversation. ZORPING wants name and password checked now; with ZOR_PING a wrong
// one shows when the first function is called.
Outcome Session::handleLogon(ItemReader& reader, Item item) {
    if (!isLogonFunction(facts_.function)) {
        backEnd_.violations.add(
            {"logon, function name", item.offset, "ZOR_PING or ZORPING", facts_.function});
        return refuseViolation(out_);
    }
    call_.begin(*lookUpFunction());
    if (ParameterParser(reader, call_, backEnd_.violations).parse(item) != ParseResult::good) {
        return refuseViolation(out_);
    }
    const LogonResult result = checkLogon();
    if (facts_.function == "ZORPING" && result != LogonResult::ok) return refuseLogon(out_, result);
    writeHeader();
    writeSessionItems();
    return Outcome::reply;
}

Outcome Session::handleCall(ItemReader& reader, const Item& item, Call& call) {
    const FunctionDescription* function = lookUpFunction();
    if (function == nullptr) {
        return refuse(call.out, "CALL_FUNCTION_NOT_FOUND",
                      "Function module \"" + facts_.function + "\" not found");
    }
    call.begin(*function);
    ParameterParser parser(reader, call, backEnd_.violations);
    switch (parser.parse(item)) {
        case ParseResult::violation:
            return refuseViolation(call.out);
        case ParseResult::unknownParameter:
            return refuse(call.out, "CALL_FUNCTION_PARM_UNKNOWN",
                          "Function module " + facts_.function + " has no parameter " + parser.unknown());
        case ParseResult::good:
            break;
    }
    return runFunction(call);
}

Outcome Session::runFunction(Call& call) {
    if (!loggedOn_ && !call.function->beforeLogon) {
        const LogonResult result = checkLogon();
        if (result != LogonResult::ok) return refuseLogon(call.out, result);
    }
    return call.function->handler(call);
}

const FunctionDescription* Session::lookUpFunction() {
    if (lastFunction_ == nullptr || lastFunction_->name != facts_.function) {
        lastFunction_ = findFunction(facts_.function, backEnd_.names.version());
    }
    return lastFunction_;
}

LogonResult Session::checkLogon() {
    const LogonResult result =
        backEnd_.users.logon({facts_.client, facts_.user, facts_.alias, facts_.password, facts_.ticket,
                              facts_.certificate, facts_.externalId},
                             user_);
    loggedOn_ = result == LogonResult::ok;
    if (loggedOn_) {
        std::ranges::fill(facts_.password, '\0');
        facts_.password.clear();
    }
    return result;
}

Outcome Session::refuse(ItemWriter& out, std::string_view key, std::string_view text) {
    out.clear();
    out.text(ZORID_SnapDump, key);
    out.text(ZORID_ErrorMessage, text);
    return Outcome::end;
}

// A refused logon is a message and not a dump, so that the client takes it for a failed logon.
Outcome Session::refuseLogon(ItemWriter& out, LogonResult result) {
    out.text(ZORID_SystMsgid, "00");
    out.text(ZORID_SystMsgty, "E");
    out.text(ZORID_SystMsgno, "152");
    out.text(ZORID_ErrorMessage, logonText(result));
    return Outcome::end;
}

Outcome Session::refuseViolation(ItemWriter& out) {
    return refuse(out, "PROTOCOL_VIOLATION",
                  "The client broke the protocol; the development system's log says how");
}

void Session::writeHeader() {
    const PartnerProfile& profile = backEnd_.profile;
    Byte header[8] = {VERSION, Byte{!profile.bigEndian}, Byte{!profile.hexFloat}, profile.characterClass};
    putDigits(header, 4, profile.codePage);
    out_.item(ZORID_Header, header);
    out_.number4(ZORID_Protocol, OWN_PROTOCOL);
    // The system's own code page, conversion errors matter, character size 1, substitute '#'.
    Byte unicodeHeader[11] = {0, 0, 0, 0, 0, 0, 1, 0, 0, 0, '#'};
    putDigits(unicodeHeader, 0, profile.systemCodePage);
    out_.item(ZORID_UnicodeHeader, unicodeHeader);
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
    out_.text(ZORID_LoggedOnUser, user_.name);
    out_.text(ZORID_LoggedOnClient, facts_.client);
    out_.text(ZORID_LoggedOnLanguage, facts_.language);
    if (facts_.wantsTicket && !user_.ticket.empty()) out_.text(ZORID_Sso2, user_.ticket);
    if (user_.state != PasswordState::ok) {
        const std::span<Byte> state = out_.reserve(ZORID_PwState, 4);
        storeLe32(state, 0, static_cast<std::uint32_t>(user_.state));
        convertNumber(backEnd_.profile, ZORTYPE_INT, state);
    }
}

// Closes and sends the answer; returns whether the conversation goes on.
bool Session::answer(Outcome outcome, ItemWriter& out) {
    if (outcome == Outcome::dropped) return false;
    const bool goesOn = outcome == Outcome::reply || outcome == Outcome::replyUnframed;
    const BridgeMark mark = goesOn ? BridgeMark::turn : BridgeMark::end;
    if (outcome == Outcome::reply || outcome == Outcome::end) out.flag(ZORID_End);
    return sendStream(out.bytes(), mark) && goesOn;
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
    // The request of the call that is being served stays as it is: its parameters lie in it.
    std::vector<Byte> served = std::exchange(request_, std::vector<Byte>(BRIDGE_MAX_DATA));
    const std::size_t servedLength = requestLength_;
    const bool answered = sendStream(question.bytes(), BridgeMark::turn) && awaitAnswer(answer);
    request_ = std::move(served);
    requestLength_ = servedLength;
    return answered;
}

// Serves calls that the client makes before it answers.
bool Session::awaitAnswer(std::vector<Byte>& answer) {
    while (receiveMessage()) {
        const ByteSpan stream(request_.data(), requestLength_);
        if (isCall(stream)) {
            if (!serveNested()) return false;
            continue;
        }
        if (backEnd_.recorder.on())
            backEnd_.recorder.record(conversationId_, "", stream.data(), stream.size());
        ItemReader reader(stream);
        Item item;
        ClientFacts facts;
        if (!SessionItems(StreamKind::answer, backEnd_.violations).read(reader, facts, item)) return false;
        answer.assign(stream.begin() + static_cast<std::ptrdiff_t>(item.offset), stream.end());
        return true;
    }
    return false;
}

// A call within a callback; returns whether the conversation goes on.
bool Session::serveNested() {
    const ByteSpan stream(request_.data(), requestLength_);
    ItemReader reader(stream);
    Item item;
    ItemWriter out;
    Call call(*this, out);
    const bool good = SessionItems(StreamKind::call, backEnd_.violations).read(reader, facts_, item);
    if (backEnd_.recorder.on())
        backEnd_.recorder.record(conversationId_, facts_.function, stream.data(), stream.size());
    return answer(good ? handleCall(reader, item, call) : refuseViolation(out), out);
}

}  // namespace zordev
