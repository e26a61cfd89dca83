/** @file What a server handle points to: a server of the library's own threads. */
#pragma once

#include <kelzor/automatedserver.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "driver/tcplistener.h"
#include "server/zorserved.h"
#include "server/zorserver.h"
#include "server/zorserverevents.h"
#include "server/zorthreadpool.h"

/**
 * Keeps a pool of connections and serves their calls. A thread that has something to do with a server holds a
 * reference; a destroyed server goes with the last of them.
 */
class ZorAutomatedServer final : public ZorServer, public std::enable_shared_from_this<ZorAutomatedServer> {
  public:
    /** Throws ZorInvalidParameterException when the options don't say where to serve. */
    static std::shared_ptr<ZorAutomatedServer> createZorServer(const ZOR_CONNECTION_PARAMETER* parameters,
                                                               unsigned count);
    explicit ZorAutomatedServer(const ZorOptions& options, ZOR_PROTOCOL_TYPE type);

    /** @name Handles */
    /** @{ */
    ZOR_SERVER_HANDLE handle() noexcept { return reinterpret_cast<ZOR_SERVER_HANDLE>(this); }
    /** The server of a handle; NULL if there is none. The handle is never followed. */
    static std::shared_ptr<ZorAutomatedServer> fromHandle(ZOR_SERVER_HANDLE handle) noexcept;
    /** Makes the handle valid, and invalid again. */
    static ZOR_SERVER_HANDLE enlist(std::shared_ptr<ZorAutomatedServer> server);
    static void delist(ZOR_SERVER_HANDLE handle) noexcept;
    /** @} */

    void launchServer();
    /** Waits at most `timeout` seconds for calls that run, then gives them up. */
    void shutdown(unsigned timeout);

    void getAttributes(ZOR_SERVER_ATTRIBUTES& attributes);
    /** The records are made by `malloc`. */
    void getMonitorData(unsigned& count, ZOR_SERVER_MONITOR_DATA*& data);
    static void freeMonitorData(unsigned count, ZOR_SERVER_MONITOR_DATA* data) noexcept;
    ZorServerEvents events;

    /** @name For the listeners */
    /** @{ */
    /** Something has happened on a registration, which may be gone already. */
    void connectionReady(const ZorConnection* connection) noexcept;
    /** A partner has come to the port. */
    void partnerCame(NI_HDL socket) noexcept;
    void socketReady(NI_HDL socket) noexcept;
    bool isRunning() const;
    /** @} */

    ZOR_RC dispatch(ZorConnection& conn, const std::string& funcName, ZOR_ERROR_INFO* errorInfo) override;
    void statefulChanged(ZorConnection& conn, bool stateful) override;

  private:
    using ServedRef = std::shared_ptr<ZorServed>;
    using Lock = std::unique_lock<std::mutex>;

    void startPool();
    void startRegistered();
    void startSocket();
    bool changeState(ZOR_SERVER_STATE from, ZOR_SERVER_STATE to) noexcept {
        return events.changeState(handle(), from, to);
    }
    bool beginShutdown() noexcept;
    std::vector<ServedRef> takeIdle();
    void awaitCalls(unsigned timeout);
    void abandonCalls();

    void registerConnections(bool logErrors);
    void registrationFailed(const ZorBaseException& failure, bool retry, bool logErrors);
    void addRegistration();
    /** How many connections are wanted beyond those that are there; below 0 there are too many. */
    int missingConnections();
    /** Brings the pool to its size, unless another thread is at it, which then sees to this as well. */
    void updateConnections() noexcept;
    bool updateOnce();
    bool addMissing(int count);
    bool removeSurplus(int count);
    void checkState();
    void activateRestartTimer();
    void restart(unsigned launch) noexcept;
    bool sleepBeforeRestart(unsigned seconds, unsigned launch);

    bool add(const ServedRef& served);
    bool remove(const ServedRef& served) noexcept;
    ServedRef find(const ZorConnection* connection);
    bool claim(const ServedRef& served) noexcept;
    void ready(const ServedRef& served) noexcept;
    void proceed(const ServedRef& served) noexcept;
    bool takeIn(const ServedRef& served) noexcept;
    void close(const ServedRef& served) noexcept;
    void drop(const ServedRef& served) noexcept;
    void lost(const ServedRef& served, const ZorBaseException& failure) noexcept;
    void processTask(const ServedRef& served) noexcept;
    bool serveAll(const ServedRef& served);
    bool serveOne(const ServedRef& served);
    bool mayStay(const ServedRef& served);
    void callFailed(const ServedRef& served) noexcept;
    void rearm(const ServedRef& served) noexcept;
    void beginCall(const ServedRef& served);
    void endCall(const ServedRef& served) noexcept;
    bool schedule(ZorThreadPool::Work work) noexcept;
    std::shared_ptr<ZorThreadPool> pool() const;
    void stopPool() noexcept;

    ZorOptions options;
    const ZOR_PROTOCOL_TYPE type;
    const unsigned regCount;
    const unsigned maxRegCount;

    mutable std::mutex cs_zorServer_conn;  ///< Guards what follows, and the connections' `ZorServed`.
    std::condition_variable connectionGone;
    std::map<const ZorConnection*, ServedRef> connections;
    std::unordered_map<NI_HDL, ServedRef> sockets;  ///< The same, of a socket server.
    std::shared_ptr<TcpServer> port;                ///< What the listener of ports knows the server by.
    std::shared_ptr<ZorThreadPool> thrPool;         ///< From the launch to the shutdown.
    bool accepting = false;                         ///< New connections are taken in.
    unsigned busycount = 0;
    unsigned peakBusycount = 0;
    NI_HDL listenNIHandle = NI_INVALID_HDL;

    std::atomic<bool> updateConnectionsRequired = false;  ///< The pool isn't as large as it should be.
    std::atomic<bool> updating = false;                   ///< A thread sees to that.

    std::mutex cs_zorServer_restart;  ///< Guards what follows.
    std::condition_variable restartChanged;
    unsigned launches = 0;      ///< Tells the restarts of one launch from those of the next.
    bool restartTimer = false;  ///< A thread tries to restart.
};
