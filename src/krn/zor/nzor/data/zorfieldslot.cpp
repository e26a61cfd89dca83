#include "data/zorfieldslot.h"

#include "data/zortable.h"
#include "data/zorubixobject.h"

namespace {

constexpr KEL_RAW packedPositiveZero = 0x0C;

template <class T>
void destroyChildAs(KEL_RAW* addr) noexcept {
    delete loadChild<T>(addr);
    storeChild<T>(addr, nullptr);
}

template <class T>
void cloneChildAs(const KEL_RAW* source, KEL_RAW* target) {
    if (const T* child = loadChild<T>(source)) holdChild<T>(target, std::make_unique<T>(*child).release());
}

void cloneChild(ZORTYPE type, const KEL_RAW* source, KEL_RAW* target) {
    switch (type) {
        case ZORTYPE_TABLE:
            return cloneChildAs<ZorTable>(source, target);
        case ZORTYPE_STRUCTURE:
            return cloneChildAs<ZorStructure>(source, target);
        case ZORTYPE_UBIXOBJECT:
            return cloneChildAs<ZorUbixObject>(source, target);
        case ZORTYPE_STRING:
            return cloneChildAs<ZorString>(source, target);
        case ZORTYPE_XSTRING:
            return cloneChildAs<ZorXString>(source, target);
        default:
            return;
    }
}

/** Runs an operation on each pointer slot's type and offset. */
template <class Operation>
void forEachPointer(const ZorRecordMetaData& desc, const Operation& operation) {
    for (unsigned index = 0; index < desc.getFieldCount(); ++index)
        if (const auto& field = desc[index]; isHeldByPointer(field.type))
            operation(field.type, field.offset1);
}

}  // namespace

void fillSlot(const ZorFieldSlot& slot) {
    switch (slot.field.type) {
        case ZORTYPE_CHAR:
            std::memset(slot.addr, ' ', slot.field.length1);
            return;
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
        case ZORTYPE_NUM:
            std::memset(slot.addr, '0', slot.field.length1);
            return;
        case ZORTYPE_TABLE:
            if (auto* child = loadChild<ZorTable>(slot.addr)) child->removeAll();
            return;
        case ZORTYPE_STRUCTURE:
            if (auto* child = loadChild<ZorStructure>(slot.addr)) child->initBuffer();
            return;
        case ZORTYPE_UBIXOBJECT:
            if (auto* child = loadChild<ZorUbixObject>(slot.addr)) child->initBuffer();
            return;
        case ZORTYPE_STRING:
            if (auto* child = loadChild<ZorString>(slot.addr)) child->clear();
            return;
        case ZORTYPE_XSTRING:
            if (auto* child = loadChild<ZorXString>(slot.addr)) child->clear();
            return;
        default:
            std::memset(slot.addr, 0, slot.field.length1);
            if (slot.field.type == ZORTYPE_BCD && slot.field.length1 > 0)
                slot.addr[slot.field.length1 - 1] = packedPositiveZero;
            return;
    }
}

void destroyChild(ZORTYPE type, KEL_RAW* addr) noexcept {
    switch (type) {
        case ZORTYPE_TABLE:
            return destroyChildAs<ZorTable>(addr);
        case ZORTYPE_STRUCTURE:
            return destroyChildAs<ZorStructure>(addr);
        case ZORTYPE_UBIXOBJECT:
            return destroyChildAs<ZorUbixObject>(addr);
        case ZORTYPE_STRING:
            return destroyChildAs<ZorString>(addr);
        case ZORTYPE_XSTRING:
            return destroyChildAs<ZorXString>(addr);
        default:
            return;
    }
}

void destroyChildren(const ZorRecordMetaData& desc, KEL_RAW* bytes) noexcept {
    forEachPointer(desc, [&](ZORTYPE type, unsigned offset) { destroyChild(type, bytes + offset); });
}

void cloneChildren(const ZorRecordMetaData& desc, const KEL_RAW* source, KEL_RAW* target) {
    // The pointers that came over belong to the source: none must be left when a copy fails.
    forEachPointer(desc, [&](ZORTYPE, unsigned offset) { storeChild<void>(target + offset, nullptr); });
    try {
        forEachPointer(
            desc, [&](ZORTYPE type, unsigned offset) { cloneChild(type, source + offset, target + offset); });
    } catch (...) {
        destroyChildren(desc, target);
        throw;
    }
}
