// A record as an image of bytes. A flat record without nested structures is its own image; one with
// nested structures, which are kept behind pointers, is put together leaf by leaf.

#include <algorithm>
#include <cstring>

#include "data/zorstructure.h"
#include "wire/zoritemstream.h"

namespace {

/** Brings the leaf or field at `data`, which lies wholly inside the payload, into the own format. */
void convertField(const ZorItemStream& conn, ZORTYPE type, KEL_RAW* data) {
    switch (type) {
        case ZORTYPE_INT:
        case ZORTYPE_INT2:
        case ZORTYPE_INT8:
        case ZORTYPE_FLOAT:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
        case ZORTYPE_UTCLONG:
        case ZORTYPE_UTCSECOND:
        case ZORTYPE_UTCMINUTE:
        case ZORTYPE_DTDAY:
        case ZORTYPE_DTWEEK:
        case ZORTYPE_DTMONTH:
        case ZORTYPE_TSECOND:
        case ZORTYPE_TMINUTE:
        case ZORTYPE_CDAY:
            return conn.convertNumberAfterRead(data, type);
        default:
            return;
    }
}

/**
 * Goes through the leaves of a record and of its nested structures, which are made if need be, in the
 * order of the flattened description. `visit` gets the number of the leaf, its bytes and their length.
 */
template <class Visit>
void forEachLeaf(ZorStructure& record, unsigned& leaf, const Visit& visit) {
    for (unsigned i = 0; i < record.getFieldCount(); ++i) {
        if (record.getType(i) == ZORTYPE_STRUCTURE) {
            ZorStructure* child = nullptr;
            record.getValue(i, &child, true);
            forEachLeaf(*child, leaf, visit);
        } else {
            const ZorFieldSlot slot = record.locate(i);
            visit(leaf++, slot.addr, slot.field.length1);
        }
    }
}

}  // namespace

unsigned ZorStructure::wireLength(const ZorItemStream&) const {
    if (desc == nullptr) return 0;
    return desc->isNestedType1Structure() ? desc->getImageLength() : structLength;
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

void ZorStructure::zorSerializeType1(ZorItemStream&, KEL_RAW* dest, unsigned destLength) {
    const ZorRecordMetaData& leaves = *desc->getType1MetaData();
    std::memset(dest, 0, destLength);
    unsigned first = 0;
    forEachLeaf(*this, first, [&](unsigned leaf, const KEL_RAW* data, unsigned length) {
        const unsigned offset = leaves.getByteOffset(leaf);
        if (offset >= destLength) return;
        std::memcpy(dest + offset, data, std::min({length, leaves.getByteLength(leaf), destLength - offset}));
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
    for (unsigned i = 0; i < fieldCount; ++i) {
        const ZorFieldSlot slot = locate(i);
        if (getOffset(i) + slot.field.length1 > stored) return;  // a short row leaves the other fields alone
        convertField(conn, slot.field.type, slot.addr);
    }
}

void ZorStructure::zorDeserializeType1(ZorItemStream& conn, const KEL_RAW* data, unsigned length) {
    const ZorRecordMetaData& leaves = *desc->getType1MetaData();
    unsigned first = 0;
    forEachLeaf(*this, first, [&](unsigned leaf, KEL_RAW* target, unsigned room) {
        const unsigned offset = leaves.getByteOffset(leaf);
        const unsigned width = leaves.getByteLength(leaf);
        if (offset > length || width > length - offset) return;
        std::memcpy(target, data + offset, std::min(room, width));
        if (conn.control.conversion) convertField(conn, leaves.getType(leaf), target);
    });
}
