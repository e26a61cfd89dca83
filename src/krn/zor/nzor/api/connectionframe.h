/** @file Level source and check of the functions on a connection. */
#pragma once

#include "api/frame.h"
#include "connection/zorconnection.h"

namespace zorapi {

/** Level source: the connection's own level, the global one for a handle that isn't in the list. */
struct ConnectionLevel {
    static constexpr unsigned threshold = callThreshold;
    ZorConnection* connection;
    unsigned operator()() const noexcept {
        return connection != nullptr ? connection->getTraceLevel() : ZorConfig::getGlobalTraceLevel();
    }
};

/** Level source: a level that was read before. */
struct KnownLevel {
    static constexpr unsigned threshold = callThreshold;
    unsigned level;
    unsigned operator()() const noexcept { return level; }
};

/** A caller's parameters, and the command line of a program that a gateway started. */
struct ConnectionArguments {
    const ZOR_CONNECTION_PARAMETER* params;
    unsigned count;
    int argc = 0;
    KEL_UC** argv = nullptr;
};

/** Opens a connection of the kind that `open` makes of the options; the call is traced at its level. */
template <class Open>
ZOR_CONNECTION_HANDLE openWith(const ConnectionArguments& arguments, FrameTrace& trace, const Open& open) {
    ZorOptions options;
    options.parseConnString(arguments.params, arguments.count, arguments.argc, arguments.argv);
    trace.setLevel(options.trace);
    return open(options);
}

}  // namespace zorapi
