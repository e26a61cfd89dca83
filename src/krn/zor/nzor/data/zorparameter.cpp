#include "data/zorparameter.h"

#include <algorithm>

#include "data/zorfieldslot.h"
#include "data/zortable.h"

ZorParameter::ZorParameter(const ZorParameterFieldType& field) : field(field) {
    fieldCount = 1;
    // Only tables and structures that may be left out count as given: they cost nothing when empty.
    const bool sent = (field.direction & ZOR_IMPORT) != 0;
    const bool child = field.type == ZORTYPE_TABLE || field.type == ZORTYPE_STRUCTURE;
    active = child || !(field.optional != 0 && sent);
    // A pointer has no length on the wire; an object keeps that of its description all the same.
    const bool held = isHeldByPointer(field.type) && field.type != ZORTYPE_UBIXOBJECT;
    const size_t storage = std::max<size_t>(field.length1, sizeof(void*));
    addr = std::make_unique<KEL_RAW[]>(storage);
    if (held) return;
    usedLength = field.length1;
    fillSlot(slot());
}

ZorParameter::~ZorParameter() {
    destroyChild(field.type, addr.get());
}

ZorAbstractMetaData* ZorParameter::getDescriptor() {
    ZorRecord* record = getRecord();
    return record != nullptr && record != this ? record->getDescriptor() : nullptr;
}

bool ZorParameter::travelsAsXml() const noexcept {
    if (field.type != ZORTYPE_STRUCTURE && field.type != ZORTYPE_TABLE) return false;
    if (field.type == ZORTYPE_TABLE && field.direction != ZOR_TABLES) return true;
    const ZorRecordMetaData* const record = getRecordMetaData(0);
    return record != nullptr && record->isNestedType2Structure();
}

void ZorParameter::setLength(unsigned length) noexcept {
    usedLength = std::min(length, field.length1);
}

ZorRecord* ZorParameter::getRecord() {
    if (field.type == ZORTYPE_TABLE) {
        ZorTable* table = nullptr;
        getValue(0, &table, true);
        return table;
    }
    if (field.type == ZORTYPE_STRUCTURE) {
        ZorStructure* structure = nullptr;
        getValue(0, &structure, true);
        return structure;
    }
    return this;
}
