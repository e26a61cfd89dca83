// Locking a record: the checks, the layout, the flattened copy, and the places of fields once nested
// data stand as pointers.

#include <algorithm>

#include "meta/zorclassmetadata.h"
#include "meta/zorlockplan.h"
#include "meta/zorrecordmetadata.h"
#include "meta/zortypelayout.h"

namespace {

/** A bound on flattened copies: structures of structures multiply, and descriptions come from partners. */
constexpr uint64_t maxLeaves = 1u << 20;

/** Record lengths that grow are rounded up to a multiple of this. */
constexpr unsigned recordRounding = 4;

unsigned checkedOffset(uint64_t offset) {
    if (offset > UINT32_MAX) throw ZorInvalidParameterException("record length is out of range");
    return static_cast<unsigned>(offset);
}

/** The record lengths in `shape`, checked against the end of the last field. */
void settleLengths(const ZorRecordMetaData& record, ZorLockShape& shape) {
    if (record.getFieldCount() == 0) return;
    const ZorRecordFieldType& last = record[record.getFieldCount() - 1];
    const uint64_t end2 = uint64_t{last.offset2} + last.length2;
    if (uint64_t{last.offset1} + last.length1 > shape.length1)
        throw ZorInvalidParameterException(
            "inconsistence in description detected: non-unicode length is too small");
    if (record.isUnicodeEnabled()) {
        if (end2 > shape.length2)
            throw ZorInvalidParameterException(
                "inconsistence in description detected: unicode length is too small");
        return;
    }
    if (shape.length2 != 0)
        throw ZorInvalidParameterException(
            "inconsistence in unicode description detected: unicode length is passed, but some elements "
            "have unicode length 0");
    shape.length2 = checkedOffset(std::max<uint64_t>(end2, shape.length1));
}

/** Adds what is known of the structure in a field; gives the number of its leaves. */
unsigned surveyStructure(const ZorRecordMetaData& nested, const ZorLockPlan& plan, ZorLockShape& shape) {
    shape.containsTable |= plan.containsTable(nested);
    shape.containsObject |= plan.containsObject(nested);
    return plan.leafCount(nested);
}

/** Leaves, depth and what occurs in a record, from its fields and the shapes of what they contain. */
void surveyFields(const ZorRecordMetaData& record, bool flat, const ZorLockPlan& plan, ZorLockShape& shape) {
    uint64_t leaves = 0;
    for (unsigned i = 0; i < record.getFieldCount(); ++i) {
        const ZORTYPE type = record.getType(i);
        const ZorRecordMetaData* const nested = record.getRecordMetaData(i);
        if (nested != nullptr) shape.nesting = std::max(shape.nesting, plan.nesting(*nested) + 1);
        shape.containsTable |= type == ZORTYPE_TABLE;
        shape.containsObject |= type == ZORTYPE_UBIXOBJECT;
        if (type != ZORTYPE_STRUCTURE)
            ++leaves;
        else if (nested != nullptr)
            leaves += surveyStructure(*nested, plan, shape);
    }
    ZorLockPlan::checkNesting(shape.nesting);
    if (flat) shape.containsTable = false;
    if (flat && leaves > maxLeaves) throw ZorInvalidParameterException("structures are nested too often");
    shape.leafCount = static_cast<unsigned>(std::min<uint64_t>(leaves, UINT32_MAX));
}

/** True if pointers must get room: for nested data always, for objects where their slots are too short. */
bool needsRoom(const ZorRecordMetaData& record) {
    if (record.hasComplexFields()) return true;
    for (unsigned i = 0; i < record.getFieldCount(); ++i)
        if (record.getType(i) == ZORTYPE_UBIXOBJECT && record.getByteLength(i) < sizeof(void*)) return true;
    return false;
}

/** Moves one field behind the previous one, in one layout. */
uint64_t placeBehind(const ZorFieldPlace* prev, unsigned alignment, unsigned ZorFieldPlace::*offset,
                     unsigned ZorFieldPlace::*length, ZorFieldPlace& place) {
    place.*length = std::max(place.*length, alignment);
    if (prev != nullptr)
        place.*offset = checkedOffset(zorAlignUp(uint64_t{prev->*offset} + prev->*length, alignment));
    return uint64_t{place.*offset} + place.*length;
}

/** Works out where the fields go so that pointers fit into their slots; lengthens the record if needed. */
void rebuildPlaces(const ZorRecordMetaData& record, ZorLockShape& shape) {
    const unsigned count = record.getFieldCount();
    shape.places.reserve(count);
    uint64_t end1 = 0;
    uint64_t end2 = 0;
    for (unsigned i = 0; i < count; ++i) {
        const ZorRecordFieldType& field = record[i];
        const unsigned alignment = zorAlignmentOf(field.type);
        const ZorFieldPlace* const prev = i > 0 ? &shape.places.back() : nullptr;
        ZorFieldPlace place{field.offset1, field.length1, field.offset2, field.length2};
        end1 = placeBehind(prev, alignment, &ZorFieldPlace::offset1, &ZorFieldPlace::length1, place);
        end2 = placeBehind(prev, alignment, &ZorFieldPlace::offset2, &ZorFieldPlace::length2, place);
        shape.places.push_back(place);
    }
    if (end1 > shape.length1) shape.length1 = checkedOffset(zorAlignUp(end1, recordRounding));
    if (end2 > shape.length2) shape.length2 = checkedOffset(zorAlignUp(end2, recordRounding));
}

}  // namespace

void ZorRecordMetaData::declareLengths(ZorLockShape& shape) const {
    shape.length1 = length1;
    shape.length2 = length2;
}

void ZorClassMetaData::declareLengths(ZorLockShape& shape) const {
    if (fields.empty()) return;
    const ZorRecordFieldType& last = fields.back();
    shape.length1 = checkedOffset(zorAlignUp(uint64_t{last.offset1} + last.length1, recordRounding));
    shape.length2 = checkedOffset(zorAlignUp(uint64_t{last.offset2} + last.length2, recordRounding));
}

void ZorRecordMetaData::prepareLock(ZorLockPlan& plan) {
    if (!plan.enter(*this)) return;
    ZorLockShape& shape = plan.shapeOf(*this);
    declareLengths(shape);
    settleLengths(*this, shape);
    shape.imageLength = shape.length1;
    prepareNested(plan);
    const bool flat = ZorMetaDataStatics::checkType1(*this, plan);
    surveyFields(*this, flat, plan, shape);
    if (flat && hasComplexFields())
        shape.type1MetaData = std::make_unique<ZorRecordType1MetaData>(*this, shape.leafCount, plan);
    if (needsRoom(*this)) rebuildPlaces(*this, shape);
    shape.layout = flat ? STRUCTURE_TYPE_1 : STRUCTURE_TYPE_2;
}

void ZorRecordMetaData::commitLock(ZorLockShape& shape) noexcept {
    length1 = shape.length1;
    length2 = shape.length2;
    imageLength = shape.imageLength;
    layout = shape.layout;
    leafCount = shape.leafCount;
    nesting = shape.nesting;
    tableContained = shape.containsTable;
    objectContained = shape.containsObject;
    childrenHeld = hasComplexFields() || std::any_of(fields.begin(), fields.end(), [](const auto& field) {
                       return field.type == ZORTYPE_UBIXOBJECT;
                   });
    type1MetaData = std::move(shape.type1MetaData);
    for (size_t i = 0; i < shape.places.size(); ++i) {
        const ZorFieldPlace& place = shape.places[i];
        fields[i].offset1 = place.offset1;
        fields[i].length1 = place.length1;
        fields[i].offset2 = place.offset2;
        fields[i].length2 = place.length2;
    }
    locked = true;
}

ZorRecordType1MetaData::ZorRecordType1MetaData(const ZorRecordMetaData& parent, unsigned deepFieldsCount,
                                               const ZorLockPlan& plan)
    : ZorRecordMetaData(parent.getName(), parent.getOrigin(), deepFieldsCount) {
    unicodeEnabled = parent.isUnicodeEnabled();
    constructMetaData(parent, {}, 0, 0, plan);
    if (!fields.empty()) {
        length1 = checkedOffset(uint64_t{fields.back().offset1} + fields.back().length1);
        length2 = checkedOffset(uint64_t{fields.back().offset2} + fields.back().length2);
    }
    layout = STRUCTURE_TYPE_1;
    leafCount = getFieldCount();
    locked = true;
}

void ZorRecordType1MetaData::constructMetaData(const ZorRecordMetaData& source, std::string_view prefix,
                                               uint64_t base1, uint64_t base2, const ZorLockPlan& plan) {
    for (unsigned i = 0; i < source.getFieldCount(); ++i) {
        const ZorRecordFieldType& field = source[i];
        if (field.type != ZORTYPE_STRUCTURE) {
            addLeaf(field, prefix, base1, base2);
            continue;
        }
        const ZorRecordMetaData* const nested = source.getRecordMetaData(i);
        if (nested == nullptr) continue;  // without description there are no leaves in it
        if (!plan.isFlat(*nested)) {
            addLeaf(field, prefix, base1, base2);
            continue;
        }
        // The nested record's own copy has the offsets from before pointers took their places.
        const ZorRecordType1MetaData* const flat = plan.flattened(*nested);
        constructMetaData(flat != nullptr ? *flat : *nested, KEL_string(prefix) + field.name + "-",
                          base1 + field.offset1, base2 + field.offset2, plan);
    }
}

void ZorRecordType1MetaData::addLeaf(const ZorRecordFieldType& source, std::string_view prefix,
                                     uint64_t base1, uint64_t base2) {
    ZorRecordFieldType leaf;
    leaf.name = KEL_string(prefix) + source.name;
    leaf.type = source.type;
    leaf.decimals = source.decimals;
    leaf.length1 = source.length1;
    leaf.length2 = source.length2;
    uint64_t offset1 = base1 + source.offset1;
    uint64_t offset2 = base2 + source.offset2;
    if (!fields.empty()) {
        const ZorRecordFieldType& prev = fields.back();
        const unsigned alignment = zorAlignmentOf(source.type);
        const uint64_t end1 = uint64_t{prev.offset1} + prev.length1;
        const uint64_t end2 = uint64_t{prev.offset2} + prev.length2;
        // Where a structure's field is shorter than the structure, what follows moves up.
        if (offset1 < end1) offset1 = zorAlignUp(end1, alignment);
        if (offset2 < end2 || !unicodeEnabled) offset2 = zorAlignUp(end2, alignment);
    }
    leaf.offset1 = checkedOffset(offset1);
    leaf.offset2 = checkedOffset(offset2);
    append(std::move(leaf));
}
