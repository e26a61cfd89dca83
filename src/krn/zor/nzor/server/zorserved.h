/** @file One connection of an automated server, and who has it. */
#pragma once

#include <ctime>
#include <memory>
#include <thread>

#include "connection/zorconnection.h"

/**
 * The server's lock guards all members but the connection itself, which belongs to its holder: the thread
 * that registers it, listens to it, serves its call or closes it. Without a holder the listener watches it,
 * and it belongs to whoever takes it under that lock. Who removes it from the server closes it.
 */
struct ZorServed {
    explicit ZorServed(std::unique_ptr<ZorConnection> made)
        : connection(std::move(made)), socket(connection->socket()) {}

    const std::unique_ptr<ZorConnection> connection;
    const NI_HDL socket;     ///< Of a socket server's partner; may stand for another one once this is closed.
    bool held = true;        ///< From the start: whoever makes it has it.
    bool ready = false;      ///< Something happened while it was held; the holder sees to it.
    bool doomed = false;     ///< The holder is to close it.
    bool abandoned = false;  ///< It isn't the server's any more: nobody is told of its end.
    bool active = false;     ///< A call is being served.
    bool stateful = false;   ///< A partner keeps it, as its function wanted.
    std::thread::id server{};  ///< Thread that serves the call.
    std::time_t lastActivity = 0;
    KEL_string function;          ///< What runs.
    ZOR_ATTRIBUTES attributes{};  ///< Of the partner of the last call.
    bool exclusive = false;       ///< A partner keeps it, in whatever way.
};
