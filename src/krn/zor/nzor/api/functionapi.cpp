// Exported functions of the family "Function containers", and the description of a container.

#include <kelzor/function.h>

#include "api/recordframe.h"
#include "data/zorfunction.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

ZorFunction& function(ZOR_FUNCTION_HANDLE handle) noexcept {
    return static_cast<ZorFunction&>(*ZorRecord::fromHandle(handle));
}

/** Check: a function container, with a text of its own for NULL and for anything else. */
struct DescribableFunction {
    ZOR_FUNCTION_HANDLE handle;
    Verdict operator()() const noexcept {
        if (handle == nullptr) return {ZOR_INVALID_HANDLE, "ZOR_FUNCTION_HANDLE is NULL"};
        const ZorRecord* record = liveRecord(handle);
        const bool isFunction = record != nullptr && record->getRecordType() == ZOR_RECORD_FUNCTION;
        if (isFunction) return {};
        if (ContainerLevel{handle}() > callThreshold)
            ZorTraceWrite("ZorDescribeFunction(%p) failed: isValid==%i, isFunction==%i",
                          static_cast<void*>(handle), record != nullptr, isFunction);
        return {ZOR_INVALID_HANDLE, "Only function handles are allowed in ZorDescribeFunction"};
    }
};

void traceDescription(ZOR_FUNCTION_HANDLE handle, const ZorFunctionMetaData& desc) noexcept {
    ZorTraceWrite("ZorDescribeFunction(%p) returns %p: %s (origin=%s)", static_cast<void*>(handle),
                  static_cast<const void*>(&desc), desc.getName().c_str(), desc.getOrigin().c_str());
}

}  // namespace

ZOR_FUNCTION_HANDLE ZorCreateFunction(ZOR_FUNCTION_DESC_HANDLE funcDescHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{funcDescHandle}), [&] {
        const auto desc = ZorMetaDataStatics::functionMetaDataFromHandle(funcDescHandle);
        return std::make_unique<ZorFunction>(*desc).release()->toHandle();
    });
}

ZOR_RC ZorDestroyFunction(ZOR_FUNCTION_HANDLE funcHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}),
                   [&] { delete &function(funcHandle); });
}

ZOR_RC ZorSetParameterActive(ZOR_FUNCTION_HANDLE funcHandle, const KEL_UC* paramName, int isActive,
                             ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}, Required{paramName, "KEL_UC*"}),
                   [&] { function(funcHandle).setParameterActive(paramName, isActive != 0); });
}

ZOR_RC ZorIsParameterActive(ZOR_FUNCTION_HANDLE funcHandle, const KEL_UC* paramName, int* isActive,
                            ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle},
                   checks(ContainerOf{ZOR_RECORD_FUNCTION, funcHandle}, Required{paramName, "KEL_UC*"},
                          Required{isActive, "int*"}),
                   [&] { *isActive = function(funcHandle).isParameterActive(paramName) ? 1 : 0; });
}

ZOR_FUNCTION_DESC_HANDLE ZorDescribeFunction(ZOR_FUNCTION_HANDLE funcHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{funcHandle}, checks(DescribableFunction{funcHandle}),
                   [&](FrameTrace& trace) {
                       const ZorFunctionMetaData* desc = function(funcHandle).getFunctionMetaData();
                       if (trace.isOpen()) traceDescription(funcHandle, *desc);
                       return ZorMetaDataStatics::toHandle(desc);
                   });
}
