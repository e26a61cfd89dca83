/**
 * @file
 * What all connections of a gateway share.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

#include "devsys/bridge.h"
#include "devsys/connectrecord.h"
#include "devsys/faults.h"
#include "devsys/programregistry.h"
#include "devsys/startedprograms.h"
#include "devsys/violations.h"

namespace zordev {

/** How a gateway treats programs. */
struct ProgramOptions {
    /** Commands by program name; the gateway starts one for each conversation with such a program. */
    std::map<std::string, ProgramCommand> commands{};
    /** Commands of programs that register: one is started when a partner wants a program without instance. */
    std::map<std::string, ProgramCommand> registering{};
    /** How long a partner waits for an instance when none is free; with 0 it is refused at once. */
    std::chrono::milliseconds wait{0};
    /** How long a started program may take to connect or to register. */
    std::chrono::milliseconds startLimit{30000};
    /** Period of the pings to idle registrations; one that leaves two unanswered is dropped. 0 is off. */
    std::chrono::milliseconds keepAlive{0};
};

/** Shared by all connections and outlives them. */
struct GatewayServices {
    GatewayCapabilities capabilities;
    const FaultSwitch& faults;
    ViolationLog& violations;
    /** Plays the back-end on its end of the bridge until the conversation is over; runs on a thread of its
     * own. */
    std::function<void(BridgeEnd& bridge, const std::string& conversationId)> backEnd;
    ProgramOptions programOptions{};
    ProgramRegistry programs{};
    StartedPrograms started{};
    std::string service{};                  /**< The gateway's own, for the programs that it starts. */
    std::atomic<unsigned> allocated{0};     /**< Conversations of clients that got their partner. */
    std::atomic<unsigned> programNumber{0}; /**< Counts the conversations of programs, for their ids. */
};

}  // namespace zordev
