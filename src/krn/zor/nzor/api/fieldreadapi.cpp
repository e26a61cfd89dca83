// Exported functions of the family "Field read", each by name and by index.

#include <kelzor/data.h>

#include "api/fieldcall.h"
#include "data/zortable.h"
#include "data/zorubixobject.h"

using namespace zorapi;

namespace {

/**
 * Reads text or bytes into a buffer. `resultLength` may be null; the trace shows the value alone, since
 * what lies behind it is the caller's.
 */
template <class Key, class Character>
ZOR_RC readBuffer(const FieldCall& call, Key key, Character* buffer, unsigned length, ZORTYPE requested,
                  unsigned* resultLength = nullptr) {
    unsigned ownLength = 0;
    unsigned* const valueLength = resultLength != nullptr ? resultLength : &ownLength;
    return onField(
        call, key,
        [&] {
            traceArguments(call, key, "buffer=%p, bufferLength=%u, resultLength=%p",
                           static_cast<void*>(buffer), length, static_cast<void*>(resultLength));
        },
        [&](ZorRecord& record, unsigned index) {
            record.getValue(index, buffer, length, requested, valueLength);
        },
        [&] { traceBuffer(call, key, buffer, *valueLength); });
}

/**
 * Reads a number; the format shows it. Out of line, and with arguments that stay in registers, so that plain
 * numbers need no stack.
 */
template <class Key, class Value>
[[gnu::noinline]] ZOR_RC readNumber(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key,
                                    Value* value, ZOR_ERROR_INFO* errorInfo, const KEL_UC* format) {
    const FieldCall call{function, handle, errorInfo};
    return onField(
        call, key, [&] { traceArguments(call, key, "pval=%p", static_cast<void*>(value)); },
        [&](ZorRecord& record, unsigned index) {
            if (value == nullptr || !record.getPlain(index, *value)) record.getValue(index, value);
        },
        [&] { traceResult(call, key, format, *value); });
}

/** Reads a number: a plain one at once, all else in the frame. */
template <class Key, class Value>
ZOR_RC readPlain(const KEL_UC* function, DATA_CONTAINER_HANDLE handle, Key key, Value* value,
                 ZOR_ERROR_INFO* errorInfo, const KEL_UC* format) {
    const ZorRecord* const record = quietRecord(handle);
    if (record != nullptr && value != nullptr && record->getPlain(key.findIn(*record), *value)) [[likely]]
        return plainDone(errorInfo);
    return readNumber(function, handle, key, value, errorInfo, format);
}

/** Gives the handle of a child, which is made on first use unless `create` is false. */
template <class Child, class Key>
ZOR_RC readChild(const FieldCall& call, Key key, DATA_CONTAINER_HANDLE* handle, bool create = true) {
    return onField(
        call, key, [&] { traceArguments(call, key, "pval=%p", static_cast<void*>(handle)); },
        [&](ZorRecord& record, unsigned index) {
            Child* child = nullptr;
            record.getValue(index, handle != nullptr ? &child : nullptr, create);
            *handle = child != nullptr ? child->toHandle() : nullptr;
        },
        [&] { traceResult(call, key, "%p", static_cast<void*>(*handle)); });
}

template <class Key>
ZOR_RC readStringLength(const FieldCall& call, Key key, unsigned* stringLength) {
    return onField(
        call, key, [&] { traceArguments(call, key, "pval=%p", static_cast<void*>(stringLength)); },
        [&](ZorRecord& record, unsigned index) {
            if (stringLength == nullptr) record.refuseAccess(index);
            *stringLength = record.getStringLength(index);
        },
        [&] { traceResult(call, key, "%u", *stringLength); });
}

}  // namespace

ZOR_RC ZorGetChars(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_CHAR* charBuffer,
                   unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, charBuffer, bufferLength,
                      ZORTYPE_CHAR);
}

ZOR_RC ZorGetCharsByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_CHAR* charBuffer,
                          unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, charBuffer, bufferLength,
                      ZORTYPE_CHAR);
}

ZOR_RC ZorGetNum(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_NUM* charBuffer,
                 unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, charBuffer, bufferLength, ZORTYPE_NUM);
}

ZOR_RC ZorGetNumByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_NUM* charBuffer,
                        unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, charBuffer, bufferLength,
                      ZORTYPE_NUM);
}

ZOR_RC ZorGetDate(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DATE emptyDate,
                  ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, emptyDate, sizeof(ZOR_DATE),
                      ZORTYPE_DATE);
}

ZOR_RC ZorGetDateByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DATE emptyDate,
                         ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, emptyDate, sizeof(ZOR_DATE),
                      ZORTYPE_DATE);
}

ZOR_RC ZorGetTime(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_TIME emptyTime,
                  ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, emptyTime, sizeof(ZOR_TIME),
                      ZORTYPE_TIME);
}

ZOR_RC ZorGetTimeByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_TIME emptyTime,
                         ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, emptyTime, sizeof(ZOR_TIME),
                      ZORTYPE_TIME);
}

ZOR_RC ZorGetString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, KEL_UC* stringBuffer,
                    unsigned bufferLength, unsigned* stringLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, stringBuffer, bufferLength,
                      ZORTYPE_STRING, stringLength);
}

ZOR_RC ZorGetStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, KEL_UC* stringBuffer,
                           unsigned bufferLength, unsigned* stringLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, stringBuffer, bufferLength,
                      ZORTYPE_STRING, stringLength);
}

ZOR_RC ZorGetBytes(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_BYTE* byteBuffer,
                   unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, byteBuffer, bufferLength,
                      ZORTYPE_BYTE);
}

ZOR_RC ZorGetBytesByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_BYTE* byteBuffer,
                          unsigned bufferLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, byteBuffer, bufferLength,
                      ZORTYPE_BYTE);
}

ZOR_RC ZorGetXString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_BYTE* byteBuffer,
                     unsigned bufferLength, unsigned* xstringLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByName{name}, byteBuffer, bufferLength, ZORTYPE_BYTE,
                      xstringLength);
}

ZOR_RC ZorGetXStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_BYTE* byteBuffer,
                            unsigned bufferLength, unsigned* xstringLength, ZOR_ERROR_INFO* errorInfo) {
    return readBuffer({__func__, dataHandle, errorInfo}, ByIndex{index}, byteBuffer, bufferLength,
                      ZORTYPE_BYTE, xstringLength);
}

ZOR_RC ZorGetInt(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT* value,
                 ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByName{name}, value, errorInfo, "%d");
}

ZOR_RC ZorGetIntByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT* value,
                        ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "%d");
}

ZOR_RC ZorGetInt1(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT1* value,
                  ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByName{name}, value, errorInfo, "%d");
}

ZOR_RC ZorGetInt1ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT1* value,
                         ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "%d");
}

ZOR_RC ZorGetInt2(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT2* value,
                  ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByName{name}, value, errorInfo, "%d");
}

ZOR_RC ZorGetInt2ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT2* value,
                         ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "%d");
}

ZOR_RC ZorGetInt8(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT8* value,
                  ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByName{name}, value, errorInfo, "%lld");
}

ZOR_RC ZorGetInt8ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT8* value,
                         ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "%lld");
}

ZOR_RC ZorGetFloat(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_FLOAT* value,
                   ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByName{name}, value, errorInfo, "%.17g");
}

ZOR_RC ZorGetFloatByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_FLOAT* value,
                          ZOR_ERROR_INFO* errorInfo) {
    return readPlain(__func__, dataHandle, ByIndex{index}, value, errorInfo, "%.17g");
}

ZOR_RC ZorGetStructure(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                       ZOR_STRUCTURE_HANDLE* structHandle, ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorStructure>({__func__, dataHandle, errorInfo}, ByName{name}, structHandle);
}

ZOR_RC ZorGetStructureByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                              ZOR_STRUCTURE_HANDLE* structHandle, ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorStructure>({__func__, dataHandle, errorInfo}, ByIndex{index}, structHandle);
}

ZOR_RC ZorGetTable(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_TABLE_HANDLE* tableHandle,
                   ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorTable>({__func__, dataHandle, errorInfo}, ByName{name}, tableHandle);
}

ZOR_RC ZorGetTableByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_TABLE_HANDLE* tableHandle,
                          ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorTable>({__func__, dataHandle, errorInfo}, ByIndex{index}, tableHandle);
}

ZOR_RC ZorGetUbixObject(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                        ZOR_UBIX_OBJECT_HANDLE* objHandle, ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorUbixObject>({__func__, dataHandle, errorInfo}, ByName{name}, objHandle, false);
}

ZOR_RC ZorGetUbixObjectByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                               ZOR_UBIX_OBJECT_HANDLE* objHandle, ZOR_ERROR_INFO* errorInfo) {
    return readChild<ZorUbixObject>({__func__, dataHandle, errorInfo}, ByIndex{index}, objHandle, false);
}

ZOR_RC ZorGetStringLength(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, unsigned* stringLength,
                          ZOR_ERROR_INFO* errorInfo) {
    return readStringLength({__func__, dataHandle, errorInfo}, ByName{name}, stringLength);
}

ZOR_RC ZorGetStringLengthByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, unsigned* stringLength,
                                 ZOR_ERROR_INFO* errorInfo) {
    return readStringLength({__func__, dataHandle, errorInfo}, ByIndex{index}, stringLength);
}
