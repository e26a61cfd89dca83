/**
 * @file
 * Finds the program that a conversation is for: an instance that has registered, or a process that is
 * started for it.
 */
#pragma once

#include <functional>
#include <string>

#include "devsys/services.h"

namespace zordev {

/** Whether a gateway takes a partner's name for its back-end: a dispatcher's service, a port, or nothing. */
bool namesBackEnd(const std::string& name);

/** Makes the id of a program's conversation; those of clients begin with another digit. */
std::string nextProgramId(GatewayServices& services);

/** What happens to a caller while it waits for a program. */
struct WaitingCaller {
    int socket = -1; /**< Watched while waiting, or -1. */
    std::function<bool()>
        buffered{}; /**< Whether there is something to handle although the socket is silent. */
    std::function<bool()> handle{}; /**< Called when there is something; false gives the program up. */
};

/** Why there is no program. */
struct ProgramFailure {
    int kelRc = 0;  /**< 0 when there is one; -1 when the caller gave it up. */
    int appcRc = 0; /**< What a client is told. */
    std::string reason;
};

/** Waits for the program `name` as long as the gateway's options say, and puts a bridge to it into `bridge`.
 */
ProgramFailure connectProgram(GatewayServices& services, const std::string& name, const WaitingCaller& caller,
                              BridgeEnd& bridge);

}  // namespace zordev
