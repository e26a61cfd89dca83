/** @file Description of a structure or table row. */
#pragma once

#include <memory>
#include <string_view>

#include "meta/zormetadatabase.h"

/** A field of a record. Offsets are in bytes from the start of the record. */
struct ZorRecordFieldType : ZorFieldTypeBase {
    unsigned offset1 = 0;            ///< With 1-byte characters: where the containers keep it in memory.
    unsigned offset2 = 0;            ///< With 2-byte characters: for partners.
    unsigned char include_flag = 0;  ///< Set by metadata queries.
};

extern template class ZorMetaDataBase<ZorRecordFieldType>;

/** How a record is laid out for a partner. */
enum STRUCTURE_TYPE {
    STRUCTURE_TYPE_0 = 0,  ///< Not determined yet.
    STRUCTURE_TYPE_1 = 1,  ///< Flat: one run of bytes, nested structures included.
    STRUCTURE_TYPE_2 = 2,  ///< Deep: contains tables or values of variable length.
};

class ZorRecordType1MetaData;

/**
 * Description of a structure or table row, in two layouts at once: the first with 1-byte characters, by
 * which the containers keep their data, the second with 2-byte characters, which partners may need.
 * Locking turns the slots of nested data into pointers' width, so offsets may change then.
 */
class ZorRecordMetaData : public ZorMetaDataBase<ZorRecordFieldType> {
  public:
    ZorRecordMetaData(std::string_view name, std::string_view origin, unsigned reserve)
        : ZorMetaDataBase(name, origin, reserve) {}
    ~ZorRecordMetaData() override;

    ZorMetaType getMetaType() const noexcept override { return ZOR_META_RECORD; }

    /**
     * Adds a field behind the others. `typeDesc` may be null or a sentinel; else the field takes a
     * reference of its own. Throws ZorIllegalStateException on a locked description, and
     * ZorInvalidParameterException for a known name and for contradicting lengths or offsets; then
     * nothing has changed.
     */
    void add(std::string_view fieldName, ZORTYPE type, unsigned nucLength, unsigned nucOffset,
             unsigned ucLength, unsigned ucOffset, unsigned decimals, ZorAbstractMetaData* typeDesc = nullptr,
             void* extended = nullptr);

    /** @name Settings of an open description; ZorIllegalStateException on a locked one. */
    /** @{ */
    void setRecordLength(unsigned nuc, unsigned uc);
    void setLineTypeName(std::string_view lineType);
    void setStructureType(STRUCTURE_TYPE structureType);
    /** Tells that a field came out of an include. */
    void setIncludeFlag(unsigned index, bool included);
    /** @} */

    /** Record length with 1-byte characters. */
    unsigned getRecordLength() const noexcept { return length1; }
    /** Record length with 2-byte characters. */
    unsigned getUnicodeRecordLength() const noexcept { return length2; }
    unsigned getByteOffset(unsigned index) const noexcept { return fields[index].offset1; }
    unsigned getByteOffset(std::string_view fieldName) const { return (*this)[fieldName].offset1; }
    unsigned getUnicodeByteOffset(unsigned index) const noexcept { return fields[index].offset2; }
    unsigned getUnicodeByteOffset(std::string_view fieldName) const { return (*this)[fieldName].offset2; }
    /** Name of the row type where this stands for a table type. */
    const KEL_string& getLineTypeName() const noexcept { return lineTypeName; }
    STRUCTURE_TYPE getStructureType() const noexcept { return layout; }

    /** True with a field that is a table, structure, string or byte string. */
    bool hasComplexFields() const noexcept;
    /**
     * Number of leaves: fields, with those of nested structures in the place of the structures. Known
     * once locked, 0 before.
     */
    unsigned deepFieldsCount() const noexcept { return leafCount; }
    /** True for a deep record with a table, directly or in a nested structure. Known once locked. */
    bool containsTable() const noexcept { return tableContained; }
    /**
     * True with an object instance, directly or in a nested structure. Such a record may well be flat, but
     * it can't travel as an image of its bytes. Known once locked.
     */
    bool containsObject() const noexcept { return objectContained; }
    /** True with a field whose slot holds a pointer to a child of the record. Known once locked. */
    bool holdsChildren() const noexcept { return childrenHeld; }

    /** True if this is flat and contains structures, so that there is a flattened copy. */
    bool isNestedType1Structure() const noexcept { return type1MetaData != nullptr; }
    /** The same of the structure in a field. */
    bool isNestedType1Structure(unsigned index) const noexcept;
    /** True if this is deep. */
    bool isNestedType2Structure() const noexcept { return layout == STRUCTURE_TYPE_2; }
    /** The flattened copy, owned by this; null unless isNestedType1Structure. */
    const ZorRecordType1MetaData* getType1MetaData() const noexcept { return type1MetaData.get(); }

    /**
     * Bytes of the image in which a flat record with nested structures travels, with 1-byte characters:
     * the record length that was declared, whatever room the pointers take up in memory. Known once locked.
     */
    unsigned getImageLength() const noexcept;

    /**
     * Makes this open description a copy of another, with the same descriptions behind its fields;
     * sentinels come over as none. The copy is open.
     */
    void copy(const ZorRecordMetaData& source);

    /** Writes names, types, lengths and offsets to the trace. */
    void writeTraceEntry() const noexcept;

  protected:
    bool equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const override;
    void prepareLock(ZorLockPlan& plan) override;
    void commitLock(ZorLockShape& shape) noexcept override;
    /** The record lengths with which locking starts. */
    virtual void declareLengths(ZorLockShape& shape) const;

  private:
    friend class ZorLockPlan;
    friend class ZorRecordType1MetaData;

    /** Gives a prepared field its place behind the last one. */
    void placeField(ZorRecordFieldType& field, bool unicode, unsigned nucOffset, unsigned ucOffset) const;

    KEL_string lineTypeName;
    unsigned length1 = 0;
    unsigned length2 = 0;
    unsigned imageLength = 0;  ///< The declared length1, before locking made room for pointers.
    STRUCTURE_TYPE layout = STRUCTURE_TYPE_0;
    std::unique_ptr<ZorRecordType1MetaData> type1MetaData;
    unsigned leafCount = 0;
    unsigned nesting = 0;  ///< Records within records below this one. Known once locked.
    bool tableContained = false;
    bool objectContained = false;
    bool childrenHeld = false;
};

/**
 * Flattened copy of a flat record with nested structures: one field for each leaf, named by its path
 * from the top with "-" between the parts. Flat records travel through it.
 */
class ZorRecordType1MetaData : public ZorRecordMetaData {
  public:
    /** `plan` knows the flattened copies of nested descriptions that are being locked with the parent. */
    ZorRecordType1MetaData(const ZorRecordMetaData& parent, unsigned deepFieldsCount,
                           const ZorLockPlan& plan);

  private:
    void constructMetaData(const ZorRecordMetaData& source, std::string_view prefix, uint64_t base1,
                           uint64_t base2, const ZorLockPlan& plan);
    void addLeaf(const ZorRecordFieldType& source, std::string_view prefix, uint64_t base1, uint64_t base2);
};
