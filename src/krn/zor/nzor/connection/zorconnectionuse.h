/** @file Guards around the work on a connection. */
#pragma once

#include <kelzor/types.h>

#include "trace/zortracefunctions.h"

class ZorConnection;

/**
 * Something runs on a listed connection. A connection that broke meanwhile has left the list and nobody
 * can reach it any more; then the outermost of these frees it.
 */
class ZorConnectionUse {
  public:
    explicit ZorConnectionUse(ZorConnection& connection) noexcept;
    ZorConnectionUse(const ZorConnectionUse&) = delete;
    ~ZorConnectionUse();

  private:
    ZorConnection& connection;
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
