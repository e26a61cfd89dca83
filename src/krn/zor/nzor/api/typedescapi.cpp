// Exported functions of the family "Type descriptions".

#include <kelzor/metadata.h>

#include "api/boundedtext.h"
#include "api/frame.h"
#include "meta/zorrecordmetadata.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

/** Room for fields in a description that a caller builds. */
constexpr unsigned expectedFields = 5;

ZorMetaDataRef<ZorRecordMetaData> record(ZOR_TYPE_DESC_HANDLE handle) {
    return ZorMetaDataStatics::recordMetaDataFromHandle(handle);
}

/** A record that may be changed here; the fields of a class go with more than these functions know of. */
ZorMetaDataRef<ZorRecordMetaData> plainRecord(ZOR_TYPE_DESC_HANDLE handle) {
    auto type = record(handle);
    if (type->getMetaType() != ZOR_META_RECORD)
        throw ZorInvalidHandleException("An invalid handle was passed to the API call");
    return type;
}

void describeField(const ZorRecordMetaData& type, unsigned index, ZOR_FIELD_DESC& target) {
    type.checkIndex(index);
    const ZorRecordFieldType& field = type[index];
    copyBounded(target.name, field.name);
    target.type = field.type;
    target.nucLength = field.length1;
    target.nucOffset = field.offset1;
    target.ucLength = field.length2;
    target.ucOffset = field.offset2;
    target.decimals = field.decimals;
    target.typeDescHandle = ZorMetaDataStatics::toHandle(type.getRecordMetaData(index));
    target.extendedDescription = field.extendedMeta;
}

void traceField(const void* typeHandle, const KEL_UC* name, const ZOR_FIELD_DESC& field) noexcept {
    ZorTraceWrite(
        "ZorGetFieldDescByName(typeHandle=%p, name=%s) returns (%s, %i, %u, %u, %u, %u, %u, %p, %p)",
        typeHandle, name, field.name, field.type, field.nucLength, field.nucOffset, field.ucLength,
        field.ucOffset, field.decimals, static_cast<void*>(field.typeDescHandle), field.extendedDescription);
}

}  // namespace

ZOR_TYPE_DESC_HANDLE ZorCreateTypeDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [&] {
        if (name == nullptr) throw ZorInvalidParameterException("Type name is NULL");
        auto made =
            ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "custom", expectedFields, true);
        return ZorMetaDataStatics::toHandle(made.release());
    });
}

ZOR_RC ZorDestroyTypeDesc(ZOR_TYPE_DESC_HANDLE typeHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{typeHandle}), [&](FrameTrace& trace) {
        if (trace.isOpen()) ZorTraceWrite("delete MD{%p}", static_cast<void*>(typeHandle));
        ZorMetaDataStatics::destroyPending(*record(typeHandle),
                                           "The instance either removed or cached in a repository.");
    });
}

ZOR_RC ZorAddTypeField(ZOR_TYPE_DESC_HANDLE typeHandle, const ZOR_FIELD_DESC* fieldDescr,
                       ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{typeHandle}, Required{fieldDescr, "field name"}), [&] {
                       const ZOR_FIELD_DESC& field = *fieldDescr;
                       plainRecord(typeHandle)
                           ->add(readBounded(field.name, sizeof field.name), field.type, field.nucLength,
                                 field.nucOffset, field.ucLength, field.ucOffset, field.decimals,
                                 ZorMetaDataStatics::typeDescFromHandle(field.typeDescHandle).raw(),
                                 field.extendedDescription);
                   });
}

ZOR_RC ZorSetTypeLength(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned nucByteLength, unsigned ucByteLength,
                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{typeHandle}),
                   [&] { plainRecord(typeHandle)->setRecordLength(nucByteLength, ucByteLength); });
}

ZOR_RC ZorGetTypeName(ZOR_TYPE_DESC_HANDLE typeHandle, ZOR_CHAR* bufferForName, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{typeHandle}, Required{bufferForName, "name buffer"}),
                   [&] { copyBounded(bufferForName, sizeof(ZOR_UBIX_NAME), record(typeHandle)->getName()); });
}

ZOR_RC ZorGetFieldCount(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned* count, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{typeHandle}, Required{count, "pointer to field count"}),
                   [&] { *count = record(typeHandle)->getFieldCount(); });
}

ZOR_RC ZorGetFieldDescByIndex(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned index, ZOR_FIELD_DESC* fieldDescr,
                              ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{typeHandle}, Required{fieldDescr, "pointer to ZOR_FIELD_DESC"}),
                   [&] { describeField(*record(typeHandle), index, *fieldDescr); });
}

ZOR_RC ZorGetFieldDescByName(ZOR_TYPE_DESC_HANDLE typeHandle, const KEL_UC* name, ZOR_FIELD_DESC* fieldDescr,
                             ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{typeHandle}, Required{name, "field name"},
                          Required{fieldDescr, "pointer to ZOR_FIELD_DESC"}),
                   [&](FrameTrace& trace) {
                       void* const handle = typeHandle;
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetFieldDescByName(typeHandle=%p, name=%s, in=%p, error=%p)",
                                         handle, name, static_cast<void*>(fieldDescr),
                                         static_cast<void*>(errorInfo));
                       const auto type = record(typeHandle);
                       describeField(*type, type->getIndex(name), *fieldDescr);
                       if (trace.isOpen()) traceField(handle, name, *fieldDescr);
                   });
}

ZOR_RC ZorGetTypeLength(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned* nucByteLength, unsigned* ucByteLength,
                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{typeHandle}), [&] {
        const auto type = record(typeHandle);
        if (nucByteLength != nullptr) *nucByteLength = type->getRecordLength();
        if (ucByteLength != nullptr) *ucByteLength = type->getUnicodeRecordLength();
    });
}
