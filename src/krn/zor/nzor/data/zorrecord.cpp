#include "data/zorrecord.h"

#include "config/zorconfig.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "data/zortable.h"
#include "data/zorubixobject.h"

namespace {

ZorRecordMetaData* recordOf(ZorAbstractMetaData* typeDesc) noexcept {
    if (ZorMetaDataStatics::isSentinel(typeDesc) || typeDesc->getMetaType() != ZOR_META_RECORD)
        return nullptr;
    return static_cast<ZorRecordMetaData*>(typeDesc);
}

ZorClassMetaData* classOf(ZorAbstractMetaData* typeDesc) noexcept {
    if (ZorMetaDataStatics::isSentinel(typeDesc) || typeDesc->getMetaType() != ZOR_META_CLASS) return nullptr;
    return static_cast<ZorClassMetaData*>(typeDesc);
}

/** Makes the child of a field that has none yet. */
void makeChild(const ZorFieldSlot& slot, ZorStructure*& child) {
    child = std::make_unique<ZorStructure>(recordOf(slot.field.typeDesc.raw())).release();
}

void makeChild(const ZorFieldSlot& slot, ZorTable*& child) {
    if (auto* rowType = recordOf(slot.field.typeDesc.raw()))
        child = std::make_unique<ZorTable>(rowType).release();
}

void makeChild(const ZorFieldSlot&, ZorString*& child) {
    child = std::make_unique<ZorString>().release();
}

void makeChild(const ZorFieldSlot&, ZorXString*& child) {
    child = std::make_unique<ZorXString>().release();
}

void makeChild(const ZorFieldSlot& slot, ZorUbixObject*& child) {
    child = std::make_unique<ZorUbixObject>(classOf(slot.field.typeDesc.raw())).release();
}

/** The child of a field, which is owned by the record; null if there is none and none is to be made. */
template <class T>
T* childOf(const ZorFieldSlot& slot, ZORTYPE type, std::string_view wanted, bool create) {
    if (slot.field.type != type) throwReadFailure(slot.field, wanted);
    T* child = loadChild<T>(slot.addr);
    if (child == nullptr && create) {
        makeChild(slot, child);
        holdChild(slot.addr, child);
    }
    return child;
}

}  // namespace

ZorRecord::ZorRecord() noexcept : ZorRecord(ZorConfig::getGlobalTraceLevel()) {}

ZorRecord::~ZorRecord() {
    // Volatile, so that the last write to a dying object isn't optimised away.
    static_cast<volatile std::uint16_t&>(mark) = deadMark;
}

ZorRecordMetaData* ZorRecord::getRecordMetaData(unsigned index) const {
    return recordOf(describe(index).typeDesc.raw());
}

ZorClassMetaData* ZorRecord::getClassMetaData(unsigned index) const {
    return classOf(describe(index).typeDesc.raw());
}

void ZorRecord::fillField(unsigned index) {
    fillSlot(locate(index));
}

unsigned ZorRecord::getIndex(std::string_view name) const {
    const unsigned index = findIndex(name);
    if (index == ZorNameIndex::notFound)
        throw ZorInvalidParameterException("field '" + KEL_string(name) + "' not found");
    return index;
}

void ZorRecord::refuseAccess(unsigned index) const {
    throw ZorInvalidParameterException(index >= fieldCount ? "index does not exist" : "value is null");
}

void ZorRecord::getValue(unsigned index, ZorStructure** child, bool create) {
    *child = childOf<ZorStructure>(access(index, child), ZORTYPE_STRUCTURE, "ZOR_STRUCTURE_HANDLE", create);
}

void ZorRecord::getValue(unsigned index, ZorTable** child, bool create) {
    ZorTable* table = childOf<ZorTable>(access(index, child), ZORTYPE_TABLE, "ZOR_TABLE_HANDLE", create);
    if (table != nullptr) table->finishReading();
    *child = table;
}

void ZorRecord::getValue(unsigned index, ZorString** child, bool create) {
    *child = childOf<ZorString>(access(index, child), ZORTYPE_STRING, "ZOR_STRING", create);
}

void ZorRecord::getValue(unsigned index, ZorXString** child, bool create) {
    *child = childOf<ZorXString>(access(index, child), ZORTYPE_XSTRING, "ZOR_XSTRING", create);
}

void ZorRecord::getValue(unsigned index, ZorUbixObject** child, bool create) {
    *child =
        childOf<ZorUbixObject>(access(index, child), ZORTYPE_UBIXOBJECT, "ZOR_UBIX_OBJECT_HANDLE", create);
}

void ZorRecord::setValue(unsigned index, const ZorStructure& value) {
    const ZorFieldSlot slot = access(index, &value);
    if (slot.field.type != ZORTYPE_STRUCTURE) throwWriteFailure(slot.field, "ZOR_STRUCTURE_HANDLE");
    auto* child = loadChild<ZorStructure>(slot.addr);
    if (child != nullptr)
        *child = value;
    else
        holdChild(slot.addr, value.clone().release());
}

void ZorRecord::setValue(unsigned index, const ZorTable& value) {
    const ZorFieldSlot slot = access(index, &value);
    if (slot.field.type != ZORTYPE_TABLE) throwWriteFailure(slot.field, "ZOR_TABLE_HANDLE");
    auto* child = loadChild<ZorTable>(slot.addr);
    if (child != nullptr)
        *child = value;
    else
        holdChild(slot.addr, value.clone().release());
}

void ZorRecord::setValue(unsigned index, const ZorUbixObject& value) {
    const ZorFieldSlot slot = access(index, &value);
    if (slot.field.type != ZORTYPE_UBIXOBJECT) throwWriteFailure(slot.field, "ZOR_UBIX_OBJECT_HANDLE");
    auto* child = loadChild<ZorUbixObject>(slot.addr);
    if (child != nullptr)
        *child = value;
    else
        holdChild(slot.addr, value.clone().release());
}

unsigned ZorRecord::getStringLength(unsigned index) {
    if (index >= fieldCount) throw ZorInvalidParameterException("index does not exist");
    switch (getType(index)) {
        case ZORTYPE_STRING: {
            ZorString* text = nullptr;
            getValue(index, &text, true);
            return static_cast<unsigned>(text->size());
        }
        case ZORTYPE_XSTRING: {
            ZorXString* bytes = nullptr;
            getValue(index, &bytes, true);
            return static_cast<unsigned>(bytes->size());
        }
        default:
            throw ZorInvalidParameterException("Field not of type STRING or XSTRING");
    }
}

ZorTable* ZorRecord::getTable(unsigned width, unsigned short partnerCharSize) {
    if (width == 0) throw ZorInvalidParameterException("table width is 0");
    ZorTable* table = nullptr;
    getValue(0, &table, true);
    if (table != nullptr) return table;
    // No row description: its place tells which elementary type the rows have.
    const ZorFieldSlot slot = locate(0);
    const bool bytes = slot.field.typeDesc.raw() == ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE;
    table = std::make_unique<ZorTable>(bytes ? ZORTYPE_BYTE : ZORTYPE_CHAR, width, partnerCharSize).release();
    holdChild(slot.addr, table);
    return table;
}
