// Exported functions: client connection.

#include <kelzor/connection.h>

#include "api/connectionframe.h"
#include "connection/zorconnectionuse.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

ZOR_CONNECTION_HANDLE ZorOpenConnection(const ZOR_CONNECTION_PARAMETER* connectionParams, unsigned paramCount,
                                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Required{connectionParams, "ZOR_CONNECTION_PARAMETER"},
                          NonZero{paramCount, "unsigned paramCount"}),
                   [&](FrameTrace& trace) {
                       return openWith({connectionParams, paramCount}, trace, ZorConnection::openClient);
                   });
}

ZOR_RC ZorCloseConnection(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection}, checks(Handle{connection}),
                   [&] { ZorConnection::closeHandle(zorHandle); });
}

ZOR_RC ZorCancel(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo) {
    // The connection may break in its own thread at any moment, so it is looked at under the list's lock
    // only.
    const unsigned level = ZorConnection::traceLevelOf(zorHandle);
    const bool known = ZorConnection::isHandleValid(zorHandle);
    return guarded(__func__, errorInfo, KnownLevel{level}, checks(Handle{known ? zorHandle : nullptr}),
                   [&] { ZorConnection::cancelHandle(zorHandle); });
}

ZOR_RC ZorPing(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection}, checks(Handle{connection}),
                   [&] { connection->ping(); });
}

ZOR_RC ZorGetConnectionAttributes(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ATTRIBUTES* attr,
                                  ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(Handle{connection}, Required{attr, "P_ZOR_ATTRIBUTES"}), [&] {
                       const ZorConnectionTurn turn(*connection);
                       connection->getZorAttributes(*attr);
                   });
}

ZOR_RC ZorIsConnectionHandleValid(ZOR_CONNECTION_HANDLE zorHandle, int* isValid, ZOR_ERROR_INFO* errorInfo) {
    // The record is the result here, so it is filled by the work and not given to the frame.
    return light(__func__, nullptr, KnownLevel{ZorConnection::traceLevelOf(zorHandle)},
                 checks(Required{errorInfo, "ZOR_ERROR_INFO"}, Required{isValid, "int*"}), [&] {
                     const bool valid = ZorConnection::isHandleValid(zorHandle);
                     *isValid = valid ? 1 : 0;
                     if (valid) return errorInfo->code = ZOR_OK;
                     return setErrorInfo(
                         errorInfo, ZOR_INVALID_HANDLE, EXTERNAL_APPLICATION_FAILURE, nullptr,
                         zorHandle == nullptr ? "Handle is NULL" : "Handle is already closed");
                 });
}

ZOR_RC ZorResetServerContext(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection}, checks(Handle{connection}),
                   [&] { connection->resetKELServerContext(); });
}

ZOR_RC ZorGetPartnerSSOTicket(ZOR_CONNECTION_HANDLE zorHandle, KEL_UC* ssoTicket, unsigned* length,
                              ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(Handle{connection}, Required{ssoTicket, "KEL_UC*"}, Required{length, "unsigned*"},
                          NonZeroAt{length, "unsigned"}),
                   [&] {
                       const ZorConnectionTurn turn(*connection);
                       connection->getPartnerSSO(ssoTicket, length);
                   });
}

ZOR_RC ZorGetPartnerVSLName(ZOR_CONNECTION_HANDLE zorHandle, KEL_UC* vslName, unsigned length,
                            ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(Handle{connection}, Required{vslName, "KEL_UC*"}, NonZero{length, "unsigned"}),
                   [&] { connection->getVslPartnerName(vslName, length); });
}

ZOR_RC ZorGetPartnerVSLKey(ZOR_CONNECTION_HANDLE zorHandle, KEL_RAW* vslKey, unsigned* length,
                           ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(Handle{connection}, Required{vslKey, "KEL_RAW*"}, Required{length, "unsigned*"},
                          NonZeroAt{length, "unsigned"}),
                   [&] { connection->getVslPartnerKey(vslKey, length); });
}

// Names in the secure network are what its library makes of them, and none is used in this build.

ZOR_RC ZorVSLNameToKey(const KEL_UC*, const KEL_UC* vslName, KEL_RAW* vslKey, unsigned* keyLength,
                       ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Required{vslName, "KEL_UC*"}, Required{vslKey, "KEL_RAW*"},
                          Required{keyLength, "unsigned*"}, NonZeroAt{keyLength, "unsigned"}),
                   [] { throw ZorInvalidParameterException("Invalid parameter with KEL_CMNAMETOACLKEY"); });
}

ZOR_RC ZorVSLKeyToName(const KEL_UC*, const KEL_RAW* vslKey, unsigned keyLength, KEL_UC* vslName, unsigned,
                       ZOR_ERROR_INFO* errorInfo) {
    return guarded(
        __func__, errorInfo, GlobalLevel{},
        checks(Required{vslKey, "KEL_RAW*"}, NonZero{keyLength, "unsigned"}, Required{vslName, "KEL_UC*"}),
        [] { throw ZorInvalidParameterException("Invalid parameter with KEL_CMACLKEYTONAME"); });
}

ZOR_RC ZorInstallPasswordChangeHandler(ZOR_ON_PASSWORD_CHANGE onPasswordChange, ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(),
                 [&] { ZorConnection::installPasswordChangeHandler(onPasswordChange); });
}

ZOR_RC ZorInstallPassportManager(ZOR_PM_CALLBACK onClientCallStart, ZOR_PM_CALLBACK onClientCallEnd,
                                 ZOR_PM_CALLBACK onServerCallStart, ZOR_PM_CALLBACK onServerCallEnd,
                                 ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(), [&] {
        ZorConnection::installPassportManager(onClientCallStart, onClientCallEnd, onServerCallStart,
                                              onServerCallEnd);
    });
}
