// Exported functions of the family "Tables".

#include <kelzor/table.h>

#include "api/recordframe.h"
#include "data/zortable.h"

using namespace zorapi;

namespace {

ZorTable& table(ZOR_TABLE_HANDLE handle) noexcept {
    return static_cast<ZorTable&>(*ZorRecord::fromHandle(handle));
}

const ZorStructure& structure(ZOR_STRUCTURE_HANDLE handle) noexcept {
    return static_cast<const ZorStructure&>(*ZorRecord::fromHandle(handle));
}

/** Runs work on a table, after further checks, in the whole frame. */
template <class Work, class... Check>
auto onTable(const KEL_UC* name, ZOR_TABLE_HANDLE handle, ZOR_ERROR_INFO* errorInfo, Work&& work,
             Check... further) {
    return guarded(name, errorInfo, ContainerLevel{handle},
                   checks(ContainerOf{ZOR_RECORD_TABLE, handle}, further...),
                   [&] { return work(table(handle)); });
}

/** Reports a move that found no row: an ordinary end of an iteration. */
ZOR_RC moved(ZOR_RC rc, const KEL_UC* key, const KEL_UC* message, ZOR_ERROR_INFO* errorInfo) noexcept {
    if (rc == ZOR_OK) return rc;
    return setErrorInfo(errorInfo, rc, EXTERNAL_APPLICATION_FAILURE, key, message);
}

ZOR_RC moved(ZOR_RC rc, const KEL_UC* message, ZOR_ERROR_INFO* errorInfo) noexcept {
    return moved(rc, zorRcName(rc), message, errorInfo);
}

}  // namespace

ZOR_TABLE_HANDLE ZorCreateTable(ZOR_TYPE_DESC_HANDLE typeDescHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{typeDescHandle}), [&] {
        const auto desc = ZorMetaDataStatics::recordMetaDataFromHandle(typeDescHandle);
        return std::make_unique<ZorTable>(desc.get()).release()->toHandle();
    });
}

ZOR_TABLE_HANDLE ZorCloneTable(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [](ZorTable& table) { return table.clone().release()->toHandle(); });
}

ZOR_RC ZorDestroyTable(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, ContainerLevel{tableHandle},
                 checks(OwnContainer{ZOR_RECORD_TABLE, tableHandle}), [&] { delete &table(tableHandle); });
}

ZOR_RC ZorAppendNewRows(ZOR_TABLE_HANDLE tableHandle, unsigned numRows, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [&](ZorTable& table) { table.createNewRows(numRows); });
}

ZOR_STRUCTURE_HANDLE ZorAppendNewRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [](ZorTable& table) { return table.appendNewRow().toHandle(); });
}

ZOR_RC ZorAppendRow(ZOR_TABLE_HANDLE tableHandle, ZOR_STRUCTURE_HANDLE structHandle,
                    ZOR_ERROR_INFO* errorInfo) {
    return onTable(
        __func__, tableHandle, errorInfo, [&](ZorTable& table) { table.appendRow(structure(structHandle)); },
        ContainerOf{ZOR_RECORD_STRUCTURE, structHandle});
}

ZOR_RC ZorInsertRow(ZOR_TABLE_HANDLE tableHandle, ZOR_STRUCTURE_HANDLE structHandle,
                    ZOR_ERROR_INFO* errorInfo) {
    return onTable(
        __func__, tableHandle, errorInfo, [&](ZorTable& table) { table.insertRow(structure(structHandle)); },
        ContainerOf{ZOR_RECORD_STRUCTURE, structHandle});
}

ZOR_STRUCTURE_HANDLE ZorInsertNewRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [](ZorTable& table) { return table.insertNewRow().toHandle(); });
}

ZOR_RC ZorDeleteCurrentRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [](ZorTable& table) { table.removeRow(); });
}

ZOR_RC ZorDeleteAllRows(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [](ZorTable& table) { table.removeAll(); });
}

ZOR_RC ZorMoveToFirstRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [&](ZorTable& table) { return moved(table.moveToFirstRow(), "No first row", errorInfo); });
}

ZOR_RC ZorMoveToLastRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [&](ZorTable& table) { return moved(table.moveToLastRow(), "No last row", errorInfo); });
}

ZOR_RC ZorMoveToNextRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [&](ZorTable& table) { return moved(table.moveToNextRow(), "No next row", errorInfo); });
}

ZOR_RC ZorMoveToPreviousRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [&](ZorTable& table) {
        return moved(table.moveToPreviousRow(), "No previous row", errorInfo);
    });
}

ZOR_RC ZorMoveTo(ZOR_TABLE_HANDLE tableHandle, unsigned index, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [&](ZorTable& table) {
        return moved(table.moveTo(index), "", "Invalid index", errorInfo);
    });
}

ZOR_STRUCTURE_HANDLE ZorGetCurrentRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo, [](ZorTable& table) {
        ZorStructure* row = table.getRow();
        return row != nullptr ? row->toHandle() : nullptr;
    });
}

ZOR_RC ZorGetRowCount(ZOR_TABLE_HANDLE tableHandle, unsigned* rowCount, ZOR_ERROR_INFO* errorInfo) {
    return onTable(
        __func__, tableHandle, errorInfo, [&](ZorTable& table) { *rowCount = table.getCount(); },
        Handle{rowCount});
}

ZOR_TYPE_DESC_HANDLE ZorGetRowType(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo) {
    return onTable(__func__, tableHandle, errorInfo,
                   [](ZorTable& table) { return ZorMetaDataStatics::toHandle(table.getRowType()); });
}
