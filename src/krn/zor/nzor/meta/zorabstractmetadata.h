/** @file What descriptions of all kinds have in common, seen from outside. */
#pragma once

#include <atomic>
#include <utility>
#include <vector>

class ZorAbstractMetaData;
class ZorLockPlan;
struct ZorLockShape;

/** Kind of a description. */
enum ZorMetaType : unsigned {
    ZOR_META_RECORD = 0,
    ZOR_META_CLASS = 1,
    ZOR_META_FUNCTION = 2,
};

/**
 * Pairs of descriptions whose comparison is under way. A type may contain tables of itself; a pair that
 * comes up again below itself counts as equal.
 */
using ZorComparedPairs = std::vector<std::pair<const ZorAbstractMetaData*, const ZorAbstractMetaData*>>;

/**
 * Base of all descriptions. They live on the heap, are made by ZorMetaDataStatics::createMetaData and
 * held by counted references (ZorMetaDataRef). The address of this base is the public handle.
 */
class ZorAbstractMetaData {
  public:
    ZorAbstractMetaData(const ZorAbstractMetaData&) = delete;
    ZorAbstractMetaData& operator=(const ZorAbstractMetaData&) = delete;

    virtual ZorMetaType getMetaType() const noexcept = 0;

    /** Same content, as the kind defines it. */
    bool equals(const ZorAbstractMetaData& other) const {
        ZorComparedPairs compared;
        return equalsWithin(other, compared);
    }
    bool operator==(const ZorAbstractMetaData& other) const { return equals(other); }

    /** True once nothing can change any more. */
    bool isLocked() const noexcept { return locked; }

    /**
     * Locks this description and the record descriptions of its fields, all or nothing: throws
     * ZorInvalidParameterException when lengths don't fit, and then everything is as it was. Does
     * nothing on a locked one.
     */
    virtual void lock();

  protected:
    ZorAbstractMetaData() noexcept = default;
    virtual ~ZorAbstractMetaData() = default;

    /** Step of a comparison; the base compares identity. */
    virtual bool equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const;

    /** First half of locking: all checks and allocations, for nested descriptions too. Changes nothing. */
    virtual void prepareLock(ZorLockPlan& plan) = 0;

    /** Second half of locking: takes over what the first has prepared. */
    virtual void commitLock(ZorLockShape& shape) noexcept = 0;

    bool locked = false;

  private:
    friend class ZorMetaDataStatics;
    friend class ZorLockPlan;
    template <class F>
    friend class ZorMetaDataBase;
    friend class ZorRecordMetaData;

    /** Number of references; `removedMark` from the moment the last one is gone. */
    mutable std::atomic<unsigned> refCounter{0};
    static constexpr unsigned removedMark = 0xFEFEFEFE;  ///< Far above what a count can reach.
    /** Links the descriptions that wait for their deletion. */
    mutable const ZorAbstractMetaData* nextDead = nullptr;
};
