/**
 * @file
 * The way of the back-end's own calls: a bridge to a program, inside the process of the gateway.
 */
#pragma once

#include "devsys/bridge.h"
#include "devsys/programsession.h"

namespace zordev {

/** A conversation over a bridge that was accepted. */
class BridgeStream final : public ProgramStream {
  public:
    explicit BridgeStream(BridgeEnd bridge) : bridge_(std::move(bridge)) {}

    bool send(ByteSpan request) override;
    StreamEnd receive(std::vector<Byte>& answer, std::chrono::milliseconds limit) override;
    void close(bool cancelled) override;

  private:
    BridgeEnd bridge_;
};

}  // namespace zordev
