// Automated servers: made, launched, shut down.

#include "server/zorautomatedserver.h"

#include <algorithm>

#include "config/immortal.h"
#include "server/zorserverclock.h"
#include "server/zorserverlistener.h"
#include "trace/zortracefunctions.h"

namespace {

/** Threads above the number of connections, for what isn't a call. */
constexpr unsigned spareThreads = 2;
/** Seconds of a shutdown's wait: no clock of any build overflows. */
constexpr unsigned longestWait = 100000000;

/** The valid handles of the process. */
struct ServerList {
    std::mutex cs_zorServers;  ///< Guards the map.
    std::map<ZOR_SERVER_HANDLE, std::shared_ptr<ZorAutomatedServer>> servers;
};

ServerList& list() {
    static Immortal<ServerList> all;
    return all.value;
}

bool isRegistered(const ZorOptions& options) {
    const bool gateway = !options.gwhost.empty() && !options.gwserv.empty();
    return !options.tpname.empty() && (!options.mshost.empty() || gateway);
}

void nameServer(ZorOptions& options, ZOR_PROTOCOL_TYPE type) {
    if (!options.serverName.empty()) return;
    if (type == ZOR_MULTI_COUNT_REGISTERED_SERVER) {
        options.serverName = "Registered ZOR Server on " + options.gwhost + ":" + options.gwserv + "|";
        options.serverName += options.tpname;
        return;
    }
    options.serverName = "ZOR Server on port " + options.serverPort;
    if (!options.bindAddr.empty()) options.serverName += " [" + options.bindAddr + "]";
}

/** What the listener of ports tells a server, which it doesn't keep alive. */
class Port final : public TcpServer {
  public:
    explicit Port(std::weak_ptr<ZorAutomatedServer> server) : server(std::move(server)) {}

    bool isRunning() const noexcept override {
        const auto living = server.lock();
        return living && living->isRunning();
    }
    void accepted(NI_HDL handle) noexcept override {
        if (const auto living = server.lock())
            living->partnerCame(handle);
        else
            NiCloseHandle(handle);
    }
    void readable(NI_HDL handle) noexcept override {
        if (const auto living = server.lock()) living->socketReady(handle);
    }
    void acceptFailed(const KEL_string& text) noexcept override {
        if (const auto living = server.lock())
            living->events.fireErrorInfo(living->handle(), nullptr, ZorCommunicationException(text));
    }

  private:
    std::weak_ptr<ZorAutomatedServer> server;
};

}  // namespace

std::shared_ptr<ZorAutomatedServer> ZorAutomatedServer::createZorServer(
    const ZOR_CONNECTION_PARAMETER* parameters, unsigned count) {
    ZorOptions options;
    options.parseConnString(parameters, count, 0, nullptr);
    const bool registered = isRegistered(options);
    if (!registered && options.serverPort.empty())
        throw ZorInvalidParameterException(
            "One or more required parameters for lauching an ZOR server are misssing");
    const ZOR_PROTOCOL_TYPE type = registered ? ZOR_MULTI_COUNT_REGISTERED_SERVER : ZOR_TCP_SOCKET_SERVER;
    nameServer(options, type);
    auto server = std::make_shared<ZorAutomatedServer>(options, type);
    server->setupAccessControl(options);
    return server;
}

ZorAutomatedServer::ZorAutomatedServer(const ZorOptions& options, ZOR_PROTOCOL_TYPE type)
    : options(options),
      type(type),
      regCount(options.reg_count),
      maxRegCount(std::max(options.reg_count, options.max_reg_count)) {}

std::shared_ptr<ZorAutomatedServer> ZorAutomatedServer::fromHandle(ZOR_SERVER_HANDLE handle) noexcept {
    const std::lock_guard lock(list().cs_zorServers);
    const auto found = list().servers.find(handle);
    return found != list().servers.end() ? found->second : nullptr;
}

ZOR_SERVER_HANDLE ZorAutomatedServer::enlist(std::shared_ptr<ZorAutomatedServer> server) {
    const ZOR_SERVER_HANDLE handle = server->handle();
    const std::lock_guard lock(list().cs_zorServers);
    list().servers[handle] = std::move(server);
    return handle;
}

void ZorAutomatedServer::delist(ZOR_SERVER_HANDLE handle) noexcept {
    const std::lock_guard lock(list().cs_zorServers);
    list().servers.erase(handle);
}

bool ZorAutomatedServer::isRunning() const {
    const Lock lock(cs_zorServer_conn);
    return accepting;
}

std::shared_ptr<ZorThreadPool> ZorAutomatedServer::pool() const {
    const Lock lock(cs_zorServer_conn);
    return thrPool;
}

bool ZorAutomatedServer::schedule(ZorThreadPool::Work work) noexcept {
    try {
        const auto threads = pool();
        return threads && threads->schedule(std::move(work));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void ZorAutomatedServer::stopPool() noexcept {
    std::shared_ptr<ZorThreadPool> threads;
    {
        const Lock lock(cs_zorServer_conn);
        threads.swap(thrPool);
        accepting = false;
    }
    if (threads) threads->stop();
}

void ZorAutomatedServer::startPool() {
    const unsigned minimum = std::max(maxRegCount, 1u);
    auto threads = std::make_shared<ZorThreadPool>(minimum, minimum + spareThreads);
    const Lock lock(cs_zorServer_conn);
    thrPool = std::move(threads);
    accepting = true;
}

void ZorAutomatedServer::launchServer() {
    if (!changeState(ZOR_SERVER_INITIAL, ZOR_SERVER_STARTING) &&
        !changeState(ZOR_SERVER_STOPPED, ZOR_SERVER_STARTING))
        throw ZorIllegalStateException("Server is already running");
    try {
        startPool();
    } catch (...) {
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_STOPPED);
        throw;
    }
    if (type == ZOR_TCP_SOCKET_SERVER)
        startSocket();
    else
        registerConnections(true);
}

void ZorAutomatedServer::startSocket() {
    try {
        {
            const Lock lock(cs_zorServer_conn);
            port = std::make_shared<Port>(weak_from_this());
        }
        const NI_HDL listening = TcpListener::startTCPServer(options.serverPort.c_str(), port);
        {
            const Lock lock(cs_zorServer_conn);
            listenNIHandle = listening;
        }
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_RUNNING);
    } catch (const ZorCommunicationException& failure) {
        events.fireErrorInfo(handle(), nullptr, failure);
        changeState(ZOR_SERVER_STARTING, ZOR_SERVER_BROKEN);
        throw;
    }
}

bool ZorAutomatedServer::beginShutdown() noexcept {
    for (const ZOR_SERVER_STATE from :
         {ZOR_SERVER_RUNNING, ZOR_SERVER_BROKEN, ZOR_SERVER_STARTING, ZOR_SERVER_INITIAL})
        if (changeState(from, ZOR_SERVER_STOPPING)) return true;
    return false;
}

void ZorAutomatedServer::shutdown(unsigned timeout) {
    if (!beginShutdown()) return;
    {
        const std::lock_guard lock(cs_zorServer_restart);
        ++launches;
        restartTimer = false;
        restartChanged.notify_all();
    }
    NI_HDL listening = NI_INVALID_HDL;
    {
        const Lock lock(cs_zorServer_conn);
        accepting = false;
        std::swap(listening, listenNIHandle);
    }
    if (listening != NI_INVALID_HDL) TcpListener::stopTCPServer(listening);
    for (const ServedRef& served : takeIdle())
        close(served);
    awaitCalls(timeout);
    abandonCalls();
    stopPool();
    changeState(ZOR_SERVER_STOPPING, ZOR_SERVER_STOPPED);
}

/** Takes the connections that nobody holds; those that are held are closed by who holds them. */
std::vector<ZorAutomatedServer::ServedRef> ZorAutomatedServer::takeIdle() {
    std::vector<ServedRef> idle;
    const Lock lock(cs_zorServer_conn);
    for (const auto& [key, served] : connections) {
        served->doomed = true;
        if (served->held) continue;
        served->held = true;
        idle.push_back(served);
    }
    for (const ServedRef& served : idle) {
        connections.erase(served->connection.get());
        sockets.erase(served->socket);
    }
    return idle;
}

void ZorAutomatedServer::awaitCalls(unsigned timeout) {
    Lock lock(cs_zorServer_conn);
    // A function that stops its own server isn't waited for.
    const auto over = [this] {
        return std::ranges::all_of(connections, [](const auto& entry) {
            return entry.second->server == std::this_thread::get_id();
        });
    };
    connectionGone.wait_for(lock, std::chrono::seconds(std::min(timeout, longestWait)), over);
}

void ZorAutomatedServer::abandonCalls() {
    const ZorSystemException reason(ZOR_TIMEOUT, EXTERNAL_APPLICATION_FAILURE, zorRcName(ZOR_TIMEOUT),
                                    "Server is shutting down");
    std::map<const ZorConnection*, ServedRef> left;
    {
        const Lock lock(cs_zorServer_conn);
        left.swap(connections);
        sockets.clear();
        for (const auto& [key, served] : left)
            served->abandoned = true;
    }
    for (const auto& [key, served] : left) {
        ZorServerListener::remove(served->connection.get());
        served->connection->abandon(reason);
    }
}
