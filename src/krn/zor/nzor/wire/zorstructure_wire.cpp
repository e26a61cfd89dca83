// A record as an image of bytes. A flat record without nested structures is its own image; one with
// nested structures, which are kept behind pointers, is put together leaf by leaf.

#include <algorithm>
#include <cstring>

#include "data/zorstructure.h"
#include "meta/zortypelayout.h"
#include "wire/zoritemstream.h"

namespace {

/** Brings a field into the own format; one with fewer bytes than its type has stays as it came. */
void convertField(const ZorItemStream& conn, const ZorFieldSlot& slot) {
    const unsigned width = zorNumberWidth(slot.field.type);
    if (width != 0 && slot.field.length1 >= width) conn.convertNumberAfterRead(slot.addr, slot.field.type);
}

/** Which of a description's two layouts an image has: the partner's characters decide. */
struct ImageLayout {
    explicit ImageLayout(const ZorItemStream& conn) noexcept : wide(conn.control.pcs > 1) {}
    unsigned offset(const ZorRecordFieldType& leaf) const noexcept {
        return wide ? leaf.offset2 : leaf.offset1;
    }
    unsigned length(const ZorRecordFieldType& leaf) const noexcept {
        return wide ? leaf.length2 : leaf.length1;
    }
    bool wide;
};

/**
 * Goes through the leaves of a record and of its nested structures, which are made if need be, in the
 * order of the flattened description, where the record's are those from `leaf` up to `end`. `visit` gets the
 * leaf and its place. A nested structure may have been given a value of another type: of it only what fits
 * the description takes part, so that bytes of the partner never become pointers; the leaves behind it stay
 * where the description has them.
 */
template <class Visit>
void forEachLeaf(ZorStructure& record, const ZorRecordMetaData& leaves, unsigned leaf, unsigned end,
                 const Visit& visit) {
    for (unsigned i = 0; i < record.getFieldCount() && leaf < end; ++i) {
        if (record.getType(i) == ZORTYPE_STRUCTURE) {
            const ZorRecordMetaData* const described = record.getRecordMetaData(i);
            const unsigned behind =
                leaf + std::min(described != nullptr ? described->deepFieldsCount() : 0, end - leaf);
            ZorStructure* child = nullptr;
            record.getValue(i, &child, true);
            forEachLeaf(*child, leaves, leaf, behind, visit);
            leaf = behind;
        } else {
            if (leaves.getType(leaf) == record.getType(i)) visit(leaves[leaf], record.locate(i));
            ++leaf;
        }
    }
}

}  // namespace

unsigned ZorStructure::wireLength(const ZorItemStream& conn) const {
    if (desc == nullptr) return 0;
    if (!desc->isNestedType1Structure()) return structLength;
    return ImageLayout(conn).wide ? desc->getType1MetaData()->getUnicodeRecordLength()
                                  : desc->getImageLength();
}

void ZorStructure::zorSerialize(ZorItemStream& conn, bool isRow) {
    const ZORID id = isRow ? ZORID_TableContent : ZORID_FieldValue;
    if (desc == nullptr || !desc->isNestedType1Structure())
        return conn.writeZorData(id, {getBuffer(), structLength});
    const unsigned width = wireLength(conn);
    auto& image = conn.scratch();
    if (image.size() < width) image.resize(width);
    zorSerializeType1(conn, image.data(), width);
    conn.writeZorData(id, std::span<const KEL_RAW>(image).first(width));
}

void ZorStructure::zorSerializeType1(ZorItemStream& conn, KEL_RAW* dest, unsigned destLength) {
    const ImageLayout layout(conn);
    const ZorRecordMetaData& leaves = *desc->getType1MetaData();
    std::memset(dest, 0, destLength);
    forEachLeaf(*this, leaves, 0, leaves.getFieldCount(),
                [&](const ZorRecordFieldType& leaf, const ZorFieldSlot& slot) {
                    const unsigned offset = layout.offset(leaf);
                    if (offset >= destLength) return;
                    std::memcpy(dest + offset, slot.addr,
                                std::min({slot.field.length1, layout.length(leaf), destLength - offset}));
                });
}

void ZorStructure::zorDeserialize(ZorItemStream& conn, unsigned length, bool simpleDecompress) {
    if (desc == nullptr) return conn.skipBytes(length);
    // Records with tables, strings or objects have no image: bytes of the partner never become pointers.
    if (desc->isNestedType2Structure() || desc->containsObject()) conn.protocolFault();
    const bool nested = desc->isNestedType1Structure();
    const unsigned width = wireLength(conn);
    if (nested && conn.scratch().size() < width) conn.scratch().resize(width);
    KEL_RAW* const image = nested ? conn.scratch().data() : getBuffer();
    unsigned stored = conn.readZorDataContent(image, width, length);
    if (simpleDecompress && stored != 0) stored = ZorStructure::simpleDecompress(image, width, stored);
    if (nested) return zorDeserializeType1(conn, image, stored);
    if (!conn.control.conversion) return;
    convertFields(conn, stored);
}

void ZorStructure::zorDeserialize(ZorItemStream& conn, std::span<const KEL_RAW> image) {
    if (desc == nullptr) return;
    if (desc->isNestedType2Structure() || desc->containsObject()) conn.protocolFault();
    const unsigned stored = static_cast<unsigned>(std::min<size_t>(image.size(), wireLength(conn)));
    if (desc->isNestedType1Structure()) return zorDeserializeType1(conn, image.data(), stored);
    std::memcpy(getBuffer(), image.data(), stored);
    if (conn.control.conversion) convertFields(conn, stored);
}

void ZorStructure::convertFields(ZorItemStream& conn, unsigned stored) {
    for (unsigned i = 0; i < fieldCount; ++i) {
        const ZorFieldSlot slot = locate(i);
        if (getOffset(i) + slot.field.length1 > stored) return;  // a short row leaves the other fields alone
        convertField(conn, slot);
    }
}

void ZorStructure::zorDeserializeType1(ZorItemStream& conn, const KEL_RAW* data, unsigned length) {
    const ImageLayout layout(conn);
    const ZorRecordMetaData& leaves = *desc->getType1MetaData();
    forEachLeaf(*this, leaves, 0, leaves.getFieldCount(),
                [&](const ZorRecordFieldType& leaf, const ZorFieldSlot& slot) {
                    const unsigned offset = layout.offset(leaf), width = layout.length(leaf);
                    if (offset > length || width > length - offset) return;
                    std::memcpy(slot.addr, data + offset, std::min(slot.field.length1, width));
                    if (conn.control.conversion) convertField(conn, slot);
                });
}
