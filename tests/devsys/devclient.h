/**
 * @file
 * A client made of bytes: it knows no protocol beyond the literal records below, so that what the
 * development system accepts and answers is held against values written down by hand.
 */
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace devclient {

/** Bytes from hexadecimal text; blanks are ignored. */
inline std::string hex(std::string_view text) {
    std::string bytes;
    int half = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\n') continue;
        const int digit = c <= '9' ? c - '0' : (c & ~0x20) - 'A' + 10;
        if (half >= 0) bytes += static_cast<char>(half * 16 + digit);
        half = half >= 0 ? -1 : digit;
    }
    return bytes;
}

/** `text` padded with `fill` to `width`. */
inline std::string pad(std::string text, std::size_t width, char fill = ' ') {
    text.resize(width, fill);
    return text;
}

inline std::string be16(unsigned value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}
inline std::string be32(unsigned value) {
    return be16(value >> 16) + be16(value & 0xFFFF);
}
inline unsigned number(std::string_view bytes) {
    unsigned value = 0;
    for (const char c : bytes)
        value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

/** A short item. */
inline std::string item(unsigned id, std::string_view payload = {}) {
    return be16(id) + be16(static_cast<unsigned>(payload.size())) + std::string(payload) + be16(id);
}

/** The connect record of version 2 for a client on the loopback interface; `opcode` 11 registers. */
inline std::string connectRecord(unsigned opcode = 3, const std::string& name = "devtest",
                                 const std::string& conversation = "        ") {
    return hex("02") + static_cast<char>(opcode) + hex("7F 00 00 01 00 00 00 00") +
           pad(name.substr(0, 9), 10, '\0') + "1100" + hex("00 00 00 00 00 06") + "devhost " + pad(name, 8) +
           conversation + hex("06 CB FF FF 00 00 00 00 00 00");
}

/** What follows the connect record of a program: its host and its id. */
inline std::string extension(const std::string& programId) {
    return pad("devhost" + std::string(1, '\0'), 128) + pad(programId + std::string(1, '\0'), 64) +
           pad("", 320);
}

/** A request header: `nparams` has 28 bytes. */
inline std::string header(unsigned rqtype, unsigned info, unsigned vector, unsigned paramsLength,
                          const std::string& id, unsigned connIdx, const std::string& nparams,
                          unsigned commIdx = 0xFFFF, unsigned info2 = 0, unsigned info4 = 0,
                          unsigned info3 = 0, unsigned protocol = 2) {
    std::string bytes = hex("06");
    bytes += static_cast<char>(rqtype);
    bytes += static_cast<char>(protocol);
    bytes += hex("00 FF FF 00 00 00 00");
    bytes += static_cast<char>(info2);
    bytes += hex("00 00 00 00 00");
    bytes += static_cast<char>(info3);
    bytes += hex("00 00 00 00");
    bytes += static_cast<char>(info4);
    bytes += hex("00 00 00 00") + be16(paramsLength) + hex("00 00");
    bytes += static_cast<char>(info);
    bytes += static_cast<char>(vector);
    bytes += hex("00 00 00 00 00 00 00 00") + id + nparams + be16(commIdx) + be16(connIdx);
    return bytes;
}

/** The opening request with its parameter block: 453 bytes. */
inline std::string initializeRequest(const std::string& partner = "keldp00") {
    const std::string names = "TSLZOR  127.0.0." + pad(partner, 8) + "I" + hex("01 00 00");
    std::string block = pad("TSLZOR", 32) + hex("01") + pad("", 45 + 10 + 1 + 16, '\0');
    block += pad("127.0.0.1", 128, '\0') + pad("", 16, '\0') + pad("tester", 12) + pad("", 12 + 16, ' ');
    block += pad("", 12 + 8, '\0') + pad(partner, 64, '\0');
    return header(1, 5, 1, 373, "        ", 0xFFFF, names.substr(0, 26) + hex("00 00"), 0, 1, 4) + block;
}

/** A connection to a gateway, message by message. */
class Client {
  public:
    explicit Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int on = 1;  // two requests in a row must not wait for an acknowledgement
        ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        connected_ = ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { ::close(socket_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void sendRaw(const std::string& bytes) {
        (void)::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    void send(const std::string& message) { sendRaw(be32(static_cast<unsigned>(message.size())) + message); }

    /** The next message; "closed" when the connection ended or announces more than a message may have. */
    std::string receive() {
        std::string length = read(4);
        if (length.size() < 4) return "closed";
        const std::size_t bytes = number(length);
        std::string message = bytes > 34048 ? std::string() : read(bytes);
        return message.size() == bytes ? message : "closed";
    }

    /** Connect, initialise, name, allocate; returns the conversation's id, "failed" if a step does. */
    std::string open(const std::string& partner = "keldp00") {
        return beginOpen(partner) && receive().size() == 80 ? id_ : "failed";
    }

    /** All of `open` but the answer to the last request. */
    bool beginOpen(const std::string& partner) {
        send(connectRecord());
        if (receive().size() != 64) return false;
        send(initializeRequest(partner));
        const std::string answer = receive();
        if (answer.size() != 80) return false;
        id_ = answer.substr(40, 8);
        connIdx_ = number(answer.substr(78, 2));
        send(header(15, 4, 0, 144, id_, connIdx_, "127.0.0." + be32(9) + pad("", 16, '\0'), 0xFFFF, 1) +
             pad("127.0.0.1", 144, '\0'));
        send(header(5, 1, 2, 0, id_, connIdx_, pad("", 28, '\0')));
        return true;
    }

    std::string sendReceiveRequest(const std::string& data, unsigned requested = 28000) const {
        return header(203, 5, 12, 8, id_, connIdx_, pad("", 28, '\0'), 0xFFFF, 0, 0, 0, protocol_) +
               be32(static_cast<unsigned>(data.size())) + be32(requested) + data;
    }
    std::string receiveRequest(unsigned requested) const {
        return header(9, 1, 8, 0, id_, connIdx_, be32(requested) + pad("", 24, '\0'), 0xFFFF, 0, 0, 0,
                      protocol_);
    }
    std::string bareRequest(unsigned rqtype, unsigned info, unsigned info3 = 0) const {
        return header(rqtype, info, 0, 0, id_, connIdx_, pad("", 28, '\0'), 0xFFFF, 0, 0, info3, protocol_);
    }
    std::string sendRequest(unsigned rqtype, const std::string& data) const {
        return header(rqtype, rqtype == 7 ? 1 : 0, 4, 0, id_, connIdx_,
                      be32(static_cast<unsigned>(data.size())) + pad("", 24, '\0'), 0xFFFF, 0, 0, 0,
                      protocol_) +
               data;
    }

    /** Sends a stream with the right to send and returns the whole answer message. */
    std::string exchange(const std::string& data) {
        send(sendReceiveRequest(data));
        return receive();
    }

    bool connected() const { return connected_; }

  protected:
    std::string id_;
    unsigned connIdx_ = 0xFFFF;
    unsigned protocol_ = 2;

  private:
    std::string read(std::size_t count) {
        std::string bytes(count, '\0');
        std::size_t done = 0;
        while (done < count) {
            const ssize_t got = ::recv(socket_, bytes.data() + done, count - done, 0);
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        bytes.resize(done);
        return bytes;
    }

    int socket_;
    bool connected_ = false;
};

/** What an answer says of its data: return code, data received, length, status. */
struct AnswerFields {
    unsigned appcRc, dataReceived, length, status;
    bool operator==(const AnswerFields&) const = default;
};

inline AnswerFields fieldsOf(const std::string& answer) {
    if (answer.size() < 80) return {999, 999, 999, 999};
    return {number(answer.substr(32, 4)), number(answer.substr(52, 4)), number(answer.substr(56, 4)),
            number(answer.substr(60, 4))};
}

/** Request type of an answer, and its `kel_rc`; 999 for none. */
inline unsigned typeOf(const std::string& answer) {
    return answer.size() < 80 ? 999 : number(answer.substr(1, 1));
}
inline unsigned kelRcOf(const std::string& answer) {
    return answer.size() < 80 ? 999 : number(answer.substr(36, 4));
}

inline std::string dataOf(const std::string& answer) {
    return answer.size() < 80 ? answer : answer.substr(80);
}

/** A program that registers, or one that was started. */
class Program : public Client {
  public:
    using Client::Client;

    /** Registers; true when the gateway agrees. */
    bool registerAs(const std::string& programId) {
        protocol_ = 7;
        send(connectRecord(11, programId.substr(0, 8)));
        const std::string answer = receive();
        if (answer.size() != 64 || number(answer.substr(58, 4)) != 0) return false;
        send(extension(programId));
        return true;
    }
    /** Takes over the conversation that a program was started for. */
    bool joinAs(const std::string& conversation) {
        protocol_ = 3;
        id_ = conversation;
        send(connectRecord(3, "devtest", conversation));
        return receive().size() == 64;
    }

    /** A request of the registration: 209 is ready, 210 is no longer ready or alive, 208 leaves. */
    std::string ownRequest(unsigned rqtype, const std::string& id = "N17     ") const {
        return header(rqtype, 1, 0, 0, id, 0xFFFF, be32(80) + pad("", 24, '\0'), 0xFFFF, 0, 0, 0, 7);
    }
    /** Is ready and waits for a partner; the call, or what came in its place. */
    std::string awaitCall() {
        send(ownRequest(209));
        return takeCall();
    }
    /** The same for one that said that it is ready. */
    std::string takeCall() {
        const std::string call = receive();
        if (call.size() >= 80) id_ = call.substr(40, 8);
        return call;
    }
    /** Answers, ends the conversation, and says so for the registration. */
    void answerAndEnd(const std::string& data) {
        send(sendRequest(8, data));
        send(bareRequest(11, 0));
        send(ownRequest(210));
    }
};

/** The communication header and the header items that open a conversation. */
inline std::string headerItems() {
    return item(0x0101, hex("03 01 01 01 01 01 00 00")) + item(0x0103, hex("00 00 0E 0B")) +
           item(0x0106, hex("01 01 00 00 00 00 01 00 00 00 23")) + item(0x0160, hex("00 00"));
}

/** The first stream: user DEMO of client 100. The key 1 starts at index 3 of the table. */
inline std::string logonStream(std::string_view function = "ZORPING", std::string_view client = "100",
                               const std::string& scrambled = {}) {
    std::string logon = item(0x0111, "DEMO");
    if (!scrambled.empty()) logon += item(0x0117, scrambled);
    logon += item(0x0114, client) + item(0x0115, "E") + item(0x0501, hex("01"));
    const std::string info = item(7, "127.0.0.1") + item(17, "E") + item(18, "753") + item(19, "753") +
                             item(8, "devhost") + item(6, "<unknown>") + item(304, "devtest");
    return hex("E9 D6 D9 F0 F0 F0 F0 F0 F0 F0 F0 F0") + headerItems() + logon + info + item(0x0502) +
           item(11, "753") + item(0x0102, function) + item(0xFFFF);
}

/** A call on a conversation that is logged on; `parameters` are the items between name and end. */
inline std::string callStream(std::string_view function, const std::string& parameters) {
    return item(0x0502) + item(11, "753") + item(0x0102, function) + item(0x0512) + parameters + item(0xFFFF);
}

}  // namespace devclient
