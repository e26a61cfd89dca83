/**
 * @file
 * Tables: rows of one type with a cursor.
 *
 * The cursor stands on a row or past the last one. Field access on a table handle means the row under the
 * cursor. A row handle belongs to the table and is valid until the next operation that adds, inserts or
 * removes rows of that table; it isn't to be destroyed. A table belongs to one thread at a time.
 *
 * All functions give `ZOR_INVALID_HANDLE` for a handle that is NULL or no table. Functions that make
 * something give `ZOR_MEMORY_INSUFFICIENT` when memory runs out; the table is then as it was. Functions
 * that return a handle return NULL on failure.
 */
#ifndef KELZOR_TABLE_H
#define KELZOR_TABLE_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes an empty table. Locks the description, which may be destroyed right afterwards.
 *
 * @return the table, the caller's until `ZorDestroyTable`.
 * Failures: `ZOR_INVALID_PARAMETER` (the description is gone, or its record length doesn't cover its
 * fields); `ZOR_ILLEGAL_STATE` (rows of length 0).
 */
KELZOR_API ZOR_TABLE_HANDLE ZorCreateTable(ZOR_TYPE_DESC_HANDLE typeDescHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Makes a deep copy with its cursor on the first row.
 *
 * @return the copy, the caller's until `ZorDestroyTable`.
 */
KELZOR_API ZOR_TABLE_HANDLE ZorCloneTable(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Destroys a table with its rows. Only for tables that the caller made: one that came out of a field or
 * parameter belongs there, which gives `ZOR_INVALID_HANDLE`.
 */
KELZOR_API ZOR_RC ZorDestroyTable(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/** Appends rows with initial values; the cursor goes to the first of them. 0 does nothing. */
KELZOR_API ZOR_RC ZorAppendNewRows(ZOR_TABLE_HANDLE tableHandle, unsigned numRows, ZOR_ERROR_INFO* errorInfo);

/** Appends a row with initial values, moves the cursor to it and gives it. */
KELZOR_API ZOR_STRUCTURE_HANDLE ZorAppendNewRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Appends a deep copy of a structure or row, which stays the caller's. The cursor keeps its index: one
 * past the end then stands on the new row.
 *
 * Failures: `ZOR_INVALID_HANDLE` (the row, too); `ZOR_INVALID_PARAMETER` (its type isn't the table's).
 */
KELZOR_API ZOR_RC ZorAppendRow(ZOR_TABLE_HANDLE tableHandle, ZOR_STRUCTURE_HANDLE structHandle,
                               ZOR_ERROR_INFO* errorInfo);

/** As `ZorAppendRow`, but before the row under the cursor, which then stands on the new row. */
KELZOR_API ZOR_RC ZorInsertRow(ZOR_TABLE_HANDLE tableHandle, ZOR_STRUCTURE_HANDLE structHandle,
                               ZOR_ERROR_INFO* errorInfo);

/**
 * Inserts a row with initial values before the row under the cursor, which then stands on it; gives it.
 */
KELZOR_API ZOR_STRUCTURE_HANDLE ZorInsertNewRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Removes the row under the cursor, which then stands on the following row or past the end. Does nothing
 * if there is no such row.
 */
KELZOR_API ZOR_RC ZorDeleteCurrentRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/** Removes all rows. */
KELZOR_API ZOR_RC ZorDeleteAllRows(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/** Moves the cursor to the first row; `ZOR_TABLE_MOVE_BOF` if there is none. */
KELZOR_API ZOR_RC ZorMoveToFirstRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/** Moves the cursor to the last row; `ZOR_TABLE_MOVE_EOF` if there is none. */
KELZOR_API ZOR_RC ZorMoveToLastRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Moves the cursor on. `ZOR_TABLE_MOVE_EOF` if there is no next row; from the last row the cursor has
 * then moved past the end.
 */
KELZOR_API ZOR_RC ZorMoveToNextRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Moves the cursor back; from past the end to the last row. `ZOR_TABLE_MOVE_BOF`, without a move, if
 * there is no previous row.
 */
KELZOR_API ZOR_RC ZorMoveToPreviousRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Moves the cursor to a row by its index from 0; `ZOR_TABLE_MOVE_EOF`, without a move, if there is none.
 */
KELZOR_API ZOR_RC ZorMoveTo(ZOR_TABLE_HANDLE tableHandle, unsigned index, ZOR_ERROR_INFO* errorInfo);

/** Gives the row under the cursor; NULL with code `ZOR_OK` if there is none. */
KELZOR_API ZOR_STRUCTURE_HANDLE ZorGetCurrentRow(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

/** Gives the number of rows. A NULL `rowCount`: `ZOR_INVALID_HANDLE`. */
KELZOR_API ZOR_RC ZorGetRowCount(ZOR_TABLE_HANDLE tableHandle, unsigned* rowCount, ZOR_ERROR_INFO* errorInfo);

/** Gives the description of the rows, which isn't to be destroyed. */
KELZOR_API ZOR_TYPE_DESC_HANDLE ZorGetRowType(ZOR_TABLE_HANDLE tableHandle, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
