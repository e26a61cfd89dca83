/** @file The one thread that waits on the ports and the idle connections of all socket servers. */
#pragma once

#include <memory>

#include "base/ni/ni.h"
#include "error/zorexception.h"

/**
 * What the listener tells a socket server. The calls come on the listener's thread, with none of its locks
 * held; they don't wait, and may call the listener.
 */
class TcpServer {
  public:
    virtual ~TcpServer() = default;
    /** Whether partners are welcome; if not, they are hung up, and idle connections too. */
    virtual bool isRunning() const noexcept = 0;
    /** A partner has come. The server owns the handle from now on, and has it watched when it is ready. */
    virtual void accepted(NI_HDL handle) noexcept = 0;
    /** Something can be read on a handle, which is watched no longer until the server asks for it again. */
    virtual void readable(NI_HDL handle) noexcept = 0;
    /** A partner couldn't be accepted; `text` says why. */
    virtual void acceptFailed(const KEL_string& text) noexcept = 0;
};

/**
 * The listener: one detached thread of the process, from the first port until nothing is left to be watched.
 * All calls may come from any thread; its select set is its own, and gets to know of them through a queue.
 */
class TcpListener {
  public:
    /**
     * Listens on a port, a number or a service, for a server; 0 takes a free one. Returns the listening
     * handle, which `stopTCPServer` takes. ZorCommunicationException with the name of the network layer's
     * code: the port isn't free, or something else is short.
     */
    static NI_HDL startTCPServer(const KEL_UC* port, std::shared_ptr<TcpServer> server);

    /** Ends the listening and closes the handle; the server hears of no partner afterwards. */
    static void stopTCPServer(NI_HDL handle) noexcept;

    /** Watches a connection until it has something to read. Without memory it counts as readable at once. */
    static void watch(NI_HDL handle, const std::shared_ptr<TcpServer>& server) noexcept;

    /** Watches a connection no longer; it may be closed afterwards. */
    static void forget(NI_HDL handle) noexcept;
};
