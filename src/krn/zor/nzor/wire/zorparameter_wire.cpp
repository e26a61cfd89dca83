// A parameter as items of the classic stream.

#include <algorithm>
#include <cstring>

#include "data/zorparameter.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "meta/zortypelayout.h"
#include "wire/zoritemstream.h"

namespace {

bool isText(ZORTYPE type) noexcept {
    return type == ZORTYPE_CHAR || type == ZORTYPE_NUM || type == ZORTYPE_DATE || type == ZORTYPE_TIME;
}

/** Reads a value that is held in the parameter's own storage. */
void readFixed(ZorItemStream& conn, const ZorFieldSlot& slot, unsigned length) {
    if (isText(slot.field.type)) {
        const unsigned stored =
            conn.readZorChars(reinterpret_cast<KEL_UC*>(slot.addr), slot.field.length1, length);
        // What the partner left out is blank in a character field, as it was before it travelled.
        if (slot.field.type == ZORTYPE_CHAR)
            std::memset(slot.addr + stored, ' ', slot.field.length1 - stored);
        return;
    }
    const unsigned width = zorNumberWidth(slot.field.type);
    const unsigned room = width == 0 ? slot.field.length1 : std::min(slot.field.length1, width);
    const unsigned stored = conn.readZorDataContent(slot.addr, room, length);
    if (width != 0 && stored == width) conn.convertNumberAfterRead(slot.addr, slot.field.type);
}

}  // namespace

void ZorParameter::zorSupplyOutParam(ZorItemStream& conn) {
    if ((direction() & ZOR_EXPORT) == 0) return;
    conn.writeZorChars(ZORID_FieldIsSupl, field.name);
    if (direction() == ZOR_EXPORT) fillField(0);
}

void ZorParameter::zorSerialize(ZorItemStream& conn) {
    const ZOR_DIRECTION otherWay = conn.isInCallbackMode() ? ZOR_IMPORT : ZOR_EXPORT;
    if (!active || field.name.empty() || direction() == otherWay) return;
    switch (field.type) {
        case ZORTYPE_STRUCTURE: {
            ZorStructure* structure = nullptr;
            getValue(0, &structure, false);
            if (structure == nullptr) return;
            if (travelsAsXml()) return serializeXZorParameter(conn, *structure);
            conn.writeZorChars(ZORID_FieldName, field.name);
            return structure->zorSerialize(conn, false);
        }
        case ZORTYPE_TABLE: {
            ZorTable* table = nullptr;
            getValue(0, &table, false);
            if (table == nullptr) return;
            if (travelsAsXml()) return serializeXZorParameter(conn, *table);
            conn.writeZorChars(ZORID_TableName, field.name);
            return table->zorSerialize(conn);
        }
        case ZORTYPE_STRING: {
            ZorString* text = nullptr;
            getValue(0, &text, false);
            conn.writeZorChars(ZORID_FieldName, field.name);
            return conn.writeZorUTF8Chars(ZORID_FieldValue, text != nullptr ? *text : ZorString());
        }
        case ZORTYPE_XSTRING: {
            ZorXString* bytes = nullptr;
            getValue(0, &bytes, false);
            conn.writeZorChars(ZORID_FieldName, field.name);
            return conn.writeZorData(ZORID_FieldValue, bytes != nullptr ? std::span<const KEL_RAW>(*bytes)
                                                                        : std::span<const KEL_RAW>());
        }
        case ZORTYPE_UBIXOBJECT:
            return;  // the bytes are a pointer, which is nobody's business
        default:
            conn.writeZorChars(ZORID_FieldName, field.name);
            return conn.writeZorData(ZORID_FieldValue, {addr.get(), field.length1});
    }
}

void ZorParameter::zorDeserialize(ZorItemStream& conn, unsigned length) {
    switch (field.type) {
        case ZORTYPE_STRUCTURE: {
            ZorStructure* structure = nullptr;
            getValue(0, &structure, true);
            return structure->zorDeserialize(conn, length, false);
        }
        case ZORTYPE_STRING: {
            ZorString* text = nullptr;
            getValue(0, &text, true);
            return conn.readZorUTF8Chars(*text, length);
        }
        case ZORTYPE_XSTRING: {
            ZorXString* bytes = nullptr;
            getValue(0, &bytes, true);
            return conn.readZorXString(*bytes, length);
        }
        case ZORTYPE_TABLE:
        case ZORTYPE_UBIXOBJECT:
            return conn.skipBytes(length);  // these never travel as the value of a field
        default:
            return readFixed(conn, slot(), length);
    }
}
