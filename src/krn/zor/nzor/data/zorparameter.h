/** @file One parameter of a function container. */
#pragma once

#include <memory>

#include "data/zorrecord.h"
#include "meta/zorfunctionmetadata.h"

class ZorItemStream;

/**
 * A parameter: a record of one field, whose index is ignored. It owns its storage. The description is
 * the function's, which outlives it.
 */
class ZorParameter : public ZorRecord {
  public:
    explicit ZorParameter(const ZorParameterFieldType& field);
    ZorParameter(const ZorParameter&) = delete;
    ~ZorParameter() override;

    ZorRecordType getRecordType() const noexcept override { return ZOR_RECORD_PARAMETER; }
    /** The description of a table's rows or of a structure, which is made if need be; else null. */
    ZorAbstractMetaData* getDescriptor() override;
    const ZorFieldTypeBase& describe(unsigned) const noexcept override { return field; }
    ZorFieldSlot locate(unsigned) override { return slot(); }

    /** As `locate`, for the function that owns this. */
    ZorFieldSlot slot() noexcept { return {field, addr.get(), &active}; }

    const ZorParameterFieldType& desc() const noexcept { return field; }
    ZOR_DIRECTION direction() const noexcept { return field.direction; }

    /** An inactive parameter is neither sent nor asked for. */
    bool isActive() const noexcept { return active; }
    void setActive(bool value) noexcept { active = value; }
    /** On the server: the partner wants this parameter back. */
    bool isRequested() const noexcept { return requested; }
    void setRequested(bool value) noexcept { requested = value; }

    /** Bytes of the value in the storage; 0 for types that are held by pointer. */
    unsigned length() const noexcept { return usedLength; }
    /** Takes at most the length of the storage. */
    void setLength(unsigned length) noexcept;

    /** The table or structure, made if need be; this parameter itself for any other type. */
    ZorRecord* getRecord();

    /** @name Wire form */
    /** @{ */
    /**
     * Whether the value goes as an XML document: structures and rows with strings or tables, which have no
     * image of bytes, and tables that aren't among the tables of the function.
     */
    bool travelsAsXml() const noexcept;
    void zorSupplyOutParam(ZorItemStream& conn);
    void zorSerialize(ZorItemStream& conn);
    void serializeXZorParameter(ZorItemStream& conn, ZorRecord& record);
    void zorDeserialize(ZorItemStream& conn, unsigned length);
    /** @} */

  private:
    const ZorParameterFieldType& field;
    std::unique_ptr<KEL_RAW[]> addr;
    unsigned usedLength = 0;
    bool active = true;
    bool requested = false;
};
