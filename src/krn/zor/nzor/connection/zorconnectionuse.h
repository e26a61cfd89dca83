/** @file Guards around the work on a connection. */
#pragma once

#include <kelzor/types.h>

#include "trace/zortracefunctions.h"

class ZorConnection;

/**
 * A function that runs on a connection of an automated server uses it: meanwhile nobody takes it away. On
 * other connections nothing.
 */
class ZorConnectionTurn {
  public:
    /** Throws ZorInvalidHandleException if the server has taken the connection back. */
    explicit ZorConnectionTurn(ZorConnection& connection);
    ZorConnectionTurn(const ZorConnectionTurn&) = delete;
    ~ZorConnectionTurn();

  private:
    ZorConnection& connection;
    const bool parked;
};

/**
 * Something runs on a listed connection. A connection that broke meanwhile has left the list and nobody
 * can reach it any more; then the outermost of these frees it, unless an automated server does.
 */
class ZorConnectionUse {
  public:
    explicit ZorConnectionUse(ZorConnection& connection);
    ZorConnectionUse(const ZorConnectionUse&) = delete;
    ~ZorConnectionUse();

  private:
    ZorConnection& connection;
    const ZorConnectionTurn turn;
};

/** The opening and closing trace lines of an internal operation, at a level above 1. */
class ZorMethodTrace {
  public:
    ZorMethodTrace(const KEL_UC* name, unsigned level) noexcept : name(level > 1 ? name : nullptr) {
        if (this->name != nullptr) ZorTraceBeginMethod(name);
    }
    ZorMethodTrace(const ZorMethodTrace&) = delete;
    ~ZorMethodTrace() {
        if (name != nullptr) ZorTraceEndMethod(name, 0);
    }

  private:
    const KEL_UC* name;
};
