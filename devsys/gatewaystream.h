/**
 * @file
 * The way of calls from another process: a client of a gateway, which connects the call to the program.
 */
#pragma once

#include <string>

#include "devsys/niframe.h"
#include "devsys/programsession.h"

namespace zordev {

/** A conversation over a connection to a gateway on the loopback interface. */
class GatewayStream final : public ProgramStream {
  public:
    /** Opens the conversation; throws std::runtime_error with the reason when there is none. */
    GatewayStream(std::uint16_t port, const std::string& programId);
    ~GatewayStream() override;
    GatewayStream(const GatewayStream&) = delete;
    GatewayStream& operator=(const GatewayStream&) = delete;

    bool send(ByteSpan request) override;
    StreamEnd receive(std::vector<Byte>& answer, std::chrono::milliseconds limit) override;
    void close(bool cancelled) override;

  private:
    void open(const std::string& programId);
    bool sendMessage(ByteSpan message) const;
    ByteSpan await(int limitMs);
    ByteSpan awaitAnswer(std::string_view step);
    std::vector<Byte> header(std::uint8_t rqtype, std::uint8_t info, std::uint8_t vector) const;

    int socket_;
    FrameReader reader_;
    std::string id_ = "        ";
    std::uint16_t index_ = 0xFFFF;
    bool streaming_ = false;
    bool timeout_ = false;  // why the last `await` gave nothing
};

}  // namespace zordev
