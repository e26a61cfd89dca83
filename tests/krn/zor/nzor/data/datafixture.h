/** @file Descriptions for the tests of data containers. */
#pragma once

#include <kelzor/types.h>

#include <initializer_list>

#include "data/zorfunction.h"
#include "data/zortable.h"
#include "data/zorubixobject.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"

namespace datatest {

struct FieldSpec {
    const char* name;
    ZORTYPE type;
    unsigned length;
    unsigned decimals = 0;
    ZorAbstractMetaData* typeDesc = nullptr;
};

/** Makes an open type description; fields stand at multiples of 16, so that any type is aligned. */
inline ZorMetaDataRef<ZorRecordMetaData> makeType(std::initializer_list<FieldSpec> fields,
                                                  const char* name = "TYPE") {
    auto desc = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "custom", 5, false);
    unsigned offset = 0;
    for (const FieldSpec& field : fields) {
        desc->add(field.name, field.type, field.length, offset, 2 * field.length, 2 * offset, field.decimals,
                  field.typeDesc);
        offset = (offset + field.length + 15) / 16 * 16;
    }
    desc->setRecordLength(offset, 2 * offset);
    return desc;
}

/** A structure over a description of its own. */
struct OwnStructure : ZorStructure {
    OwnStructure(std::initializer_list<FieldSpec> fields) : ZorStructure(makeType(fields).get()) {}
};

inline void setText(ZorRecord& record, unsigned index, std::string_view text) {
    record.setValue(index, text.data(), static_cast<unsigned>(text.size()), ZORTYPE_CHAR);
}

/** A field as `ZorGetString` would give it. */
inline KEL_string getText(ZorRecord& record, unsigned index) {
    KEL_CHAR buffer[512];
    unsigned length = 0;
    record.getValue(index, buffer, sizeof buffer, ZORTYPE_STRING, &length);
    return {buffer, length};
}

inline ZOR_INT getInt(ZorRecord& record, unsigned index) {
    ZOR_INT value = 0;
    record.getValue(index, &value);
    return value;
}

/** The bytes of a field as characters. */
inline KEL_string rawBytes(ZorRecord& record, unsigned index) {
    return {reinterpret_cast<const char*>(record.getBuffer(index)), record.getLength(index)};
}

/** Message of the exception of a type that an action throws; empty if it throws none. */
template <class Exception, class Action>
KEL_string messageOf(const Action& action) {
    try {
        action();
    } catch (const Exception& exception) {
        return exception.getMessage();
    }
    return {};
}

}  // namespace datatest
