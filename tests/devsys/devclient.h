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

/** The connect record of version 2 for a client on the loopback interface. */
inline std::string connectRecord() {
    return hex("02 03 7F 00 00 01 00 00 00 00") + pad("devtest", 10, '\0') + "1100" +
           hex("00 00 00 00 00 06") + "devhost devtest         " + hex("06 CB FF FF 00 00 00 00 00 00");
}

/** A request header: `nparams` has 28 bytes. */
inline std::string header(unsigned rqtype, unsigned info, unsigned vector, unsigned paramsLength,
                          const std::string& id, unsigned connIdx, const std::string& nparams,
                          unsigned commIdx = 0xFFFF, unsigned info2 = 0, unsigned info4 = 0,
                          unsigned info3 = 0) {
    std::string bytes = hex("06");
    bytes += static_cast<char>(rqtype);
    bytes += hex("02 00 FF FF 00 00 00 00");
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
inline std::string initializeRequest() {
    const std::string names = "TSLZOR  127.0.0.keldp00 I" + hex("01 00 00");
    std::string block = pad("TSLZOR", 32) + hex("01") + pad("", 45 + 10 + 1 + 16, '\0');
    block += pad("127.0.0.1", 128, '\0') + pad("", 16, '\0') + pad("tester", 12) + pad("", 12 + 16, ' ');
    block += pad("", 12 + 8, '\0') + pad("keldp00", 64, '\0');
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
    std::string open() {
        send(connectRecord());
        if (receive().size() != 64) return "failed";
        send(initializeRequest());
        const std::string answer = receive();
        if (answer.size() != 80) return "failed";
        id_ = answer.substr(40, 8);
        connIdx_ = number(answer.substr(78, 2));
        send(header(15, 4, 0, 144, id_, connIdx_, "127.0.0." + be32(9) + pad("", 16, '\0'), 0xFFFF, 1) +
             pad("127.0.0.1", 144, '\0'));
        send(header(5, 1, 2, 0, id_, connIdx_, pad("", 28, '\0')));
        return receive().size() == 80 ? id_ : "failed";
    }

    std::string sendReceiveRequest(const std::string& data, unsigned requested = 28000) const {
        return header(203, 5, 12, 8, id_, connIdx_, pad("", 28, '\0')) +
               be32(static_cast<unsigned>(data.size())) + be32(requested) + data;
    }
    std::string receiveRequest(unsigned requested) const {
        return header(9, 1, 8, 0, id_, connIdx_, be32(requested) + pad("", 24, '\0'));
    }
    std::string bareRequest(unsigned rqtype, unsigned info, unsigned info3 = 0) const {
        return header(rqtype, info, 0, 0, id_, connIdx_, pad("", 28, '\0'), 0xFFFF, 0, 0, info3);
    }
    std::string sendRequest(unsigned rqtype, const std::string& data) const {
        return header(rqtype, rqtype == 7 ? 1 : 0, 4, 0, id_, connIdx_,
                      be32(static_cast<unsigned>(data.size())) + pad("", 24, '\0')) +
               data;
    }

    /** Sends a stream with the right to send and returns the whole answer message. */
    std::string exchange(const std::string& data) {
        send(sendReceiveRequest(data));
        return receive();
    }

    bool connected() const { return connected_; }

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
    std::string id_;
    unsigned connIdx_ = 0xFFFF;
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
