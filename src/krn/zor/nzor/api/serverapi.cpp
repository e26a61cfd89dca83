// Exported functions: what partners may call, and waiting for their calls.

#include <kelzor/server.h>

#include "api/connectionframe.h"
#include "connection/zorconnectionuse.h"
#include "server/zorserverfunctions.h"

using namespace zorapi;

ZOR_RC ZorInstallServerFunction(const KEL_UC* sysId, ZOR_FUNCTION_DESC_HANDLE funcDescHandle,
                                ZOR_SERVER_FUNCTION serverFunction, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{funcDescHandle}), [&] {
        ZorServerFunctions::get().setFunctionStub(
            sysId != nullptr ? sysId : "", ZorMetaDataStatics::functionMetaDataFromHandle(funcDescHandle),
            serverFunction);
    });
}

ZOR_RC ZorInstallGenericServerFunction(ZOR_SERVER_FUNCTION serverFunction,
                                       ZOR_FUNC_DESC_CALLBACK funcDescProvider, ZOR_ERROR_INFO* errorInfo) {
    return guarded(
        __func__, errorInfo, GlobalLevel{},
        checks(Required{reinterpret_cast<const void*>(serverFunction), "ZOR_SERVER_FUNCTION"},
               Required{reinterpret_cast<const void*>(funcDescProvider), "ZOR_FUNC_DESC_CALLBACK"}),
        [&] {
            ZorServerFunctions::get().setGenericFunctionStub({serverFunction, funcDescProvider});
        });
}

ZOR_CONNECTION_HANDLE ZorRegisterServer(const ZOR_CONNECTION_PARAMETER* connectionParams, unsigned paramCount,
                                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Required{connectionParams, "ZOR_CONNECTION_PARAMETER"},
                          NonZero{paramCount, "unsigned paramCount"}),
                   [&](FrameTrace& trace) {
                       return openWith({connectionParams, paramCount}, trace, [](ZorOptions& options) {
                           return ZorConnection::openNew(options, ZOR_REGISTERED_SERVER);
                       });
                   });
}

ZOR_CONNECTION_HANDLE ZorStartServer(int argc, KEL_UC** argv,
                                     const ZOR_CONNECTION_PARAMETER* connectionParams, unsigned paramCount,
                                     ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Required{argv, "KEL_UC**"}),
                   [&](FrameTrace& trace) {
                       const unsigned pairs = connectionParams != nullptr ? paramCount : 0;
                       return openWith({connectionParams, pairs, argc, argv}, trace, [](ZorOptions& options) {
                           return ZorConnection::openNew(options, ZOR_STARTED_SERVER);
                       });
                   });
}

ZOR_RC ZorListenAndDispatch(ZOR_CONNECTION_HANDLE zorHandle, int timeout, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection}, checks(Handle{connection}),
                   [&] { return connection->listen(timeout); });
}

ZOR_RC ZorGetServerContext(ZOR_CONNECTION_HANDLE zorHandle, ZOR_SERVER_CONTEXT* context,
                           ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getServerConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(Handle{connection}, Required{context, "ZOR_SERVER_CONTEXT*"}), [&] {
                       const ZorConnectionTurn turn(*connection);
                       connection->getServerContext(*context);
                   });
}

ZOR_RC ZorSetServerStateful(ZOR_CONNECTION_HANDLE zorHandle, unsigned isStateful, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getServerConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection}, checks(Handle{connection}), [&] {
        const ZorConnectionTurn turn(*connection);
        connection->setStateful(isStateful != 0);
    });
}

ZOR_RC ZorInstallAuthorizationCheckHandler(ZOR_ON_AUTHORIZATION_CHECK onAuthorizationCheck,
                                           ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(),
                 [&] { ZorConnection::installAuthorizationChecker(onAuthorizationCheck); });
}
