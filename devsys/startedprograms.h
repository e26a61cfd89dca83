/**
 * @file
 * Programs that the gateway starts for one conversation each: the processes, and the partners that wait
 * for them to connect.
 */
#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devsys/bridge.h"

namespace zordev {

/** A program and its own arguments; those that tell it about its conversation follow behind. */
using ProgramCommand = std::vector<std::string>;

/** What a started program is told in its arguments. */
struct StartArguments {
    std::string gatewayHost;
    std::string gatewayService;
    std::string conversationId; /**< Empty for a program that registers. */
    std::string programId;      /**< Of one that registers. */
    bool streaming = false;
};

/** The processes of one gateway. Thread-safe. */
class StartedPrograms {
  public:
    StartedPrograms() = default;
    /** Ends the processes that still run: asks them by SIGTERM, and after a second doesn't ask any more. */
    ~StartedPrograms();
    StartedPrograms(const StartedPrograms&) = delete;
    StartedPrograms& operator=(const StartedPrograms&) = delete;

    /**
     * Starts `command` with the arguments GWHOST=, GWSERV=, CONVID= and STREAMING= behind its own, or TP= in
     * place of the last two. `bridge` waits until a connection claims the conversation. Returns a descriptor
     * that becomes readable when the process ends, the caller's to close, or -1 with `errno` when it couldn't
     * be started.
     */
    int start(const ProgramCommand& command, const StartArguments& arguments, BridgeEnd bridge);
    /** The partner that waits for the program of this conversation, if one does. */
    std::optional<BridgeEnd> claim(const std::string& conversationId);
    /** A partner waits no longer; its bridge closes. */
    void withdraw(const std::string& conversationId);
    /** Processes that run now. */
    unsigned running();

  private:
    void reap();

    std::mutex mutex_;  // guards the rest
    std::map<std::string, BridgeEnd> expected_;
    std::vector<pid_t> processes_;
};

}  // namespace zordev
