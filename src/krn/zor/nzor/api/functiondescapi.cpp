// Exported functions of the family "Function descriptions".

#include <kelzor/metadata.h>

#include "api/boundedtext.h"
#include "api/frame.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

/** Room for parameters in a description that a caller builds. */
constexpr unsigned expectedParameters = 5;

ZorMetaDataRef<ZorFunctionMetaData> function(ZOR_FUNCTION_DESC_HANDLE handle) {
    return ZorMetaDataStatics::functionMetaDataFromHandle(handle);
}

void describeParameter(const ZorFunctionMetaData& desc, unsigned index, ZOR_PARAMETER_DESC& target) {
    desc.checkIndex(index);
    const ZorParameterFieldType& parameter = desc[index];
    copyBounded(target.name, parameter.name);
    target.type = parameter.type;
    target.direction = parameter.direction;
    target.nucLength = parameter.length1;
    target.ucLength = parameter.length2;
    target.decimals = parameter.decimals;
    target.typeDescHandle = ZorMetaDataStatics::toHandle(desc.getRecordMetaData(index));
    copyBounded(target.defaultValue, parameter.defaultValue);
    copyBounded(target.parameterText, parameter.paramDesc);
    target.optional = parameter.optional;
    target.extendedDescription = parameter.extendedMeta;
}

void traceParameter(const void* funcDesc, const KEL_UC* name, const ZOR_PARAMETER_DESC& parameter) noexcept {
    ZorTraceWrite(
        "ZorGetParameterDescByName(funcHandle=%p, name=%s) returns (%s, %i, %i, %u, %u, %u, %p, %s, %s, %i, "
        "%p)",
        funcDesc, name, parameter.name, parameter.type, parameter.direction, parameter.nucLength,
        parameter.ucLength, parameter.decimals, static_cast<void*>(parameter.typeDescHandle),
        parameter.defaultValue, parameter.parameterText, parameter.optional, parameter.extendedDescription);
}

void describeException(const ZorUbixExceptionType& exception, ZOR_EXCEPTION_DESC& target) noexcept {
    copyBounded(target.key, exception.key);
    copyBounded(target.message, exception.description);
}

/** Characters that a field holds beside its terminator. */
template <size_t size>
std::string_view textOf(const KEL_UC (&field)[size]) noexcept {
    return readBounded(field, size - 1);
}

}  // namespace

ZOR_FUNCTION_DESC_HANDLE ZorCreateFunctionDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [&] {
        if (name == nullptr) throw ZorInvalidParameterException("Function name is NULL");
        auto made =
            ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(name, "custom", expectedParameters, true);
        return ZorMetaDataStatics::toHandle(made.release());
    });
}

ZOR_RC ZorDestroyFunctionDesc(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{funcDesc}), [&](FrameTrace& trace) {
        if (trace.isOpen()) ZorTraceWrite("delete MD{%p}", static_cast<void*>(funcDesc));
        ZorMetaDataStatics::destroyPending(*function(funcDesc),
                                           "The instance is either removed or cached in a repository.");
    });
}

ZOR_RC ZorAddParameter(ZOR_FUNCTION_DESC_HANDLE funcDesc, const ZOR_PARAMETER_DESC* paramDescr,
                       ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{paramDescr, "pointer to ZOR_PARAMETER_DESC"}), [&] {
                       const ZOR_PARAMETER_DESC& parameter = *paramDescr;
                       function(funcDesc)->add(
                           textOf(parameter.name), parameter.type, parameter.direction, parameter.nucLength,
                           parameter.ucLength, parameter.decimals,
                           ZorMetaDataStatics::typeDescFromHandle(parameter.typeDescHandle).raw(),
                           textOf(parameter.defaultValue), textOf(parameter.parameterText),
                           parameter.optional, parameter.extendedDescription);
                   });
}

ZOR_RC ZorAddException(ZOR_FUNCTION_DESC_HANDLE funcDesc, const ZOR_EXCEPTION_DESC* excDesc,
                       ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{excDesc, "pointer to ZOR_EXCEPTION_DESC"}),
                   [&] { function(funcDesc)->addException(textOf(excDesc->key), textOf(excDesc->message)); });
}

ZOR_RC ZorGetFunctionName(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_CHAR* bufferForName,
                          ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{bufferForName, "pointer to function name"}),
                   [&] { copyBounded(bufferForName, sizeof(ZOR_UBIX_NAME), function(funcDesc)->getName()); });
}

ZOR_RC ZorGetParameterCount(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned* count, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{count, "pointer to paramter count"}),
                   [&] { *count = function(funcDesc)->getFieldCount(); });
}

ZOR_RC ZorGetParameterDescByIndex(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned index,
                                  ZOR_PARAMETER_DESC* paramDescr, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{paramDescr, "pointer to ZOR_PARAMETER_DESC"}),
                   [&] { describeParameter(*function(funcDesc), index, *paramDescr); });
}

ZOR_RC ZorGetParameterDescByName(ZOR_FUNCTION_DESC_HANDLE funcDesc, const KEL_UC* name,
                                 ZOR_PARAMETER_DESC* paramDescr, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{name, "NAME"},
                          Required{paramDescr, "Pointer to ZOR_PARAMETER_DESC"}),
                   [&](FrameTrace& trace) {
                       void* const handle = funcDesc;
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetParameterDescByName(funcHandle=%p, name=%s, in=%p, error=%p)",
                                         handle, name, static_cast<void*>(paramDescr),
                                         static_cast<void*>(errorInfo));
                       const auto desc = function(funcDesc);
                       describeParameter(*desc, desc->getIndex(name), *paramDescr);
                       if (trace.isOpen()) traceParameter(handle, name, *paramDescr);
                   });
}

ZOR_RC ZorGetExceptionCount(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned* count, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{count, "pointer to exception count"}),
                   [&] { *count = function(funcDesc)->getExceptionCount(); });
}

ZOR_RC ZorGetExceptionDescByIndex(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned index,
                                  ZOR_EXCEPTION_DESC* excDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{excDesc, "Pointer to ZOR_EXCEPTION_DESC"}),
                   [&] { describeException(function(funcDesc)->getException(index), *excDesc); });
}

ZOR_RC ZorGetExceptionDescByName(ZOR_FUNCTION_DESC_HANDLE funcDesc, const KEL_UC* name,
                                 ZOR_EXCEPTION_DESC* excDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(
        __func__, errorInfo, GlobalLevel{},
        checks(Handle{funcDesc}, Required{name, "NAME"}, Required{excDesc, "Pointer to ZOR_EXCEPTION_DESC"}),
        [&] { describeException(function(funcDesc)->getException(name), *excDesc); });
}

ZOR_RC ZorEnableLUMX(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{funcDesc}),
                   [&] { function(funcDesc)->enableASXML(); });
}

ZOR_RC ZorIsLUMXSupported(ZOR_FUNCTION_DESC_HANDLE funcDesc, int* isAble, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{funcDesc}, Required{isAble, "pointer to isAble"}),
                   [&] { *isAble = function(funcDesc)->supportsASXML() ? 1 : 0; });
}
