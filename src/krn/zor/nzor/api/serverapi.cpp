// Exported functions: what partners may call.

#include <kelzor/server.h>

#include "api/frame.h"
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
