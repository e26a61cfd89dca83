#include "data/zorstructure.h"

#include <algorithm>
#include <cstring>

#include "data/zorfieldslot.h"
#include "data/zortable.h"

namespace {

bool hasChildren(const ZorRecordMetaData* desc) noexcept {
    return desc != nullptr && desc->holdsChildren();
}

}  // namespace

ZorStructure::ZorStructure(ZorRecordMetaData* description) : ownDesc(description) {
    if (description == nullptr) return;
    description->lock();
    bindTo(description);
    if (structLength == 0) return;
    bytes = std::make_unique<KEL_RAW[]>(structLength);
    block = bytes.get();
    initBuffer();
}

ZorStructure::ZorStructure(ZorTable& table, unsigned row) noexcept
    : ZorRecord(table.getTraceLevel()), table(&table), row(row) {
    bindTo(table.getRowType());
}

ZorStructure::ZorStructure(const ZorStructure& other) : ZorRecord(other), ownDesc(other.desc) {
    bindTo(other.desc);
    if (structLength == 0) return;
    const KEL_RAW* source = other.getBuffer();
    bytes = std::make_unique_for_overwrite<KEL_RAW[]>(structLength);
    block = bytes.get();
    std::memcpy(bytes.get(), source, structLength);
    if (hasChildren(desc)) cloneChildren(*desc, source, bytes.get());
}

ZorStructure& ZorStructure::operator=(const ZorStructure& other) {
    if (this == &other) return *this;
    // The old content goes last: the other may be part of it.
    ZorStructure copy(other);
    if (table != nullptr) {
        table->checkRowType(other);
        // Equal descriptions have the same fields, but may differ in the bytes behind the last one.
        KEL_RAW* const target = getBuffer();
        std::swap_ranges(target, target + std::min(structLength, copy.structLength), copy.bytes.get());
        return *this;
    }
    std::swap(ownDesc, copy.ownDesc);
    std::swap(bytes, copy.bytes);
    bindTo(ownDesc.get());
    copy.bindTo(copy.ownDesc.get());
    traceLevel = copy.traceLevel;
    return *this;
}

ZorStructure::~ZorStructure() {
    if (bytes != nullptr && hasChildren(desc)) destroyChildren(*desc, bytes.get());
}

void ZorStructure::bindTo(ZorRecordMetaData* description) noexcept {
    desc = description;
    structLength = desc != nullptr ? desc->getRecordLength() : 0;
    fieldCount = desc != nullptr ? desc->getFieldCount() : 0;
    names = desc != nullptr ? &desc->getNameIndex() : nullptr;
    blockFields = desc != nullptr ? desc->getFields() : nullptr;
    block = bytes.get();
}

ZorFieldSlot ZorStructure::locate(unsigned index) {
    const ZorRecordFieldType& field = (*desc)[index];
    return {field, getBuffer() + field.offset1, nullptr};
}

KEL_RAW* ZorStructure::getBuffer() {
    return table == nullptr ? bytes.get() : table->viewedRow(row);
}

const KEL_RAW* ZorStructure::getBuffer() const {
    return table == nullptr ? bytes.get() : table->viewedRow(row);
}

unsigned ZorStructure::getOffset(unsigned index) const {
    return desc->getByteOffset(index);
}

void ZorStructure::initBuffer() {
    for (unsigned index = 0; index < fieldCount; ++index)
        fillField(index);
}

unsigned ZorStructure::setBlock(unsigned index, const KEL_RAW* source, unsigned length) {
    if (index >= fieldCount) return 0;
    const unsigned offset = getOffset(index);
    const unsigned moved = std::min(length, structLength - offset);
    std::memcpy(getBuffer() + offset, source, moved);
    return moved;
}

unsigned ZorStructure::getBlock(unsigned index, KEL_RAW* target, unsigned length) const {
    if (index >= fieldCount) return 0;
    const unsigned offset = getOffset(index);
    const unsigned moved = std::min(length, structLength - offset);
    std::memcpy(target, getBuffer() + offset, moved);
    return moved;
}

unsigned ZorStructure::simpleCompress(const KEL_RAW* buffer, unsigned length) noexcept {
    if (buffer == nullptr || length == 0) return 0;
    while (length > 1 && buffer[length - 2] == buffer[length - 1])
        --length;
    return length;
}

unsigned ZorStructure::simpleDecompress(KEL_RAW* buffer, unsigned fullLength, unsigned shortLength) noexcept {
    if (shortLength > 0 && shortLength < fullLength)
        std::memset(buffer + shortLength, buffer[shortLength - 1], fullLength - shortLength);
    return fullLength;
}
