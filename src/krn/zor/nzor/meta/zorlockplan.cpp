#include "meta/zorlockplan.h"

#include "meta/zortypelayout.h"

bool ZorAbstractMetaData::equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs&) const {
    return this == &other;
}

void ZorAbstractMetaData::lock() {
    if (!locked) ZorLockPlan::run(*this);
}

void ZorLockPlan::run(ZorAbstractMetaData& top) {
    ZorLockPlan plan;
    top.prepareLock(plan);
    for (ZorAbstractMetaData* const description : plan.order)
        description->commitLock(plan.shapes.find(description)->second);
}

bool ZorLockPlan::enter(ZorAbstractMetaData& description) {
    if (!shapes.try_emplace(&description).second) return false;
    order.push_back(&description);
    return true;
}

void ZorLockPlan::checkNesting(unsigned nesting) {
    constexpr unsigned deepest = 100;
    if (nesting > deepest) throw ZorInvalidParameterException("structures are nested too deeply");
}

void ZorLockPlan::prepare(ZorAbstractMetaData& nested) {
    if (nested.isLocked()) return;
    checkNesting(++depth);
    nested.prepareLock(*this);
    --depth;
}

ZorLockShape& ZorLockPlan::shapeOf(const ZorAbstractMetaData& description) {
    return shapes.find(&description)->second;
}

const ZorLockShape* ZorLockPlan::find(const ZorAbstractMetaData& description) const noexcept {
    const auto found = shapes.find(&description);
    return found == shapes.end() ? nullptr : &found->second;
}

bool ZorLockPlan::isFlat(const ZorRecordMetaData& record) const noexcept {
    // A structure that contains itself meets its own shape without a layout yet, and so isn't flat.
    const ZorLockShape* const shape = find(record);
    return (shape != nullptr ? shape->layout : record.getStructureType()) == STRUCTURE_TYPE_1;
}

unsigned ZorLockPlan::leafCount(const ZorRecordMetaData& record) const noexcept {
    const ZorLockShape* const shape = find(record);
    return shape != nullptr ? shape->leafCount : record.leafCount;
}

unsigned ZorLockPlan::nesting(const ZorRecordMetaData& record) const noexcept {
    const ZorLockShape* const shape = find(record);
    return shape != nullptr ? shape->nesting : record.nesting;
}

bool ZorLockPlan::containsTable(const ZorRecordMetaData& record) const noexcept {
    const ZorLockShape* const shape = find(record);
    return shape != nullptr ? shape->containsTable : record.tableContained;
}

bool ZorLockPlan::containsObject(const ZorRecordMetaData& record) const noexcept {
    const ZorLockShape* const shape = find(record);
    return shape != nullptr ? shape->containsObject : record.objectContained;
}

const ZorRecordType1MetaData* ZorLockPlan::flattened(const ZorRecordMetaData& record) const noexcept {
    const ZorLockShape* const shape = find(record);
    return shape != nullptr ? shape->type1MetaData.get() : record.getType1MetaData();
}
