// Exported functions of the family "Object instances and class exceptions".

#include <kelzor/objects.h>

#include "api/connectionframe.h"
#include "api/recordframe.h"
#include "data/zorfunction.h"
#include "data/zorubixobject.h"

using namespace zorapi;

namespace {

ZorUbixObject& object(ZOR_UBIX_OBJECT_HANDLE handle) noexcept {
    return static_cast<ZorUbixObject&>(*ZorRecord::fromHandle(handle));
}

ZorFunction& function(ZOR_FUNCTION_HANDLE handle) noexcept {
    return static_cast<ZorFunction&>(*ZorRecord::fromHandle(handle));
}

/** Check: an object, told in the words of ZorDescribeType, as it always was. */
struct DescribableObject {
    ZOR_UBIX_OBJECT_HANDLE handle;
    Verdict operator()() const noexcept {
        const ZorRecord* record = liveRecord(handle);
        if (record == nullptr) return {ZOR_INVALID_HANDLE, "Invalid handle passed to ZorDescribeType"};
        if (record->getRecordType() == ZOR_RECORD_OBJECT) return {};
        return {ZOR_INVALID_HANDLE, "Only structure or table handles are allowed in ZorDescribeType"};
    }
};

}  // namespace

ZOR_UBIX_OBJECT_HANDLE ZorCreateUbixObject(ZOR_CLASS_DESC_HANDLE classDescHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{classDescHandle}), [&] {
        const auto desc = ZorMetaDataStatics::classMetaDataFromHandle(classDescHandle);
        return std::make_unique<ZorUbixObject>(desc.get()).release()->toHandle();
    });
}

ZOR_RC ZorDestroyUbixObject(ZOR_UBIX_OBJECT_HANDLE objHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{objHandle},
                   checks(OwnContainer{ZOR_RECORD_OBJECT, objHandle}), [&] { delete &object(objHandle); });
}

ZOR_CLASS_DESC_HANDLE ZorDescribeUbixObject(ZOR_UBIX_OBJECT_HANDLE objHandle, ZOR_ERROR_INFO* errorInfo) {
    return light(
        __func__, errorInfo, ContainerLevel{objHandle},
        checks(TraceDescribeType{objHandle, errorInfo}, Handle{objHandle}, DescribableObject{objHandle}),
        [&] { return ZorMetaDataStatics::toHandle(object(objHandle).getClassMetaData()); });
}

ZOR_RC ZorEnableUbixClassException(ZOR_FUNCTION_HANDLE funcHandle, ZOR_CONNECTION_HANDLE zorHandleRepository,
                                   ZOR_ERROR_INFO* errorInfo) {
    const ZOR_CONNECTION_HANDLE listed =
        ZorConnection::isHandleValid(zorHandleRepository) ? zorHandleRepository : nullptr;
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}, Handle{listed}),
                   [&] { function(funcHandle).enableClassException(listed); });
}

ZOR_RC ZorIsUbixClassExceptionEnabled(ZOR_FUNCTION_HANDLE funcHandle, int* isEnabled,
                                      ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}, Required{isEnabled, "int*"}),
                   [&] { *isEnabled = function(funcHandle).isClassExceptionEnabled() ? 1 : 0; });
}

ZOR_UBIX_OBJECT_HANDLE ZorGetUbixClassException(ZOR_FUNCTION_HANDLE funcHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}), [&]() -> ZOR_UBIX_OBJECT_HANDLE {
                       const ZorClassException* exception = function(funcHandle).getClassException();
                       ZorUbixObject* held = exception != nullptr ? exception->getExceptionObj() : nullptr;
                       return held != nullptr ? held->toHandle() : nullptr;
                   });
}

ZOR_RC ZorSetUbixClassException(ZOR_FUNCTION_HANDLE funcHandle, ZOR_UBIX_OBJECT_HANDLE excpHandle,
                                const KEL_UC* exceptionText, ZOR_ERROR_INFO* errorInfo) {
    return guarded(
        __func__, errorInfo, ContainerLevel{funcHandle},
        checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}, ContainerOf{ZOR_RECORD_OBJECT, excpHandle}),
        [&] {
            function(funcHandle)
                .setClassException(exceptionText != nullptr ? exceptionText : "", object(excpHandle));
        });
}
