/**
 * @file
 * The bridge between a conversation in the gateway and the partner behind it: a pair of connected
 * sockets that keep packet boundaries, one packet a message. Whoever holds the other end, a session of
 * the back-end or a program, gets the same packets, so a call always crosses two hops.
 */
#pragma once

#include <cstddef>
#include <span>
#include <utility>

#include "devsys/bytes.h"

namespace zordev {

/** What a packet means besides the data that it carries. */
enum class BridgeMark : Byte {
    data = 0,     /**< More data of the same sender will follow. */
    turn = 1,     /**< The sender gives the right to send to its peer. */
    end = 2,      /**< The sender ended the conversation; the data is its last word. */
    cancel = 3,   /**< The sender cancelled; the conversation is over. */
    gone = 4,     /**< Never sent: the peer closed its end. */
    accepted = 5, /**< A program has taken the other end of the bridge; its first packet, without data. */
    abend = 6     /**< The sender ended the conversation by an error: its code in 4 bytes, then its block. */
};

/** Most data that one packet carries, in bytes. Longer messages go as several packets. */
inline constexpr std::size_t BRIDGE_MAX_DATA = 32000;

/** A received packet: its mark and the length of its data. */
struct BridgePacket {
    BridgeMark mark;
    std::size_t length;
};

/** One end of a bridge; owns its socket. One thread sends and receives, any thread may `shutDown`. */
class BridgeEnd {
  public:
    BridgeEnd() = default;
    explicit BridgeEnd(int socket) : socket_(socket) {}
    BridgeEnd(BridgeEnd&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    BridgeEnd& operator=(BridgeEnd&& other) noexcept {
        std::swap(socket_, other.socket_);
        return *this;
    }
    ~BridgeEnd();

    /** Sends at most BRIDGE_MAX_DATA bytes; false when the peer is gone. */
    bool send(BridgeMark mark, ByteSpan data) const;
    /** Waits for a packet and puts its data into `room`, which must have BRIDGE_MAX_DATA bytes. */
    BridgePacket receive(std::span<Byte> room) const;
    /** Wakes both ends: every later or waiting operation fails. */
    void shutDown() const;
    /** The socket to poll, or -1. */
    int socket() const { return socket_; }

  private:
    int socket_ = -1;
};

/** Makes a bridge. Throws std::system_error when the process is out of descriptors. */
std::pair<BridgeEnd, BridgeEnd> makeBridge();

}  // namespace zordev
