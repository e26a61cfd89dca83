/**
 * @file
 * A gateway that does no more than the conversation layer needs: it answers each request with the same bytes,
 * and takes what needs no answer. A bare client that sends such requests on a plain socket meets the same
 * partner over the same hop.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/** Bytes of data in each answer. */
inline constexpr std::size_t PONG_LENGTH = 500;

/** Serves clients and registered programs, each with a thread, until the process ends; for a Child.
 * `streaming` says that data go in long runs. */
void servePlainGateway(int report, bool streaming);

/** A client without any protocol layer. */
class PlainClient {
  public:
    explicit PlainClient(std::uint16_t port);
    PlainClient(const PlainClient&) = delete;
    ~PlainClient();

    /** Sends a request that is answered, `length` bytes as a message, and receives the answer. */
    void exchange(std::size_t length);
    /** Sends `total` bytes in messages of `block` bytes; the last one is answered. */
    void sendAway(std::size_t total, std::size_t block);

  private:
    void send(unsigned char request, std::size_t length);
    void receive();

    int socket_;
    std::vector<unsigned char> out_, in_;
};
