/**
 * @file
 * Automated servers: servers of the library's own threads.
 *
 * A server keeps registrations at a gateway, or listens on a port, serves calls on several threads at once by
 * the functions that `ZorInstallServerFunction` installs, and registers again when it has lost its gateway.
 * docs/serving.md tells of its threads, its states and its end.
 *
 * All functions may be called from any thread, by listeners and served functions too. A handle is valid until
 * `ZorDestroyServer`; a handle that is no longer valid is recognised and gives `ZOR_INVALID_HANDLE`.
 */
#ifndef KELZOR_AUTOMATEDSERVER_H
#define KELZOR_AUTOMATEDSERVER_H

#include <kelzor/connection.h>
#include <kelzor/error.h>
#include <kelzor/types.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What is known about a server. */
typedef struct ZOR_SERVER_ATTRIBUTES {
    KEL_UC* serverName; /**< The library's, until the server is destroyed. */
    ZOR_PROTOCOL_TYPE type;
    unsigned registrationCount; /**< Registrations now; of a socket server: `REG_COUNT`. */
    ZOR_SERVER_STATE state;
    unsigned currentBusyCount; /**< Calls that are being served. */
    unsigned peakBusyCount;    /**< The most so far. */
} ZOR_SERVER_ATTRIBUTES;

/** What is known about one connection of a server. */
typedef struct ZOR_SERVER_MONITOR_DATA {
    ZOR_ATTRIBUTES* clientInfo;     /**< The partner, or the last one. */
    int isActive;                   /**< 1 while a call is being served. */
    int isStateful;                 /**< 1 if the partner keeps the connection. */
    KEL_UC functionModuleName[128]; /**< The function that runs; empty when none does. */
    time_t lastActivity; /**< End of the last call; 0 while one is being served, and before the first. */
} ZOR_SERVER_MONITOR_DATA;

/** A change of a server's state. */
typedef struct ZOR_STATE_CHANGE {
    ZOR_SERVER_STATE oldState;
    ZOR_SERVER_STATE newState;
} ZOR_STATE_CHANGE;

/**
 * Hears of what goes wrong on a server's threads: lost connections, functions that weren't found. What
 * functions report to their callers isn't told.
 *
 * @param clientInfo the connection; NULL where none is concerned.
 * Called on the thread where it happens, several at once. Both pointers are good during the call only.
 */
typedef void (*ZOR_SERVER_ERROR_LISTENER)(ZOR_SERVER_HANDLE serverHandle, ZOR_ATTRIBUTES* clientInfo,
                                          ZOR_ERROR_INFO* errorInfo);

/**
 * Hears of changes of a server's state, in their order, on the thread that makes them. Until it returns
 * `ZorGetServerAttributes` still tells the old state to this thread, and makes others wait.
 */
typedef void (*ZOR_SERVER_STATE_CHANGE_LISTENER)(ZOR_SERVER_HANDLE serverHandle,
                                                 ZOR_STATE_CHANGE* stateChange);
/**
 * Makes a server; nothing is sent yet.
 *
 * @param connectionParams with `TPNAME`, `GWHOST` and `GWSERV` it registers, `REG_COUNT` times at once, and
 * up to `MAX_REG_COUNT` times while partners keep connections. Otherwise `SERVER_PORT` is the port that it
 *        listens on, `REG_COUNT` the number of its threads. `SERVER_NAME` names it, `SYS_IDS` names the
 * systems that may call. Copied.
 * @param paramCount number of pairs, at least 1.
 * @return the handle, owned by the caller until `ZorDestroyServer`, or NULL on failure.
 *
 * Failures: `ZOR_INVALID_PARAMETER` (an argument, a parameter's value, one that is missing, or names of
 * partners in the secure network, which this build can't check); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_SERVER_HANDLE ZorCreateServer(const ZOR_CONNECTION_PARAMETER* connectionParams,
                                             unsigned paramCount, ZOR_ERROR_INFO* errorInfo);

/**
 * Starts a server: registers or listens, and serves from then on. A server that has stopped can be started
 * again.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_ILLEGAL_STATE` (it runs already). `ZOR_COMMUNICATION_FAILURE`: the
 * gateway can't be reached or refuses: if some registrations succeeded the server is running with them, if
 * none did it is broken and goes on trying, after 1, 2, 4 seconds and so on, at most 60. A port that isn't
 * free leaves it broken for good. Other failures without any registration leave it stopped.
 */
KELZOR_API ZOR_RC ZorLaunchServer(ZOR_SERVER_HANDLE serverHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Stops a server: it takes no more calls, and waits for those that run, but for one that the calling thread
 * serves.
 *
 * @param timeout seconds that they may take. Partners of longer ones get the failure "Server is shutting
 * down", and what their functions return later is dropped. Stopping a server that is stopped does nothing.
 * Failure: `ZOR_INVALID_HANDLE`.
 */
KELZOR_API ZOR_RC ZorShutdownServer(ZOR_SERVER_HANDLE serverHandle, unsigned timeout,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Stops a server without waiting, and frees it. Functions that still run end later, without anybody to
 * answer. Failure: `ZOR_INVALID_HANDLE`.
 */
KELZOR_API ZOR_RC ZorDestroyServer(ZOR_SERVER_HANDLE serverHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Tells what is known about a server.
 *
 * @param serverAttributes filled whole.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorGetServerAttributes(ZOR_SERVER_HANDLE serverHandle,
                                         ZOR_SERVER_ATTRIBUTES* serverAttributes, ZOR_ERROR_INFO* errorInfo);

/**
 * Tells what is known about each connection of a server.
 *
 * @param numberOfConnections takes the number of records; 0 on failure.
 * @param connectionData takes the records, owned by the caller until `ZorDestroyServerConnectionMonitorData`;
 *        NULL if there are none.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER`; `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_RC ZorGetServerConnectionMonitorData(ZOR_SERVER_HANDLE serverHandle,
                                                    unsigned* numberOfConnections,
                                                    ZOR_SERVER_MONITOR_DATA** connectionData,
                                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Frees what `ZorGetServerConnectionMonitorData` gave. Nothing happens with a number of 0 or without data.
 *
 * @param numberOfConnections the number that came with the data.
 * Can't fail.
 */
KELZOR_API ZOR_RC ZorDestroyServerConnectionMonitorData(unsigned numberOfConnections,
                                                        ZOR_SERVER_MONITOR_DATA* connectionData,
                                                        ZOR_ERROR_INFO* errorInfo);

/**
 * Adds a listener, which hears of what happens from now on, behind those before it. It stays until the server
 * is destroyed.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (no listener); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_RC ZorAddServerErrorListener(ZOR_SERVER_HANDLE serverHandle,
                                            ZOR_SERVER_ERROR_LISTENER errorListener,
                                            ZOR_ERROR_INFO* errorInfo);

/**
 * Adds a listener for changes of the state; otherwise as `ZorAddServerErrorListener`, with the same failures.
 */
KELZOR_API ZOR_RC ZorAddServerStateChangedListener(ZOR_SERVER_HANDLE serverHandle,
                                                   ZOR_SERVER_STATE_CHANGE_LISTENER stateChangeListener,
                                                   ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
