/**
 * @file
 * The development system as a test or a program uses it: a gateway with a back-end behind it, on a free
 * port of the loopback interface. It checks what clients send, byte by byte, and reports each violation.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devsys/backend.h"
#include "devsys/connectrecord.h"
#include "devsys/faults.h"
#include "devsys/functions.h"
#include "devsys/recorder.h"
#include "devsys/users.h"
#include "devsys/violations.h"

namespace zordev {

/** How to start a development system. */
struct DevOptions {
    std::uint16_t gatewayPort = 0; /**< 0 takes a free one. */
    GatewayCapabilities capabilities;
    BackEndNames names;
    std::vector<User> users = defaultUsers();
    Faults faults;
    bool recordRequests = true;
    ViolationLog::Sink violationSink; /**< Gets each violation's line, on the thread that found it. */
};

/** Numbers of the connections so far. */
struct ConnectionCounts {
    unsigned accepted;      /**< Connections that clients made. */
    unsigned conversations; /**< Those that got as far as a partner. */
    unsigned open;          /**< Connections that are open now. */
};

/**
 * A running development system. Starts in the constructor, which throws std::system_error when it can't
 * listen; the destructor ends all conversations and joins all threads. All operations are thread-safe.
 */
class DevSystem {
  public:
    explicit DevSystem(DevOptions options = {});
    ~DevSystem();

    /** The port of the gateway, as a number and as a client's `gwserv`. */
    std::uint16_t gatewayPort() const;
    std::string gatewayService() const { return std::to_string(gatewayPort()); }

    /** What clients did wrong so far; a test of a correct client asserts that it is empty. */
    std::vector<Violation> violations() const;
    /** The violations as text, a line each; empty when there are none. */
    std::string violationText() const;
    void clearViolations();

    /** The requests that the back-end got. */
    std::vector<RecordedRequest> requests() const;
    void clearRequests();
    /** Switches the recording, which costs a copy of each request. */
    void recordRequests(bool on);

    /** Replaces the faults; holds for running conversations from their next message on. */
    void setFaults(const Faults& faults);
    ConnectionCounts counts() const;

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace zordev
