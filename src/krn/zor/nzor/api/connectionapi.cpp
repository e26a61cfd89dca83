// Exported functions: client connection.

#include <kelzor/connection.h>

#include "api/connectionframe.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

ZOR_CONNECTION_HANDLE ZorOpenConnection(const ZOR_CONNECTION_PARAMETER* connectionParams, unsigned paramCount,
                                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Required{connectionParams, "ZOR_CONNECTION_PARAMETER"},
                          NonZero{paramCount, "unsigned paramCount"}),
                   [&](FrameTrace& trace) {
                       ZorOptions options;
                       options.parseConnString(connectionParams, paramCount, 0, nullptr);
                       trace.setLevel(options.trace);
                       return ZorConnection::openNew(options, ZOR_CLIENT);
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
                   checks(Handle{connection}, Required{attr, "P_ZOR_ATTRIBUTES"}),
                   [&] { connection->getZorAttributes(*attr); });
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
