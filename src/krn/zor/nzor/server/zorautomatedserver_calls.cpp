// Calls of automated servers: from the listener to a thread of the pool, and back.

#include <algorithm>
#include <cstdlib>

#include "server/zorautomatedserver.h"
#include "server/zorserverlistener.h"
#include "trace/zortracefunctions.h"

namespace {

/** ms for which a thread waits for the next call of the partner that it has just answered. */
constexpr int nextCallWait = 2;

}  // namespace

bool ZorAutomatedServer::add(const ServedRef& served) {
    const Lock lock(cs_zorServer_conn);
    if (!accepting) return false;
    connections[served->connection.get()] = served;
    if (served->socket != NI_INVALID_HDL) sockets[served->socket] = served;
    return true;
}

/** False if it wasn't the server's any more. */
bool ZorAutomatedServer::remove(const ServedRef& served) noexcept {
    const Lock lock(cs_zorServer_conn);
    if (const auto found = sockets.find(served->socket); found != sockets.end() && found->second == served)
        sockets.erase(found);
    const bool mine = connections.erase(served->connection.get()) != 0;
    connectionGone.notify_all();
    return mine;
}

ZorAutomatedServer::ServedRef ZorAutomatedServer::find(const ZorConnection* connection) {
    const Lock lock(cs_zorServer_conn);
    const auto found = connections.find(connection);
    return found != connections.end() ? found->second : nullptr;
}

/** False if another thread holds it, which then sees to what has happened. */
bool ZorAutomatedServer::claim(const ServedRef& served) noexcept {
    const Lock lock(cs_zorServer_conn);
    if (served->held) {
        served->ready = true;
        return false;
    }
    return served->held = true;
}

void ZorAutomatedServer::ready(const ServedRef& served) noexcept {
    if (served && claim(served) && !takeIn(served)) proceed(served);
}

void ZorAutomatedServer::connectionReady(const ZorConnection* connection) noexcept {
    ready(find(connection));
}

void ZorAutomatedServer::socketReady(NI_HDL socket) noexcept {
    ServedRef served;
    {
        const Lock lock(cs_zorServer_conn);
        if (const auto found = sockets.find(socket); found != sockets.end()) served = found->second;
    }
    ready(served);
}

void ZorAutomatedServer::partnerCame(NI_HDL socket) noexcept {
    std::shared_ptr<TcpServer> listener;
    {
        const Lock lock(cs_zorServer_conn);
        listener = port;
    }
    try {
        const auto served =
            std::make_shared<ZorServed>(ZorConnection::makeAccepted(*this, options, socket, listener));
        if (add(served)) rearm(served);
    } catch (const std::bad_alloc&) {
        // The partner is hung up.
    }
}

/** The holder is done: nobody holds it, unless there is more to be done. */
void ZorAutomatedServer::proceed(const ServedRef& served) noexcept {
    do {
        Lock lock(cs_zorServer_conn);
        if (served->doomed || served->abandoned) {
            lock.unlock();
            return drop(served);
        }
        served->held = served->ready;
        if (!served->ready) return;
        served->ready = false;
        lock.unlock();
    } while (!takeIn(served));
}

/** Hands a call to a thread. False if nothing was there: the caller still holds the connection. */
bool ZorAutomatedServer::takeIn(const ServedRef& served) noexcept {
    try {
        if (!served->connection->acceptPartner()) return false;
        if (!schedule([self = shared_from_this(), served] { self->processTask(served); })) drop(served);
    } catch (const ZorBaseException& failure) {
        lost(served, failure);
    } catch (const std::bad_alloc&) {
        drop(served);
    }
    return true;
}

/** By its holder; it belongs to the server no longer. */
void ZorAutomatedServer::close(const ServedRef& served) noexcept {
    ZorServerListener::remove(served->connection.get());
    served->connection->giveUp();
}

void ZorAutomatedServer::drop(const ServedRef& served) noexcept {
    remove(served);
    close(served);
}

void ZorAutomatedServer::lost(const ServedRef& served, const ZorBaseException& failure) noexcept {
    if (!remove(served)) return close(served);
    events.fireErrorInfo(handle(), served->connection.get(), failure);
    close(served);
    if (type == ZOR_TCP_SOCKET_SERVER) return;
    updateConnectionsRequired = true;
    schedule([self = shared_from_this()] { self->updateConnections(); });
}

void ZorAutomatedServer::processTask(const ServedRef& served) noexcept {
    try {
        if (!served->connection->receiveCall())
            proceed(served);
        else if (serveAll(served))
            rearm(served);
    } catch (...) {
        callFailed(served);
    }
    if (updateConnectionsRequired) updateConnections();
}

/** A partner that calls again at once is served by the same thread: the way over the listener would wake two.
 * False if the connection is lost. */
bool ZorAutomatedServer::serveAll(const ServedRef& served) {
    do {
        if (!serveOne(served)) return false;
    } while (mayStay(served) && served->connection->receiveNextCall(nextCallWait));
    return true;
}

/** No other call may wait for a thread because of it. */
bool ZorAutomatedServer::mayStay(const ServedRef& served) {
    const Lock lock(cs_zorServer_conn);
    return type == ZOR_TCP_SOCKET_SERVER && !served->doomed && !served->abandoned && thrPool &&
           thrPool->hasRoom();
}

/** False if the connection is lost. */
bool ZorAutomatedServer::serveOne(const ServedRef& served) {
    beginCall(served);
    try {
        served->connection->serveCall();
    } catch (const ZorBaseException& failure) {
        endCall(served);
        // What else was answered to the partner leaves the connection as it was.
        const bool costs = dynamic_cast<const ZorCommunicationException*>(&failure) != nullptr ||
                           dynamic_cast<const ZorServerNotFoundException*>(&failure) != nullptr ||
                           dynamic_cast<const ZorSystemException*>(&failure) != nullptr;
        if (!costs && served->connection->isOpen()) return true;
        lost(served, failure);
        return false;
    } catch (...) {
        endCall(served);
        throw;
    }
    endCall(served);
    return true;
}

/** The exception that is being handled broke the connection. */
void ZorAutomatedServer::callFailed(const ServedRef& served) noexcept {
    try {
        throw;
    } catch (const ZorBaseException& failure) {
        lost(served, failure);
    } catch (...) {
        drop(served);
        updateConnectionsRequired = true;
    }
}

void ZorAutomatedServer::rearm(const ServedRef& served) noexcept {
    bool goesOn = false;
    {
        const Lock lock(cs_zorServer_conn);
        goesOn = !served->doomed && !served->abandoned;
    }
    try {
        if (goesOn) served->connection->listenAgain();
        proceed(served);
    } catch (...) {
        callFailed(served);
    }
}

void ZorAutomatedServer::beginCall(const ServedRef& served) {
    const Lock lock(cs_zorServer_conn);
    served->active = true;
    served->server = std::this_thread::get_id();
    peakBusycount = std::max(peakBusycount, ++busycount);
}

void ZorAutomatedServer::endCall(const ServedRef& served) noexcept {
    const Lock lock(cs_zorServer_conn);
    served->active = false;
    served->server = {};
    served->function.clear();
    served->lastActivity = std::time(nullptr);
    served->exclusive = served->connection->control.reg_exclusiv;
    if (served->stateful && !served->exclusive) {  // its partner itself has let go
        served->stateful = false;
        updateConnectionsRequired = true;
    }
    --busycount;
}

ZOR_RC ZorAutomatedServer::dispatch(ZorConnection& conn, const std::string& funcName,
                                    ZOR_ERROR_INFO* errorInfo) {
    if (const ServedRef served = find(&conn)) {
        ZOR_ATTRIBUTES attributes;
        conn.getZorAttributes(attributes);
        const Lock lock(cs_zorServer_conn);
        // A call within the call isn't told.
        if (served->function.empty()) {
            served->function = funcName;
            served->attributes = attributes;
        }
    }
    return ZorServer::dispatch(conn, funcName, errorInfo);
}

void ZorAutomatedServer::statefulChanged(ZorConnection& conn, bool stateful) {
    if (const ServedRef served = find(&conn)) {
        const Lock lock(cs_zorServer_conn);
        served->stateful = stateful;
    }
    updateConnectionsRequired = true;
}

void ZorAutomatedServer::getAttributes(ZOR_SERVER_ATTRIBUTES& attributes) {
    attributes = {};
    attributes.serverName = options.serverName.data();
    attributes.type = type;
    attributes.state = events.getState();
    const Lock lock(cs_zorServer_conn);
    attributes.registrationCount =
        type == ZOR_TCP_SOCKET_SERVER ? options.reg_count : static_cast<unsigned>(connections.size());
    attributes.currentBusyCount = busycount;
    attributes.peakBusyCount = peakBusycount;
}

void ZorAutomatedServer::getMonitorData(unsigned& count, ZOR_SERVER_MONITOR_DATA*& data) {
    count = 0;
    data = nullptr;
    const Lock lock(cs_zorServer_conn);
    if (connections.empty()) return;
    data = static_cast<ZOR_SERVER_MONITOR_DATA*>(std::calloc(connections.size(), sizeof *data));
    if (data == nullptr) throw std::bad_alloc();
    for (const auto& [key, served] : connections) {
        ZOR_SERVER_MONITOR_DATA& record = data[count];
        record.clientInfo = static_cast<ZOR_ATTRIBUTES*>(std::malloc(sizeof *record.clientInfo));
        if (record.clientInfo == nullptr) {
            freeMonitorData(count, data);
            count = 0;
            data = nullptr;
            throw std::bad_alloc();
        }
        ++count;
        *record.clientInfo = served->attributes;
        record.isActive = served->active ? 1 : 0;
        record.isStateful = served->exclusive || served->stateful ? 1 : 0;
        served->function.copy(record.functionModuleName, sizeof record.functionModuleName - 1);
        record.lastActivity = served->active ? 0 : served->lastActivity;
    }
}

void ZorAutomatedServer::freeMonitorData(unsigned count, ZOR_SERVER_MONITOR_DATA* data) noexcept {
    if (data == nullptr || count == 0) return;
    for (unsigned i = 0; i < count; ++i)
        std::free(data[i].clientInfo);
    std::free(data);
}
