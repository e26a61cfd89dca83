// Exported functions of the family "Field write", each by name and by index.

#include <kelzor/data.h>

#include "api/fieldcall.h"
#include "data/zortable.h"
#include "data/zorubixobject.h"

using namespace zorapi;

namespace {

/** Writes text or bytes of a length. */
template <class Key, class Character>
ZOR_RC writeBuffer(const FieldCall& call, Key key, const Character* value, unsigned length, ZORTYPE source) {
    return onField(
        call, key,
        [&] { traceArguments(call, key, "value=%p, length=%u", static_cast<const void*>(value), length); },
        [&](ZorRecord& record, unsigned index) { record.setValue(index, value, length, source); },
        [&] { traceBuffer(call, key, value, length); });
}

/** Writes text in the frame. Out of line as the reading of numbers is. */
template <class Key>
[[gnu::noinline]] ZOR_RC writeAnyText(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key,
                                      const KEL_UC* value, unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({function, handle, errorInfo}, key, value, length, ZORTYPE_CHAR);
}

/** Writes text: to a CHAR field at once, to all else in the frame. */
template <class Key>
ZOR_RC writeText(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key, const KEL_UC* value,
                 unsigned length, ZOR_ERROR_INFO* errorInfo) {
    ZorRecord* const record = quietRecord(handle);
    if (record != nullptr && value != nullptr && record->setPlainText(key.findIn(*record), value, length))
        [[likely]]
        return plainDone(errorInfo);
    return writeAnyText(function, handle, key, value, length, errorInfo);
}

/** Writes a number; the format shows it. Out of line as the reading is. */
template <class Key, class Value>
[[gnu::noinline]] ZOR_RC writeNumber(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key,
                                     Value value, ZOR_ERROR_INFO* errorInfo, const KEL_UC* format) {
    const FieldCall call{function, handle, errorInfo};
    return onField(
        call, key,
        [&] {
            if (isSecret(call, key))
                traceArguments(call, key, "value=***");
            else
                traceArguments(call, key, format, value);
        },
        [&](ZorRecord& record, unsigned index) {
            if (!record.setPlain(index, value)) record.setValue(index, value);
        },
        [] {});
}

/** Writes a number: a plain one at once, all else in the frame. */
template <class Key, class Value>
ZOR_RC writePlain(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key, Value value,
                  ZOR_ERROR_INFO* errorInfo, const KEL_UC* format) {
    ZorRecord* const record = quietRecord(handle);
    if (record != nullptr && record->setPlain(key.findIn(*record), value)) [[likely]]
        return plainDone(errorInfo);
    return writeNumber(function, handle, key, value, errorInfo, format);
}

/** Copies a container into a field; `refusal` is the text for one of another kind. */
template <class Child, class Key>
ZOR_RC writeChild(const FieldCall& call, Key key, DATA_CONTAINER_HANDLE value, ZorRecordType type,
                  std::string_view refusal) {
    return onField(
        call, key, [&] { traceArguments(call, key, "value=%p", static_cast<void*>(value)); },
        [&](ZorRecord& record, unsigned index) {
            if (value == nullptr) record.refuseAccess(index);
            ZorRecord* child = liveRecord(value);
            if (child == nullptr || child->getRecordType() != type)
                throw ZorInvalidParameterException(KEL_string(refusal) + call.function);
            record.setValue(index, static_cast<const Child&>(*child));
        },
        [] {});
}

}  // namespace

ZOR_RC ZorSetChars(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_CHAR* value,
                   unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeText(__func__, dataHandle, ByName{name}, value, length, errorInfo);
}

ZOR_RC ZorSetCharsByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_CHAR* value,
                          unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeText(__func__, dataHandle, ByIndex{index}, value, length, errorInfo);
}

ZOR_RC ZorSetNum(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_NUM* value, unsigned length,
                 ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByName{name}, value, length, ZORTYPE_NUM);
}

ZOR_RC ZorSetNumByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_NUM* value,
                        unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, value, length, ZORTYPE_NUM);
}

ZOR_RC ZorSetDate(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_DATE date,
                  ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByName{name}, date, sizeof(ZOR_DATE), ZORTYPE_DATE);
}

ZOR_RC ZorSetDateByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_DATE date,
                         ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, date, sizeof(ZOR_DATE),
                       ZORTYPE_DATE);
}

ZOR_RC ZorSetTime(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_TIME time,
                  ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByName{name}, time, sizeof(ZOR_TIME), ZORTYPE_TIME);
}

ZOR_RC ZorSetTimeByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_TIME time,
                         ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, time, sizeof(ZOR_TIME),
                       ZORTYPE_TIME);
}

ZOR_RC ZorSetString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const KEL_UC* value,
                    unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeText(__func__, dataHandle, ByName{name}, value, length, errorInfo);
}

ZOR_RC ZorSetStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const KEL_UC* value,
                           unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeText(__func__, dataHandle, ByIndex{index}, value, length, errorInfo);
}

ZOR_RC ZorSetBytes(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_BYTE* value,
                   unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByName{name}, value, length, ZORTYPE_BYTE);
}

ZOR_RC ZorSetBytesByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_BYTE* value,
                          unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, value, length, ZORTYPE_BYTE);
}

ZOR_RC ZorSetXString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_BYTE* value,
                     unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByName{name}, value, length, ZORTYPE_BYTE);
}

ZOR_RC ZorSetXStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_BYTE* value,
                            unsigned length, ZOR_ERROR_INFO* errorInfo) {
    return writeBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, value, length, ZORTYPE_BYTE);
}

ZOR_RC ZorSetInt(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT value,
                 ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByName{name}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetIntByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT value,
                        ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetInt1(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT1 value,
                  ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByName{name}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetInt1ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT1 value,
                         ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetInt2(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT2 value,
                  ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByName{name}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetInt2ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT2 value,
                         ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "value=%d");
}

ZOR_RC ZorSetInt8(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT8 value,
                  ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByName{name}, value, errorInfo, "value=%lld");
}

ZOR_RC ZorSetInt8ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT8 value,
                         ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "value=%lld");
}

ZOR_RC ZorSetFloat(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_FLOAT value,
                   ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByName{name}, value, errorInfo, "value=%.17g");
}

ZOR_RC ZorSetFloatByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_FLOAT value,
                          ZOR_ERROR_INFO* errorInfo) {
    return writePlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "value=%.17g");
}

ZOR_RC ZorSetStructure(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_STRUCTURE_HANDLE value,
                       ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorStructure>({__func__, dataHandle, errorInfo}, ByName{name}, value,
                                    ZOR_RECORD_STRUCTURE,
                                    "only ZOR_STRUCTURE_HANDLE is allowed as value in ");
}

ZOR_RC ZorSetStructureByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_STRUCTURE_HANDLE value,
                              ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorStructure>({__func__, dataHandle, errorInfo}, ByIndex{index}, value,
                                    ZOR_RECORD_STRUCTURE,
                                    "only ZOR_STRUCTURE_HANDLE is allowed as value in ");
}

ZOR_RC ZorSetTable(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_TABLE_HANDLE value,
                   ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorTable>({__func__, dataHandle, errorInfo}, ByName{name}, value, ZOR_RECORD_TABLE,
                                "Only ZOR_TABLE_HANDLE is allowed as value in ");
}

ZOR_RC ZorSetTableByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_TABLE_HANDLE value,
                          ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorTable>({__func__, dataHandle, errorInfo}, ByIndex{index}, value, ZOR_RECORD_TABLE,
                                "Only ZOR_TABLE_HANDLE is allowed as value in ");
}

ZOR_RC ZorSetUbixObject(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_UBIX_OBJECT_HANDLE value,
                        ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorUbixObject>({__func__, dataHandle, errorInfo}, ByName{name}, value,
                                     ZOR_RECORD_OBJECT,
                                     "Only ZOR_UBIX_OBJECT_HANDLE is allowed as value in ");
}

ZOR_RC ZorSetUbixObjectByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_UBIX_OBJECT_HANDLE value,
                               ZOR_ERROR_INFO* errorInfo) {
    return writeChild<ZorUbixObject>({__func__, dataHandle, errorInfo}, ByIndex{index}, value,
                                     ZOR_RECORD_OBJECT,
                                     "Only ZOR_UBIX_OBJECT_HANDLE is allowed as value in ");
}
