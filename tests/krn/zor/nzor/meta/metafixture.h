/** @file Shorthands for building descriptions in tests. */
#pragma once

#include <string>

#include "meta/zorclassmetadata.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"

using RecordRef = ZorMetaDataRef<ZorRecordMetaData>;
using ClassRef = ZorMetaDataRef<ZorClassMetaData>;
using FunctionRef = ZorMetaDataRef<ZorFunctionMetaData>;

inline RecordRef makeRecord(const char* name = "T", bool pending = false) {
    return ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "custom", 5, pending);
}

inline ClassRef makeClass(const char* name = "C", bool pending = false) {
    return ZorMetaDataStatics::createMetaData<ZorClassMetaData>(name, "custom", 5, pending);
}

inline FunctionRef makeFunction(const char* name = "F", bool pending = false) {
    return ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(name, "custom", 5, pending);
}

/** Lengths and offsets of a field as "offset1+length1 offset2+length2". */
inline std::string place(const ZorRecordMetaData& record, unsigned index) {
    const auto part = [](unsigned offset, unsigned length) {
        return std::to_string(offset) + "+" + std::to_string(length);
    };
    return part(record.getByteOffset(index), record.getByteLength(index)) + " " +
           part(record.getUnicodeByteOffset(index), record.getUnicodeByteLength(index));
}

/** Text of the exception that an operation throws; its code in front. "none" if it throws nothing. */
template <class Operation>
std::string failure(const Operation& operation) {
    try {
        operation();
    } catch (const ZorBaseException& exception) {
        return std::to_string(exception.getCode()) + " " + exception.getMessage();
    }
    return "none";
}
