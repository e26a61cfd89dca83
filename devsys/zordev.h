/**
 * @file
 * The development system as a test or a program uses it: a gateway with a back-end behind it, on a free
 * port of the loopback interface. It checks what clients send, byte by byte, and reports each violation.
 */
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devsys/backend.h"
#include "devsys/connectrecord.h"
#include "devsys/faults.h"
#include "devsys/functions.h"
#include "devsys/programregistry.h"
#include "devsys/programsession.h"
#include "devsys/recorder.h"
#include "devsys/services.h"
#include "devsys/users.h"
#include "devsys/violations.h"

namespace zordev {

/** How to start a development system. */
struct DevOptions {
    std::uint16_t gatewayPort = 0; /**< 0 takes a free one. */
    GatewayCapabilities capabilities;
    BackEndNames names;
    PartnerProfile profile; /**< Formats of the back-end's numbers and text. */
    std::vector<User> users = defaultUsers();
    ProgramOptions programs;
    Faults faults;
    bool recordRequests = true;
    bool ownPort = false;             /**< Whether the back-end listens on a port of its own too. */
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

    /** The back-end's own port, 0 without one. It knows no gateway: the item stream goes as plain bytes. */
    std::uint16_t ownPort() const;
    /** Breaks the connections to that port. */
    void breakOwnPortConnections();

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

    /** Has the metadata functions tell something wrong from their next call on. */
    void setDictionaryFault(DictionaryFault fault);
    /** Replaces the faults; holds for running conversations from their next message on. */
    void setFaults(const Faults& faults);
    ConnectionCounts counts() const;

    /** @name Programs that are registered at the gateway, by id; an empty one stands for all. */
    /** @{ */
    ProgramCounts programs(const std::string& programId = {}) const;
    /** Waits until so many instances are ready for a partner; false when the time runs out before. */
    bool awaitPrograms(const std::string& programId, unsigned ready = 1,
                       std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /** Cancels registrations as an administrator does. Returns how many. */
    unsigned cancelPrograms(const std::string& programId);
    /**
     * Opens a conversation of the back-end with a program that is registered, or that the gateway starts.
     * Waits for one as `programs.wait` says; without one the session's answers give the reason.
     */
    ProgramSession openProgram(const std::string& programId);
    /** One call in a conversation of its own. */
    ProgramAnswer callRegistered(const std::string& programId, std::string_view function,
                                 const std::vector<ProgramParameter>& parameters = {});
    /** Processes that the gateway started and that still run. */
    unsigned startedPrograms() const;
    /** @} */

    /** @name The gateway goes and comes back on the same port. For one thread at a time. */
    /** @{ */
    /** Dies without a word: all connections break, and new ones are refused. */
    void vanish();
    /** Ends in order: registrations are cancelled, and who waits for an answer is told. */
    void shutDown();
    /** Listens again after one of the two. Throws std::system_error when it can't. */
    void comeBack();
    /** @} */

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace zordev
