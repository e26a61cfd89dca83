// Exported functions: automated servers.

#include <kelzor/automatedserver.h>

#include "api/frame.h"
#include "server/zorautomatedserver.h"

using namespace zorapi;

ZOR_SERVER_HANDLE ZorCreateServer(const ZOR_CONNECTION_PARAMETER* connectionParams, unsigned paramCount,
                                  ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Required{connectionParams, "ZOR_CONNECTION_PARAMETER"},
                          NonZero{paramCount, "unsigned paramCount"}),
                   [&] {
                       return ZorAutomatedServer::enlist(
                           ZorAutomatedServer::createZorServer(connectionParams, paramCount));
                   });
}

ZOR_RC ZorDestroyServer(ZOR_SERVER_HANDLE serverHandle, ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{server.get()}), [&] {
        server->shutdown(0);
        ZorAutomatedServer::delist(serverHandle);
    });
}

ZOR_RC ZorLaunchServer(ZOR_SERVER_HANDLE serverHandle, ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{server.get()}),
                   [&] { server->launchServer(); });
}

ZOR_RC ZorShutdownServer(ZOR_SERVER_HANDLE serverHandle, unsigned timeout, ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{server.get()}),
                   [&] { server->shutdown(timeout); });
}

ZOR_RC ZorGetServerAttributes(ZOR_SERVER_HANDLE serverHandle, ZOR_SERVER_ATTRIBUTES* serverAttributes,
                              ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{server.get()}, Required{serverAttributes, "ZOR_SERVER_ATTRIBUTES*"}),
                   [&] { server->getAttributes(*serverAttributes); });
}

ZOR_RC ZorGetServerConnectionMonitorData(ZOR_SERVER_HANDLE serverHandle, unsigned* numberOfConnections,
                                         ZOR_SERVER_MONITOR_DATA** connectionData,
                                         ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{server.get()}, Required{numberOfConnections, "unsigned*"},
                          Required{connectionData, "ZOR_SERVER_MONITOR_DATA**"}),
                   [&] { server->getMonitorData(*numberOfConnections, *connectionData); });
}

ZOR_RC ZorDestroyServerConnectionMonitorData(unsigned numberOfConnections,
                                             ZOR_SERVER_MONITOR_DATA* connectionData,
                                             ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(),
                 [&] { ZorAutomatedServer::freeMonitorData(numberOfConnections, connectionData); });
}

ZOR_RC ZorAddServerErrorListener(ZOR_SERVER_HANDLE serverHandle, ZOR_SERVER_ERROR_LISTENER errorListener,
                                 ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{server.get()}, Required{reinterpret_cast<const void*>(errorListener),
                                                         "ZOR_SERVER_ERROR_LISTENER"}),
                   [&] { server->events.addErrorListener(errorListener); });
}

ZOR_RC ZorAddServerStateChangedListener(ZOR_SERVER_HANDLE serverHandle,
                                        ZOR_SERVER_STATE_CHANGE_LISTENER stateChangeListener,
                                        ZOR_ERROR_INFO* errorInfo) {
    const auto server = ZorAutomatedServer::fromHandle(serverHandle);
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{server.get()}, Required{reinterpret_cast<const void*>(stateChangeListener),
                                                         "ZOR_SERVER_STATE_CHANGE_LISTENER"}),
                   [&] { server->events.addStateListener(stateChangeListener); });
}
