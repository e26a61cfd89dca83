// A table as items: its row width and count, then an item for each row.

#include "data/zortable.h"
#include "wire/zoritemstream.h"

void ZorTable::zorSerialize(ZorItemStream& conn) {
    const bool nested = getRowType()->isNestedType1Structure();
    if (getCount() != 0 && conn.control.delta && conn.callbackCount == 0) {
        conn.writeZorInt4(ZORID_DeltaRequest, static_cast<KEL_UINT>(conn.registerDeltaTable(*this)));
        deltaState = DELTA_SREQUEST;
    }
    conn.writeZorTableInfo(getCount(), initRow.wireLength(conn));
    for (unsigned i = 0; i < getCount(); ++i) {
        if (nested)
            row(i).zorSerialize(conn, true);
        else
            conn.writeZorData(ZORID_TableContent, rowBytes(i));
    }
}

void ZorTable::zorDeserializeRow(ZorItemStream& conn, unsigned length, bool simpleDecompress) {
    KEL_RAW* const bytes = appendRowForRead();
    const ZorRecordMetaData& rowType = *getRowType();
    if (conn.control.conversion || rowType.isNestedType1Structure() || rowType.isNestedType2Structure() ||
        rowType.containsObject())
        return row(getCount() - 1).zorDeserialize(conn, length, simpleDecompress);
    const unsigned stored = conn.readZorDataContent(bytes, getRowLength(), length);
    if (simpleDecompress && stored != 0) ZorStructure::simpleDecompress(bytes, getRowLength(), stored);
}

void ZorTable::zorDeserializeRow(ZorItemStream& conn, std::span<const KEL_RAW> image) {
    appendRowForRead();
    row(getCount() - 1).zorDeserialize(conn, image);
}

bool ZorTable::moveToLine(ZorItemStream& conn, KEL_INT line) {
    if (line < 1) conn.protocolFault();
    return moveTo(static_cast<unsigned>(line) - 1) == ZOR_OK;
}

void ZorTable::mergeDelta(ZorItemStream& conn, const DELTA_LOG& log, unsigned length) {
    if (deltaState != DELTA_SREQUEST && deltaState != DELTA_SCONFIRM) return conn.skipBytes(length);
    ZorStructure* row = nullptr;  // takes the image
    switch (log.opcode) {
        case DELTA_APPEND:
            if (length != 0) row = &appendNewRow();
            break;
        case DELTA_INSERT:
            if (length != 0) row = moveToLine(conn, log.line) ? &insertNewRow() : &appendNewRow();
            break;
        case DELTA_UPDATE:
        case DELTA_CORRECTION:
            if (length != 0 && moveToLine(conn, log.line)) row = getRow();
            break;
        case DELTA_DELETE:
            if (moveToLine(conn, log.line)) removeRow();
            break;
        case DELTA_FREE:
        case DELTA_REBUILD:
            removeAll();
            break;
        default:
            conn.closeBroken();
            throw ZorIllegalStateException("Unexpected detla manager operation " +
                                           std::to_string(log.opcode) + " with table Id " +
                                           std::to_string(log.objectId) + ".");
    }
    if (row != nullptr)
        row->zorDeserialize(conn, length, false);
    else
        conn.skipBytes(length);
}
