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
