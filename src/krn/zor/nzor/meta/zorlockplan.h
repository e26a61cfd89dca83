/** @file Locking a description together with what it refers to, all or nothing. */
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "meta/zorrecordmetadata.h"

/** Place of a field in both layouts. */
struct ZorFieldPlace {
    unsigned offset1;
    unsigned length1;
    unsigned offset2;
    unsigned length2;
};

/** What a record turns into when it is locked. Empty for functions. */
struct ZorLockShape {
    unsigned length1 = 0;
    unsigned length2 = 0;
    unsigned imageLength = 0;  ///< length1 without the room that pointers take.
    STRUCTURE_TYPE layout = STRUCTURE_TYPE_0;
    unsigned leafCount = 0;
    unsigned nesting = 0;  ///< Records within records below this one.
    bool containsTable = false;
    bool containsObject = false;
    std::unique_ptr<ZorRecordType1MetaData> type1MetaData;
    std::vector<ZorFieldPlace> places;  ///< Empty where the fields stay where they are.
};

/**
 * The descriptions that get locked together. Each enters, works its new shape out without changing
 * anything, and only when all have done so are the shapes taken over, which can't fail.
 */
class ZorLockPlan {
  public:
    /** Locks a description and the records behind it. */
    static void run(ZorAbstractMetaData& top);

    /** False if the description is in the plan already, which is how circles of types end. */
    bool enter(ZorAbstractMetaData& description);
    /** Has a nested record prepare itself, unless it is locked. */
    void prepare(ZorAbstractMetaData& nested);
    /** The shape of a description that has entered. */
    ZorLockShape& shapeOf(const ZorAbstractMetaData& description);

    /**
     * Throws ZorInvalidParameterException for records within records beyond all reason: what goes through
     * nested data calls itself, and descriptions come from partners too.
     */
    static void checkNesting(unsigned nesting);

    /** @name Facts about a nested record, from its shape or, once it is locked, from itself. */
    /** @{ */
    bool isFlat(const ZorRecordMetaData& record) const noexcept;
    unsigned leafCount(const ZorRecordMetaData& record) const noexcept;
    unsigned nesting(const ZorRecordMetaData& record) const noexcept;
    bool containsTable(const ZorRecordMetaData& record) const noexcept;
    bool containsObject(const ZorRecordMetaData& record) const noexcept;
    const ZorRecordType1MetaData* flattened(const ZorRecordMetaData& record) const noexcept;
    /** @} */

  private:
    const ZorLockShape* find(const ZorAbstractMetaData& description) const noexcept;

    std::unordered_map<const ZorAbstractMetaData*, ZorLockShape> shapes;
    std::vector<ZorAbstractMetaData*> order;
    unsigned depth = 0;  ///< Of the record that is preparing itself.
};
