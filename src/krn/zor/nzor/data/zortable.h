/** @file Rows of one type, with a cursor. */
#pragma once

#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "data/zorstructure.h"

class ZorItemStream;

/** What the delta manager knows of a table. */
enum DELTA_STATE {
    DELTA_SINITIAL = 0,
    DELTA_SREQUEST = 1,
    DELTA_SCONFIRM = 2,
    DELTA_SWITHDRAW = 3,
};

/** What the partner did to a table that it was sent. */
enum DELTA_OPCODE : KEL_INT {
    DELTA_CONFIRM = 0,
    DELTA_REJECT = 1,
    DELTA_START = 2,
    DELTA_END = 3,
    DELTA_APPEND = 4,
    DELTA_DELETE = 5,
    DELTA_INSERT = 6,
    DELTA_UPDATE = 7,
    DELTA_FREE = 8,
    DELTA_DISCARD = 9,
    DELTA_REBUILD = 10,
    DELTA_CORRECTION = 11,
    DELTA_POP = 12,
};

/** One change of a table. */
struct DELTA_LOG {
    KEL_INT opcode = DELTA_CONFIRM;  ///< A DELTA_OPCODE, if the partner is right.
    KEL_INT objectId = -1;           ///< Id under which the table was sent.
    KEL_INT line = 0;                ///< Row, counted from 1.
};

/**
 * A table. Its fields are those of the row under the cursor. The cursor lies in 0 to `getCount`, the
 * latter meaning past the last row.
 *
 * The bytes of all rows lie one behind the other in one array, which grows by doubling; the children of
 * deep rows hang on pointers within the bytes and move along. A row object is made only when a row is
 * asked for; it views the bytes. Such an object is lent until the next operation that adds, inserts or
 * removes rows; the table keeps it and lends it again, so that it lives as long as the table.
 *
 * Operations that add rows throw std::bad_alloc without a trace on the table when memory runs out.
 */
class ZorTable : public ZorRecord {
  public:
    /** An empty table; locks the description. ZorIllegalStateException if rows would have no bytes. */
    explicit ZorTable(ZorRecordMetaData* desc);
    /**
     * A table of elementary rows: CHAR or BYTE, `width` bytes of a partner whose characters have
     * `partnerCharSize` bytes. ZorIllegalStateException for any other type.
     */
    ZorTable(ZORTYPE type, unsigned width, unsigned short partnerCharSize);
    /** A deep copy with the cursor on its first row. */
    ZorTable(const ZorTable& other);
    /** As the copy constructor; on failure the table is unchanged. */
    ZorTable& operator=(const ZorTable& other);
    ~ZorTable() override;

    std::unique_ptr<ZorTable> clone() const { return std::make_unique<ZorTable>(*this); }

    ZorRecordType getRecordType() const noexcept override { return ZOR_RECORD_TABLE; }
    ZorRecordMetaData* getDescriptor() override { return getRowType(); }
    const ZorFieldTypeBase& describe(unsigned index) const noexcept override {
        return initRow.describe(index);
    }
    /** Throws ZorIllegalStateException when the cursor stands on no row. */
    ZorFieldSlot locate(unsigned index) override;

    unsigned getCurrentIndex() const noexcept { return currentIndex; }
    /** Number of rows. */
    unsigned getCount() const noexcept { return tabSize; }
    /** Length of a row in bytes. */
    unsigned getRowLength() const noexcept { return initRow.getLength(); }
    /** The description of the rows; not a new reference. */
    ZorRecordMetaData* getRowType() const noexcept { return initRow.desc; }

    /** The row under the cursor; null if there is none. */
    ZorStructure* getRow();
    /** The row at an index, which must exist. */
    ZorStructure& row(unsigned index);
    /** The bytes of a row, which must exist; those of the next row follow directly. */
    std::span<const KEL_RAW> rowBytes(unsigned index) const noexcept {
        return {rows.get() + size_t{index} * getRowLength(), getRowLength()};
    }

    /** @name Moving the cursor. ZOR_OK, or ZOR_TABLE_MOVE_BOF or ZOR_TABLE_MOVE_EOF. */
    /** @{ */
    ZOR_RC moveToFirstRow() noexcept;
    ZOR_RC moveToLastRow() noexcept;
    /** From the last row the cursor goes past the end, though the result is ZOR_TABLE_MOVE_EOF. */
    ZOR_RC moveToNextRow() noexcept;
    ZOR_RC moveToPreviousRow() noexcept;
    ZOR_RC moveTo(unsigned index) noexcept;
    /** @} */

    /** Puts the cursor back at its end; meanwhile rows may be visited, but none added or removed. */
    class CursorKeeper {
      public:
        explicit CursorKeeper(ZorTable& table) noexcept : table(table), cursor(table.currentIndex) {}
        CursorKeeper(const CursorKeeper&) = delete;
        CursorKeeper& operator=(const CursorKeeper&) = delete;
        ~CursorKeeper() { table.place(table.tabSize, cursor); }

      private:
        ZorTable& table;
        unsigned cursor;
    };

    /** @name Adding rows */
    /** @{ */
    /** Appends a row with initial values and moves the cursor to it. */
    ZorStructure& appendNewRow();
    /** Appends `count` rows with initial values; the cursor goes to the first of them. */
    void createNewRows(unsigned count);
    /**
     * Appends a deep copy; the cursor keeps its index. A row of another type is refused with
     * ZorInvalidParameterException. The row may be one of this table.
     */
    void appendRow(const ZorStructure& row);
    /** As `appendRow`, but before the row under the cursor, which then stands on the new row. */
    void insertRow(const ZorStructure& row);
    /** Inserts a row with initial values before the row under the cursor and gives it. */
    ZorStructure& insertNewRow();
    /** @} */

    /** Removes the row under the cursor, if there is one; the cursor keeps its index. */
    void removeRow() noexcept;
    /** Removes all rows; the room for them stays. */
    void removeAll() noexcept;

    /** @name Refilling from the wire */
    /** @{ */
    /**
     * Removes all rows. The next access through the owner puts the cursor on the first row
     * (`finishReading`).
     */
    void prepareForRead() noexcept;
    /** Appends a row with initial values and gives its bytes, valid until the next row is appended. */
    KEL_RAW* appendRowForRead();
    void finishReading() noexcept {
        if (inDeserialization) place(tabSize, 0);
        inDeserialization = false;
    }
    /** @} */

    /** @name Wire form */
    /** @{ */
    void zorSerialize(ZorItemStream& conn);
    void zorDeserializeRow(ZorItemStream& conn, unsigned length, bool simpleDecompress);
    /** Appends a row from an image in memory. */
    void zorDeserializeRow(ZorItemStream& conn, std::span<const KEL_RAW> image);
    /**
     * Makes a change of the partner's here too. `length` bytes of a row's image are next in the stream, and
     * are read or skipped in any case; without them a change that needs them is none. A table that isn't
     * under the delta manager stays as it is. Throws ZorIllegalStateException for an operation that
     * doesn't exist; the connection is closed then, as for a row number below 1.
     */
    void mergeDelta(ZorItemStream& conn, const DELTA_LOG& log, unsigned length = 0);
    /** @} */

    DELTA_STATE deltaState = DELTA_SINITIAL;

  private:
    friend class ZorStructure;

    /** Takes over the fields of the row type. */
    void bindFields() noexcept;
    /** Sets count and cursor: nothing else does, so that `block` always is the cursor's row, if there is one.
     */
    void place(unsigned count, unsigned cursor) noexcept {
        tabSize = count;
        currentIndex = cursor;
        block = cursor < count ? rowAddress(cursor) : nullptr;
    }
    KEL_RAW* rowAddress(unsigned index) noexcept { return rows.get() + size_t{index} * getRowLength(); }
    /** The bytes of a viewed row; throws if the table no longer has that many rows. */
    KEL_RAW* viewedRow(unsigned index);
    /** Makes room for `count` more rows beyond `tabSize`; std::bad_alloc leaves all as it was. */
    void makeRoom(unsigned count);
    /** Puts a copy of a row's bytes at a row index within the room, with children of its own. */
    void placeCopy(unsigned index, const ZorStructure& row);
    /** Moves the row behind the room's last one to the cursor's place; it becomes part of the table. */
    void rotateIn(unsigned from) noexcept;
    void checkRowType(const ZorStructure& row) const;
    /** Moves the cursor to a row that the partner counts from 1; false if there is none. */
    bool moveToLine(ZorItemStream& conn, KEL_INT line);
    /** Sees to it that the first row asked for after a recall is lent without an allocation. */
    void makeView();
    /** Takes back all row objects that were lent. */
    void recallViews() noexcept;
    ZorStructure* lentView(unsigned index) const noexcept;
    void destroyRows() noexcept;

    ZorStructure initRow;             ///< Owns a reference to the description; new rows are copies.
    std::unique_ptr<KEL_RAW[]> rows;  ///< `tabSize` rows, room for `capacity`.
    unsigned capacity = 0;            ///< In rows.
    unsigned tabSize = 0;
    unsigned currentIndex = 0;
    bool inDeserialization = false;
    std::vector<std::unique_ptr<ZorStructure>> views;  ///< The first `lent` of them are lent.
    unsigned lent = 0;
    std::unordered_map<unsigned, ZorStructure*> lentByRow;  ///< Filled once a scan would be slow.
};
