/** @file The one thread that waits on the registrations of all automated servers. */
#pragma once

#include <memory>

class ZorAutomatedServer;
class ZorConnection;

/**
 * The thread runs from the first registration until none is left. Any thread may call; a connection is known
 * by its address only and never followed.
 */
class ZorServerListener {
  public:
    /**
     * Has the server told when something happens on the connection; before it registers. Throws
     * ZorSystemException when the thread can't be started.
     */
    static void add(const ZorConnection* connection, std::shared_ptr<ZorAutomatedServer> server);
    /** Before the connection is closed. What was told before may still be under way. */
    static void remove(const ZorConnection* connection) noexcept;
};
