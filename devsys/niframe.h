/**
 * @file
 * Messages on a stream socket: a 4-byte big-endian length, which doesn't count itself, and that many
 * bytes. Reading takes what the socket has in one call and hands out complete messages without copying.
 */
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "devsys/bytes.h"

namespace zordev {

/** Bytes of the length in front of a message. */
inline constexpr std::size_t NI_LENGTH_BYTES = 4;
/** Longest message that a gateway and its clients exchange, in bytes. */
inline constexpr std::size_t NI_MAX_MESSAGE = 34048;
/** The two control messages that keep a connection alive, with their closing zero byte. */
inline constexpr std::string_view NI_PING("NI_PING\0", 8);
inline constexpr std::string_view NI_PONG("NI_PONG\0", 8);

/** What came of an attempt to read a message. */
enum class FrameResult {
    message,   /**< A complete message. */
    closed,    /**< The peer closed, or the connection broke, between two messages. */
    truncated, /**< The connection ended within a message. */
    badLength  /**< The announced length is negative or too long; the stream is lost. */
};

/** Reads messages from a socket, which stays the caller's. For one thread. */
class FrameReader {
  public:
    explicit FrameReader(int socket) : socket_(socket), buffer_(2 * NI_MAX_MESSAGE) {}

    /** Waits for the next message. `message` stays valid until the next call. */
    FrameResult next(ByteSpan& message);
    /** Whether a complete message is there already, so that waiting on the socket would be wrong. */
    bool buffered() const;
    /** What was read and not handed out, for a reader of plain bytes behind the messages. */
    ByteSpan rest() const { return ByteSpan(buffer_).subspan(begin_, end_ - begin_); }
    /** The length that was announced last, for the report of a bad one. */
    std::uint32_t announced() const { return announced_; }

  private:
    bool fill();

    int socket_;
    std::vector<Byte> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint32_t announced_ = 0;
};

/** Sends all bytes, waiting as long as it takes; false when the connection is gone. */
bool sendAll(int socket, ByteSpan bytes);

}  // namespace zordev
