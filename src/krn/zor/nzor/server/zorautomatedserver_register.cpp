// Registrations of automated servers: how many there are, and what happens when they are lost.

#include <algorithm>

#include "config/zorconfig.h"
#include "server/zorautomatedserver.h"
#include "server/zorserverclock.h"
#include "server/zorserverlistener.h"
#include "trace/zortracefunctions.h"

namespace {

/** Seconds between attempts to restart, at most. */
constexpr unsigned MAX_RESTART_WAIT_PERIOD = 60;

}  // namespace

void ZorAutomatedServer::addRegistration() {
    const auto served = std::make_shared<ZorServed>(ZorConnection::makePooled(*this, options));
    // Known before it registers: what happens then is told at once.
    if (!add(served)) throw ZorIllegalStateException("Server is shutting down");
    try {
        ZorServerListener::add(served->connection.get(), shared_from_this());
        served->connection->registerAtGateway(options);
    } catch (...) {
        drop(served);
        throw;
    }
    proceed(served);
}

void ZorAutomatedServer::registerConnections(bool logErrors) {
    try {
        for (unsigned i = 0; i < regCount; ++i)
            addRegistration();
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_RUNNING);
    } catch (const ZorCommunicationException& failure) {
        registrationFailed(failure, true, logErrors);
    } catch (const ZorBaseException& failure) {
        registrationFailed(failure, false, logErrors);
    } catch (const std::bad_alloc&) {
        registrationFailed(ZorOutOfMemoryException("out of memory"), true, logErrors);
    }
}

void ZorAutomatedServer::registrationFailed(const ZorBaseException& failure, bool retry, bool logErrors) {
    if (logErrors) ZorLogWrite("%s\n", failure.getMessage().c_str());
    bool some = false;
    {
        const Lock lock(cs_zorServer_conn);
        some = !connections.empty();
    }
    if (some) {
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_RUNNING);
    } else if (retry) {
        if (logErrors)
            ZorLogWrite(
                "Server %s could not be started (no connections) and is now considered broken -- "
                "periodic restart attempts will follow",
                options.serverName.c_str());
        if (changeState(ZOR_SERVER_STARTING, ZOR_SERVER_BROKEN)) activateRestartTimer();
    } else {
        ZorLogWrite(
            "Server %s could not be started (no connections) and is now considered stopped -- "
            "no restart attempts will be made",
            options.serverName.c_str());
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_STOPPED);
    }
    throw ZorBaseException(failure.getCode(), failure.getGroup(), failure.getKey(), failure.getMessage());
}

int ZorAutomatedServer::missingConnections() {
    const Lock lock(cs_zorServer_conn);
    const auto stateful =
        std::ranges::count_if(connections, [](const auto& entry) { return entry.second->stateful; });
    const auto target = std::min<std::size_t>(maxRegCount, static_cast<std::size_t>(stateful) + regCount);
    return static_cast<int>(target) - static_cast<int>(connections.size());
}

void ZorAutomatedServer::updateConnections() noexcept {
    bool later = false;
    while (!later && updateConnectionsRequired && !updating.exchange(true)) {
        try {
            if (updateConnectionsRequired.exchange(false)) later = !updateOnce();
            checkState();
        } catch (const std::exception& failure) {
            ZorLogWrite("%s\n", failure.what());
            later = true;
        }
        updating = false;
    }
    if (later) updateConnectionsRequired = true;
}

/** False if not all could be done. */
bool ZorAutomatedServer::updateOnce() {
    if (events.getState() != ZOR_SERVER_RUNNING) return true;
    const int missing = missingConnections();
    if (missing > 0) return addMissing(missing);
    return missing == 0 || removeSurplus(-missing);
}

bool ZorAutomatedServer::addMissing(int count) {
    const KEL_UC* const name = options.serverName.c_str();
    if (ZorConfig::getGlobalTraceLevel() > 2)
        ZorTraceWrite("Updating connections of server %s: adding %d connection(s) on gateway %s:%s", name,
                      count, options.gwhost.c_str(), options.gwserv.c_str());
    try {
        for (int i = 0; i < count; ++i)
            addRegistration();
        return true;
    } catch (const ZorCommunicationException& failure) {
        ZorLogWrite("Adding a connection to server %s failed: %s\n", name, failure.getMessage().c_str());
        return false;
    }
}

bool ZorAutomatedServer::removeSurplus(int count) {
    std::vector<ServedRef> surplus;
    {
        const Lock lock(cs_zorServer_conn);
        for (const auto& [key, served] : connections) {
            if (surplus.size() == static_cast<std::size_t>(count)) break;
            if (served->held || served->stateful || served->exclusive) continue;
            served->held = true;
            surplus.push_back(served);
        }
    }
    for (const ServedRef& served : surplus)
        drop(served);
    return surplus.size() == static_cast<std::size_t>(count);
}

void ZorAutomatedServer::checkState() {
    {
        const Lock lock(cs_zorServer_conn);
        if (!connections.empty()) return;
    }
    if (regCount == 0 || !changeState(ZOR_SERVER_RUNNING, ZOR_SERVER_BROKEN)) return;
    ZorLogWrite(
        "No more connections for running server %s: server now considered broken -- periodic restart "
        "attempts will follow",
        options.serverName.c_str());
    activateRestartTimer();
}

void ZorAutomatedServer::activateRestartTimer() {
    const std::lock_guard lock(cs_zorServer_restart);
    if (restartTimer) return;
    zorStartServerThread([self = shared_from_this(), launch = launches] { self->restart(launch); });
    restartTimer = true;
}

/** False if the server was shut down meanwhile. */
bool ZorAutomatedServer::sleepBeforeRestart(unsigned seconds, unsigned launch) {
    std::unique_lock lock(cs_zorServer_restart);
    ZorServerClock& clock = ZorServerClock::get();
    const std::time_t until = clock.now() + static_cast<std::time_t>(seconds);
    while (launches == launch && clock.now() < until)
        clock.wait(lock, restartChanged, until);
    return launches == launch;
}

void ZorAutomatedServer::restart(unsigned launch) noexcept {
    unsigned delay = 1;
    try {
        while (sleepBeforeRestart(delay, launch) && changeState(ZOR_SERVER_BROKEN, ZOR_SERVER_STARTING)) {
            try {
                registerConnections(delay == 1);
            } catch (const ZorBaseException&) {
                // The state says what came of it.
            }
            if (events.getState() != ZOR_SERVER_BROKEN) break;
            delay = std::min(2 * delay, MAX_RESTART_WAIT_PERIOD);
        }
        {
            const std::lock_guard lock(cs_zorServer_restart);
            if (launches != launch) return;
            restartTimer = false;
        }
        // It may have run and broken again before this thread gave up its place.
        if (events.getState() == ZOR_SERVER_BROKEN) activateRestartTimer();
    } catch (const std::exception& failure) {
        ZorLogWrite("%s\n", failure.what());
    }
}
