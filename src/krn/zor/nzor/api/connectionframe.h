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

}  // namespace zorapi
