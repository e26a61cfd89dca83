/**
 * @file
 * What the library's calls are measured against: a client, a relay and a server that do nothing but pass
 * messages of given sizes over the hops of a call (a TCP connection to the relay, a packet socket pair
 * behind it), each waiting and moving bytes with the same system calls.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/** Largest message in bytes, its frame not counted. */
inline constexpr std::size_t BARE_MAX_MESSAGE = 32000;

/** Serves clients on a listening socket, each with threads of its own; never returns. */
[[noreturn]] void runBareRelay(int listener);

/** The same without a relay between: answers itself. Never returns. */
[[noreturn]] void runBareServer(int listener);

/** A connection to a bare relay, or a bare server. */
class BareClient {
  public:
    explicit BareClient(std::uint16_t port);
    BareClient(const BareClient&) = delete;
    ~BareClient();

    /** Sends `out` bytes in messages of at most `block`, then receives `in` bytes in the same way. */
    void exchange(std::size_t out, std::size_t in, std::size_t block);

    /** Sends the data in messages of at most `block` bytes; the server keeps them, and they come back. */
    void echo(std::vector<char>& data, std::size_t block);

  private:
    int socket_;
    std::vector<char> buffer_;
};
