// Exported function: remote call.

#include <kelzor/call.h>

#include "api/connectionframe.h"
#include "api/recordframe.h"
#include "data/zorfunction.h"

using namespace zorapi;

ZOR_RC ZorInvoke(ZOR_CONNECTION_HANDLE zorHandle, ZOR_FUNCTION_HANDLE funcHandle, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(
        __func__, errorInfo, ConnectionLevel{connection},
        checks(Handle{connection}, Required{funcHandle, "ZOR_FUNCTION_HANDLE"}), [&](FrameTrace& trace) {
            ZorRecord* const record = liveRecord(funcHandle);
            if (record == nullptr || record->getRecordType() != ZOR_RECORD_FUNCTION)
                throw ZorInvalidParameterException("Only function handles are allowed in ZorInvoke");
            auto& function = static_cast<ZorFunction&>(*record);
            if (connection->invoke(function)) trace.endWith(function);
        });
}
