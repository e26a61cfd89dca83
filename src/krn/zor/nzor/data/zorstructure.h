/** @file A record of fields in one contiguous buffer. */
#pragma once

#include <memory>
#include <span>

#include "data/zorrecord.h"
#include "meta/zorrecordmetadata.h"

class ZorItemStream;

/**
 * A structure. In its owning form it owns its bytes and the children in their pointer slots, and holds
 * its description by a counted reference. In its viewing form it shows one row of a table: bytes,
 * children and description are the table's, and the view lives in the table.
 */
class ZorStructure : public ZorRecord {
  public:
    /** An owning structure with initial values; locks the description. Null makes one without fields. */
    explicit ZorStructure(ZorRecordMetaData* desc);
    /** A view of a row. */
    ZorStructure(ZorTable& table, unsigned row) noexcept;
    /** A deep copy, always owning. */
    ZorStructure(const ZorStructure& other);
    /**
     * Becomes a deep copy of the other, whose description it takes over. A view keeps its row and its
     * description: one of another type is refused with ZorInvalidParameterException. On failure the
     * structure is unchanged.
     */
    ZorStructure& operator=(const ZorStructure& other);
    ~ZorStructure() override;

    std::unique_ptr<ZorStructure> clone() const { return std::make_unique<ZorStructure>(*this); }

    ZorRecordType getRecordType() const noexcept override { return ZOR_RECORD_STRUCTURE; }
    ZorRecordMetaData* getDescriptor() override { return desc; }
    const ZorRecordMetaData* getDescriptor() const noexcept { return desc; }
    const ZorFieldTypeBase& describe(unsigned index) const noexcept override { return (*desc)[index]; }
    ZorFieldSlot locate(unsigned index) override;

    /** True for a view of a table's row. */
    bool isRow() const noexcept { return table != nullptr; }

    /** Length of the record in bytes. */
    unsigned getLength() const noexcept { return structLength; }
    using ZorRecord::getLength;
    /**
     * The record's bytes. Throws ZorIllegalStateException for a view whose row is no longer there.
     */
    KEL_RAW* getBuffer();
    const KEL_RAW* getBuffer() const;
    using ZorRecord::getBuffer;
    unsigned getOffset(unsigned index) const;

    /** Gives all fields their initial values. */
    void initBuffer();

    /** @name Raw bytes from a field's offset on, over field borders up to the end of the record.
     * Both give the number of bytes that were moved; 0 for an index that doesn't exist.
     */
    /** @{ */
    unsigned setBlock(unsigned index, const KEL_RAW* source, unsigned length);
    unsigned getBlock(unsigned index, KEL_RAW* target, unsigned length) const;
    /** @} */

    /** Length of a buffer without the run of equal bytes at its end, of which one is kept. */
    static unsigned simpleCompress(const KEL_RAW* buffer, unsigned length) noexcept;
    /** Restores a buffer in place by repeating the last byte of the short form; gives `fullLength`. */
    static unsigned simpleDecompress(KEL_RAW* buffer, unsigned fullLength, unsigned shortLength) noexcept;

    /** @name Wire form */
    /** @{ */
    void zorSerialize(ZorItemStream& conn, bool isRow);
    void zorSerializeType1(ZorItemStream& conn, KEL_RAW* dest, unsigned destLength);
    unsigned wireLength(const ZorItemStream& conn) const;
    void zorDeserialize(ZorItemStream& conn, unsigned length, bool simpleDecompress);
    /** From an image in memory, which may be shorter than the record. */
    void zorDeserialize(ZorItemStream& conn, std::span<const KEL_RAW> image);
    void zorDeserializeType1(ZorItemStream& conn, const KEL_RAW* data, unsigned length);
    /** @} */

  private:
    friend class ZorTable;

    /** Brings the fields within the first `stored` bytes into the own format. */
    void convertFields(ZorItemStream& conn, unsigned stored);
    /** Takes on a locked description and the bytes that are owned; a view is without bytes until it is shown.
     */
    void bindTo(ZorRecordMetaData* description) noexcept;
    /** Lets a view show a row, whose address holds until the table moves or recalls it. */
    void show(unsigned newRow, KEL_RAW* address) noexcept {
        row = newRow;
        block = address;
    }

    ZorMetaDataRef<ZorRecordMetaData> ownDesc;  ///< Empty in a view.
    ZorRecordMetaData* desc = nullptr;
    std::unique_ptr<KEL_RAW[]> bytes;  ///< Null in a view.
    unsigned structLength = 0;
    ZorTable* table = nullptr;  ///< The table whose row this views; null in the owning form.
    unsigned row = 0;           ///< Index of that row.
};
